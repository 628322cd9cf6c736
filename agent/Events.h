// What the parts of the agent may wait for: the event loop as they see it. EventLoop is the real
// one; simulators bring theirs, with a clock of their own.
#ifndef ORLOAGENT_EVENTS_H
#define ORLOAGENT_EVENTS_H

#include <chrono>
#include <functional>
#include <memory>

namespace OrloAgent {

/// Calls back one at a time, on its one thread. Must outlive the subscriptions that it gives. All
/// operations throw std::system_error when the system refuses.
class Events {
 public:
   using Callback = std::function<void()>;

   /// Ends with this object; destroying it inside its own callback is allowed.
   class Subscription {
    public:
      /// What is waited for, for as long as it lives.
      struct Source {
         Source() = default;
         virtual ~Source() = default;
         Source( const Source & ) = delete;
         Source &operator=( const Source & ) = delete;
      };
      Subscription() noexcept = default; ///< to nothing
      explicit Subscription( std::unique_ptr<Source> source ) noexcept
            : source_( std::move( source ) ) {}

    private:
      std::unique_ptr<Source> source_;
   };

   /// Calls `callback` again and again while `fd`, which stays the caller's, has something to read,
   /// has come to its end or is broken. One descriptor has one subscription at a time; end the old
   /// one before asking for the new one.
   virtual Subscription onReadable( int fd, Callback callback ) = 0;
   /// Calls `callback` once.
   virtual Subscription after( std::chrono::microseconds delay, Callback callback ) = 0;

 protected:
   ~Events() = default;
};

} // namespace OrloAgent

#endif
