#include "agent/control/Listener.h"

#include <cerrno>
#include <exception>
#include <sys/socket.h>
#include <utility>

namespace OrloAgent {

namespace {

constexpr int kConnectionsOfTurn = 16;

} // namespace

Listener::Listener( EventLoop &loop, FileDescriptor listening, std::chrono::microseconds pause,
                    Accepted accepted )
      : loop_( loop ), socket_( std::move( listening ) ), pause_( pause ),
        accepted_( std::move( accepted ) ) {
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
            pause();
         }
         return;
      }
      try {
         accepted_( std::move( connection ) );
      } catch( const std::exception & ) {
         pause(); // whatever is short now will be so for the next connection, too
         return;
      }
   }
}

void Listener::pause() {
   isPaused_ = true;
   subscription_ = EventLoop::Subscription();
   subscription_ = loop_.after( pause_, [this] { listen(); } );
}

} // namespace OrloAgent
