#include "agent/control/Credentials.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>
#include <system_error>

namespace OrloAgent {

namespace {

[[noreturn]] void fail( int error ) {
   throw std::system_error( error, std::generic_category(), "cannot tell who is connected" );
}

} // namespace

Credentials Credentials::ofPeer( int socket ) {
   ucred kernels{};
   socklen_t length = sizeof( kernels );
   if( getsockopt( socket, SOL_SOCKET, SO_PEERCRED, &kernels, &length ) < 0 ) {
      fail( errno );
   }
   Credentials found{ kernels.uid, kernels.gid, kernels.pid, {} };
   for( ;; ) {
      length = static_cast<socklen_t>( found.groups.size() * sizeof( gid_t ) );
      if( getsockopt( socket, SOL_SOCKET, SO_PEERGROUPS, found.groups.data(), &length ) == 0 ) {
         found.groups.resize( length / sizeof( gid_t ) );
         return found;
      }
      // The kernel says how many it has.
      if( errno != ERANGE || length <= found.groups.size() * sizeof( gid_t ) ) {
         fail( errno );
      }
      found.groups.resize( length / sizeof( gid_t ) );
   }
}

bool Credentials::mayChange( uid_t agent, std::optional<gid_t> group ) const {
   return uid == 0 || uid == agent ||
          ( group && ( gid == *group ||
                       std::find( groups.begin(), groups.end(), *group ) != groups.end() ) );
}

} // namespace OrloAgent
