// A programmer with its table, its hardware's size and a helper that tells what it is asked to do.
#ifndef TESTS_UNIT_LIBRARY_PROGRAMMING_H
#define TESTS_UNIT_LIBRARY_PROGRAMMING_H

#include "OrloVrrpSm/VrrpSm.h"
#include "tests/unit/library/Story.h"
#include "tests/unit/library/Values.h"

#include <functional>

namespace LibraryTests {

using Hardware = Routing::Fhrp::Hardware::Status;
using Orlo::VrrpSm;
using Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
using Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory;
using OrloHelper::CurrentVrrpStateForInit;

/// A pair in the hardware and the index that it holds.
using Slot = std::pair<VlanAndMac, U32>;

// What the helper tells.
inline String call( const char *operation, const EthAddr &mac, U32 vlanId, U32 index ) {
   return String( operation ) + " " + macText( mac ) + " on VLAN " + std::to_string( vlanId ) +
          " at " + std::to_string( index );
}
inline String added( const VlanAndMac &pair, U32 index ) {
   return call( "add", pair.mac(), pair.vlanId().number(), index );
}
inline String deleted( const VlanAndMac &pair, U32 index ) {
   return call( "delete", pair.mac(), pair.vlanId().number(), index );
}
inline constexpr char kSync[] = "sync";
inline constexpr char kFlagCleared[] = "flag false";
inline constexpr char kComplete[] = "complete";

/// Tells every call; a test may have something happen in the middle of one.
class RecordingHelper : public OrloHelper::VrrpSmHelper {
 public:
   explicit RecordingHelper( Story &story ) : VrrpSmHelper( "recording" ), story_( story ) {}

   std::function<void()> onAdd, onDelete, onSync, onComplete;

   /// From now on the hardware holds these, and asks for their adoption.
   void holds( std::vector<Slot> slots ) {
      slots_ = std::move( slots );
      VrrpSmHelper::syncCurrentStateOnInitIs( true );
   }

   void addVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      story_.tell( call( "add", mac, vlanId, index ) );
      happens( onAdd );
   }
   void deleteVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      story_.tell( call( "delete", mac, vlanId, index ) );
      happens( onDelete );
   }
   void syncVrrpStateOnInit( const Ptr<CurrentVrrpStateForInit> &snapshot ) override {
      story_.tell( snapshot->virtualRouterIndexes().size() == 0 ? kSync : "sync of a full one" );
      for( const auto &[pair, index] : slots_ ) {
         snapshot->virtualRouterIndexIs( pair, index );
      }
      happens( onSync );
   }
   void syncCurrentStateOnInitIs( bool on ) override {
      story_.tell( on ? "flag true" : kFlagCleared );
      VrrpSmHelper::syncCurrentStateOnInitIs( on );
   }
   void initializationComplete() override {
      story_.tell( kComplete );
      happens( onComplete );
   }

 private:
   static void happens( const std::function<void()> &what ) {
      if( const auto now = what ) { // it may replace itself
         now();
      }
   }

   Story &story_;
   std::vector<Slot> slots_;
};

/// The scenario: `indexes` in the hardware, an empty table, nothing started.
struct Programming {
   Story story;
   Ptr<VirtualRouterMacTable> table = virtualRouterMacTableFactory();
   Ptr<Hardware> hardware = Quor::make<Hardware>();
   Ptr<RecordingHelper> helper = Quor::make<RecordingHelper>( story );
   Ptr<VrrpSm> sm;

   explicit Programming( U32 indexes ) { hardware->virtualRouterCountIs( indexes ); }

   void start() { sm = Orlo::VrrpSmIs( table, hardware, helper ); }
   void wanted( const VlanAndMac &pair ) { table->virtualRouterMacIs( pair, true ); }
   void unwanted( const VlanAndMac &pair ) { table->virtualRouterMacDel( pair ); }

   std::vector<U32> free() const { return valuesOf( sm->freeVirtualRouterIndexes() ); }
   std::vector<VlanAndMac> waiting() const {
      return valuesOf( sm->macsNeedingVirtualRouterIndexes() );
   }
   std::vector<Slot> programmed() const {
      std::vector<Slot> slots;
      for( const auto &entry : sm->virtualRouterIndexes() ) {
         slots.emplace_back( entry.key(), entry.value() );
      }
      std::sort( slots.begin(), slots.end() );
      return slots;
   }
};

/// A running one, with its start-up told already.
struct Running : Programming {
   explicit Running( U32 indexes, const std::vector<VlanAndMac> &pairs = {} )
         : Programming( indexes ) {
      start();
      for( const VlanAndMac &pair : pairs ) {
         wanted( pair );
      }
      story.take();
   }
};

inline std::vector<U32> upTo( U32 count ) {
   std::vector<U32> numbers;
   for( U32 i = 0; i < count; ++i ) {
      numbers.push_back( i );
   }
   return numbers;
}

// For comparisons, short enough for one line.
using Indexes = std::vector<U32>;
using Pairs = std::vector<VlanAndMac>;
using Slots = std::vector<Slot>;

inline const VlanAndMac a = pair( 10, 1 );
inline const VlanAndMac b = pair( 20, 1 );
inline const VlanAndMac c = pair( 30, 2 );
inline const VlanAndMac d = pair( 40, 3 );
inline const VlanAndMac e = pair( 50, 4 );

} // namespace LibraryTests

#endif
