// A listening socket on the event loop.
#ifndef ORLOAGENT_CONTROL_LISTENER_H
#define ORLOAGENT_CONTROL_LISTENER_H

#include "agent/EventLoop.h"
#include "agent/FileDescriptor.h"

#include <chrono>
#include <functional>

namespace OrloAgent {

/// Accepts connections, a few a turn. While the process has no descriptor or memory for another
/// one it leaves them in the kernel's queue and tries again after a pause.
class Listener {
 public:
   using Accepted = std::function<void( FileDescriptor connection )>;

   /// `listening` is non-blocking and listens already. What `accepted` throws costs that one
   /// connection only. Throws std::system_error. `loop` must outlive the listener.
   Listener( EventLoop &loop, FileDescriptor listening, std::chrono::microseconds pause,
             Accepted accepted );

   bool isPaused() const noexcept { return isPaused_; }

 private:
   void listen();
   void onReadable();
   void pause();

   EventLoop &loop_;
   FileDescriptor socket_;
   std::chrono::microseconds pause_;
   Accepted accepted_;
   bool isPaused_ = false;
   EventLoop::Subscription subscription_; // for connections, or for the end of the pause
};

} // namespace OrloAgent

#endif
