// Gives up what the agent does not need, before it hears from anybody.
#ifndef ORLOAGENT_PRIVILEGES_H
#define ORLOAGENT_PRIVILEGES_H

#include "agent/Capabilities.h"
#include "agent/Configuration.h"

#include <stdexcept>

namespace OrloAgent {

/// A capability that the hardware needs is not there; what() says which one, and what to do.
class PrivilegesError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// Which capabilities the process keeps. By the kind of the hardware:
///
///    memory    none
///    bridge    CAP_NET_ADMIN: entries and rules of the bridge
///    ebpf      CAP_NET_ADMIN CAP_BPF: filters at the ports, program and tables
///    module    what "capabilities" of the configuration names; without it all, since only the
///              module knows
///
/// Also sees to it that no program which the process may start gets more than it has
/// (no_new_privs). Belongs on the only thread, before a second one starts.
class Privileges {
 public:
   enum class Use {
      run,    ///< by the agent
      look,   ///< only read back: the hardware itself says when that is not allowed
      change, ///< by somebody who does one thing and ends
   };

   /// What is to happen with what the process holds.
   struct Plan {
      Capabilities atStart; ///< kept until the sockets are open
      Capabilities kept;    ///< kept for good
      Capabilities missing; ///< needed, and not held
      bool isWhole = false; ///< everything is kept

      bool operator==( const Plan & ) const = default;
   };
   static Plan plan( const Configuration &configuration, Use use, const Capabilities &held );

   /// Drops what is not even needed for the start. Throws PrivilegesError, or std::system_error.
   Privileges( const Configuration &configuration, Use use );
   /// Drops what only the start needed. Throws std::system_error.
   void startIsOver();

   /// What is kept for good: "none", "CAP_NET_ADMIN", "all that it was started with".
   std::string text() const;

 private:
   Plan plan_;
};

} // namespace OrloAgent

#endif
