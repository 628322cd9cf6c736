// A rule that a helper breaks.
#ifndef ORLOCONFORMANCE_BROKEN_H
#define ORLOCONFORMANCE_BROKEN_H

#include <stdexcept>
#include <string>

namespace OrloConformance {

/// what() is one line: what was seen, and what should be.
class Broken : public std::runtime_error {
 public:
   Broken( const std::string &seen, const std::string &shouldBe )
         : runtime_error( seen + "; it should be: " + shouldBe ) {}
};

} // namespace OrloConformance

#endif
