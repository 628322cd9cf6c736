// The agent's one event loop (sd-event(3)), with callbacks that may throw.
#ifndef ORLOAGENT_EVENTLOOP_H
#define ORLOAGENT_EVENTLOOP_H

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>

struct sd_event;
struct sd_event_source;

namespace OrloAgent {

/// Runs callbacks one at a time, on the thread that calls run(). Must outlive the subscriptions
/// that it gives. All operations throw std::system_error when the system refuses.
class EventLoop {
 public:
   using Callback = std::function<void()>;

   /// Ends with this object; destroying it inside its own callback is allowed.
   class Subscription {
    public:
      Subscription() noexcept;
      Subscription( Subscription &&other ) noexcept;
      Subscription &operator=( Subscription &&other ) noexcept;
      ~Subscription();

    private:
      friend class EventLoop;
      struct State;
      std::unique_ptr<State> state_;
   };

   EventLoop();
   ~EventLoop();
   EventLoop( const EventLoop & ) = delete;
   EventLoop &operator=( const EventLoop & ) = delete;

   /// Calls `callback` again and again while `fd`, which stays the caller's, has something to read,
   /// has come to its end or is broken. One descriptor has one subscription at a time, this or the
   /// next; end the old one before asking for the new one.
   Subscription onReadable( int fd, Callback callback );
   /// The same while `fd` takes more, or is broken.
   Subscription onWritable( int fd, Callback callback );
   /// Calls `callback` for each arrival of the signal, instead of what the signal does by itself.
   /// Blocks the signal in the calling thread.
   Subscription onSignal( int signal, Callback callback );
   /// Calls `callback` once.
   Subscription after( std::chrono::microseconds delay, Callback callback );

   /// Answers the service manager's watchdog from inside the loop, when there is one
   /// (sd_event_set_watchdog(3)): a loop that hangs is restarted.
   void keepWatchdog();

   /// Runs until stop(). What a callback throws ends the loop and comes out here.
   void run();
   void stop();

 private:
   Subscription subscription( Callback callback );
   Subscription onEvents( int fd, std::uint32_t events, Callback callback );
   int call( Subscription::State &state ) noexcept;

   sd_event *event_ = nullptr;
   std::exception_ptr thrown_;
};

} // namespace OrloAgent

#endif
