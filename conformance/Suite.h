// Puts a helper through the rules.
//
//    Suite suite( subject );
//    for( const Rule &rule : Suite::rules() ) {
//       const Verdict verdict = suite.tried( rule );
//    }
//    suite.empty();
#ifndef ORLOCONFORMANCE_SUITE_H
#define ORLOCONFORMANCE_SUITE_H

#include "conformance/Rule.h"
#include "conformance/Subject.h"

#include <vector>

namespace OrloConformance {

/// Never sleeps: every helper is worked with a clock of the suite's own, which jumps to the time
/// that the helper gives. One at a time for each hardware; on the thread that it was made on.
class Suite {
 public:
   explicit Suite( const Subject &subject ) : subject_( subject ) {}

   /// In the order in which they are best tried: what the later ones build on comes first.
   static const std::vector<Rule> &rules();

   /// How many entries of ours the hardware holds; nothing when it cannot be read. Throws Broken.
   std::optional<std::size_t> held() const;
   /// Frees the hardware. Throws Broken when it keeps something, as far as that can be read.
   void empty() const;
   /// Tries one rule, on hardware that is emptied before. Throws what the faults throw and nothing
   /// else.
   Verdict tried( const Rule &rule ) const;

 private:
   const Subject subject_;
};

} // namespace OrloConformance

#endif
