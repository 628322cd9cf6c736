// What others do to the bridge is noticed and put right, and what we do ourselves is not taken for
// it.
#include "tests/unit/bridge/HelperOnFakeBridge.h"

namespace OrloAgent {
namespace {

class BridgeMonitorTest : public HelperOnFakeBridge {
 protected:
   BridgeMonitorTest() {
      start();
      program( { pair( 10, 51 ), pair( 11, 51 ), pair( 12, 51 ) } );
      entries_ = bridge_.entries;
      rules_ = bridge_.rules;
      work();
   }

   /// Everything is as it was programmed.
   void expectWhole() {
      EXPECT_EQ( bridge_.entries, entries_ );
      EXPECT_EQ( bridge_.rules, rules_ );
   }

   Fdb entries_;
   Rules rules_;
};

TEST_F( BridgeMonitorTest, OurOwnChangesAreNoNews ) {
   const auto before = helper_->writes();
   EXPECT_EQ( work(), Lines{} );

   del( pair( 11, 51 ), 1 );
   work();
   add( pair( 11, 51 ), 1 );
   work();
   del( pair( 11, 51 ), 1 ); // both in one event: the kernel tells of it afterwards
   add( pair( 20, 51 ), 1 );
   work();

   EXPECT_EQ( helper_->writes(), before + 4 );
   EXPECT_EQ( work(), Lines{} );
}

TEST_F( BridgeMonitorTest, AnEntryThatSomebodyRemovesIsPutBack ) {
   bridge_.entryIs( pair( 11, 51 ), FdbState::absent );

   EXPECT_EQ( work(), Lines{ "entry 11/51" } );
   expectWhole();
}

TEST_F( BridgeMonitorTest, AnEntryThatSomebodyPinsToAPortIsPutBack ) {
   bridge_.entryIs( pair( 11, 51 ), FdbState::fixed );

   EXPECT_EQ( work(), Lines{ "entry 11/51" } );
   expectWhole();
}

TEST_F( BridgeMonitorTest, ARuleThatSomebodyRemovesOrChangesIsPutBack ) {
   bridge_.ruleIs( 2, std::nullopt );
   EXPECT_EQ( work(), Lines{ "rule 2: 11/51 to 10" } );

   bridge_.ruleIs( 3, rule( 12, 51, 20 ) );
   EXPECT_EQ( work(), Lines{ "rule 3: 12/51 to 10" } );
   expectWhole();
}

TEST_F( BridgeMonitorTest, AllRulesThatGoAtOnceArePutBack ) {
   bridge_.rulesGo();

   EXPECT_EQ( work(), ( Lines{ "rule 2: 11/51 to 10", "rule 3: 12/51 to 10" } ) );
   expectWhole();
}

TEST_F( BridgeMonitorTest, WhatOthersDoElsewhereIsNoneOfOurBusiness ) {
   bridge_.entryIs( pair( 20, 51 ), FdbState::local );
   bridge_.entryIs( pair( 20, 52 ), FdbState::fixed );
   bridge_.entryIs( pair( 20, 52 ), FdbState::absent );
   bridge_.deviceIs( bridge_.device );

   EXPECT_EQ( work(), Lines{} );
}

TEST_F( BridgeMonitorTest, WhatIsChangedAndChangedBackIsNotWritten ) {
   bridge_.entryIs( pair( 11, 51 ), FdbState::absent );
   bridge_.entryIs( pair( 11, 51 ), FdbState::local );

   EXPECT_EQ( work(), Lines{} );
}

TEST_F( BridgeMonitorTest, WhoRemovesItAgainAndAgainIsAnsweredLessAndLessOften ) {
   int answers = 0;
   for( int i = 0; i < 100; ++i ) {
      if( bridge_.entries.contains( pair( 11, 51 ) ) ) {
         bridge_.entryIs( pair( 11, 51 ), FdbState::absent );
      }
      answers += work( 10 ).empty() ? 0 : 1;
   }
   EXPECT_GE( answers, 3 );
   EXPECT_LE( answers, 6 );
}

TEST_F( BridgeMonitorTest, AfterALossEverythingIsReadAgain ) {
   bridge_.entries.erase( pair( 10, 51 ) ); // nothing is heard of these
   bridge_.rules.erase( 3 );
   bridge_.rules[7] = rule( 12, 99, 10 );
   EXPECT_EQ( work(), Lines{} );

   bridge_.news.isLossy = true;

   EXPECT_EQ( work(), ( Lines{ "no rule 7", "rule 3: 12/51 to 10", "entry 10/51" } ) );
   expectWhole();
}

TEST_F( BridgeMonitorTest, RepairWritesWhatDiffersAndNothingElse ) {
   helper_->repair();
   EXPECT_EQ( work(), Lines{} );

   bridge_.entries.erase( pair( 10, 51 ) );
   helper_->repair();
   EXPECT_EQ( work(), Lines{ "entry 10/51" } );
}

TEST_F( BridgeMonitorTest, WithoutTheBridgeThereIsNothingAndWithItEverythingAgain ) {
   bridge_.deviceIs( {} );
   work();
   EXPECT_EQ( ( Lines{ reason( 0 ), reason( 1 ), reason( 2 ) } ),
              Lines( 3, "there is no bridge br0" ) );
   EXPECT_EQ( helper_->slot( 0 ), std::nullopt );
   EXPECT_EQ( held(), Entries{} );

   bridge_.deviceIs( { 4, true, true } );
   work();
   expectWhole();
   EXPECT_EQ( helper_->slot( 0 ), pair( 10, 51 ) );
}

TEST_F( BridgeMonitorTest, ABridgeThatIsMadeAnewInOneGoIsNotTakenForTheOldOne ) {
   bridge_.deviceIs( { 4, true, true } );
   bridge_.entries[pair( 10, 51 )] = FdbState::local; // somebody's, on the new one
   bridge_.entries[pair( 20, 51 )] = FdbState::local;
   del( pair( 10, 51 ), 0 ); // this was ours on the old one
   add( pair( 20, 51 ), 3 );
   work();
   entries_[pair( 20, 51 )] = FdbState::local;
   expectWhole();

   del( pair( 20, 51 ), 3 );
   work();
   expectWhole();
}

TEST_F( BridgeMonitorTest, WhatIsNotWantedAnyMoreIsForgottenWithTheBridge ) {
   bridge_.deviceIs( {} );
   del( pair( 10, 51 ), 0 );
   work();
   EXPECT_EQ( reason( 0 ), "" );

   bridge_.deviceIs( { 4, true, true } );
   work();

   entries_.erase( pair( 10, 51 ) );
   expectWhole();
}

} // namespace
} // namespace OrloAgent
