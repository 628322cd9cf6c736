#include "agent/control/OutputBuffer.h"

#include <cerrno>
#include <sys/socket.h>

namespace OrloAgent {

bool OutputBuffer::sendTo( int socket ) {
   std::size_t sent = 0;
   bool good = true;
   while( sent < bytes_.size() ) {
      const ssize_t count = ::send( socket, bytes_.data() + sent, bytes_.size() - sent,
                                    MSG_DONTWAIT | MSG_NOSIGNAL );
      if( count >= 0 ) {
         sent += static_cast<std::size_t>( count );
      } else if( errno != EINTR ) {
         good = errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS || errno == ENOMEM;
         break;
      }
   }
   bytes_.erase( 0, sent );
   if( bytes_.empty() ) {
      bytes_.shrink_to_fit(); // one long answer is no reason to hold its memory for ever
   }
   return good;
}

} // namespace OrloAgent
