// What a helper finds when the one before it has ended, at any instant: it adopts what is right,
// puts right what is not, and leaves alone what is not ours.
#include "tests/unit/bridge/HelperOnFakeBridge.h"

#include <filesystem>
#include <stdexcept>

namespace OrloAgent {
namespace {

class BridgeRestartTest : public HelperOnFakeBridge {
 protected:
   BridgeRestartTest() {
      start();
      program( { pair( 12, 51 ), pair( 10, 51 ), pair( 11, 51 ) } );
      told();
   }

   const Entries programmed_{ { pair( 12, 51 ), 0 }, { pair( 10, 51 ), 1 }, { pair( 11, 51 ), 2 } };
};

TEST_F( BridgeRestartTest, EverythingIsAdoptedWithoutAWrite ) {
   EXPECT_EQ( start(), Lines{} );

   EXPECT_EQ( adopted_, programmed_ );
   EXPECT_EQ( helper_->writes(), 0u );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( BridgeRestartTest, AStartInsideTheProcessWritesNothingEither ) {
   EXPECT_EQ( adopt(), programmed_ );
   EXPECT_EQ( work(), Lines{} );
}

TEST_F( BridgeRestartTest, WhatHasGoneMeanwhileIsFreeAndNotOursAnyMore ) {
   bridge_.entries.erase( pair( 10, 51 ) );

   EXPECT_EQ( start(), Lines{} );
   EXPECT_EQ( adopted_, ( Entries{ { pair( 12, 51 ), 0 }, { pair( 11, 51 ), 2 } } ) );

   // The administrator makes the same one.
   bridge_.entries[pair( 10, 51 )] = FdbState::local;
   start();
   EXPECT_EQ( adopted_, ( Entries{ { pair( 12, 51 ), 0 }, { pair( 11, 51 ), 2 } } ) );
}

TEST_F( BridgeRestartTest, WhatStandsInTheBridgeAloneIsNotOurs ) {
   bridge_.entries[pair( 20, 51 )] = FdbState::local;

   EXPECT_EQ( start(), Lines{} );

   EXPECT_EQ( adopted_, programmed_ );
   EXPECT_TRUE( bridge_.entries.contains( pair( 20, 51 ) ) );
}

TEST_F( BridgeRestartTest, SomebodyElsesEntryIsStillSomebodyElses ) {
   bridge_.entries[pair( 20, 51 )] = FdbState::local;
   add( pair( 20, 51 ), 3 );
   work();

   start();
   EXPECT_EQ( adopted_.size(), 4u );
   del( pair( 20, 51 ), 3 );

   EXPECT_EQ( work(), Lines{} );
   EXPECT_TRUE( bridge_.entries.contains( pair( 20, 51 ) ) );
}

TEST_F( BridgeRestartTest, RulesThatAreMissingWrongOrStrayArePutRight ) {
   bridge_.rules.erase( 1 );
   bridge_.rules[3] = std::nullopt; // one that does something else
   bridge_.rules[2] = rule( 10, 51, 20 );
   bridge_.rules[5] = rule( 12, 99, 10 );
   bridge_.rules[4'000'000'000] = rule( 12, 99, 10 );

   make();
   EXPECT_EQ( adopt(), programmed_ );
   EXPECT_EQ( bridge_.rules.size(), 2u ); // the stray ones have gone
   work();

   EXPECT_EQ( bridge_.rules, ( Rules{ { 1, rule( 12, 51, 10 ) }, { 3, rule( 11, 51, 10 ) } } ) );
   EXPECT_EQ( bridge_.entries.size(), 3u );
}

TEST_F( BridgeRestartTest, APrimaryVlanThatChangedMeanwhileIsAnotherRule ) {
   interfaces_ = { routed( "br0.10", 10, { 11 } ), routed( "br0.20", 20, { 12 } ) };

   EXPECT_EQ( start(), Lines{ "rule 1: 12/51 to 20" } );
   EXPECT_EQ( adopted_, programmed_ );
}

TEST_F( BridgeRestartTest, WithLessIndexesTheOthersLeaveTheBridge ) {
   start( 1 );

   EXPECT_EQ( adopted_, ( Entries{ { pair( 12, 51 ), 0 } } ) );
   EXPECT_EQ( bridge_.entries, ( Fdb{ { pair( 12, 51 ), FdbState::local } } ) );
   EXPECT_EQ( bridge_.rules, ( Rules{ { 1, rule( 12, 51, 10 ) } } ) );
}

TEST_F( BridgeRestartTest, WithoutTheBridgeNothingIsThere ) {
   bridge_.deviceIs( {} );

   EXPECT_EQ( start(), Lines{} );
   EXPECT_EQ( adopted_, Entries{} );
}

TEST_F( BridgeRestartTest, APairThatStandsInTwoSlotsIsGivenOnceAndStays ) {
   helper_ = nullptr;
   SlotFile( folder_.path( "slots" ), 8, []( const std::string & ) {} ).slotIs( 5, pair( 10, 51 ) );

   EXPECT_EQ( start(), Lines{} );

   EXPECT_EQ( adopted_, programmed_ );
   EXPECT_EQ( bridge_.entries.size(), 3u );
}

TEST_F( BridgeRestartTest, AStrayRuleThatCannotBeRemovedIsTriedAgain ) {
   bridge_.rules[5] = rule( 12, 99, 10 );
   bridge_.ruleRefusal = EBUSY;
   EXPECT_EQ( start(), ( Lines{ "no rule 5", "no rule 5" } ) );
   EXPECT_EQ( told(), Lines{ "cannot remove a rule from bridge br0: the kernel refuses the rule: "
                             "Device or resource busy; it is tried again" } );
   EXPECT_LE( next_, now_ + std::chrono::seconds( 1 ) );

   bridge_.ruleRefusal = 0;
   EXPECT_EQ( work( 1000 ), Lines{ "no rule 5" } );

   EXPECT_FALSE( bridge_.rules.contains( 5 ) );
   EXPECT_EQ( next_, Time::max() );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( BridgeRestartTest, AStrayRuleIsRemovedAlsoWhenThePairThatGetsItsIndexNeverComes ) {
   bridge_.rules[5] = rule( 12, 99, 10 );
   bridge_.ruleRefusal = EBUSY;
   start();
   bridge_.ruleRefusal = 0;

   bridge_.refusals[pair( 10, 51 )] = EBUSY; // it cannot leave index 1
   del( pair( 10, 51 ), 1 );
   add( pair( 10, 51 ), 4 );
   work();
   EXPECT_TRUE( bridge_.rules.contains( 5 ) ) << "it goes when the pair comes";
   del( pair( 10, 51 ), 4 );
   bridge_.refusals.clear();
   work( 1000 );

   EXPECT_EQ( bridge_.rules, ( Rules{ { 1, rule( 12, 51, 10 ) }, { 3, rule( 11, 51, 10 ) } } ) );
   EXPECT_EQ( next_, Time::max() );
}

TEST_F( BridgeRestartTest, WhatCouldNotBeReadIsNotForgotten ) {
   bridge_.isUnreadable = true;
   make();
   EXPECT_EQ( adopt(), Entries{} );
   add( pair( 20, 51 ), 0 ); // where another one stands
   add( pair( 10, 51 ), 3 ); // which stands somewhere else
   EXPECT_EQ( work(), Lines{} );
   const std::string reason = "the slot table still holds what bridge br0 had before";
   EXPECT_EQ( this->reason( 0 ), reason );
   EXPECT_EQ( this->reason( 3 ), reason );

   bridge_.isUnreadable = false;
   work( 1000 );

   EXPECT_EQ( bridge_.entries,
              ( Fdb{ { pair( 20, 51 ), FdbState::local }, { pair( 10, 51 ), FdbState::local } } ) );
   EXPECT_EQ( bridge_.rules, Rules{} );
   EXPECT_EQ( held(), ( Entries{ { pair( 20, 51 ), 0 }, { pair( 10, 51 ), 3 } } ) );
   del( pair( 10, 51 ), 3 );
   work();
   EXPECT_FALSE( bridge_.entries.contains( pair( 10, 51 ) ) ); // it was ours all the time
}

TEST_F( BridgeRestartTest, WhatIsOursStaysOursWhenSomebodyCutsTheSlotTableShort ) {
   start();
   std::filesystem::resize_file( folder_.path( "slots" ), 0 );
   EXPECT_THROW( helper_->readAll(), std::runtime_error );

   del( pair( 10, 51 ), 1 );
   work();

   EXPECT_FALSE( bridge_.entries.contains( pair( 10, 51 ) ) );
   EXPECT_EQ( held().size(), 2u );
   start();
   EXPECT_EQ( adopted_, ( Entries{ { pair( 12, 51 ), 0 }, { pair( 11, 51 ), 2 } } ) );
}

TEST_F( BridgeRestartTest, OneThatOnlyLooksNeedsNoLockAndChangesNothing ) {
   const Quor::Ptr<BridgeHelper> running = helper_;
   bridge_.rules.erase( 1 );

   make( 8, true );

   EXPECT_EQ( held(), programmed_ );
   EXPECT_EQ( bridge_.takeCalls().size(), 0u );
   EXPECT_EQ( running->readAll(), programmed_ );
}

TEST_F( BridgeRestartTest, TwoAtATimeAreRefused ) {
   const Quor::Ptr<BridgeHelper> running = helper_;
   EXPECT_THROW( make(), HardwareError );
}

/// Six pairs for four indexes, of which two change hands. The process ends before each of its
/// writes to the bridge in turn.
TEST( BridgeKilledTest, AtEachWriteInTurnEveryPairKeepsItsIndex ) {
   class Life : public HelperOnFakeBridge {
    public:
      void TestBody() override {}

      /// Gives whether it came through.
      bool livesFor( int writes ) {
         start( 4 );
         bridge_.writesLeft = writes;
         program( { pair( 12, 51 ), pair( 10, 51 ), pair( 11, 51 ), pair( 12, 52 ) } );
         del( pair( 12, 51 ), 0 );
         add( pair( 10, 52 ), 0 );
         del( pair( 10, 51 ), 1 );
         add( pair( 11, 52 ), 1 );
         work();
         const bool lives = bridge_.writesLeft != 0;
         bridge_.writesLeft = -1;
         return lives;
      }

      void converges() {
         const Fdb before = bridge_.entries;
         start( 4 );
         std::map<Pair, U32> indexes;
         for( const Entry &entry : adopted_ ) {
            EXPECT_TRUE( before.contains( entry.pair ) );
            indexes[entry.pair] = *entry.index;
         }
         EXPECT_EQ( adopted_.size(), before.size() );
         EXPECT_EQ( bridge_.entries, before );
         for( const auto &[number, there] : bridge_.rules ) {
            EXPECT_EQ( indexes.at( there->pair ), number - 1 );
         }
         // Every index can be had by another pair.
         for( const auto &[pair, index] : indexes ) {
            del( pair, index );
         }
         for( U32 index = 0; index < 4; ++index ) {
            add( pair( 11, static_cast<Quor::U8>( 60 + index ) ), index );
         }
         work();
         EXPECT_EQ( bridge_.entries.size(), 4u );
         EXPECT_EQ( bridge_.rules.size(), 4u );
         EXPECT_EQ( held().size(), 4u );
      }
   };
   int writes = 0;
   for( bool lives = false; !lives; ) {
      SCOPED_TRACE( ++writes );
      Life life;
      lives = life.livesFor( writes );
      life.converges();
   }
   // 3 rules and 4 entries come, 2 entries and a rule go, a rule and 2 entries come; one more
   // lives.
   EXPECT_EQ( writes, 14 );
}

} // namespace
} // namespace OrloAgent
