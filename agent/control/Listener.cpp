#include "agent/control/Listener.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <sys/socket.h>
#include <utility>

namespace OrloAgent {

namespace {

constexpr int kConnectionsOfTurn = 16;

} // namespace

Listener::Listener( EventLoop &loop, FileDescriptor listening, std::chrono::microseconds pause,
                    Accepted accepted, Notice notice )
      : loop_( loop ), socket_( std::move( listening ) ), pause_( pause ),
        accepted_( std::move( accepted ) ), notice_( std::move( notice ) ) {
   // The loop's first timer takes a descriptor. It is needed when there are none.
   subscription_ = loop_.after( pause_, [] {} );
   listen();
}

void Listener::listen() {
   isPaused_ = false;
   subscription_ = EventLoop::Subscription();
   subscription_ = loop_.onReadable( socket_.get(), [this] { onReadable(); } );
}

void Listener::onReadable() {
   for( int i = 0; i < kConnectionsOfTurn; ++i ) {
      FileDescriptor connection(
            accept4( socket_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC ) );
      if( connection.get() < 0 ) {
         if( errno == EINTR || errno == ECONNABORTED ) {
            continue;
         }
         if( errno != EAGAIN && errno != EWOULDBLOCK ) {
            pause( std::strerror( errno ) );
         } else if( isShort_ ) {
            isShort_ = false;
            tell( "clients are accepted again" );
         }
         return;
      }
      try {
         accepted_( std::move( connection ) );
      } catch( const std::exception &error ) {
         pause( error.what() ); // whatever is short now will be so for the next connection, too
         return;
      }
   }
}

void Listener::pause( const std::string &reason ) {
   isPaused_ = true;
   if( !isShort_ ) {
      isShort_ = true;
      tell( "cannot accept another client: " + reason + "; it is tried again and again" );
   }
   subscription_ = EventLoop::Subscription();
   subscription_ = loop_.after( pause_, [this] { listen(); } );
}

void Listener::tell( const std::string &what ) const noexcept {
   try {
      if( notice_ ) {
         notice_( what );
      }
   } catch( ... ) { // only the telling failed
   }
}

} // namespace OrloAgent
