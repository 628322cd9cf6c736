// The helper of the bridge hardware: what the programmer asks for is in the bridge, what the bridge
// refuses is told and done later, and what is somebody else's stays.
#include "tests/unit/bridge/HelperOnFakeBridge.h"

namespace OrloAgent {
namespace {

class BridgeHelperTest : public HelperOnFakeBridge {};

TEST_F( BridgeHelperTest, APairOnASecondaryVlanHasARuleAndThenItsEntry ) {
   start();
   add( pair( 10, 51 ), 0 );
   add( pair( 12, 51 ), 1 );
   add( pair( 20, 51 ), 2 );
   add( pair( 11, 52 ), 3 );

   EXPECT_EQ( work(), ( Lines{ "rule 2: 12/51 to 10", "rule 4: 11/52 to 10", "entry 10/51",
                               "entry 12/51", "entry 20/51", "entry 11/52" } ) );

   EXPECT_EQ( held(), ( Entries{ { pair( 10, 51 ), 0 },
                                 { pair( 12, 51 ), 1 },
                                 { pair( 20, 51 ), 2 },
                                 { pair( 11, 52 ), 3 } } ) );
   EXPECT_EQ( bridge_.messages, 2 );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( BridgeHelperTest, AnEntryGoesBeforeItsRule ) {
   start();
   program( { pair( 10, 51 ), pair( 12, 51 ) } );

   del( pair( 10, 51 ), 0 );
   del( pair( 12, 51 ), 1 );

   EXPECT_EQ( work(), ( Lines{ "no entry 10/51", "no entry 12/51", "no rule 2" } ) );
   EXPECT_EQ( bridge_.entries, Fdb{} );
   EXPECT_EQ( held(), Entries{} );
}

TEST_F( BridgeHelperTest, AnIndexThatIsHandedOnTakesTheRuleOfItsNewPair ) {
   start();
   program( { pair( 12, 51 ), pair( 11, 51 ), pair( 10, 51 ) } );

   del( pair( 12, 51 ), 0 );
   add( pair( 11, 52 ), 0 ); // another rule
   del( pair( 11, 51 ), 1 );
   add( pair( 20, 52 ), 1 ); // none any more
   del( pair( 10, 51 ), 2 );
   add( pair( 12, 52 ), 2 ); // none before
   work();

   EXPECT_EQ( bridge_.rules, ( Rules{ { 1, rule( 11, 52, 10 ) }, { 3, rule( 12, 52, 10 ) } } ) );
   EXPECT_EQ( held(),
              ( Entries{ { pair( 11, 52 ), 0 }, { pair( 20, 52 ), 1 }, { pair( 12, 52 ), 2 } } ) );
}

TEST_F( BridgeHelperTest, WhatWasLearnedFromThePeerIsReplaced ) {
   start();
   bridge_.entries[pair( 10, 51 )] = FdbState::learned;

   program( { pair( 10, 51 ) } );

   EXPECT_EQ( bridge_.entries, ( Fdb{ { pair( 10, 51 ), FdbState::local } } ) );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( BridgeHelperTest, AVlanThatTheBridgeLacksIsTheReasonForAllItsPairs ) {
   start();
   bridge_.vlans.erase( 12 );

   program( { pair( 12, 51 ), pair( 10, 51 ), pair( 12, 52 ) } );

   EXPECT_EQ( reason( 0 ), "VLAN 12 is not on bridge br0: bridge vlan add dev br0 vid 12 self" );
   EXPECT_EQ( reason( 1 ), "" );
   EXPECT_EQ( reason( 2 ), reason( 0 ) );
   EXPECT_EQ( held(), ( Entries{ { pair( 10, 51 ), 1 } } ) );
}

TEST_F( BridgeHelperTest, WhenTheVlanComesItsPairsAreAddedAtOnce ) {
   start();
   bridge_.vlans.erase( 12 );
   program( { pair( 12, 51 ), pair( 12, 52 ) } );

   bridge_.vlans.insert( 12 );
   bridge_.deviceIs( bridge_.device ); // the kernel says that its VLANs have changed

   EXPECT_EQ( work(), ( Lines{ "entry 12/51", "entry 12/52" } ) );
   EXPECT_EQ( reason( 0 ), "" );
}

TEST_F( BridgeHelperTest, WithoutItsRuleAPairDoesNotGetAnEntry ) {
   start();
   bridge_.ruleRefusal = ENOENT;
   program( { pair( 12, 51 ), pair( 10, 51 ) } );

   EXPECT_EQ( reason( 0 ), "the kernel lacks the flower classifier or the vlan action (modules "
                           "cls_flower, act_vlan)" );
   EXPECT_EQ( bridge_.entries, ( Fdb{ { pair( 10, 51 ), FdbState::local } } ) );

   bridge_.ruleRefusal = 0;
   EXPECT_EQ( work( 1000 ), ( Lines{ "rule 1: 12/51 to 10", "entry 12/51" } ) );
}

TEST_F( BridgeHelperTest, EveryRefusalSaysWhatToDo ) {
   start();
   bridge_.refusals = {
         { pair( 10, 1 ), EPERM }, { pair( 10, 2 ), ENODEV }, { pair( 10, 3 ), ENOMEM } };

   program( { pair( 10, 1 ), pair( 10, 2 ), pair( 10, 3 ), pair( 10, 4 ) } );

   EXPECT_EQ( ( Lines{ reason( 0 ), reason( 1 ), reason( 2 ), reason( 3 ) } ),
              ( Lines{ "the agent may not change bridge br0: it needs CAP_NET_ADMIN",
                       "there is no bridge br0",
                       "the kernel refuses the FDB entry: Cannot allocate memory", "" } ) );
   EXPECT_EQ( helper_->refusals(), 3u );
}

TEST_F( BridgeHelperTest, ABridgeThatCannotServeIsTheReasonForEverything ) {
   bridge_.device = { 3, true, false };
   start();
   program( { pair( 10, 51 ) } );
   EXPECT_EQ( reason( 0 ), "bridge br0 does not filter VLANs: ip link set br0 type bridge "
                           "vlan_filtering 1" );

   bridge_.deviceIs( { 4, false, false } );
   work();
   EXPECT_EQ( reason( 0 ), "br0 is not a bridge" );

   bridge_.deviceIs( {} );
   work();
   EXPECT_EQ( reason( 0 ), "there is no bridge br0" );

   bridge_.deviceIs( { 5, true, true } );
   EXPECT_EQ( work(), Lines{ "entry 10/51" } );
}

TEST_F( BridgeHelperTest, AKernelThatDoesNotAnswerIsAskedAgain ) {
   start();
   bridge_.answers = false;
   program( { pair( 12, 51 ) } );
   EXPECT_EQ( reason( 0 ), "the kernel gave no answer" );

   bridge_.answers = true;
   work( 1000 );

   EXPECT_EQ( reason( 0 ), "" );
   EXPECT_EQ( held(), ( Entries{ { pair( 12, 51 ), 0 } } ) );
   EXPECT_EQ( bridge_.rules, ( Rules{ { 1, rule( 12, 51, 10 ) } } ) );
}

TEST_F( BridgeHelperTest, ARemovalOnAVlanThatHasGoneWaitsUntilItIsBack ) {
   start();
   program( { pair( 12, 51 ) } );
   bridge_.vlans.erase( 12 ); // the kernel keeps the entry, and does not remove it either
   del( pair( 12, 51 ), 0 );
   add( pair( 10, 52 ), 0 );
   work();
   EXPECT_TRUE( helper_->refusal( 0 )->isRemoval );
   EXPECT_EQ( held(), ( Entries{ { pair( 12, 51 ), 0 } } ) );

   bridge_.vlans.insert( 12 );
   bridge_.deviceIs( bridge_.device );
   work();

   EXPECT_EQ( held(), ( Entries{ { pair( 10, 52 ), 0 } } ) );
   EXPECT_EQ( bridge_.rules, Rules{} );
}

TEST_F( BridgeHelperTest, SomebodyElsesEntryIsUsedAndStays ) {
   start();
   bridge_.entries[pair( 12, 51 )] = FdbState::local;

   add( pair( 12, 51 ), 0 );
   EXPECT_EQ( work(), Lines{ "rule 1: 12/51 to 10" } ); // this is ours all the same
   EXPECT_EQ( held(), ( Entries{ { pair( 12, 51 ), 0 } } ) );
   EXPECT_EQ( told(), Lines{ "VLAN 12  00:00:5e:00:01:33 is in the FDB of bridge br0 already: the "
                             "entry is not ours, it is used as it is and will stay" } );

   del( pair( 12, 51 ), 0 );
   EXPECT_EQ( work(), Lines{ "no rule 1" } );
   EXPECT_EQ( bridge_.entries, ( Fdb{ { pair( 12, 51 ), FdbState::local } } ) );
   EXPECT_EQ( held(), Entries{} );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( BridgeHelperTest, SomebodyElsesEntryThatGoesIsFollowedByOurs ) {
   start();
   bridge_.entries[pair( 10, 51 )] = FdbState::local;
   program( { pair( 10, 51 ) } );

   bridge_.entryIs( pair( 10, 51 ), FdbState::absent );
   EXPECT_EQ( work(), Lines{ "entry 10/51" } );

   del( pair( 10, 51 ), 0 );
   work();
   EXPECT_EQ( bridge_.entries, Fdb{} );
}

TEST_F( BridgeHelperTest, AMacThatSomebodyHasPinnedToAPortIsNotTakenFromThere ) {
   start();
   bridge_.entries[pair( 10, 51 )] = FdbState::fixed;

   program( { pair( 10, 51 ) } );

   EXPECT_EQ( reason( 0 ), "somebody else has pinned the MAC to a port of bridge br0" );
   EXPECT_EQ( bridge_.entries, ( Fdb{ { pair( 10, 51 ), FdbState::fixed } } ) );
}

TEST_F( BridgeHelperTest, AnotherPrimaryVlanIsAnotherRuleAndNothingElse ) {
   start();
   program( { pair( 12, 51 ), pair( 11, 51 ), pair( 10, 51 ) } );

   helper_->interfacesAre( { routed( "br0.10", 10, { 11 } ), routed( "br0.20", 20, { 12 } ) } );
   EXPECT_EQ( work(), Lines{ "rule 1: 12/51 to 20" } );

   helper_->interfacesAre( { routed( "br0.10", 10, { 11 } ), routed( "br0.12", 12 ) } );
   EXPECT_EQ( work(), Lines{ "no rule 1" } ) << "at once";
   EXPECT_EQ( bridge_.rules, ( Rules{ { 2, rule( 11, 51, 10 ) } } ) );
}

TEST_F( BridgeHelperTest, WithoutIndexesNothingIsWritten ) {
   EXPECT_EQ( start( 0 ), Lines{} );
   EXPECT_EQ( held(), Entries{} );
   EXPECT_EQ( adopted_, Entries{} );
}

} // namespace
} // namespace OrloAgent
