#include "tests/unit/conformance/WrongHelpers.h"

#include <algorithm>
#include <stdexcept>

namespace ConformanceTests {

namespace {

using Mac = Pelmo::EthAddr;
using Quor::U16;

Pair pairOf( const Mac &mac, U32 vlan ) {
   return { Bridging::VlanId( static_cast<U16>( vlan ) ), mac };
}

// At the start

struct AsksForNothing : FakeHelper {
   AsksForNothing( FakeTable &table, const HelperSettings &settings )
         : FakeHelper( table, settings ) {
      syncCurrentStateOnInitIs( false );
   }
};

struct SeesGhosts : FakeHelper {
   using FakeHelper::FakeHelper;
   void syncVrrpStateOnInit( const State &state ) override {
      FakeHelper::syncVrrpStateOnInit( state );
      state->virtualRouterIndexIs( pairOf( Mac( 0, 0x5e00, 0x01ff ), 10 ), 0 );
   }
};

struct NeedsAnIndex : FakeHelper {
   NeedsAnIndex( FakeTable &table, const HelperSettings &settings )
         : FakeHelper( table, settings ) {
      if( settings.indexes == 0 ) {
         throw std::invalid_argument( "no index" );
      }
   }
};

struct GivesWhatIsBeyond : FakeHelper {
   using FakeHelper::FakeHelper;
   void syncVrrpStateOnInit( const State &state ) override {
      const std::vector<Entry> all = readAll();
      FakeHelper::syncVrrpStateOnInit( state );
      for( const Entry &entry : all ) {
         state->virtualRouterIndexIs( entry.pair, *entry.index );
      }
   }
};

struct DeafWhileItStarts : FakeHelper {
   using FakeHelper::FakeHelper;
   void deleteVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      if( !syncCurrentStateOnInit() ) {
         FakeHelper::deleteVirtualRouterMac( mac, vlan, index );
      }
   }
};

struct TouchesWhatItLooksAt : FakeHelper {
   TouchesWhatItLooksAt( FakeTable &table, const HelperSettings &settings )
         : FakeHelper( table, settings ) {
      if( settings.isReadOnly ) {
         table.slots.clear();
      }
   }
};

struct LeavesTwins : FakeHelper {
   using FakeHelper::FakeHelper;
   bool isStarting = false;
   void syncVrrpStateOnInit( const State &state ) override {
      isStarting = true;
      FakeHelper::syncVrrpStateOnInit( state );
      isStarting = false;
   }
   void remove( std::span<Write> writes ) override {
      if( !isStarting ) {
         FakeHelper::remove( writes );
      }
   }
};

struct AdoptsEveryVlan : FakeHelper {
   using FakeHelper::FakeHelper;
   void syncVrrpStateOnInit( const State &state ) override {
      const std::vector<Entry> all = readAll();
      FakeHelper::syncVrrpStateOnInit( state );
      for( const Entry &entry : all ) {
         if( entry.pair.vlanId().number() == 0 ) {
            state->virtualRouterIndexIs( entry.pair, *entry.index );
         }
      }
   }
};

// Writing

struct OffByOne : FakeHelper {
   using FakeHelper::FakeHelper;
   void add( std::span<Write> writes ) override {
      for( const Write &write : writes ) {
         table_.slots[( write.index + 1 ) % indexes()] = write.pair;
      }
   }
};

struct KeepsEverything : FakeHelper {
   using FakeHelper::FakeHelper;
   void remove( std::span<Write> ) override {}
};

struct ForgetsTheLastIndex : FakeHelper {
   using FakeHelper::FakeHelper;
   void add( std::span<Write> writes ) override {
      FakeHelper::add( writes );
      table_.slots.erase( indexes() - 1 );
   }
};

struct SaysWhatItOnceSaw : FakeHelper {
   using FakeHelper::FakeHelper;
   mutable std::map<U32, Pair> seen;
   std::optional<Pair> slot( U32 index ) const override {
      if( const auto pair = FakeHelper::slot( index ) ) {
         return seen.emplace( index, *pair ).first->second;
      }
      return std::nullopt;
   }
};

struct CannotWait : FakeHelper {
   using FakeHelper::FakeHelper;
   Time last{};
   Time work( Time now ) override {
      last = now;
      return FakeHelper::work( now );
   }
   void addVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      FakeHelper::addVirtualRouterMac( mac, vlan, index );
      work( last );
   }
};

struct TakesNoUsedIndex : FakeHelper {
   using FakeHelper::FakeHelper;
   void addVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      if( index >= indexes() || !slot( index ) ) {
         FakeHelper::addVirtualRouterMac( mac, vlan, index );
      }
   }
};

struct HasItAlready : FakeHelper {
   using FakeHelper::FakeHelper;
   bool has( const Pair &pair ) const {
      return std::any_of( table_.slots.begin(), table_.slots.end(),
                          [&]( const auto &slot ) { return slot.second == pair; } );
   }
   void addVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      if( !has( pairOf( mac, vlan ) ) ) {
         FakeHelper::addVirtualRouterMac( mac, vlan, index );
      }
   }
};

struct CannotTrade : HasItAlready {
   using HasItAlready::HasItAlready;
   void addVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      if( !has( pairOf( mac, vlan ) ) || !slot( index ) ) {
         FakeHelper::addVirtualRouterMac( mac, vlan, index );
      }
   }
};

struct RemovesAfterwards : FakeHelper {
   using FakeHelper::FakeHelper;
   std::vector<U32> toFree;
   void remove( std::span<Write> writes ) override {
      for( const Write &write : writes ) {
         toFree.push_back( write.index );
      }
   }
   void add( std::span<Write> writes ) override {
      FakeHelper::add( writes );
      for( const U32 index : std::exchange( toFree, {} ) ) {
         table_.slots.erase( index );
      }
   }
};

struct WritesAllTheTime : FakeHelper {
   using FakeHelper::FakeHelper;
   Time work( Time now ) override {
      lostAll();
      return FakeHelper::work( now );
   }
};

struct WritesForInterfaces : FakeHelper {
   using FakeHelper::FakeHelper;
   void interfacesAre( const std::vector<OrloHelper::RoutedInterface> & ) override { lostAll(); }
};

struct WrapsIndexes : FakeHelper {
   using FakeHelper::FakeHelper;
   void addVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      FakeHelper::addVirtualRouterMac( mac, vlan, indexes() ? index % indexes() : index );
   }
};

// Restarts

struct WritesWhatItAdopted : FakeHelper {
   using FakeHelper::FakeHelper;
   void initializationComplete() override { lostAll(); }
};

struct CannotAdoptMany : FakeHelper {
   using FakeHelper::FakeHelper;
   void syncVrrpStateOnInit( const State &state ) override {
      FakeHelper::syncVrrpStateOnInit( state );
      if( state->virtualRouterIndexes().size() > 4 ) {
         state->virtualRouterIndexDelAll();
      }
   }
};

struct StartsOnce : FakeHelper {
   using FakeHelper::FakeHelper;
   bool hasStarted = false;
   void syncVrrpStateOnInit( const State &state ) override {
      if( !std::exchange( hasStarted, true ) ) {
         FakeHelper::syncVrrpStateOnInit( state );
      }
   }
};

struct TrustsItsJournal : FakeHelper {
   using FakeHelper::FakeHelper;
   void addVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      table_.journal[index] = pairOf( mac, vlan );
      FakeHelper::addVirtualRouterMac( mac, vlan, index );
   }
   void deleteVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      table_.journal.erase( index );
      FakeHelper::deleteVirtualRouterMac( mac, vlan, index );
   }
   void syncVrrpStateOnInit( const State &state ) override {
      FakeHelper::syncVrrpStateOnInit( state );
      state->virtualRouterIndexDelAll();
      for( const auto &[index, pair] : table_.journal ) {
         state->virtualRouterIndexIs( pair, index );
      }
   }
};

// Refusals

struct HidesRefusals : FakeHelper {
   using FakeHelper::FakeHelper;
   std::optional<Refusal> refusal( U32 ) const override { return std::nullopt; }
};

struct AsksAllTheTime : FakeHelper {
   using FakeHelper::FakeHelper;
   Time work( Time now ) override {
      tryAgainNow();
      return FakeHelper::work( now );
   }
};

struct KeepsOldWishes : FakeHelper {
   using FakeHelper::FakeHelper;
   void deleteVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      if( !refusal( index ) ) {
         FakeHelper::deleteVirtualRouterMac( mac, vlan, index );
      }
   }
};

struct DropsNewWishes : FakeHelper {
   using FakeHelper::FakeHelper;
   void addVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      if( !refusal( index ) ) {
         FakeHelper::addVirtualRouterMac( mac, vlan, index );
      }
   }
};

struct GivesUp : FakeHelper {
   using FakeHelper::FakeHelper;
   void add( std::span<Write> writes ) override {
      FakeHelper::add( writes );
      for( Write &write : writes ) {
         if( write.refusal.empty() && refusal( write.index ) ) {
            table_.slots.erase( write.index ); // it does not ask a second time
         }
      }
   }
};

struct ConfusedByRefusals : FakeHelper {
   using FakeHelper::FakeHelper;
   void syncVrrpStateOnInit( const State &state ) override {
      FakeHelper::syncVrrpStateOnInit( state );
      for( const auto &[index, pair] : std::map( table_.slots ) ) {
         if( table_.refuses ) {
            state->virtualRouterIndexIs( pair, index == 0 ? 1 : 0 );
         }
      }
   }
};

struct TakesNoForYes : FakeHelper {
   using FakeHelper::FakeHelper;
   void remove( std::span<Write> writes ) override {
      FakeHelper::remove( writes );
      for( Write &write : writes ) {
         write.refusal.clear();
      }
   }
};

struct RemovesInTheEnd : FakeHelper {
   using FakeHelper::FakeHelper;
   void addVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      const auto known = index < indexes() ? refusal( index ) : std::nullopt;
      if( !known || !known->isRemoval ) {
         FakeHelper::addVirtualRouterMac( mac, vlan, index );
      }
   }
};

// Repairs

struct RepairsAll : FakeHelper {
   using FakeHelper::FakeHelper;
   void repair() override {
      FakeHelper::repair();
      lostAll();
   }
};

struct NeverRepairs : FakeHelper {
   using FakeHelper::FakeHelper;
   void repair() override {}
};

struct OnlyPutsBack : FakeHelper {
   using FakeHelper::FakeHelper;
   void repair() override {
      for( U32 index = 0; index < indexes(); ++index ) {
         if( wanted( index ) && !table_.holds( index, *wanted( index ) ) ) {
            lost( index );
         }
      }
   }
};

struct AnyIndexWillDo : HasItAlready {
   using HasItAlready::HasItAlready;
   void repair() override {
      for( U32 index = 0; index < indexes(); ++index ) {
         if( wanted( index ) && !has( *wanted( index ) ) ) {
            lost( index );
         }
      }
   }
};

struct ForgetsEveryTwentieth : FakeHelper {
   using FakeHelper::FakeHelper;
   int adds = 0;
   void addVirtualRouterMac( const Mac &mac, U32 vlan, U32 index ) override {
      if( ++adds % 20 != 0 ) {
         FakeHelper::addVirtualRouterMac( mac, vlan, index );
      }
   }
};

template <class Helper>
Quor::Ptr<OrloHelper::VrrpSmHelper> make( FakeTable &table, const HelperSettings &settings ) {
   return Quor::make<Helper>( table, settings );
}

} // namespace

const std::map<std::string, Maker> &wrongHelpers() {
   static const std::map<std::string, Maker> all{
         { "adoption-is-asked-for", make<AsksForNothing> },
         { "empty-hardware", make<SeesGhosts> },
         { "no-index", make<NeedsAnIndex> },
         { "fewer-indexes", make<GivesWhatIsBeyond> },
         { "leftovers", make<DeafWhileItStarts> },
         { "looking", make<TouchesWhatItLooksAt> },
         { "a-pair-twice", make<LeavesTwins> },
         { "no-vlan", make<AdoptsEveryVlan> },
         { "an-added-pair", make<OffByOne> },
         { "a-removed-pair", make<KeepsEverything> },
         { "every-index", make<ForgetsTheLastIndex> },
         { "slots-agree", make<SaysWhatItOnceSaw> },
         { "comes-and-goes", make<CannotWait> },
         { "an-index-handed-on", make<TakesNoUsedIndex> },
         { "a-pair-that-moves", make<HasItAlready> },
         { "pairs-that-trade", make<CannotTrade> },
         { "a-crowd-that-moves", make<RemovesAfterwards> },
         { "nothing-to-do", make<WritesAllTheTime> },
         { "interfaces-again", make<WritesForInterfaces> },
         { "no-such-index", make<WrapsIndexes> },
         { "a-restart", make<WritesWhatItAdopted> },
         { "a-restart-with-pairs-waiting", make<CannotAdoptMany> },
         { "a-start-inside-the-process", make<StartsOnce> },
         { "a-restart-in-the-middle", make<TrustsItsJournal> },
         { "a-refused-pair", make<HidesRefusals> },
         { "asked-again", make<AsksAllTheTime> },
         { "a-refused-pair-taken-back", make<KeepsOldWishes> },
         { "the-last-wish", make<DropsNewWishes> },
         { "accepts-again", make<GivesUp> },
         { "a-restart-while-refused", make<ConfusedByRefusals> },
         { "a-refused-removal", make<TakesNoForYes> },
         { "a-refused-removal-taken-back", make<RemovesInTheEnd> },
         { "nothing-to-repair", make<RepairsAll> },
         { "a-lost-entry", make<NeverRepairs> },
         { "an-entry-too-many", make<OnlyPutsBack> },
         { "an-entry-elsewhere", make<AnyIndexWillDo> },
         { "a-long-story", make<ForgetsEveryTwentieth> },
   };
   return all;
}

} // namespace ConformanceTests
