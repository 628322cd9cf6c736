// Hardware that cannot be used at all.
#ifndef ORLOAGENT_HARDWARE_HARDWAREERROR_H
#define ORLOAGENT_HARDWARE_HARDWAREERROR_H

#include <stdexcept>

namespace OrloAgent {

/// what() says why and what to do.
class HardwareError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

} // namespace OrloAgent

#endif
