// Who is at the other end of a Unix socket.
#ifndef ORLOAGENT_CONTROL_CREDENTIALS_H
#define ORLOAGENT_CONTROL_CREDENTIALS_H

#include <optional>
#include <vector>

#include <sys/types.h>

namespace OrloAgent {

/// What the kernel noted of a process when it connected.
struct Credentials {
   uid_t uid = 0;
   gid_t gid = 0;
   pid_t pid = 0;
   std::vector<gid_t> groups; ///< the supplementary ones

   /// Throws std::system_error.
   static Credentials ofPeer( int socket );

   /// Whether this is root, the agent's own user, or a member of `group`.
   bool mayChange( uid_t agent, std::optional<gid_t> group ) const;
};

} // namespace OrloAgent

#endif
