#include "agent/Clock.h"

#include <array>
#include <ctime>

namespace OrloAgent {

std::string timeText( Time time ) {
   const std::time_t seconds = time.time_since_epoch().count();
   std::tm parts{};
   gmtime_r( &seconds, &parts );
   std::array<char, 64> text{};
   std::strftime( text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts );
   return text.data();
}

} // namespace OrloAgent
