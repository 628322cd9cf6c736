#include "tests/simulator/BridgeHardware.h"

#include "agent/hardware/bridge/BridgeHelper.h"

namespace Simulator {

using OrloAgent::BridgeDevice;
using OrloAgent::FakeBridge;
using OrloAgent::FakeBridgeKernel;
using OrloAgent::FdbState;
using OrloAgent::FoundRule;
using OrloAgent::IfIndex;
using OrloAgent::SlotFile;
using OrloAgent::VlanRule;

/// Between the helper and the bridge.
class BridgeHardware::Kernel final : public OrloAgent::BridgeKernel {
 public:
   explicit Kernel( BridgeHardware &hardware )
         : hardware_( hardware ), kernel_( hardware.bridge_ ) {
      hardware_.bridge_.news = {}; // only what comes from here on is heard
   }

   int fd() const override { return kernel_.fd(); }
   News news() override { return kernel_.news(); }
   BridgeDevice device() override {
      needsLuck();
      return kernel_.device();
   }
   std::vector<Pair> localEntries( IfIndex bridge ) override {
      if( hardware_.faults.isUnreadable ) {
         hardware_.excuseEverything();
         throw std::runtime_error( "the kernel does not list its entries" );
      }
      needsAnswers();
      return kernel_.localEntries( bridge );
   }
   std::vector<FdbState> entries( IfIndex bridge, std::span<const Pair> pairs ) override {
      needsAnswers();
      return kernel_.entries( bridge, pairs );
   }
   std::vector<std::pair<U32, FoundRule>> allRules( IfIndex bridge ) override {
      needsLuck();
      return kernel_.allRules( bridge );
   }
   std::vector<FoundRule> rules( IfIndex bridge, std::span<const U32> numbers ) override {
      needsAnswers();
      return kernel_.rules( bridge, numbers );
   }
   void change( IfIndex bridge, std::span<Change> changes ) override {
      U32 done = 0;
      for( Change &change : changes ) {
         needsAnswers();
         if( hardware_.refuses( change, done ) ) {
            continue;
         }
         const FakeBridge before = hardware_.bridge_;
         kernel_.change( bridge, { &change, 1 } );
         ++done;
         hardware_.isDone( change, before );
      }
   }

 private:
   void needsAnswers() const { hardware_.needsLife(); }
   void needsLuck() const {
      needsAnswers();
      if( hardware_.faults.throws && hardware_.random_.chance( 300 ) ) {
         hardware_.excuseEverything();
         throw std::runtime_error( "the kernel has no memory" );
      }
   }

   BridgeHardware &hardware_;
   FakeBridgeKernel kernel_;
};

BridgeHardware::BridgeHardware( Random &random, Trace &trace, const Plan &plan )
      : Hardware( random, trace ), plan_( plan ) {
   trace.hides( folder_.path( "" ) );
   for( Quor::U16 vlan = 10; vlan < 60; ++vlan ) {
      bridge_.vlans.insert( vlan );
   }
}

OrloHelper::VrrpSmHelper *BridgeHardware::helper( const OrloHelper::HelperSettings &settings ) {
   if( faults.cannotBeOpened || isDead() ) {
      throw std::runtime_error( "the bridge's table is not there" );
   }
   return Quor::make<OrloAgent::BridgeHelper>( "br0", folder_.path( "slots" ), settings,
                                               std::make_unique<Kernel>( *this ) )
         .release();
}

std::vector<std::optional<Pair>> BridgeHardware::table() const {
   return SlotFile::read( folder_.path( "slots" ) );
}

U32 BridgeHardware::indexOf( const Pair &pair ) const {
   const auto slots = table();
   for( U32 index = 0; index < slots.size(); ++index ) {
      if( slots[index] == pair ) {
         return index;
      }
   }
   return kStray;
}

Hardware::Slots BridgeHardware::slots() const {
   std::map<Pair, FdbState> entries = bridge_.entries;
   std::map<U32, FoundRule> rules = bridge_.rules;
   Slots held;
   U32 index = 0;
   for( const std::optional<Pair> &pair : table() ) {
      if( pair && entries.erase( *pair ) != 0 ) {
         std::optional<VlanRule> rule;
         for( const auto &[name, svi] : plan_.svis ) {
            if( svi.secondaries.contains( pair->vlanId().number() ) ) {
               rule = VlanRule{ *pair, Bridging::VlanId( svi.vlan ) };
            }
         }
         const auto found = rules.find( index + 1 );
         held[index] = { .pair = *pair,
                         .isWhole = rule ? found != rules.end() && found->second == rule
                                         : found == rules.end() };
         rules.erase( index + 1 );
      }
      ++index;
   }
   U32 stray = kStray;
   for( const auto &[pair, state] : entries ) {
      held[stray++] = { .pair = pair };
   }
   for( const auto &[number, rule] : rules ) {
      held[stray++] = { .pair = rule ? rule->pair : Pair() };
   }
   return held;
}

Hardware::Loss BridgeHardware::loses( U32 index, bool isTold ) {
   const auto slots = table();
   if( index >= slots.size() || !slots[index] ) {
      return Loss::none;
   }
   trace_.line( "bridge: loses " + text( *slots[index] ) );
   if( !isTold ) {
      bridge_.entries.erase( *slots[index] );
      bridge_.news.isLossy = true;
   } else if( bridge_.rules.contains( index + 1 ) && random_.chance( 300 ) ) {
      bridge_.ruleIs( index + 1, std::nullopt );
   } else {
      bridge_.entryIs( *slots[index], FdbState::absent );
   }
   return Loss::told;
}

bool BridgeHardware::hasNews() const {
   const auto &news = bridge_.news;
   return news.isLossy || news.isDevice || !news.entries.empty() || !news.rules.empty();
}

Hardware::Loss BridgeHardware::isReplaced() {
   trace_.line( "bridge: is another" );
   bridge_.deviceIs( { bridge_.device.ifindex + 1, true, true } );
   return Loss::told;
}

bool BridgeHardware::refuses( Change &change, U32 done ) {
   const bool isAdd = change.what == Change::What::entryAdd || change.what == Change::What::ruleAdd;
   const U32 index = indexOf( change.pair );
   if( done >= faults.atOnce ) {
      change.error = OrloAgent::BridgeKernel::kNoAnswer;
   } else if( isAdd ? faults.takesNothing : faults.keepsEverything ) {
      change.error = EBUSY;
   } else {
      return false;
   }
   Hardware::refuses( index );
   trace_.line( "bridge: refuses " + text( change.pair ) );
   return true;
}

void BridgeHardware::isDone( const Change &change, const FakeBridge &before ) {
   const bool isEntry =
         change.what == Change::What::entryAdd || change.what == Change::What::entryDel;
   const bool isSame = before.entries == bridge_.entries && before.rules == bridge_.rules;
   const U32 index = indexOf( change.pair );
   if( change.error != 0 ) {
      Hardware::refuses( index );
      return;
   }
   if( isSame && !isExcused( index ) ) {
      violate( "the bridge is written what it is already", index, change.pair );
   }
   if( !isSame && isEntry ) {
      wrote( { index, change.pair, change.what == Change::What::entryAdd } );
   }
}

} // namespace Simulator
