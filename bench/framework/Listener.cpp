#include "bench/framework/Listener.h"

namespace OrloBench {

void Listener::onVirtualRouterCount() {
   ++heard_;
}

} // namespace OrloBench
