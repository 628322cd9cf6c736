// The agent's one event loop (sd-event(3)), with callbacks that may throw.
#ifndef ORLOAGENT_EVENTLOOP_H
#define ORLOAGENT_EVENTLOOP_H

#include "agent/Events.h"

#include <cstdint>
#include <exception>

struct sd_event;
struct sd_event_source;

namespace OrloAgent {

/// Runs callbacks one at a time, on the thread that calls run(). Must outlive the subscriptions
/// that it gives. All operations throw std::system_error when the system refuses.
class EventLoop final : public Events {
 public:
   EventLoop();
   ~EventLoop();
   EventLoop( const EventLoop & ) = delete;
   EventLoop &operator=( const EventLoop & ) = delete;

   Subscription onReadable( int fd, Callback callback ) override;
   /// The same while `fd` takes more, or is broken; instead of onReadable().
   Subscription onWritable( int fd, Callback callback );
   /// Calls `callback` for each arrival of the signal, instead of what the signal does by itself.
   /// Blocks the signal in the calling thread.
   Subscription onSignal( int signal, Callback callback );
   Subscription after( std::chrono::microseconds delay, Callback callback ) override;

   /// Answers the service manager's watchdog from inside the loop, when there is one
   /// (sd_event_set_watchdog(3)): a loop that hangs is restarted.
   void keepWatchdog();

   /// Runs until stop(). What a callback throws ends the loop and comes out here.
   void run();
   void stop();

 private:
   struct State;

   Subscription onEvents( int fd, std::uint32_t events, Callback callback );
   int call( State &state ) noexcept;

   sd_event *event_ = nullptr;
   std::exception_ptr thrown_;
};

} // namespace OrloAgent

#endif
