// The snapshot of what the hardware holds.
#include "OrloVrrpHelper/CurrentVrrpStateForInit.h"
#include "tests/unit/library/Values.h"

#include <gtest/gtest.h>

namespace LibraryTests {
namespace {

using OrloHelper::CurrentVrrpStateForInit;

const VlanAndMac a = pair( 10, 1 );
const VlanAndMac b = pair( 20, 1 );

TEST( CurrentVrrpStateForInit, StartsEmpty ) {
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 0u );
   EXPECT_EQ( snapshot->virtualRouterIndex( a ), nullptr );
}

TEST( CurrentVrrpStateForInit, HoldsEachPairWithItsIndex ) {
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   snapshot->virtualRouterIndexIs( a, 5 );
   snapshot->virtualRouterIndexIs( b, 0 );
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 2u ) << "the same MAC on two VLANs";
   EXPECT_EQ( snapshot->virtualRouterIndex( a )->value(), 5u );
   EXPECT_EQ( snapshot->virtualRouterIndex( a )->key(), a );
   ASSERT_TRUE( snapshot->virtualRouterIndex( b ) ) << "index 0 is not absence";
   EXPECT_EQ( snapshot->virtualRouterIndex( b )->value(), 0u );
}

TEST( CurrentVrrpStateForInit, APairReportedTwiceKeepsTheLastIndex ) {
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   snapshot->virtualRouterIndexIs( a, 5 );
   const auto entry = snapshot->virtualRouterIndex( a );
   snapshot->virtualRouterIndexIs( a, 6 );
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 1u );
   EXPECT_EQ( entry->value(), 6u ) << "overwritten in place";
   EXPECT_EQ( snapshot->virtualRouterIndex( a ), entry );
}

TEST( CurrentVrrpStateForInit, NewAddsAndGivesTheEntry ) {
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   const auto entry = snapshot->newVirtualRouterIndex( a, 5 );
   EXPECT_EQ( entry->key(), a );
   EXPECT_EQ( entry->value(), 5u );
   EXPECT_EQ( snapshot->virtualRouterIndex( a ), entry );
   EXPECT_THROW( snapshot->newVirtualRouterIndex( a, 6 ), Quor::NameInUseException );
   EXPECT_EQ( snapshot->virtualRouterIndex( a )->value(), 5u );
}

TEST( CurrentVrrpStateForInit, RemovingGivesTheIndexAnd0WhenAbsent ) {
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   snapshot->virtualRouterIndexIs( a, 5 );
   EXPECT_EQ( snapshot->virtualRouterIndexDel( b ), 0u );
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 1u );
   EXPECT_EQ( snapshot->virtualRouterIndexDel( a ), 5u );
   EXPECT_EQ( snapshot->virtualRouterIndex( a ), nullptr );
   EXPECT_EQ( snapshot->virtualRouterIndexDel( a ), 0u );
}

TEST( CurrentVrrpStateForInit, RemovingUnderAnIteratorGivesTheIndexAnd0AtTheEnd ) {
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   snapshot->virtualRouterIndexIs( a, 5 );
   const auto at = snapshot->virtualRouterIndexes().begin();
   EXPECT_EQ( snapshot->virtualRouterIndexDel( at ), 5u );
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 0u );
   EXPECT_EQ( snapshot->virtualRouterIndexDel( at ), 0u );
   EXPECT_EQ( snapshot->virtualRouterIndexDel( snapshot->virtualRouterIndexes().begin() ), 0u );
}

TEST( CurrentVrrpStateForInit, RemovingAllLeavesNothing ) {
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   for( U16 vlanNumber = 1; vlanNumber < 50; ++vlanNumber ) {
      snapshot->virtualRouterIndexIs( pair( vlanNumber, 1 ), vlanNumber );
   }
   const auto kept = snapshot->virtualRouterIndex( pair( 7, 1 ) );
   snapshot->virtualRouterIndexDelAll();
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 0u );
   EXPECT_EQ( keysOf( snapshot->virtualRouterIndexes() ), std::vector<VlanAndMac>{} );
   EXPECT_EQ( kept->value(), 7u ) << "who holds an entry can read it still";
}

TEST( CurrentVrrpStateForInit, IterationVisitsEveryPairWithItsIndex ) {
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   snapshot->virtualRouterIndexIs( a, 5 );
   snapshot->virtualRouterIndexIs( b, 6 );
   EXPECT_EQ( keysOf( snapshot->virtualRouterIndexes() ), inTableOrder<VlanAndMac>( { a, b } ) );
   for( const auto &entry : snapshot->virtualRouterIndexes() ) {
      EXPECT_EQ( entry.value(), entry.key() == a ? 5u : 6u );
   }
}

TEST( CurrentVrrpStateForInit, NotifyTellsNobody ) {
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   snapshot->virtualRouterIndexNotify( a );
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 0u );
}

TEST( CurrentVrrpStateForInit, EntriesOutliveTheSnapshot ) {
   auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   const auto entry = snapshot->newVirtualRouterIndex( a, 5 );
   snapshot = nullptr;
   EXPECT_EQ( entry->key(), a );
   EXPECT_EQ( entry->value(), 5u );
}

} // namespace
} // namespace LibraryTests
