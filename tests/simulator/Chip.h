// The hardware of a history: a table of slots that outlives the agents, says no, answers slowly,
// does half of what it is asked, loses entries, and notices who writes what need not be written.
#ifndef TESTS_SIMULATOR_CHIP_H
#define TESTS_SIMULATOR_CHIP_H

#include "OrloVrrpHelper/RetryingHelper.h"
#include "agent/Pair.h"
#include "tests/simulator/Random.h"
#include "tests/simulator/Trace.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Simulator {

using OrloAgent::Pair;

class Chip {
 public:
   struct Slot {
      Pair pair;
      bool isWhole = true;
      auto operator<=>( const Slot & ) const = default;
   };
   /// What it does wrong.
   struct Faults {
      bool takesNothing = false;
      bool keepsEverything = false;
      bool throws = false;
      bool isUnreadable = false;
      bool cannotBeOpened = false;
      bool doesHalves = false; ///< of what it refuses
      U32 atOnce = ~U32{ 0 };  ///< in one call
      bool any() const {
         return takesNothing || keepsEverything || throws || isUnreadable || cannotBeOpened ||
                atOnce != ~U32{ 0 };
      }
   };
   struct Change {
      U32 index;
      Pair pair;
      bool isAdd;
   };

   Chip( Random &random, Trace &trace ) : random_( random ), trace_( trace ) {}

   /// What the agent loads. Throws when it cannot be opened.
   OrloHelper::VrrpSmHelper *helper( const OrloHelper::HelperSettings &settings );

   const std::map<U32, Slot> &slots() const noexcept { return slots_; }
   Faults faults;

   // Crashes.
   /// The agent dies after so many writes from now on; what it does then has no effect any more.
   void diesAfter( U64 writes ) { left_ = writes; }
   bool isDead() const noexcept { return left_ == 0; }
   void lives() { left_ = kForever; }

   // What happens to it beside.
   /// Somebody or something takes an entry; the helper is told or not.
   void loses( U32 index, bool isTold );
   bool hasNews() const noexcept { return !lost_.empty() || canAgain_; }
   void tellsToTryAgain() { canAgain_ = true; }

   // What has been written, for whoever checks it.
   std::vector<Change> takeChanges() { return std::exchange( changes_, {} ); }
   /// What should not have been written; empty when there was nothing.
   const std::string &violation() const noexcept { return violation_; }
   /// From here on it is held against what stood there then.
   void forgetExcuses() { excused_.clear(); }
   /// The agent could not know what it holds.
   void excuseEverything() { isAllExcused_ = true; }
   bool isEverythingExcused() const noexcept { return isAllExcused_; }
   void excuseNothing() { isAllExcused_ = false; }
   U64 writes() const noexcept { return writes_; }
   U64 refusals() const noexcept { return refusals_; }

   /// Called with each write: time goes on.
   std::function<void()> onWrite = [] {};

 private:
   class Helper;

   std::string add( U32 index, const Pair &pair );
   std::string remove( U32 index, const Pair &pair );
   std::string refuse( U32 index, const std::string &why );
   void write( U32 index, const std::optional<Slot> &slot );
   void violate( const std::string &what, U32 index, const Pair &pair );

   static constexpr U64 kForever = ~U64{ 0 };

   Random &random_;
   Trace &trace_;
   std::map<U32, Slot> slots_;
   std::set<U32> lost_; // and not told of yet
   bool canAgain_ = false;
   U64 left_ = kForever;
   std::vector<Change> changes_;
   std::set<U32> excused_;
   bool isAllExcused_ = false;
   std::string violation_;
   U64 writes_ = 0;
   U64 refusals_ = 0;
};

std::string text( const Pair &pair );

} // namespace Simulator

#endif
