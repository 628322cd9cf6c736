// The helper of the memory hardware: what the programmer asks for is in the table, what the table
// holds is handed back at the next start.
#include "agent/hardware/memory/MemoryHelper.h"
#include "tests/unit/agent/FakeKernel.h"
#include "tests/unit/agent/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>

#include <sys/resource.h>

namespace OrloAgent {
namespace {

using OrloHelper::CurrentVrrpStateForInit;
using Lines = std::vector<std::string>;

Pair pair( Quor::U16 vlan, Quor::U8 vrid ) {
   return { Bridging::VlanId( vlan ), vrrpMac( vrid ) };
}

/// What the administrator is told.
class Journal {
 public:
   Lines written() { return std::exchange( lines_, {} ); }
   void throwsIs( bool throws ) { throws_ = throws; }
   void add( const std::string &what ) {
      lines_.push_back( "trouble: " + what );
      if( throws_ ) {
         throw std::runtime_error( "the watcher has a bad day" );
      }
   }

 private:
   Lines lines_;
   bool throws_ = false;
};

class MemoryHelperTest : public testing::Test {
 protected:
   Quor::Ptr<MemoryHelper> start( Quor::U32 indexes = 5 ) {
      return Quor::make<MemoryHelper>(
            folder_.path( "slots" ),
            OrloHelper::HelperSettings{
                  .indexes = indexes,
                  .trouble = [this]( const std::string &what ) { journal_.add( what ); } } );
   }
   static void add( MemoryHelper &helper, const Pair &one, Quor::U32 index ) {
      helper.addVirtualRouterMac( one.mac(), one.vlanId().number(), index );
      helper.work( {} );
   }
   static void del( MemoryHelper &helper, const Pair &one, Quor::U32 index ) {
      helper.deleteVirtualRouterMac( one.mac(), one.vlanId().number(), index );
      helper.work( {} );
   }
   static bool holds( const MemoryHelper &helper, const Pair &one, Quor::U32 index ) {
      return helper.slot( index ) == one;
   }
   /// What was left in the table by somebody else.
   void leave( const std::vector<std::pair<Quor::U32, Pair>> &contents, Quor::U32 count = 5 ) {
      SlotFile slots( folder_.path( "slots" ), count, []( const std::string & ) {} );
      for( const auto &[index, one] : contents ) {
         slots.slotIs( index, one );
      }
   }

   TemporaryFolder folder_;
   Journal journal_;
};

TEST_F( MemoryHelperTest, AsksForAdoption ) {
   EXPECT_TRUE( start()->syncCurrentStateOnInit() );
}

TEST_F( MemoryHelperTest, AddsAndDeletesInTheTable ) {
   const auto helper = start();
   add( *helper, pair( 10, 51 ), 3 );
   EXPECT_TRUE( holds( *helper, pair( 10, 51 ), 3 ) );
   EXPECT_FALSE( holds( *helper, pair( 10, 51 ), 2 ) );
   EXPECT_FALSE( holds( *helper, pair( 11, 51 ), 3 ) );
   del( *helper, pair( 10, 51 ), 3 );
   EXPECT_FALSE( holds( *helper, pair( 10, 51 ), 3 ) );
   EXPECT_EQ( journal_.written(), Lines{} );
   EXPECT_EQ( helper->slots().writes(), 2u );
}

TEST_F( MemoryHelperTest, WhatIsThereAlreadyIsNotWrittenAgain ) {
   const auto helper = start();
   add( *helper, pair( 10, 51 ), 3 );
   add( *helper, pair( 10, 51 ), 3 );
   EXPECT_EQ( helper->slots().writes(), 1u );
   EXPECT_EQ( journal_.written(), Lines{} );
}

TEST_F( MemoryHelperTest, RefusesWhatCannotBeAndSaysSo ) {
   const auto helper = start();
   add( *helper, pair( 10, 51 ), 3 );
   add( *helper, pair( 10, 52 ), 5 );
   add( *helper, pair( 10, 52 ), 0xffffffff );
   add( *helper, pair( 10, 52 ), 3 );
   del( *helper, pair( 10, 52 ), 3 );
   del( *helper, pair( 10, 51 ), 4 );
   del( *helper, pair( 10, 51 ), 5 );
   const std::string program = "trouble: cannot program VLAN 10  00:00:5e:00:01:34  index ";
   const std::string remove52 = "trouble: cannot remove VLAN 10  00:00:5e:00:01:34  index ";
   const std::string remove51 = "trouble: cannot remove VLAN 10  00:00:5e:00:01:33  index ";
   EXPECT_EQ( journal_.written(), ( Lines{ program + "5: the hardware has no such index",
                                           program + "4294967295: the hardware has no such index",
                                           program + "3: the index is another pair's",
                                           remove52 + "3: the index is not this pair's",
                                           remove51 + "4: the index is not this pair's",
                                           remove51 + "5: the index is not this pair's" } ) );
   EXPECT_EQ( helper->refusals(), 6u );
   EXPECT_TRUE( holds( *helper, pair( 10, 51 ), 3 ) );
   EXPECT_EQ( helper->slots().writes(), 1u );
}

TEST_F( MemoryHelperTest, NothingIsThrownIntoTheProgrammer ) {
   const auto helper = start();
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   journal_.throwsIs( true );
   EXPECT_NO_THROW( add( *helper, pair( 10, 51 ), 3 ) );
   EXPECT_NO_THROW( add( *helper, pair( 10, 51 ), 9 ) );
   EXPECT_NO_THROW( helper->syncVrrpStateOnInit( snapshot ) );
   EXPECT_NO_THROW( del( *helper, pair( 10, 51 ), 3 ) );
   EXPECT_NO_THROW( helper->initializationComplete() );
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 1u );
}

TEST_F( MemoryHelperTest, TheSnapshotIsWhatTheTableHolds ) {
   leave( { { 4, pair( 10, 51 ) }, { 0, pair( 11, 51 ) }, { 2, pair( 10, 52 ) } } );
   const auto helper = start();
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   helper->syncVrrpStateOnInit( snapshot );

   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 3u );
   EXPECT_EQ( snapshot->virtualRouterIndex( pair( 10, 51 ) )->value(), 4u );
   EXPECT_EQ( snapshot->virtualRouterIndex( pair( 11, 51 ) )->value(), 0u );
   EXPECT_EQ( snapshot->virtualRouterIndex( pair( 10, 52 ) )->value(), 2u );
   EXPECT_EQ( journal_.written(), Lines{} );
   EXPECT_EQ( helper->slots().writes(), 3u ) << "taking a snapshot writes nothing";
}

TEST_F( MemoryHelperTest, TheSnapshotHasNoOtherVlansAndEveryPairOnce ) {
   leave( { { 0, pair( 0, 51 ) },
            { 1, pair( 10, 51 ) },
            { 2, pair( 4095, 51 ) },
            { 3, pair( 10, 51 ) },
            { 4, pair( 4094, 51 ) } } );
   const auto helper = start();
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   helper->syncVrrpStateOnInit( snapshot );

   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 2u );
   EXPECT_EQ( snapshot->virtualRouterIndex( pair( 10, 51 ) )->value(), 1u );
   EXPECT_EQ( snapshot->virtualRouterIndex( pair( 4094, 51 ) )->value(), 4u );
   EXPECT_EQ(
         journal_.written(),
         ( Lines{ "trouble: removed VLAN 0  00:00:5e:00:01:33  index 0: there is no such VLAN",
                  "trouble: removed VLAN 4095  00:00:5e:00:01:33  index 2: there is no such VLAN",
                  "trouble: removed VLAN 10  00:00:5e:00:01:33  index 3: it stands twice" } ) );
   for( const Quor::U32 freed : { 0u, 2u, 3u } ) {
      EXPECT_EQ( helper->slots().slot( freed ), std::nullopt ) << freed;
   }
}

TEST_F( MemoryHelperTest, TheSnapshotStaysBelowTheNumberOfIndexes ) {
   leave( { { 1, pair( 10, 51 ) }, { 3, pair( 10, 52 ) } } );
   const auto helper = start( 2 );
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   helper->syncVrrpStateOnInit( snapshot );
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 1u );
   EXPECT_EQ( snapshot->virtualRouterIndex( pair( 10, 51 ) )->value(), 1u );
}

TEST_F( MemoryHelperTest, ATableThatCannotBeUsedIsAnError ) {
   const auto helper = start();
   EXPECT_THROW( start(), HardwareError );
}

TEST_F( MemoryHelperTest, ATableThatSomebodyCutsShortIsPutBack ) {
   const auto helper = start();
   add( *helper, pair( 10, 51 ), 3 );
   const std::string table = folder_.path( "slots" );
   std::filesystem::resize_file( table, 0 );
   EXPECT_FALSE( helper->slot( 3 ) );
   EXPECT_THROW( helper->readAll(), std::runtime_error );
   EXPECT_EQ( journal_.written(), Lines{} );

   add( *helper, pair( 11, 51 ), 4 );

   const std::string mended =
         "trouble: somebody has cut short the slot table " + table + ": it is made again as it was";
   EXPECT_EQ( journal_.written(), Lines{ mended } );
   EXPECT_TRUE( holds( *helper, pair( 10, 51 ), 3 ) );
   EXPECT_TRUE( holds( *helper, pair( 11, 51 ), 4 ) );

   std::filesystem::resize_file( table, 100 );
   helper->repair();
   EXPECT_EQ( journal_.written(), Lines{ mended } );
   EXPECT_EQ( helper->readAll().size(), 2u );
}

TEST_F( MemoryHelperTest, AsLongAsItCannotBePutBackNothingIsWritten ) {
   const auto helper = start( 5000 );
   const std::string table = folder_.path( "slots" );
   std::filesystem::resize_file( table, 0 );
   const auto before = std::signal( SIGXFSZ, SIG_IGN );
   rlimit unlimited{};
   ASSERT_EQ( getrlimit( RLIMIT_FSIZE, &unlimited ), 0 );
   rlimit limit = unlimited;
   limit.rlim_cur = 4096;
   ASSERT_EQ( setrlimit( RLIMIT_FSIZE, &limit ), 0 ); // stands in for a full disk

   add( *helper, pair( 10, 51 ), 3 );

   setrlimit( RLIMIT_FSIZE, &unlimited );
   std::signal( SIGXFSZ, before );
   const auto refusal = helper->refusal( 3 );
   ASSERT_TRUE( refusal );
   EXPECT_EQ( refusal->reason, "somebody has cut the slot table " + table + " short" );
   EXPECT_EQ( journal_.written().size(), 2u ) << "that it cannot be mended, and what is refused";

   helper->work( refusal->next );
   EXPECT_FALSE( helper->refusal( 3 ) );
   EXPECT_TRUE( holds( *helper, pair( 10, 51 ), 3 ) );
}

} // namespace
} // namespace OrloAgent
