// A request that is answered with an error.
#ifndef ORLOAGENT_CONTROL_CONTROLERROR_H
#define ORLOAGENT_CONTROL_CONTROLERROR_H

#include "agent/control/Protocol.h"

#include <stdexcept>
#include <string>

namespace OrloAgent {

/// what() is the message for the client: one line that says what is wrong and what is allowed.
class ControlError : public std::runtime_error {
 public:
   using Kind = Protocol::ErrorKind;

   ControlError( Kind kind, const std::string &message )
         : std::runtime_error( message ), kind_( kind ) {}

   Kind kind() const noexcept { return kind_; }

 private:
   Kind kind_;
};

} // namespace OrloAgent

#endif
