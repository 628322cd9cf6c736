// The hardware without a programmer: for whoever only looks at it, or empties it.
#ifndef ORLOAGENT_HARDWARE_H
#define ORLOAGENT_HARDWARE_H

#include "agent/Audit.h"
#include "agent/Clock.h"
#include "agent/Configuration.h"
#include "agent/Library.h"
#include "agent/input/Devices.h"

#include <map>
#include <string>

namespace OrloAgent {

/// Owns the helper of a configuration, and what it is loaded from.
class Hardware {
 public:
   using Trouble = std::function<void( const std::string & )>;
   enum class Use { look, change };

   /// Loads, and opens the hardware: to look at it is allowed while an agent has it, and changes
   /// nothing. Throws LibraryError. `trouble` takes what the administrator has to know, for as long
   /// as this object lives.
   Hardware( const Configuration &configuration, Use use, const Trouble &trouble );

   /// Compares what the hardware holds with what `verdicts` say is wanted on these interfaces.
   /// Throws std::runtime_error when it cannot be read, now or ever.
   Audit audit( const std::vector<Verdict> &verdicts ) const;

   struct Flushed {
      std::size_t removed = 0;
      std::size_t left = 0;                       ///< refused until the end
      std::map<std::string, std::size_t> reasons; ///< how often, as far as they are told
   };
   /// Removes every entry of ours. What the hardware refuses is asked for again until `limit` is
   /// over. Blocks that long at most. Throws std::runtime_error when it cannot be read.
   Flushed flush( std::chrono::milliseconds limit );

 private:
   std::size_t held( std::size_t asTold ) const;
   void countReasons( Flushed &flushed ) const;

   const std::vector<InterfaceConfiguration> interfaces_;
   const Quor::U32 indexes_;
   const PluginLibrary plugin_; // before what was made of it
   const HelperLibrary module_; // needs the plug-in
   const Quor::Ptr<OrloHelper::VrrpSmHelper> helper_;
};

} // namespace OrloAgent

#endif
