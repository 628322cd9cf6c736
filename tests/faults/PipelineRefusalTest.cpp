// What becomes of a switch when memory is refused anywhere in the middle of an event.
#include "tests/faults/EveryRefusal.h"
#include "tests/faults/FaultySwitch.h"
#include "tests/unit/support/TraceRecorder.h"

namespace Faults {
namespace {

const auto kReported = testing::AddGlobalTestEnvironment( new RefusalReport );

/// One that runs and has had a few events.
template <U32 kIndexes>
struct RunningSwitch : FaultySwitch<kIndexes> {
   RunningSwitch() {
      this->starts();
      this->appears( "br10", 1 );
   }
};

/// Whatever was refused during `event`: the switch is sound, and whole again when the records come
/// again, or after a new start. Gives how many allocations there were.
template <class Switch, class Event>
std::size_t staysSound( const Event &event, U32 mostLost = 0 ) {
   return refuseEach<Switch>( event, [mostLost]( Switch &world, bool ) {
      world.isSound();
      EXPECT_LE( world.lost(), mostLost );
      world.isMendedByComingAgain();
      world.isMendedByANewStart();
   } );
}

TEST( PipelineRefusal, OfTheFirstRecordOfASwitch ) {
   struct Started : FaultySwitch<8> {
      Started() { starts(); }
   };
   EXPECT_GT( staysSound<Started>( []( auto &world ) { world.appears( "br10", 1 ); } ), 10u );
}

TEST( PipelineRefusal, OfTheFirstRecordOfAnInterface ) {
   EXPECT_GT( staysSound<RunningSwitch<8>>( []( auto &world ) { world.appears( "br20", 1 ); } ),
              5u );
}

TEST( PipelineRefusal, OfAnInterfacesFirstRecordDoesNotHinderItsNextOne ) {
   const auto nextOne = pair( 21, 9 );
   EXPECT_GT( refuseEach<RunningSwitch<8>>( []( auto &world ) { world.appears( "br20", 1 ); },
                                            [&]( auto &world, bool ) {
                                               world.appears( "br20", 9 );
                                               EXPECT_EQ( world.wanted().count( nextOne ), 1u );
                                               EXPECT_EQ( world.served().count( nextOne ), 1u );
                                               world.isSound();
                                            } ),
              5u );
}

TEST( PipelineRefusal, OfAnotherRecordOfAnInterface ) {
   EXPECT_GT( staysSound<RunningSwitch<8>>( []( auto &world ) { world.appears( "br10", 2 ); } ),
              1u );
}

TEST( PipelineRefusal, OfARecordThatGoesAndComesAgain ) {
   EXPECT_GT( staysSound<RunningSwitch<8>>( []( auto &world ) {
                 world.disappears( "br10", 1 );
                 world.appears( "br10", 1 );
              } ),
              2u );
}

TEST( PipelineRefusal, OfPairsThatHaveToWait ) {
   EXPECT_GT( staysSound<RunningSwitch<2>>( []( auto &world ) {
                 world.appears( "br10", 2 );
                 world.appears( "br20", 1 );
                 world.disappears( "br10", 1 );
              } ),
              10u );
}

TEST( PipelineRefusal, OfVlansThatJoinAndLeave ) {
   EXPECT_GT( staysSound<RunningSwitch<8>>( []( auto &world ) {
                 for( U16 number = 13; number <= 30; ++number ) {
                    world.vlans( "br10" )->vlanIdIs( vlan( number ), true );
                 }
                 world.vlans( "br10" )->vlanIdDel( vlan( 11 ) );
                 world.vlans( "br10" )->vlanIdDel( vlan( 14 ) );
              } ),
              2u );
}

TEST( PipelineRefusal, OfTablesThatGrowOverSeveralDoublings ) {
   EXPECT_GT( staysSound<RunningSwitch<200>>( []( auto &world ) {
                 for( U16 vrid = 2; vrid <= 45; ++vrid ) {
                    world.appears( "br10", vrid );
                    world.appears( "br20", vrid );
                 }
              } ),
              50u );
}

/// A pool so large that pages of free indexes go, and have to be asked for again.
TEST( PipelineRefusal, OfAPageForTheIndexesThatComeBack ) {
   struct Drained : FaultySwitch<SlotHelper::kMost> {
      Drained() {
         starts();
         for( U16 vrid = 1; vrid <= 80; ++vrid ) {
            appears( "br10", vrid );
         }
      }
   };
   staysSound<Drained>(
         []( auto &world ) {
            for( U16 vrid = 1; vrid <= 40; ++vrid ) {
               world.disappears( "br10", vrid );
            }
         },
         1 );
}

// Start and end

/// Records and hardware as a former agent has left them, with one pair that has gone and two that
/// have come meanwhile.
struct BetweenAgents : FaultySwitch<8> {
   BetweenAgents() {
      starts();
      appears( "br10", 1 );
      stops();
      table = Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory();
      vlans( "br10" )->vlanIdDel( vlan( 12 ) );
      appears( "br20", 2 );
      helper->isToBeAdopted();
   }
};

TEST( PipelineRefusal, OfAStartWithAdoption ) {
   const std::size_t refused = refuseEach<BetweenAgents>(
         []( BetweenAgents &world ) { world.startsAgain(); },
         []( BetweenAgents &world, bool isThrown ) {
            EXPECT_EQ( world.programmer && world.reflector, !isThrown || world.programmer );
            if( world.programmer ) {
               world.isSound();
            }
            world.isMendedByANewStart();
         } );
   EXPECT_GT( refused, 20u );
}

TEST( PipelineRefusal, OfTheFirstStartOfAll ) {
   struct Fresh : FaultySwitch<8> {
      Fresh() { appears( "br10", 1 ); }
   };
   const std::size_t refused =
         refuseEach<Fresh>( []( Fresh &world ) { world.starts(); },
                            []( Fresh &world, bool isThrown ) {
                               EXPECT_EQ( world.reflector == nullptr, isThrown );
                               EXPECT_EQ( world.status->notifieeCount(), isThrown ? 0u : 1u );
                               world.isMendedByANewStart();
                            } );
   EXPECT_GT( refused, 20u );
}

TEST( PipelineRefusal, OfAStartOfTheReflectorBehindTheProgrammer ) {
   const std::size_t refused =
         refuseEach<BetweenAgents>( []( BetweenAgents &world ) { world.starts(); },
                                    []( BetweenAgents &world, bool ) {
                                       if( world.programmer && world.reflector ) {
                                          world.isSound();
                                       }
                                       world.isMendedByANewStart();
                                    } );
   EXPECT_GT( refused, 20u );
}

TEST( PipelineRefusal, OfACleanup ) {
   struct Drained : FaultySwitch<SlotHelper::kMost> {
      Drained() {
         starts();
         for( U16 vrid = 1; vrid <= 80; ++vrid ) {
            appears( "br10", vrid );
         }
      }
   };
   const std::size_t refused = refuseEach<Drained>(
         []( Drained &world ) { world.programmer->doCleanup(); },
         []( Drained &world, bool isThrown ) {
            EXPECT_EQ( world.lost(), 0u );
            if( isThrown ) {
               world.programmer->doCleanup(); // goes on with the rest
            }
            EXPECT_EQ( world.programmer->virtualRouterIndexes().size(), 0u );
            EXPECT_EQ( world.programmer->macsNeedingVirtualRouterIndexes().count(), 0u );
            world.isMendedByANewStart();
         } );
   EXPECT_GT( refused, 0u );
}

TEST( PipelineRefusal, OfTheEnd ) {
   refuseEach<RunningSwitch<8>>( []( auto &world ) { world.stops(); },
                                 []( auto &world, bool isThrown ) {
                                    EXPECT_FALSE( isThrown );
                                    EXPECT_EQ( world.table->notifieeCount(), 0u );
                                    EXPECT_EQ( world.status->notifieeCount(), 0u );
                                    world.isMendedByANewStart();
                                 } );
}

TEST( PipelineRefusal, OfAnotherInputTable ) {
   struct WithAnother : RunningSwitch<8> {
      Ptr<VirtualRouterMacTable> other =
            Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory();
      WithAnother() {
         other->virtualRouterMacIs( pair( 30, 3 ), true );
         programmer->vrrpMacStatusIs( nullptr );
      }
   };
   const std::size_t refused = refuseEach<WithAnother>(
         []( WithAnother &world ) { world.programmer->vrrpMacStatusIs( world.other ); },
         []( WithAnother &world, bool isThrown ) {
            if( isThrown ) { // it can be asked for again
               world.programmer->vrrpMacStatusIs( nullptr );
               world.other->virtualRouterMacDelAll();
               world.programmer->vrrpMacStatusIs( world.other );
               world.other->virtualRouterMacIs( pair( 30, 3 ), true );
            }
            EXPECT_EQ( world.programmer->vrrpMacStatus(), world.other );
            EXPECT_TRUE( world.programmer->virtualRouterIndexes().isMemberOf( pair( 30, 3 ) ) );
            world.isMendedByANewStart();
         } );
   EXPECT_GT( refused, 1u );
}

TEST( PipelineRefusal, OfSwitchingTheNotificationOffAndOn ) {
   struct SwitchedOff : FaultySwitch<8> {
      SwitchedOff() { // with a list of watchers that has no room for another one
         starts();
         appears( "br10", 1 );
         programmer->hasNotificationActiveIs( false );
         reflector->hasNotificationActiveIs( false );
         programmer->vrrpMacStatusIs( nullptr );
         table = Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory();
         programmer->vrrpMacStatusIs( table );
      }
      void on() const { programmer->hasNotificationActiveIs( true ); }
   };
   const std::size_t refused = refuseEach<SwitchedOff>(
         []( SwitchedOff &world ) { world.on(); },
         []( SwitchedOff &world, bool isThrown ) {
            EXPECT_EQ( world.programmer->hasNotificationActive(), !isThrown );
            world.on();
            EXPECT_EQ( world.table->notifieeCount(), 1u );
         } );
   EXPECT_EQ( refused, 1u );
}

// Traces

TEST( PipelineRefusal, OfATraceLosesTheTraceAlone ) {
   struct Traced : RunningSwitch<8> {
      Support::TraceRecorder traces{ "OrloVrrp", "OrloVrrpPrivateVlanReflectorLib" };
   };
   const std::size_t untraced =
         staysSound<RunningSwitch<8>>( []( auto &world ) { world.appears( "br20", 2 ); } );
   const std::size_t traced =
         staysSound<Traced>( []( auto &world ) { world.appears( "br20", 2 ); } );
   EXPECT_GT( traced, untraced + 20 );
}

TEST( PipelineRefusal, OfATraceHindersNoEnd ) {
   struct Traced : RunningSwitch<8> {
      Support::TraceRecorder traces{ "OrloVrrp", "OrloVrrpPrivateVlanReflectorLib" };
   };
   EXPECT_GT(
         refuseEach<Traced>(
               []( Traced &world ) {
                  world.programmer->doCleanup();
                  world.stops();
               },
               []( Traced &world, bool ) { EXPECT_EQ( world.wanted(), std::set<VlanAndMac>() ); } ),
         10u );
}

} // namespace
} // namespace Faults
