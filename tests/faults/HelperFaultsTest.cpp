// Hardware that throws from each of its calls, at each moment of a life, and whatever it throws:
// the index is lost, nothing is rolled back, and everything else goes on. And hardware whose calls
// change the inputs.
#include "tests/faults/FaultySwitch.h"

#include <iostream>
#include <new>

namespace Faults {
namespace {

using Call = SlotHelper::Call;
using Switch = FaultySwitch<6>;

constexpr const char *name( Call call ) {
   constexpr std::array names{ "add", "remove", "sync", "flag", "complete" };
   return names.at( static_cast<std::size_t>( call ) );
}

/// How something is thrown.
struct Fault {
   const char *name;
   void ( *happen )();
};
constexpr std::array kFaults{
      Fault{ "std::runtime_error", [] { throw std::runtime_error( "no" ); } },
      Fault{ "std::bad_alloc", [] { throw std::bad_alloc(); } },
      Fault{ "a number", [] { throw 42; } } };

int faults = 0; // that have happened

class FaultReport : public testing::Environment {
   void TearDown() override { std::cout << "faults of the hardware: " << faults << '\n'; }
};
const auto kReported = testing::AddGlobalTestEnvironment( new FaultReport );

/// The first such call fails, before it has done anything or behind it.
void failsOnce( SlotHelper &helper, Call when, bool isBehind, const Fault &fault ) {
   auto &place = isBehind ? helper.afterCall : helper.onCall;
   place = [&place, when, &fault]( Call call ) {
      if( call == when ) {
         const auto what = fault.happen; // this function goes
         place = nullptr;
         ++faults;
         what();
      }
   };
}

/// `test( fails )` for every way to fail.
template <class Test>
void everyFault( Call when, const Test &test ) {
   for( const Fault &fault : kFaults ) {
      for( const bool isBehind : { false, true } ) {
         SCOPED_TRACE( String( fault.name ) + ( isBehind ? " behind " : " before " ) +
                       name( when ) );
         const int before = faults;
         test( isBehind,
               [&]( SlotHelper &helper ) { failsOnce( helper, when, isBehind, fault ); } );
         EXPECT_EQ( faults, before + 1 ) << "it did not get there";
      }
   }
}

/// What the hardware holds beside what the programmer has written down.
U32 strangers( const Switch &world ) {
   U32 count = 0;
   for( const VlanAndMac &slot : world.helper->slots() ) {
      count += !( slot == SlotHelper::noPair() ) &&
               !world.programmer->virtualRouterIndexes().isMemberOf( slot );
   }
   return count;
}

TEST( HelperFaults, AnAddThatThrowsLosesItsIndex ) {
   everyFault( Call::add, []( bool isBehind, const auto &fails ) {
      Switch world;
      world.starts();
      fails( *world.helper );
      world.appears( "br20", 1 ); // two pairs
      EXPECT_EQ( world.wanted().size(), 2u ) << "the writer hears nothing of it";
      EXPECT_EQ( world.lost(), 1u );
      EXPECT_EQ( world.programmer->virtualRouterIndexes().size(), 1u );
      EXPECT_EQ( strangers( world ), isBehind ? 1u : 0u );
      world.disappears( "br20", 1 );
      EXPECT_EQ( strangers( world ), isBehind ? 1u : 0u ) << "nobody deletes it";
      world.isMendedByANewStart();
   } );
}

TEST( HelperFaults, ARemovalThatThrowsLosesItsIndex ) {
   everyFault( Call::remove, []( bool isBehind, const auto &fails ) {
      Switch world;
      world.starts();
      world.appears( "br20", 1 );
      fails( *world.helper );
      world.disappears( "br20", 1 );
      EXPECT_EQ( world.wanted().size(), 0u );
      EXPECT_EQ( world.lost(), 1u );
      EXPECT_EQ( world.programmer->virtualRouterIndexes().size(), 0u );
      EXPECT_EQ( strangers( world ), isBehind ? 0u : 1u );
      world.isMendedByANewStart();
   } );
}

TEST( HelperFaults, AHandOverThatThrowsLosesItsIndexAndThePair ) {
   everyFault( Call::add, []( bool isBehind, const auto &fails ) {
      Switch world;
      world.starts();
      world.appears( "br10", 1 );
      world.appears( "br10", 2 );
      world.appears( "br20", 3 ); // waits
      fails( *world.helper );
      world.disappears( "br10", 1 ); // three indexes for the two that wait
      EXPECT_EQ( world.lost(), 1u );
      EXPECT_EQ( world.programmer->virtualRouterIndexes().size(), 4u );
      EXPECT_EQ( world.programmer->macsNeedingVirtualRouterIndexes().count(), 0u );
      EXPECT_EQ( strangers( world ), isBehind ? 1u : 0u );
      world.isMendedByANewStart();
   } );
}

TEST( HelperFaults, AStartThatThrowsIsRefusedWhereverItThrows ) {
   for( const Call when : { Call::add, Call::remove, Call::sync, Call::flag, Call::complete } ) {
      everyFault( when, []( bool, const auto &fails ) {
         Switch world;
         world.starts();
         world.appears( "br10", 1 );
         world.stops();
         world.table->virtualRouterMacDel( pair( 11, 1 ) ); // gone meanwhile
         world.table->virtualRouterMacIs( pair( 20, 2 ), true );
         world.table->virtualRouterMacIs( pair( 10, 1 ), true );
         world.helper->isToBeAdopted();
         fails( *world.helper );
         const auto start = [&] {
            world.programmer = Orlo::VrrpSmIs( world.table, world.hardware, world.helper );
         };
         EXPECT_ANY_THROW( start() );
         EXPECT_EQ( world.programmer, nullptr );
         EXPECT_EQ( world.table->notifieeCount(), 0u );
         world.isMendedByANewStart();
      } );
   }
}

TEST( HelperFaults, TheEndGoesOnBehindARemovalThatThrows ) {
   everyFault( Call::remove, []( bool, const auto &fails ) {
      Switch world;
      world.starts();
      world.appears( "br10", 1 );
      world.appears( "br20", 1 );
      fails( *world.helper );
      world.reflector = nullptr; // removes its keys
      EXPECT_EQ( world.wanted(), std::set<VlanAndMac>() );
      EXPECT_EQ( world.programmer->virtualRouterIndexes().size(), 0u );
      EXPECT_EQ( world.lost(), 1u );
      world.isMendedByANewStart();
   } );
}

TEST( HelperFaults, HardwareThatFailsForAWhileLosesAnIndexEachTime ) {
   Switch world;
   world.starts();
   int calls = 0;
   world.helper->onCall = [&calls]( Call ) {
      ++faults;
      if( ++calls <= 4 ) {
         throw calls;
      }
   };
   world.appears( "br10", 1 );
   world.appears( "br10", 2 );
   EXPECT_EQ( world.lost(), 4u );
   EXPECT_EQ( world.programmer->virtualRouterIndexes().size(), 2u );
   world.isMendedByComingAgain();
   world.isMendedByANewStart();
}

// Calls that change the inputs

/// Something that a call may do to the switch that it belongs to.
struct Change {
   const char *name;
   void ( *happen )( Switch & );
};

const std::array kChanges{
      Change{ "a record appears", []( Switch &world ) { world.appears( "br20", 7 ); } },
      Change{ "a record disappears", []( Switch &world ) { world.disappears( "br10", 1 ); } },
      Change{ "all records go", []( Switch &world ) { world.status->vrrpVirtualMacDelAll(); } },
      Change{ "a VLAN joins", []( Switch &world ) { world.serves( "br10", { 13 } ); } },
      Change{ "a VLAN leaves",
              []( Switch &world ) { world.vlans( "br10" )->vlanIdDel( vlan( 11 ) ); } },
      Change{ "all VLANs leave", []( Switch &world ) { world.vlans( "br10" )->vlanIdDelAll(); } },
      Change{ "another interface gets VLANs",
              []( Switch &world ) {
                 world.serves( "br30", { 30, 31 } );
              } },
      Change{ "the table loses a key",
              []( Switch &world ) { world.table->virtualRouterMacDel( pair( 12, 1 ) ); } },
      Change{ "the hardware grows",
              []( Switch &world ) { world.hardware->virtualRouterCountIs( 6 ); } },
      Change{ "the switch is switched off and on",
              []( Switch &world ) {
                 if( world.programmer ) {
                    world.programmer->hasNotificationActiveIs( false );
                    world.programmer->hasNotificationActiveIs( true );
                 }
              } },
};

/// A life in which every call of the helper happens.
void life( Switch &world ) {
   world.startsAgain();
   world.appears( "br10", 1 );
   world.appears( "br10", 2 );
   world.appears( "br20", 3 );
   world.disappears( "br10", 2 );
   world.startsAgain();
   world.disappears( "br20", 3 );
}

TEST( HelperFaults, EveryCallMayChangeEveryInput ) {
   for( const Change &change : kChanges ) {
      for( int number = 1;; ++number ) { // the call that does it
         SCOPED_TRACE( String( change.name ) + " in call " + std::to_string( number ) );
         Switch world;
         int calls = 0;
         world.helper->onCall = [&]( Call ) {
            if( ++calls == number ) {
               ++faults;
               change.happen( world );
            }
         };
         life( world );
         world.helper->onCall = nullptr;
         std::set<U32> indexes;
         for( const auto &entry : world.programmer->virtualRouterIndexes() ) {
            EXPECT_TRUE( indexes.insert( entry.value() ).second );
            EXPECT_EQ( world.helper->slots().at( entry.value() ), entry.key() );
         }
         EXPECT_EQ( strangers( world ), 0u );
         EXPECT_EQ( world.lost(), 0u );
         world.isMendedByANewStart();
         if( calls < number || HasFailure() ) {
            EXPECT_GT( number, 15 ) << "a life of so many calls";
            break;
         }
      }
   }
}

} // namespace
} // namespace Faults
