// Who is told, in the benchmarks of notification.
#ifndef ORLOBENCH_FRAMEWORK_LISTENER_H
#define ORLOBENCH_FRAMEWORK_LISTENER_H

#include "platform/HardwareStatus.h"

namespace OrloBench {

/// Counts what it hears. Its function is in another file, so that nobody knows what a call comes
/// to.
class Listener : public Routing::Fhrp::Hardware::Status::NotifieeConst {
 public:
   void onVirtualRouterCount() override;
   Quor::U64 heard() const noexcept { return heard_; }

 private:
   Quor::U64 heard_ = 0;
};

} // namespace OrloBench

#endif
