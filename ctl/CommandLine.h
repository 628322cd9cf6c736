// orloctl's command line.
#ifndef ORLOCTL_COMMANDLINE_H
#define ORLOCTL_COMMANDLINE_H

#include <nlohmann/json.hpp>

#include <string>

namespace OrloCtl {

/// What is asked of the agent, and how the answer is shown.
struct CommandLine {
   enum class Color { automatic, always, never };

   std::string command; ///< empty: only `help` is to be shown
   nlohmann::json arguments = nlohmann::json::object();
   bool follows = false; ///< events until somebody ends it
   std::string help;

   std::string socket;
   double timeout = 0; ///< seconds, for each piece of the answer
   bool json = false;
   bool watch = false; ///< again every second
   Color color = Color::automatic;

   /// Throws Failure of status usage.
   static CommandLine read( int argc, const char *const *argv );
};

} // namespace OrloCtl

#endif
