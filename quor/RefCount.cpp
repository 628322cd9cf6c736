#include "quor/RefCount.h"

namespace Quor {

bool RefCount::threadSafe_ = false;

void enableThreadSafePointersIs( bool on ) noexcept {
   RefCount::threadSafe_ = on;
}

bool enableThreadSafePointers() noexcept {
   return RefCount::isThreadSafe();
}

} // namespace Quor
