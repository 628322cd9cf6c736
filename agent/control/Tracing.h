// The library's traces while the agent runs: switched from the command line and by clients, who
// then hear what they asked for.
#ifndef ORLOAGENT_CONTROL_TRACING_H
#define ORLOAGENT_CONTROL_TRACING_H

#include "agent/Clock.h"
#include "agent/control/ControlHandler.h"
#include "quor/Trace.h"

#include <list>
#include <map>
#include <string_view>
#include <vector>

namespace OrloAgent {

/// Owns the process's trace sink while it lives; one. A level is on while the command line or
/// anybody who follows wants it. What the command line wants goes to standard error.
class Tracing {
 public:
   explicit Tracing( Clock clock );
   ~Tracing();
   Tracing( const Tracing & ) = delete;
   Tracing &operator=( const Tracing & ) = delete;

   /// The facility's own levels, beside those of followers. RangeException when there is no such
   /// facility, naming the nearest, or the levels are no levels.
   void levelsAre( const std::string &facility, const std::string &levels );
   /// Switches levels on, and tells what comes of them: {"at", "facility", "level", "source",
   /// "line", "function", "message"}. Until the Following goes. RangeException as above.
   std::unique_ptr<Following> follow( const std::string &facility, const std::string &levels,
                                      ControlHandler::Emit emit );

   static const std::vector<std::string_view> &facilities();

 private:
   class Follower;

   void sink( const Quor::TraceRecord &record );
   void apply( const std::string &facility );

   const Clock clock_;
   std::map<std::string, Quor::TraceLevels> own_;
   std::list<Follower *> followers_;
   bool isTelling_ = false;
};

} // namespace OrloAgent

#endif
