#include "agent/HardwareWaiting.h"

#include "OrloVrrpHelper/HardwareWork.h"

#include <algorithm>

namespace OrloAgent {

using OrloHelper::HardwareWork;

HardwareWaiting::HardwareWaiting( Events &events, Stopwatch stopwatch, std::function<void()> work )
      : events_( events ), stopwatch_( std::move( stopwatch ) ), work_( std::move( work ) ) {}

void HardwareWaiting::waitFor( int fd, Instant next ) {
   if( fd != fd_ ) {
      readable_ = {};
      readable_ = fd < 0 ? Events::Subscription() : events_.onReadable( fd, work_ );
      fd_ = fd;
   }
   if( next == next_ ) {
      return;
   }
   next_ = next;
   const auto delay = std::chrono::duration_cast<std::chrono::microseconds>(
         std::max( next - stopwatch_(), Instant::duration::zero() ) );
   timer_ = next == HardwareWork::kNever ? Events::Subscription() : events_.after( delay, [this] {
      next_ = HardwareWork::kNever;
      work_();
   } );
}

} // namespace OrloAgent
