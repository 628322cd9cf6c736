// Keeps the appointments that the hardware's helper makes at the end of each of its work() calls.
#ifndef ORLOAGENT_HARDWAREWAITING_H
#define ORLOAGENT_HARDWAREWAITING_H

#include "agent/Clock.h"
#include "agent/Events.h"

namespace OrloAgent {

/// Calls `work` when the helper's descriptor is readable, and at the time that it gave. `events`
/// must outlive this object.
class HardwareWaiting {
 public:
   HardwareWaiting( Events &events, Stopwatch stopwatch, std::function<void()> work );

   /// As Programming::onWait: instead of what was to be waited for until now.
   void waitFor( int fd, Instant next );

 private:
   Events &events_;
   const Stopwatch stopwatch_;
   const std::function<void()> work_;
   int fd_ = -1;
   Instant next_ = Instant::max();
   Events::Subscription readable_;
   Events::Subscription timer_;
};

} // namespace OrloAgent

#endif
