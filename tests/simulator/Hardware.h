// What all hardware of histories has in common: it outlives the agents, says no, dies with them in
// the middle of its writes, and notices who writes what need not be written.
#ifndef TESTS_SIMULATOR_HARDWARE_H
#define TESTS_SIMULATOR_HARDWARE_H

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

class Hardware {
 public:
   struct Slot {
      Pair pair;
      bool isWhole = true;
      U32 svi = 0; ///< that is written there, where the hardware has that
      bool operator==( const Slot & ) const = default;
   };
   using Slots = std::map<U32, Slot>;
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
   /// Behind those of the hardware: entries of ours that belong to no index.
   static constexpr U32 kStray = 1'000'000;

   virtual ~Hardware() = default;

   /// What the agent loads. Throws when it cannot be opened.
   virtual OrloHelper::VrrpSmHelper *helper( const OrloHelper::HelperSettings &settings ) = 0;
   /// What it holds, strays included.
   virtual Slots slots() const = 0;
   Faults faults;

   // Crashes.
   /// The agent dies after so many writes from now on; what it does then has no effect any more.
   void diesAfter( U64 writes ) { left_ = writes; }
   bool isDead() const noexcept { return left_ == 0; }
   void lives() { left_ = kForever; }

   // What happens to it beside.
   enum class Loss { none, told, untold }; ///< untold: the agent cannot get to know
   /// Somebody or something takes or changes an entry.
   virtual Loss loses( U32 index, bool isTold ) = 0;
   virtual bool hasNews() const { return false; }
   virtual void tellsToTryAgain() {}
   /// It is another one now, as far as that is possible. The loss is that of all it held.
   virtual Loss isReplaced() { return Loss::none; }
   /// What else is not in order beside its entries; empty when all is.
   virtual std::string flaw() const { return {}; }

   // What has been written, for whoever checks it.
   std::vector<Change> takeChanges() { return std::exchange( changes_, {} ); }
   /// What should not have been written; empty when there was nothing.
   const std::string &violation() const noexcept { return violation_; }
   /// From here on it is held against what stood there then.
   void forgetExcuses();
   bool isEverythingExcused() const noexcept { return isAllExcused_; }
   U64 writes() const noexcept { return writes_; }
   U64 refusals() const noexcept { return refusals_; }

   /// Called with each write: time goes on.
   std::function<void()> onWrite = [] {};

 protected:
   Hardware( Random &random, Trace &trace ) : random_( random ), trace_( trace ) {}

   /// Throws when the agent is dead.
   void needsLife() const;
   /// Right after a write.
   void wrote( const Change &change, const std::string &how = {} );
   /// A refusal is coming.
   void refuses( U32 index );
   /// The agent could not know what it holds.
   void excuseEverything() { isAllExcused_ = true; }
   bool isExcused( U32 index ) const { return isAllExcused_ || excused_.contains( index ); }
   void violate( const std::string &what, U32 index, const Pair &pair );

   Random &random_;
   Trace &trace_;

 private:
   static constexpr U64 kForever = ~U64{ 0 };

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
