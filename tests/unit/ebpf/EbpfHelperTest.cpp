// The helper of the ebpf hardware: what the programmer asks for is in the table of the program,
// with the right SVI, whatever becomes of the devices.
#include "tests/unit/ebpf/HelperOnFakeSwitch.h"

namespace OrloAgent {
namespace {

class EbpfHelperTest : public HelperOnFakeSwitch {};

TEST_F( EbpfHelperTest, EveryPairGoesIntoTheSviOfItsPrimaryVlan ) {
   start();
   program( { pair( 10, 51 ), pair( 12, 51 ), pair( 20, 51 ), pair( 11, 52 ) } );

   const U32 br10 = ifindex( "br10" );
   const U32 br20 = ifindex( "br20" );
   EXPECT_EQ( switch_.rows, ( Rows{ { pair( 10, 51 ), { 0, br10 } },
                                    { pair( 12, 51 ), { 1, br10 } },
                                    { pair( 20, 51 ), { 2, br20 } },
                                    { pair( 11, 52 ), { 3, br10 } } } ) );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( EbpfHelperTest, WhoLeavesLeavesNothing ) {
   start();
   ASSERT_NE( switch_.filters, decltype( switch_.filters )() );
   helper_->leave();
   EXPECT_EQ( switch_.filters, decltype( switch_.filters )() );
   EXPECT_EQ( switch_.ports, decltype( switch_.ports )() );
   EXPECT_EQ( switch_.calls.back(), "unpin" );
   EXPECT_EQ( work(), Lines{} ) << "a port is attached again";
}

TEST_F( EbpfHelperTest, WritesOfOneEventAreOneMessage ) {
   start();
   for( U32 index = 0; index < 5; ++index ) {
      add( pair( 10, static_cast<Quor::U8>( index ) ), index );
   }
   EXPECT_EQ( work(), Lines{ "put 5" } );
   for( U32 index = 0; index < 3; ++index ) {
      del( pair( 10, static_cast<Quor::U8>( index ) ), index );
      add( pair( 20, static_cast<Quor::U8>( index ) ), index );
   }
   EXPECT_EQ( work(), ( Lines{ "erase 3", "put 3" } ) );
   EXPECT_EQ( work(), Lines{} );
}

TEST_F( EbpfHelperTest, NoMessageHasMoreRowsThanTheBatch ) {
   own_.batch = 2;
   start();
   for( U32 index = 0; index < 5; ++index ) {
      add( pair( 10, static_cast<Quor::U8>( index ) ), index );
   }
   EXPECT_EQ( work(), ( Lines{ "put 2", "put 2", "put 1" } ) );
   for( U32 index = 0; index < 3; ++index ) {
      del( pair( 10, static_cast<Quor::U8>( index ) ), index );
   }
   EXPECT_EQ( work(), ( Lines{ "erase 2", "erase 1" } ) );
   EXPECT_EQ( switch_.rows.size(), 2u );
}

TEST_F( EbpfHelperTest, WhatIsRefusedKeepsNobodyElseFromBeingDone ) {
   start();
   switch_.refusals = {
         { pair( 10, 1 ), EPERM }, { pair( 10, 4 ), ENOMEM }, { pair( 10, 5 ), EIO } };
   for( U32 index = 0; index < 6; ++index ) {
      add( pair( 10, static_cast<Quor::U8>( index ) ), index );
   }

   EXPECT_EQ( work(), ( Lines{ "put 6", "put 4", "put 1" } ) );

   Lines reasons;
   for( U32 index = 0; index < 6; ++index ) {
      reasons.push_back( reason( index ) );
   }
   EXPECT_EQ( reasons,
              ( Lines{ "",
                       "the kernel does not permit it: the agent needs root, or the capability "
                       "CAP_BPF",
                       "", "", "the kernel has no memory for it",
                       "the kernel refuses it: Input/output error" } ) );
   EXPECT_EQ( switch_.rows.size(), 3u );
   EXPECT_EQ( helper_->refusals(), 3u );
}

TEST_F( EbpfHelperTest, AFullTableTakesThePairAsSoonAsItHasRoom ) {
   start();
   switch_.capacity = 2;
   program( { pair( 10, 1 ), pair( 10, 2 ), pair( 10, 3 ) } );
   EXPECT_EQ( reason( 2 ), "the table is full" );

   del( pair( 10, 1 ), 0 );
   work( 1000 );

   EXPECT_EQ( reason( 2 ), "" );
   EXPECT_EQ( switch_.rows, ( Rows{ { pair( 10, 2 ), { 1, ifindex( "br10" ) } },
                                    { pair( 10, 3 ), { 2, ifindex( "br10" ) } } } ) );
}

TEST_F( EbpfHelperTest, ARowThatIsNotThereIsRemovedAlready ) {
   struct Case {
      U32 indexes; // of many rows a few are looked up, of few the table is read
      bool isUnreadable;
   };
   for( const Case &one : { Case{ 8, false }, Case{ 1000, false }, Case{ 8, true } } ) {
      SCOPED_TRACE( one.indexes );
      switch_.rows.clear();
      start( one.indexes );
      program( { pair( 10, 1 ), pair( 10, 2 ), pair( 10, 3 ) } );
      switch_.rows.erase( pair( 10, 2 ) );
      switch_.rows[pair( 10, 3 )].index = 7; // somebody else's doing: not what is to be removed
      switch_.isUnreadable = one.isUnreadable;

      for( U32 index = 0; index < 3; ++index ) {
         del( pair( 10, static_cast<Quor::U8>( index + 1 ) ), index );
      }

      EXPECT_EQ( work(), Lines{ "erase 1" } );
      EXPECT_EQ( switch_.rows, ( Rows{ { pair( 10, 3 ), { 7, ifindex( "br10" ) } } } ) );
      EXPECT_EQ( helper_->refusals(), 0u );
   }
}

TEST_F( EbpfHelperTest, ARemovalThatTheKernelRefusesIsTriedAgain ) {
   start();
   program( { pair( 10, 1 ), pair( 10, 2 ), pair( 10, 3 ) } );
   switch_.refusals = { { pair( 10, 2 ), EBUSY } };
   for( U32 index = 0; index < 3; ++index ) {
      del( pair( 10, static_cast<Quor::U8>( index + 1 ) ), index );
   }
   EXPECT_EQ( work(), ( Lines{ "erase 3", "erase 1" } ) );
   EXPECT_EQ( reason( 1 ), "the kernel refuses it: Device or resource busy" );
   EXPECT_EQ( switch_.rows.size(), 1u );

   switch_.refusals.clear();
   work( 1000 );

   EXPECT_EQ( switch_.rows, Rows{} );
}

TEST_F( EbpfHelperTest, WithoutItsSviAPairWaitsUntilItComes ) {
   switch_.goes( "br10" );
   start();
   program( { pair( 10, 51 ), pair( 11, 51 ), pair( 20, 51 ) } );
   EXPECT_EQ( reason( 0 ), "no interface br10" );
   EXPECT_EQ( reason( 1 ), "no interface br10" );
   EXPECT_EQ( switch_.rows.size(), 1u );
   EXPECT_EQ( work(), Lines{} );

   const U32 br10 = switch_.comes( "br10" );

   EXPECT_EQ( work(), Lines{ "put 2" } );
   EXPECT_EQ( switch_.rows, ( Rows{ { pair( 10, 51 ), { 0, br10 } },
                                    { pair( 11, 51 ), { 1, br10 } },
                                    { pair( 20, 51 ), { 2, ifindex( "br20" ) } } } ) );
   EXPECT_EQ( reason( 0 ), "" );
}

TEST_F( EbpfHelperTest, AVlanThatNobodyRoutesIsRefused ) {
   start();
   program( { pair( 13, 51 ), pair( 4094, 51 ) } );

   EXPECT_EQ( reason( 0 ), "no interface routes its VLAN" );
   EXPECT_EQ( reason( 1 ), "no interface routes its VLAN" );
   EXPECT_EQ( switch_.rows, Rows{} );
}

TEST_F( EbpfHelperTest, AnSviThatIsMadeAgainGetsItsPairsBack ) {
   start();
   program( { pair( 10, 51 ), pair( 11, 51 ), pair( 20, 51 ) } );

   for( int round = 0; round < 3; ++round ) {
      switch_.goes( "br10" );
      const U32 again = switch_.comes( "br10" );

      EXPECT_EQ( work(), Lines{ "put 2" } ) << round;
      EXPECT_EQ( switch_.rows, ( Rows{ { pair( 10, 51 ), { 0, again } },
                                       { pair( 11, 51 ), { 1, again } },
                                       { pair( 20, 51 ), { 2, ifindex( "br20" ) } } } ) );
   }
}

TEST_F( EbpfHelperTest, WhileTheSviIsGoneItsFramesGoOnAsBefore ) {
   start();
   program( { pair( 10, 51 ), pair( 11, 51 ), pair( 20, 51 ) } );

   switch_.goes( "br10" );
   EXPECT_EQ( work(), Lines{ "erase 2" } );
   EXPECT_EQ( switch_.rows, ( Rows{ { pair( 20, 51 ), { 2, ifindex( "br20" ) } } } ) );
   EXPECT_EQ( reason( 0 ), "no interface br10" );
   const U32 again = switch_.comes( "br10" );
   EXPECT_EQ( work(), Lines{ "put 2" } );

   EXPECT_EQ( switch_.rows.at( pair( 11, 51 ) ), ( FakeSwitch::Row{ 1, again } ) );
}

TEST_F( EbpfHelperTest, AnSviWithAnotherNameIsGone ) {
   start();
   program( { pair( 10, 51 ), pair( 20, 51 ) } );

   switch_.renamed( "br10", "old10" );
   work();
   EXPECT_EQ( switch_.rows, ( Rows{ { pair( 20, 51 ), { 1, ifindex( "br20" ) } } } ) );
   switch_.renamed( "old10", "br10" );
   work();

   EXPECT_EQ( switch_.rows.at( pair( 10, 51 ) ), ( FakeSwitch::Row{ 0, ifindex( "br10" ) } ) );
}

TEST_F( EbpfHelperTest, ANewsOfTheSviThatChangesNothingWritesNothing ) {
   start();
   program( { pair( 10, 51 ) } );

   switch_.news.devices = { { ifindex( "br10" ), "br10" } };
   EXPECT_EQ( work(), Lines{} );
   switch_.news.isIncomplete = true;
   EXPECT_EQ( work(), Lines{} );
}

TEST_F( EbpfHelperTest, WhatWasMissedIsLookedUp ) {
   start();
   program( { pair( 10, 51 ) } );
   switch_.goes( "br10" );
   const U32 again = switch_.comes( "br10" );
   switch_.filters.clear();
   switch_.news = {};
   switch_.news.isIncomplete = true;

   EXPECT_EQ( work(), ( Lines{ "put 1", "attach 3", "attach 4" } ) );

   EXPECT_EQ( switch_.rows, ( Rows{ { pair( 10, 51 ), { 0, again } } } ) );
}

TEST_F( EbpfHelperTest, AVlanWithAnotherPrimaryGoesIntoThatSvi ) {
   start();
   program( { pair( 10, 51 ), pair( 11, 51 ), pair( 12, 51 ), pair( 20, 51 ) } );

   helper_->interfacesAre( { routed( "br10", 10, { 12 } ), routed( "br20", 20, { 11 } ) } );

   EXPECT_EQ( work(), Lines{ "put 1" } );
   EXPECT_EQ( switch_.rows.at( pair( 11, 51 ) ), ( FakeSwitch::Row{ 1, ifindex( "br20" ) } ) );
   helper_->interfacesAre( { routed( "br10", 10, { 12 } ), routed( "br20", 20, { 11 } ) } );
   EXPECT_EQ( work(), Lines{} );
}

TEST_F( EbpfHelperTest, AnInterfaceOfAnotherNameIsLookedFor ) {
   start();
   program( { pair( 10, 51 ), pair( 20, 51 ) } );

   helper_->interfacesAre( { routed( "vlan10", 10 ), routed( "br20", 20 ) } );
   work();
   EXPECT_EQ( reason( 0 ), "no interface vlan10" );
   const U32 vlan10 = switch_.comes( "vlan10" );
   work();

   EXPECT_EQ( switch_.rows, ( Rows{ { pair( 10, 51 ), { 0, vlan10 } },
                                    { pair( 20, 51 ), { 1, ifindex( "br20" ) } } } ) );
}

TEST_F( EbpfHelperTest, TheNextOneAdoptsEveryPairWithoutAWrite ) {
   start();
   program( { pair( 10, 51 ), pair( 12, 51 ), pair( 20, 51 ), pair( 11, 52 ) } );
   const Rows rows = switch_.rows;
   switch_.takeCalls();

   start();
   const Entries taken = adopt();

   EXPECT_EQ( taken, ( Entries{ { pair( 10, 51 ), 0 },
                                { pair( 12, 51 ), 1 },
                                { pair( 20, 51 ), 2 },
                                { pair( 11, 52 ), 3 } } ) );
   EXPECT_EQ( switch_.takeCalls(), Lines{} );
   EXPECT_EQ( work(), Lines{} );
   EXPECT_EQ( switch_.rows, rows );
   EXPECT_EQ( helper_->writes(), 0u );
}

TEST_F( EbpfHelperTest, AnAdoptedPairWhoseSviIsAnotherDeviceIsWrittenAgain ) {
   start();
   program( { pair( 10, 51 ), pair( 12, 51 ), pair( 20, 51 ) } );
   switch_.goes( "br20" );
   const U32 again = switch_.comes( "br20" );

   start();
   EXPECT_EQ( adopt().size(), 3u );

   EXPECT_EQ( work(), Lines{ "put 1" } );
   EXPECT_EQ( switch_.rows.at( pair( 20, 51 ) ), ( FakeSwitch::Row{ 2, again } ) );
}

TEST_F( EbpfHelperTest, AnSviThatComesBetweenTheHelperAndItsAdoptionIsSeen ) {
   start();
   program( { pair( 10, 51 ), pair( 20, 51 ) } );
   switch_.renamed( "br20", "aside" );

   start();
   switch_.renamed( "aside", "br20" );
   EXPECT_EQ( adopt().size(), 2u );

   EXPECT_EQ( work(), Lines{} );
}

TEST_F( EbpfHelperTest, SvisThatCouldNotBeReadWithThePairsAreReadLater ) {
   start();
   program( { pair( 10, 51 ), pair( 20, 51 ) } );
   switch_.goes( "br20" );
   const U32 again = switch_.comes( "br20" );

   start();
   switch_.readings = 1;
   EXPECT_EQ( adopt().size(), 2u );
   EXPECT_EQ( work(), Lines{} );
   EXPECT_EQ( next_, now_ + std::chrono::seconds( 1 ) );

   switch_.isUnreadable = false;
   switch_.readings.reset();
   EXPECT_EQ( work( 1000 ), Lines{ "put 1" } );
   EXPECT_EQ( switch_.rows.at( pair( 20, 51 ) ), ( FakeSwitch::Row{ 1, again } ) );
   EXPECT_EQ( next_, OrloHelper::HardwareWork::kNever );
}

TEST_F( EbpfHelperTest, WhatHasNoPlaceAnyMoreIsRemovedAtStart ) {
   start();
   program( { pair( 10, 51 ), pair( 12, 51 ), pair( 20, 51 ) } );
   switch_.rows[pair( 12, 99 )] = { 1, ifindex( "br10" ) };   // an index a second time
   switch_.rows[pair( 0, 51 )] = { 4, ifindex( "br10" ) };    // no VLAN
   switch_.rows[pair( 11, 51 )] = { 700, ifindex( "br10" ) }; // no such index

   start( 2 );
   const Entries taken = adopt();

   EXPECT_EQ( taken, ( Entries{ { pair( 10, 51 ), 0 }, { pair( 12, 51 ), 1 } } ) );
   EXPECT_EQ( switch_.rows, ( Rows{ { pair( 10, 51 ), { 0, ifindex( "br10" ) } },
                                    { pair( 12, 51 ), { 1, ifindex( "br10" ) } } } ) );
}

TEST_F( EbpfHelperTest, ATableThatCannotBeReadIsTold ) {
   start();
   switch_.isUnreadable = true;

   EXPECT_EQ( adopt(), Entries{} );
   EXPECT_EQ( told(),
              Lines{ "cannot read what the hardware holds: out of order; it is tried again" } );
   EXPECT_THROW( helper_->readAll(), std::runtime_error );
   EXPECT_THROW( helper_->repair(), std::runtime_error );
}

TEST_F( EbpfHelperTest, RepairMakesEverythingAsItWasAskedToBe ) {
   start();
   program( { pair( 10, 51 ), pair( 11, 51 ), pair( 20, 51 ), pair( 12, 51 ) } );
   const Rows rows = switch_.rows;
   switch_.rows.erase( pair( 10, 51 ) );
   switch_.rows[pair( 11, 51 )].svi = 999;
   switch_.rows[pair( 20, 51 )].index = 6;
   switch_.rows[pair( 20, 99 )] = { 5, 1 };
   switch_.filters.clear();

   helper_->repair();
   EXPECT_EQ( switch_.takeCalls(), Lines{} ) << "before it works";
   work();
   work();

   EXPECT_EQ( switch_.rows, rows );
   EXPECT_EQ( switch_.filters.size(), 2u );
}

TEST_F( EbpfHelperTest, ShowsWhatTheTableHolds ) {
   start();
   program( { pair( 10, 51 ), pair( 20, 51 ) } );

   EXPECT_EQ( helper_->readAll(),
              ( std::vector<Entry>{ { pair( 10, 51 ), 0 }, { pair( 20, 51 ), 1 } } ) );
   EXPECT_EQ( helper_->slot( 1 ), pair( 20, 51 ) );
   EXPECT_EQ( helper_->slot( 2 ), std::nullopt );
}

TEST_F( EbpfHelperTest, NoIndexesAtAll ) {
   start( 0 );

   EXPECT_EQ( adopt(), Entries{} );
   EXPECT_EQ( work(), Lines{} );
   switch_.goes( "br10" );
   EXPECT_EQ( work(), Lines{} );
   EXPECT_EQ( switch_.filters.size(), 2u );
}

} // namespace
} // namespace OrloAgent
