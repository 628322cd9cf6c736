// The key of the whole system: its fields, its order, its hash.
#include "tests/unit/library/Values.h"

#include <gtest/gtest.h>

#include <random>

namespace LibraryTests {
namespace {

/// Ascending, with neighbours that differ in one respect only.
const std::vector<VlanAndMac> kAscending = {
      VlanAndMac( vlan( 0 ), EthAddr( 0xffff, 0xffff, 0xffff ) ),
      VlanAndMac( vlan( 1 ), EthAddr() ),
      VlanAndMac( vlan( 1 ), EthAddr( 0, 0, 1 ) ),
      VlanAndMac( vlan( 1 ), EthAddr( 0, 0, 0xffff ) ),
      VlanAndMac( vlan( 1 ), EthAddr( 0, 1, 0 ) ),
      VlanAndMac( vlan( 1 ), EthAddr( 0, 0x8000, 0 ) ),
      VlanAndMac( vlan( 1 ), EthAddr( 1, 0, 0 ) ),
      VlanAndMac( vlan( 1 ), EthAddr( 0x8000, 0, 0 ) ),
      VlanAndMac( vlan( 10 ), EthAddr( 0xffff, 0xffff, 0xffff ) ),
      VlanAndMac( vlan( 20 ), EthAddr() ),
      VlanAndMac( vlan( 0x7fff ), EthAddr( 1, 2, 3 ) ),
      VlanAndMac( vlan( 0x8000 ), EthAddr( 1, 2, 3 ) ),
      VlanAndMac( vlan( 0xffff ), EthAddr() ),
};

std::vector<VlanAndMac> randomPairs( std::size_t count ) {
   std::mt19937 random( 11 );
   std::vector<VlanAndMac> pairs;
   while( pairs.size() < count ) {
      const auto word = [&] { return static_cast<U16>( random() ); };
      pairs.emplace_back( vlan( word() ), EthAddr( word(), word(), word() ) );
   }
   return pairs;
}

TEST( VlanAndMac, HoldsTheVlanAndTheMacItWasMadeOf ) {
   const VlanAndMac key( vlan( 10 ), EthAddr( 0x0102, 0x0304, 0x0506 ) );
   EXPECT_EQ( key.vlanId(), vlan( 10 ) );
   EXPECT_EQ( key.mac(), EthAddr( 0x0102, 0x0304, 0x0506 ) );
}

TEST( VlanAndMac, WithoutArgumentsIsVlan1AndTheZeroMac ) {
   EXPECT_EQ( VlanAndMac(), VlanAndMac( vlan( 1 ), EthAddr() ) );
}

TEST( VlanAndMac, IsCopiedByValue ) {
   const VlanAndMac original = pair( 10, 1 );
   VlanAndMac copy = original;
   copy.vlanIdIs( vlan( 20 ) );
   EXPECT_EQ( original, pair( 10, 1 ) );
   EXPECT_EQ( copy, pair( 20, 1 ) );
   copy.macIs( mac( 2 ) );
   EXPECT_EQ( copy, pair( 20, 2 ) );
}

TEST( VlanAndMac, IsEqualOnlyWhenBothFieldsAre ) {
   EXPECT_TRUE( pair( 10, 1 ) == pair( 10, 1 ) );
   EXPECT_FALSE( pair( 10, 1 ) == pair( 20, 1 ) ) << "the same MAC on another VLAN";
   EXPECT_FALSE( pair( 10, 1 ) == pair( 10, 2 ) ) << "another MAC on the same VLAN";
   EXPECT_FALSE( pair( 10, 1 ) != pair( 10, 1 ) );
   EXPECT_TRUE( pair( 10, 1 ) != pair( 20, 1 ) );
   EXPECT_TRUE( pair( 10, 1 ) != pair( 10, 2 ) );
}

TEST( VlanAndMac, EveryWordOfTheMacCountsForEquality ) {
   const VlanAndMac key( vlan( 10 ), EthAddr( 1, 2, 3 ) );
   EXPECT_NE( key, VlanAndMac( vlan( 10 ), EthAddr( 9, 2, 3 ) ) );
   EXPECT_NE( key, VlanAndMac( vlan( 10 ), EthAddr( 1, 9, 3 ) ) );
   EXPECT_NE( key, VlanAndMac( vlan( 10 ), EthAddr( 1, 2, 9 ) ) );
}

TEST( VlanAndMac, Vlan10StandsBeforeVlan20WhateverTheMacs ) {
   for( const U16 low : { U16{ 1 }, U16{ 255 } } ) {
      for( const U16 high : { U16{ 1 }, U16{ 255 } } ) {
         EXPECT_TRUE( pair( 10, low ) < pair( 20, high ) );
         EXPECT_FALSE( pair( 20, low ) < pair( 10, high ) );
      }
   }
}

TEST( VlanAndMac, OrderIsByVlanAndThenByMacAllUnsigned ) {
   for( std::size_t i = 0; i < kAscending.size(); ++i ) {
      for( std::size_t j = 0; j < kAscending.size(); ++j ) {
         EXPECT_EQ( kAscending[i] < kAscending[j], i < j ) << kAscending[i] << kAscending[j];
      }
   }
}

TEST( VlanAndMac, TheOtherOrderingsAgreeWithLess ) {
   for( std::size_t i = 0; i < kAscending.size(); ++i ) {
      for( std::size_t j = 0; j < kAscending.size(); ++j ) {
         EXPECT_EQ( kAscending[i] <= kAscending[j], i <= j ) << kAscending[i] << kAscending[j];
         EXPECT_EQ( kAscending[i] > kAscending[j], i > j ) << kAscending[i] << kAscending[j];
         EXPECT_EQ( kAscending[i] >= kAscending[j], i >= j ) << kAscending[i] << kAscending[j];
      }
   }
}

TEST( VlanAndMac, HashIsTheMirroredXorOfMacHashAndVlan ) {
   for( const VlanAndMac &key : randomPairs( 1000 ) ) {
      EXPECT_EQ( key.hash(), mirrored( key.mac().hash() ^ U32{ key.vlanId().number() } ) ) << key;
   }
}

TEST( VlanAndMac, HashOnVlan0IsTheMirroredHashOfTheMac ) {
   EXPECT_EQ( pair( 0, 7 ).hash(), mirrored( mac( 7 ).hash() ) );
}

TEST( VlanAndMac, HashSeesAllSixteenBitsOfTheVlan ) {
   for( U32 bit = 0; bit < 16; ++bit ) {
      const U32 change = pair( 0, 7 ).hash() ^ pair( static_cast<U16>( 1u << bit ), 7 ).hash();
      EXPECT_EQ( change, 0x80000000u >> bit );
   }
}

TEST( VlanAndMac, FromVlan1ToVlan2TheTwoTopBitsOfTheHashFlip ) {
   EXPECT_EQ( pair( 1, 7 ).hash() ^ pair( 2, 7 ).hash(), 0xC0000000u );
}

TEST( VlanAndMac, CollectionsSortItByItsHash ) {
   for( const VlanAndMac &key : randomPairs( 20 ) ) {
      EXPECT_EQ( Quor::bitReverse( naturalHash( key ) ), key.hash() );
   }
}

} // namespace
} // namespace LibraryTests
