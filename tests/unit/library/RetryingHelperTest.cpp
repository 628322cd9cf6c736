// The bookkeeping of helpers for hardware that may say no: what is written when, what is refused,
// and what the administrator is told.
#include "OrloVrrpHelper/RetryingHelper.h"
#include "tests/unit/library/Values.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace LibraryTests {
namespace {

using namespace std::chrono_literals;
using OrloHelper::CurrentVrrpStateForInit;
using OrloHelper::HardwareWork;
using OrloHelper::HelperSettings;
using Lines = std::vector<std::string>;
using Entries = std::vector<OrloHelper::HardwareView::Entry>;
using Delays = std::vector<std::chrono::milliseconds>;

std::string brief( const VlanAndMac &pair ) {
   return std::to_string( pair.vlanId().number() ) + "/" + std::to_string( pair.mac().octets()[5] );
}

/// Tells each write; answers as the test says; reads what the test says.
class ScriptedHelper : public OrloHelper::RetryingHelper {
 public:
   explicit ScriptedHelper( const HelperSettings &settings )
         : RetryingHelper( "scripted", settings ) {}

   std::function<void( Write & )> onAdd = []( Write & ) {};
   std::function<void( Write & )> onRemove = []( Write & ) {};
   std::function<Entries()> onRead = [] { return Entries{}; };
   std::function<void()> onHear = [] {};

   Lines written() { return std::exchange( written_, {} ); }

   std::vector<Entry> readAll() const override { return onRead(); }
   using RetryingHelper::lost;
   using RetryingHelper::lostAll;
   using RetryingHelper::outdated;
   using RetryingHelper::tryAgainNow;

 private:
   void add( std::span<Write> writes ) override { write( "add", writes, onAdd ); }
   void remove( std::span<Write> writes ) override { write( "remove", writes, onRemove ); }
   void hear() override { onHear(); }

   void write( const char *what, std::span<Write> writes,
               const std::function<void( Write & )> &answer ) {
      std::string &line = written_.emplace_back( what );
      for( Write &one : writes ) {
         line += " " + ( one.index == kNoIndex ? "-" : std::to_string( one.index ) ) + ":" +
                 brief( one.pair );
      }
      for( Write &one : writes ) {
         answer( one );
      }
   }

   Lines written_;
};

using Write = ScriptedHelper::Write;

void no( Write &write ) {
   write.refusal = "no";
}
void yes( Write & ) {}

const VlanAndMac a = pair( 10, 1 );
const VlanAndMac b = pair( 11, 1 );
const VlanAndMac c = pair( 12, 2 );

class RetryingHelperTest : public testing::Test {
 protected:
   void add( const VlanAndMac &pair, U32 index ) {
      helper_->addVirtualRouterMac( pair.mac(), pair.vlanId().number(), index );
   }
   void remove( const VlanAndMac &pair, U32 index ) {
      helper_->deleteVirtualRouterMac( pair.mac(), pair.vlanId().number(), index );
   }
   HardwareWork::Time work() { return helper_->work( now_ ); }
   Lines workedTo( std::chrono::milliseconds time ) {
      now_ = HardwareWork::Time( 1h + time );
      work();
      return helper_->written();
   }
   /// What the hardware holds is these.
   void start( const Entries &entries ) {
      helper_->onRead = [entries] { return entries; };
      snapshot_ = Quor::make<CurrentVrrpStateForInit>();
      helper_->syncVrrpStateOnInit( snapshot_ );
   }
   std::vector<std::pair<U32, std::string>> snapshot() const {
      std::vector<std::pair<U32, std::string>> all;
      for( const auto &entry : snapshot_->virtualRouterIndexes() ) {
         all.emplace_back( entry.value(), brief( entry.key() ) );
      }
      std::sort( all.begin(), all.end() );
      return all;
   }
   Lines told() { return std::exchange( told_, {} ); }

   HardwareWork::Time now_{ 1h };
   Lines told_;
   Quor::Ptr<CurrentVrrpStateForInit> snapshot_;
   Ptr<ScriptedHelper> helper_ = Quor::make<ScriptedHelper>(
         HelperSettings{ .indexes = 4, .trouble = [this]( const std::string &what ) {
                           told_.push_back( what );
                        } } );
};

const std::string kTaken = "the hardware has taken everything now that it had refused";

// What an event brings

TEST_F( RetryingHelperTest, AnEventIsOneRemovalAndOneAdd ) {
   add( a, 0 );
   add( b, 1 );
   EXPECT_EQ( helper_->written(), Lines{} );
   EXPECT_EQ( work(), HardwareWork::kNever );
   remove( a, 0 );
   remove( b, 1 );
   add( b, 0 );
   add( c, 2 );
   EXPECT_EQ( work(), HardwareWork::kNever );
   EXPECT_EQ( helper_->written(),
              ( Lines{ "add 0:10/1 1:11/1", "remove 0:10/1 1:11/1", "add 0:11/1 2:12/2" } ) );
   EXPECT_EQ( helper_->writes(), 6u );
   EXPECT_EQ( helper_->slot( 0 ), b );
   EXPECT_EQ( helper_->slot( 1 ), std::nullopt );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( RetryingHelperTest, WhatIsNoCallOfAProgrammerIsRefusedAndTold ) {
   add( a, 0 );
   add( b, 0 );
   add( b, 4 );
   remove( b, 0 );
   remove( a, 4 );
   work();
   EXPECT_EQ( helper_->written(), ( Lines{ "add 0:10/1" } ) );
   EXPECT_EQ( helper_->refusals(), 4u );
   EXPECT_EQ( told(), ( Lines{ "cannot program VLAN 11  00:00:5e:00:01:01  index 0: the index is "
                               "another pair's",
                               "cannot program VLAN 11  00:00:5e:00:01:01  index 4: the hardware "
                               "has no such index",
                               "cannot remove VLAN 11  00:00:5e:00:01:01  index 0: the index is "
                               "not this pair's",
                               "cannot remove VLAN 10  00:00:5e:00:01:01  index 4: the index is "
                               "not this pair's" } ) );
}

// Refusals

TEST_F( RetryingHelperTest, AsksAgainAfterTwiceAsLongEachTimeUpToHalfAMinute ) {
   helper_->onAdd = no;
   add( a, 0 );
   Delays delays;
   for( int i = 0; i < 12; ++i ) {
      const auto next = work();
      EXPECT_EQ( helper_->written(), ( Lines{ "add 0:10/1" } ) );
      EXPECT_EQ( helper_->refusal( 0 )->next, next );
      EXPECT_EQ( helper_->refusal( 0 )->tries, static_cast<U32>( i + 1 ) );
      delays.push_back( std::chrono::duration_cast<std::chrono::milliseconds>( next - now_ ) );
      now_ = next - 1ns;
      EXPECT_EQ( work(), next );
      EXPECT_EQ( helper_->written(), Lines{} ) << "it is not time yet";
      now_ = next;
   }
   EXPECT_EQ( delays, ( Delays{ 100ms, 200ms, 400ms, 800ms, 1600ms, 3200ms, 6400ms, 12800ms,
                                25600ms, 30s, 30s, 30s } ) );
   EXPECT_EQ( helper_->refusals(), 12u );
   EXPECT_EQ( helper_->refusal( 0 )->since, HardwareWork::Time( 1h ) );
}

TEST_F( RetryingHelperTest, ARefusalIsOfWhatIsWantedNow ) {
   helper_->onAdd = no;
   add( a, 0 );
   workedTo( 0ms );
   workedTo( 100ms );
   EXPECT_EQ( helper_->refusal( 0 )->tries, 2u );
   remove( a, 0 );
   add( b, 0 );
   EXPECT_EQ( workedTo( 150ms ), ( Lines{ "remove 0:10/1", "add 0:11/1" } ) )
         << "what was refused may be there in part";
   const auto refusal = helper_->refusal( 0 );
   EXPECT_EQ( refusal->pair, b );
   EXPECT_EQ( refusal->tries, 1u );
   EXPECT_EQ( refusal->since, HardwareWork::Time( 1h + 150ms ) );
   EXPECT_EQ( refusal->next, HardwareWork::Time( 1h + 250ms ) );
   remove( b, 0 );
   EXPECT_EQ( workedTo( 200ms ), ( Lines{ "remove 0:11/1" } ) );
   EXPECT_EQ( helper_->refusal( 0 ), std::nullopt );
   EXPECT_EQ( work(), HardwareWork::kNever );
}

TEST_F( RetryingHelperTest, TellsAReasonOnceAndOnceThatAllIsWell ) {
   helper_->onAdd = []( Write &write ) { write.refusal = write.index == 2 ? "full" : "no"; };
   add( a, 0 );
   add( b, 1 );
   add( c, 2 );
   workedTo( 0ms );
   workedTo( 100ms );
   EXPECT_EQ( told(),
              ( Lines{ "cannot program VLAN 10  00:00:5e:00:01:01  index 0: no; it is tried again",
                       "cannot program VLAN 12  00:00:5e:00:01:02  index 2: full; it is tried "
                       "again" } ) );
   helper_->onAdd = []( Write &write ) { write.refusal = write.index == 2 ? "full" : ""; };
   workedTo( 1s );
   EXPECT_EQ( told(), Lines{} ) << "not all of it";
   helper_->onAdd = yes;
   workedTo( 2s );
   workedTo( 3s );
   EXPECT_EQ( told(), Lines{ kTaken } );
   helper_->onAdd = no;
   helper_->lostAll();
   workedTo( 4s );
   EXPECT_EQ( told().size(), 1u ) << "it is news again";
}

TEST_F( RetryingHelperTest, DoesNotTellEndlesslyManyReasons ) {
   U32 reason = 0;
   helper_->onAdd = [&]( Write &write ) { write.refusal = "no " + std::to_string( ++reason ); };
   add( a, 0 );
   for( int i = 0; i < 100; ++i ) {
      now_ = work();
   }
   EXPECT_EQ( reason, 100u );
   EXPECT_EQ( told().size(), 16u );
   EXPECT_EQ( helper_->refusal( 0 )->reason, "no 100" );
}

TEST_F( RetryingHelperTest, WhatIsThrownIsARefusalOfWhatHasNoAnswer ) {
   helper_->onAdd = []( Write &write ) {
      if( write.index == 1 ) {
         throw std::runtime_error( "the bus is gone" );
      }
      write.refusal = "no";
   };
   add( a, 0 );
   add( b, 1 );
   add( c, 2 );
   EXPECT_NO_THROW( work() );
   EXPECT_EQ( helper_->refusal( 0 )->reason, "no" );
   EXPECT_EQ( helper_->refusal( 1 )->reason, "the bus is gone" );
   EXPECT_EQ( helper_->refusal( 2 )->reason, "the bus is gone" );
   EXPECT_EQ( helper_->refusals(), 3u );
   helper_->onAdd = []( Write & ) { throw 42; };
   EXPECT_NO_THROW( workedTo( 1s ) );
   EXPECT_EQ( helper_->refusal( 0 )->reason, "the helper failed" );
   helper_->onAdd = yes;
   workedTo( 2s );
   helper_->onRemove = []( Write & ) { throw std::runtime_error( "the bus is gone" ); };
   remove( a, 0 );
   EXPECT_NO_THROW( workedTo( 3s ) );
   EXPECT_TRUE( helper_->refusal( 0 )->isRemoval );
   EXPECT_EQ( helper_->slot( 0 ), a );
}

TEST( RetryingHelperTroubleTest, AWatcherThatThrowsHarmsNobody ) {
   const auto helper = Quor::make<ScriptedHelper>( HelperSettings{
         .indexes = 1, .trouble = []( const std::string & ) { throw std::runtime_error( "" ); } } );
   helper->onAdd = no;
   EXPECT_NO_THROW( helper->addVirtualRouterMac( a.mac(), 10, 5 ) );
   EXPECT_NO_THROW( helper->addVirtualRouterMac( a.mac(), 10, 0 ) );
   EXPECT_NO_THROW( helper->work( {} ) );
   helper->onRead = []() -> Entries { throw std::runtime_error( "" ); };
   EXPECT_NO_THROW( helper->syncVrrpStateOnInit( Quor::make<CurrentVrrpStateForInit>() ) );
   EXPECT_EQ( helper->refusals(), 2u );
}

TEST_F( RetryingHelperTest, WhatWasRefusedMayBeTriedAtOnce ) {
   helper_->onAdd = no;
   add( a, 0 );
   add( b, 1 );
   workedTo( 0ms );
   workedTo( 100ms );
   helper_->written();
   helper_->onHear = [this] { helper_->tryAgainNow(); };
   EXPECT_EQ( workedTo( 101ms ), ( Lines{ "add 0:10/1 1:11/1" } ) );
   helper_->onHear = [] {};
   EXPECT_EQ( workedTo( 500ms ), Lines{} ) << "the third refusal: 400 ms after it";
   EXPECT_EQ( workedTo( 501ms ), ( Lines{ "add 0:10/1 1:11/1" } ) );
}

// Pairs that do not leave

TEST_F( RetryingHelperTest, AnIndexAndAPairWaitForARemoval ) {
   add( a, 0 );
   workedTo( 0ms );
   helper_->onRemove = no;
   remove( a, 0 );
   add( b, 0 );
   add( a, 1 );
   EXPECT_EQ( workedTo( 1s ), ( Lines{ "remove 0:10/1" } ) );
   EXPECT_TRUE( helper_->refusal( 0 )->isRemoval );
   EXPECT_EQ( helper_->refusal( 1 )->reason,
              "the pair is still in the hardware under its index before" );
   EXPECT_EQ( helper_->refusals(), 1u ) << "the hardware has refused only one";
   EXPECT_EQ( helper_->slot( 0 ), a );
   EXPECT_EQ( workedTo( 1100ms ), ( Lines{ "remove 0:10/1" } ) );
   helper_->onRemove = yes;
   EXPECT_EQ( workedTo( 1300ms ), ( Lines{ "remove 0:10/1", "add 0:11/1 1:10/1" } ) );
   EXPECT_EQ( helper_->refusal( 0 ), std::nullopt );
   EXPECT_EQ( helper_->refusal( 1 ), std::nullopt );
   EXPECT_EQ( work(), HardwareWork::kNever );
}

TEST_F( RetryingHelperTest, APairThatWaitsForItselfMayStillBeSentElsewhere ) {
   add( a, 0 );
   workedTo( 0ms );
   helper_->onRemove = no;
   remove( a, 0 );
   add( a, 1 );
   workedTo( 1s );
   remove( a, 1 );
   add( a, 2 );
   workedTo( 1050ms );
   helper_->onRemove = yes;
   EXPECT_EQ( workedTo( 1100ms ), ( Lines{ "remove 0:10/1", "add 2:10/1" } ) )
         << "as soon as it has gone, not when its own next try is due";
   EXPECT_EQ( helper_->slot( 1 ), std::nullopt );
}

TEST_F( RetryingHelperTest, APairThatCouldNotBeRemovedIsWrittenWhenItIsWantedAgain ) {
   add( a, 0 );
   workedTo( 0ms );
   helper_->onRemove = no;
   remove( a, 0 );
   workedTo( 1s );
   add( a, 0 );
   EXPECT_EQ( workedTo( 1001ms ), ( Lines{ "add 0:10/1" } ) ) << "a part of it may have gone";
   EXPECT_EQ( helper_->refusal( 0 ), std::nullopt );
   EXPECT_EQ( helper_->slot( 0 ), a );
   EXPECT_EQ( work(), HardwareWork::kNever );
   helper_->lost( 0 );
   helper_->onAdd = no;
   workedTo( 1002ms );
   helper_->onRemove = yes;
   helper_->onAdd = yes;
   remove( a, 0 );
   add( a, 1 );
   EXPECT_EQ( workedTo( 1003ms ), ( Lines{ "remove 0:10/1", "add 1:10/1" } ) )
         << "it waits for nothing any more";
}

// Losses

TEST_F( RetryingHelperTest, WhatIsLostComesBackAtOnceAndMoreSlowlyWhenItIsLostAgain ) {
   add( a, 0 );
   workedTo( 0ms );
   helper_->written();
   Delays delays;
   for( int i = 0; i < 13; ++i ) {
      helper_->onHear = [this] { helper_->lost( 0 ); };
      const auto lost = now_;
      auto next = work();
      helper_->onHear = [] {};
      if( next != HardwareWork::kNever ) {
         EXPECT_EQ( helper_->written(), Lines{} );
         EXPECT_EQ( helper_->slot( 0 ), std::nullopt );
         now_ = next + 1ms; // a loop is not on the dot
         next = work();
      }
      EXPECT_EQ( next, HardwareWork::kNever );
      EXPECT_EQ( helper_->written(), ( Lines{ "add 0:10/1" } ) );
      delays.push_back( std::chrono::duration_cast<std::chrono::milliseconds>( now_ - lost ) );
      now_ += 1ms;
   }
   EXPECT_EQ( delays, ( Delays{ 0ms, 101ms, 201ms, 401ms, 801ms, 1601ms, 3201ms, 6401ms, 12801ms,
                                25601ms, 30001ms, 30001ms, 30001ms } ) );

   now_ += 60s;
   helper_->lost( 0 );
   EXPECT_EQ( work(), HardwareWork::kNever );
   EXPECT_EQ( helper_->written(), ( Lines{ "add 0:10/1" } ) ) << "it had been well for a while";
}

TEST_F( RetryingHelperTest, TheFirstLossIsTheFirstAlsoRightAfterTheMachineHasStarted ) {
   now_ = HardwareWork::Time( 1s );
   add( a, 0 );
   work();
   helper_->written();
   helper_->lost( 0 );
   work();
   EXPECT_EQ( helper_->written(), Lines{ "add 0:10/1" } );
}

TEST_F( RetryingHelperTest, ALossThatIsHeardOfTwiceIsOne ) {
   add( a, 0 );
   workedTo( 0ms );
   helper_->written();
   helper_->lost( 0 );
   helper_->lost( 0 );
   EXPECT_EQ( workedTo( 1ms ), ( Lines{ "add 0:10/1" } ) );
   helper_->lost( 0 );
   EXPECT_EQ( workedTo( 2ms ), Lines{} );
   EXPECT_EQ( work(), HardwareWork::Time( 1h + 101ms ) ) << "it is the second, not the third";
}

TEST_F( RetryingHelperTest, WhatIsOutdatedIsWrittenAtOnceHoweverOften ) {
   add( a, 0 );
   workedTo( 0ms );
   helper_->written();
   for( int time = 1; time < 4; ++time ) {
      helper_->outdated( 0 );
      EXPECT_EQ( workedTo( time * 1ms ), ( Lines{ "add 0:10/1" } ) );
   }
   helper_->onAdd = no;
   helper_->outdated( 0 );
   EXPECT_EQ( workedTo( 4ms ), ( Lines{ "add 0:10/1" } ) );
   helper_->outdated( 0 );
   helper_->outdated( 1 ); // nobody's
   EXPECT_EQ( workedTo( 5ms ), Lines{} ) << "it is tried again in its time";
}

TEST_F( RetryingHelperTest, WhenAllIsLostAllIsWritten ) {
   for( Quor::U8 index = 0; index < 4; ++index ) {
      add( pair( 10, index ), index );
   }
   workedTo( 0ms );
   helper_->written();
   helper_->lostAll();
   EXPECT_EQ( workedTo( 1ms ), ( Lines{ "add 0:10/0 1:10/1 2:10/2 3:10/3" } ) );
}

TEST_F( RetryingHelperTest, WhatIsLostAndNotWantedIsNotWritten ) {
   helper_->lost( 3 );
   EXPECT_EQ( workedTo( 0ms ), Lines{} );
   add( a, 0 );
   add( b, 1 );
   workedTo( 1ms );
   helper_->lostAll();
   remove( a, 0 );
   EXPECT_EQ( workedTo( 2ms ), ( Lines{ "remove 0:10/1", "add 1:11/1" } ) );
}

// At the start

TEST_F( RetryingHelperTest, TheSnapshotHasEachPairAndIndexOnceAndTheRestIsRemoved ) {
   start( { { a, 2 },
            { b, std::nullopt },
            { c, 7 },
            { c, 1 },
            { a, 3 },
            { pair( 20, 1 ), 2 },
            { pair( 0, 9 ), 0 },
            { pair( 4095, 9 ), 5 } } );
   EXPECT_EQ( snapshot(),
              ( std::vector<std::pair<U32, std::string>>{ { 1, "12/2" }, { 2, "10/1" } } ) );
   EXPECT_EQ( helper_->written(),
              ( Lines{ "remove 0:0/9 3:10/1 -:11/1 7:12/2 2:20/1 5:4095/9" } ) );
   EXPECT_EQ( told(),
              ( Lines{ "removed VLAN 0  00:00:5e:00:01:09  index 0: there is no such VLAN",
                       "removed VLAN 10  00:00:5e:00:01:01  index 3: it stands twice",
                       "removed VLAN 11  00:00:5e:00:01:01: it has no index of its own",
                       "removed VLAN 12  00:00:5e:00:01:02  index 7: it has no index of its own",
                       "removed VLAN 20  00:00:5e:00:01:01  index 2: it has no index of its own",
                       "removed VLAN 4095  00:00:5e:00:01:09  index 5: there is no such VLAN" } ) );
   EXPECT_EQ( workedTo( 0ms ), Lines{} );
   EXPECT_EQ( helper_->slot( 1 ), c );
   EXPECT_EQ( helper_->slot( 2 ), a );
}

TEST_F( RetryingHelperTest, AnEntryWithoutAnIndexThatStaysIsAskedForAgainAndItsPairWaits ) {
   helper_->onRemove = no;
   start( { { a, std::nullopt } } );
   EXPECT_EQ( helper_->written(), ( Lines{ "remove -:10/1" } ) );
   add( a, 1 );
   EXPECT_EQ( workedTo( 0ms ), ( Lines{ "remove -:10/1" } ) );
   EXPECT_EQ( helper_->slot( 1 ), std::nullopt );
   helper_->onRemove = yes;
   EXPECT_EQ( workedTo( 1s ), ( Lines{ "remove -:10/1", "add 1:10/1" } ) );
   EXPECT_EQ(
         told(),
         ( Lines{ "cannot remove VLAN 10  00:00:5e:00:01:01: no; it is tried again",
                  "cannot program VLAN 10  00:00:5e:00:01:01  index 1: the pair is still in "
                  "the hardware under its index before; it is tried again",
                  "removed VLAN 10  00:00:5e:00:01:01: it has no index of its own", kTaken } ) );
}

TEST_F( RetryingHelperTest, AnEntryHasTheIndexThatTheLastReadingTells ) {
   start( { { c, 7 } } );
   EXPECT_EQ( helper_->written(), Lines{ "remove 7:12/2" } );
   start( { { c, std::nullopt } } );
   EXPECT_EQ( helper_->written(), Lines{ "remove -:12/2" } );
}

TEST_F( RetryingHelperTest, AStrayIsToldAsRemovedOnceItIs ) {
   helper_->onRemove = []( ScriptedHelper::Write &write ) {
      write.refusal = write.index == 3 ? "no" : "";
   };
   start( { { a, 1 }, { a, 3 }, { pair( 0, 9 ), 0 } } );
   EXPECT_EQ(
         told(),
         ( Lines{ "removed VLAN 0  00:00:5e:00:01:09  index 0: there is no such VLAN",
                  "cannot remove VLAN 10  00:00:5e:00:01:01  index 3: no; it is tried again" } ) );
   helper_->onRemove = yes;
   workedTo( 1s );
   EXPECT_EQ( told(),
              ( Lines{ "removed VLAN 10  00:00:5e:00:01:01  index 3: it stands twice", kTaken } ) );
   // What the index holds from now on is nothing strange.
   add( b, 3 );
   workedTo( 2s );
   remove( b, 3 );
   workedTo( 3s );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( RetryingHelperTest, AStrayOfTheReadingBeforeIsNoneAnyMore ) {
   helper_->onRemove = no;
   start( { { a, 1 }, { a, 3 } } );
   told();
   helper_->onRemove = yes;
   start( { { b, 3 } } );
   remove( b, 3 );
   EXPECT_EQ( workedTo( 1s ), ( Lines{ "remove 3:10/1", "remove 3:11/1" } ) );
   EXPECT_EQ( told(), Lines{ kTaken } );
}

TEST_F( RetryingHelperTest, AStrayThatIsWantedAfterAllIsNotToldAsRemoved ) {
   helper_->onRemove = no;
   start( { { a, 1 }, { a, 3 } } );
   remove( a, 1 );
   add( a, 3 );
   helper_->onRemove = yes;
   workedTo( 1s );
   remove( a, 3 );
   workedTo( 2s );
   EXPECT_EQ( told(),
              ( Lines{ "cannot remove VLAN 10  00:00:5e:00:01:01  index 3: no; it is tried again",
                       kTaken } ) );
}

TEST_F( RetryingHelperTest, HardwareThatCannotBeReadIsToldAndTakenAsEmpty ) {
   helper_->onRead = []() -> Entries { throw std::runtime_error( "no answer" ); };
   snapshot_ = Quor::make<CurrentVrrpStateForInit>();
   EXPECT_NO_THROW( helper_->syncVrrpStateOnInit( snapshot_ ) );
   EXPECT_EQ( snapshot_->virtualRouterIndexes().size(), 0u );
   EXPECT_EQ( told(),
              ( Lines{ "cannot read what the hardware holds: no answer; it is tried again" } ) );
   EXPECT_THROW( helper_->repair(), std::runtime_error );
}

TEST_F( RetryingHelperTest, AStartForgetsTheWishesOfTheProgrammerBefore ) {
   helper_->onAdd = no;
   add( a, 0 );
   add( b, 1 );
   workedTo( 0ms );
   start( { { b, 1 } } );
   EXPECT_EQ( helper_->refusal( 0 ), std::nullopt );
   EXPECT_EQ( helper_->refusal( 1 ), std::nullopt );
   EXPECT_EQ( workedTo( 1s ), Lines{} );
   EXPECT_EQ( helper_->refusal( 0 ), std::nullopt );
   EXPECT_EQ( helper_->slot( 1 ), b );
}

// Repair

TEST_F( RetryingHelperTest, ARepairWritesWhatIsWrongAndNothingElse ) {
   add( a, 0 );
   add( b, 1 );
   add( c, 2 );
   workedTo( 0ms );
   helper_->written();
   helper_->onRead = [] { return Entries{ { a, 0 }, { c, 1 }, { pair( 20, 1 ), 3 } }; };
   helper_->repair();
   EXPECT_EQ( helper_->written(), Lines{} ) << "at the next work()";
   EXPECT_EQ( workedTo( 1ms ), ( Lines{ "remove 1:12/2 3:20/1", "add 1:11/1 2:12/2" } ) );
   helper_->onRead = [] { return Entries{ { a, 0 }, { b, 1 }, { c, 2 } }; };
   helper_->repair();
   EXPECT_EQ( workedTo( 2ms ), Lines{} );
}

TEST_F( RetryingHelperTest, HardwareThatCannotBeReadAtTheStartIsReadLater ) {
   helper_->onRead = []() -> Entries { throw std::runtime_error( "no answer" ); };
   snapshot_ = Quor::make<CurrentVrrpStateForInit>();
   helper_->syncVrrpStateOnInit( snapshot_ );
   EXPECT_EQ( snapshot().size(), 0u );
   EXPECT_EQ( told(),
              Lines{ "cannot read what the hardware holds: no answer; it is tried again" } );
   add( a, 0 );
   EXPECT_EQ( workedTo( 0s ), Lines{ "add 0:10/1" } );
   EXPECT_EQ( work(), now_ + 1s );

   helper_->onRead = [] { return Entries{ { a, 0 }, { b, 1 } }; };
   EXPECT_EQ( workedTo( 999ms ), Lines{} );
   EXPECT_EQ( workedTo( 1s ), Lines{ "remove 1:11/1" } ) << "what nobody wants";
   EXPECT_EQ( work(), HardwareWork::kNever );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( RetryingHelperTest, WhatIsHeardIsOlderThanTheReading ) {
   helper_->onRead = []() -> Entries { throw std::runtime_error( "no answer" ); };
   helper_->syncVrrpStateOnInit( Quor::make<CurrentVrrpStateForInit>() );
   helper_->onRead = [] { return Entries{ { a, 0 } }; };
   helper_->onHear = [this] { helper_->lost( 0 ); };
   add( a, 0 );
   EXPECT_EQ( workedTo( 0ms ), Lines{} );
}

TEST_F( RetryingHelperTest, WhatHearingThrowsIsToldOnceAndStopsNothing ) {
   helper_->onHear = [] { throw std::runtime_error( "deaf" ); };
   add( a, 0 );
   EXPECT_EQ( workedTo( 0s ), Lines{ "add 0:10/1" } );
   work();
   EXPECT_EQ( told(), Lines{ "cannot hear what the hardware tells: deaf" } );
   helper_->onHear = [] {};
   work();
   EXPECT_EQ( told(), Lines{} );
   helper_->onHear = [] { throw std::runtime_error( "deaf" ); };
   work();
   EXPECT_EQ( told(), Lines{ "cannot hear what the hardware tells: deaf" } ) << "once more";
}

} // namespace
} // namespace LibraryTests
