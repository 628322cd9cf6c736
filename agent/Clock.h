// What time it is: the only way in which the agent asks.
#ifndef ORLOAGENT_CLOCK_H
#define ORLOAGENT_CLOCK_H

#include <chrono>
#include <functional>
#include <string>

namespace OrloAgent {

/// To the second, UTC: for people, who compare it with their own clocks. It may jump.
using Time = std::chrono::sys_seconds;
using Clock = std::function<Time()>;

inline Time systemTime() {
   return std::chrono::time_point_cast<std::chrono::seconds>( std::chrono::system_clock::now() );
}

/// Never jumps: for waiting.
using Instant = std::chrono::steady_clock::time_point;
using Stopwatch = std::function<Instant()>;

inline Instant steadyTime() {
   return std::chrono::steady_clock::now();
}

/// "2026-11-21T11:02:24Z" (RFC 3339)
std::string timeText( Time time );

} // namespace OrloAgent

#endif
