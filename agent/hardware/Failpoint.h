// Lets a test end the process between any two writes to the hardware, or have slow hardware.
#ifndef ORLOAGENT_HARDWARE_FAILPOINT_H
#define ORLOAGENT_HARDWARE_FAILPOINT_H

namespace OrloAgent {

/// With ORLO_FAILPOINT=N in the environment the N-th hit() of the process kills it, as SIGKILL from
/// outside would, and says before where on standard error. With ORLO_WRITE_DELAY=N each takes N
/// microseconds. Without them a hit costs two comparisons.
class Failpoint {
 public:
   /// Call right before each write to something that outlives the process; `what` is written.
   static void hit( const char *what ) noexcept;
};

} // namespace OrloAgent

#endif
