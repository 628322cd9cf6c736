// Faults as the user plays them: commands of the shell.
#ifndef ORLOCONFORMANCE_MAIN_COMMANDS_H
#define ORLOCONFORMANCE_MAIN_COMMANDS_H

#include "conformance/Subject.h"

#include <stdexcept>
#include <string>

namespace OrloConformance {

/// A command that has not ended well; what() says which and how.
class CommandError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// By option; empty when it is not given.
struct Commands {
   std::string refuse;
   std::string refuseRemovals;
   std::string accept;
   std::string lose;  ///< of the entry in $VLAN, $MAC and $INDEX
   std::string plant; ///< the same

   /// Run with sh(1), and waited for. They throw CommandError.
   Faults faults() const;
};

} // namespace OrloConformance

#endif
