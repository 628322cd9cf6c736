// A listening socket on the event loop.
#ifndef ORLOAGENT_CONTROL_LISTENER_H
#define ORLOAGENT_CONTROL_LISTENER_H

#include "agent/EventLoop.h"
#include "agent/FileDescriptor.h"

#include <chrono>
#include <functional>
#include <string>

namespace OrloAgent {

/// Accepts connections, a few a turn. While the process has no descriptor or memory for another
/// one it leaves them in the kernel's queue and tries again after a pause.
class Listener {
 public:
   using Accepted = std::function<void( FileDescriptor connection )>;
   /// Hears, once, that nobody else can be accepted for now, and why; and once that it goes on.
   using Notice = std::function<void( const std::string & )>;

   /// `listening` is non-blocking and listens already. What `accepted` throws costs that one
   /// connection only. Throws std::system_error. `loop` must outlive the listener.
   Listener( EventLoop &loop, FileDescriptor listening, std::chrono::microseconds pause,
             Accepted accepted, Notice notice = {} );

   bool isPaused() const noexcept { return isPaused_; }

 private:
   void listen();
   void onReadable();
   void pause( const std::string &reason );
   void tell( const std::string &what ) const noexcept;

   EventLoop &loop_;
   FileDescriptor socket_;
   std::chrono::microseconds pause_;
   Accepted accepted_;
   Notice notice_;
   bool isPaused_ = false;
   bool isShort_ = false; // of something, since it was told; until nobody waits any more
   EventLoop::Subscription subscription_; // for connections, or for the end of the pause
};

} // namespace OrloAgent

#endif
