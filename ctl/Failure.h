// Why orloctl ends with something else than success.
#ifndef ORLOCTL_FAILURE_H
#define ORLOCTL_FAILURE_H

#include <stdexcept>
#include <string>

namespace OrloCtl {

/// what() is shown after "orloctl: ".
class Failure : public std::runtime_error {
 public:
   /// Exit status.
   enum Status : int {
      no = 1,          ///< the agent's answer is no, or cannot be shown
      usage = 2,       ///< the command line is wrong
      unreachable = 3, ///< there is no agent, or it does not answer
      noAudit = 4      ///< nothing is known of differences: there was no audit
   };

   Failure( Status status, const std::string &message )
         : std::runtime_error( message ), status_( status ) {}

   Status status() const noexcept { return status_; }

 private:
   Status status_;
};

/// Nobody has the control socket open.
class NoAgent : public Failure {
 public:
   explicit NoAgent( const std::string &message ) : Failure( unreachable, message ) {}
};

} // namespace OrloCtl

#endif
