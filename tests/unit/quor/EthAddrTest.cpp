// MAC addresses: their texts, their order and their hash.
#include "pelmo/EthAddr.h"

#include "quor/Exception.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <vector>

namespace Pelmo {
namespace {

using Quor::U16;
using Quor::U32;
using Quor::U64;

EthAddr read( const Quor::String &text ) {
   return strepToValue( Quor::Strep<EthAddr>{}, text );
}

const EthAddr kMac( 0x0000, 0x5e00, 0x010a );

TEST( EthAddr, IsThreeWordsOrSixOctetsOrOneNumber ) {
   EXPECT_EQ( kMac.octets(), ( EthAddr::Octets{ 0x00, 0x00, 0x5e, 0x00, 0x01, 0x0a } ) );
   const EthAddr mixed( 0x1234, 0x5678, 0x9abc );
   EXPECT_EQ( mixed.octets(), ( EthAddr::Octets{ 0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc } ) );
   EXPECT_EQ( EthAddr( mixed.octets() ), mixed );
   EXPECT_EQ( mixed.number(), 0x123456789abcu );
   EXPECT_EQ( EthAddr().number(), 0u );
   EXPECT_EQ( sizeof( EthAddr ), 6u );
}

TEST( EthAddr, IsWrittenAsSixLowerCasePairs ) {
   EXPECT_EQ( valueToStrep( kMac ), "00:00:5e:00:01:0a" );
   EXPECT_EQ( valueToStrep( EthAddr( 0xABCD, 0xEF01, 0x2345 ) ), "ab:cd:ef:01:23:45" );
   EXPECT_EQ( valueToStrep( EthAddr() ), "00:00:00:00:00:00" );
   std::ostringstream out;
   out << std::hex << std::uppercase << kMac;
   EXPECT_EQ( out.str(), "00:00:5e:00:01:0a" );
}

TEST( EthAddr, IsReadInThreeFormsInEitherCase ) {
   for( const char *text :
        { "00:00:5e:00:01:0a", "00:00:5E:00:01:0A", "00-00-5e-00-01-0a", "00-00-5E-00-01-0A",
          "0000.5e00.010a", "0000.5E00.010A", "00:00:5e:00:01:0A" } ) {
      EXPECT_EQ( read( text ), kMac ) << text;
   }
   EXPECT_EQ( read( "FE:dc:BA:98:76:54" ), EthAddr( 0xFEDC, 0xBA98, 0x7654 ) );
   EXPECT_EQ( read( "9876.5432.10fF" ), EthAddr( 0x9876, 0x5432, 0x10FF ) );
}

TEST( EthAddr, EverythingElseIsARangeErrorThatShowsTheText ) {
   for( const Quor::String text : { "00:00:5e:00:01",
                                    "00:00:5e:00:01:0a:00",
                                    "00:00:5e:00:01:0",
                                    "0:0:5e:0:1:a",
                                    "00:00:5e:00:01:",
                                    ":00:00:5e:00:01:0a",
                                    "00:00:5e:00:01:0a:",
                                    "00:00-5e:00-01:0a",
                                    "00:00:5e:00:01-0a",
                                    "00.00.5e.00.01.0a",
                                    "0000:5e00:010a",
                                    "0000-5e00-010a",
                                    "0000.5e00.010",
                                    "0000.5e00.010aa",
                                    "00005e00010a",
                                    "000:05e:000:10a",
                                    "00:00:5g:00:01:0a",
                                    "00::5e:00:01:0a",
                                    "x0:00:5e:00:01:0a",
                                    " 00:00:5e:00:01:0a",
                                    "0x:00:5e:00:01:0a",
                                    "00:00:5e:00:01:0G",
                                    "00 00 5e 00 01 0a",
                                    "+0:00:5e:00:01:0a",
                                    "mac" } ) {
      try {
         FAIL() << text << " was read as " << read( text );
      } catch( const Quor::RangeException &error ) {
         EXPECT_EQ( error.what(),
                    "\"" + text + "\" is not a MAC address (such as 00:00:5e:00:01:0a)" );
      }
   }
}

TEST( EthAddr, WhatFollowsAMacAddressIsJunk ) {
   for( const char *follows : { " ", "/", ",x", "\n", "})", "g" } ) {
      const Quor::String text = Quor::String( "00:00:5e:00:01:0a" ) + follows;
      try {
         FAIL() << text << " was read as " << read( text );
      } catch( const Quor::RangeException &error ) {
         EXPECT_EQ( error.what(), "junk at column 17 deserializing " + text );
      }
   }
   EXPECT_THROW( read( "" ), Quor::RangeException );
}

TEST( EthAddr, InASequenceItEndsWhereNoMacAddressGoesOn ) {
   for( const Quor::String text :
        { "00:00:5e:00:01:0a})", "0000.5e00.010a rest", "00-00-5e-00-01-0a,", "0000.5e00.010a" } ) {
      EthAddr mac;
      Quor::StringIterator at = text.begin();
      sequenceToValue( at, text.end(), mac );
      EXPECT_EQ( mac, kMac ) << text;
      EXPECT_EQ( Quor::String( text.begin(), at ).find_first_of( "}) ," ), Quor::String::npos );
      EXPECT_TRUE( at == text.end() || Quor::String( "} ," ).find( *at ) != Quor::String::npos )
            << text;
   }
}

TEST( EthAddr, AFailedReadChangesNothing ) {
   const Quor::String text = "00:00:5e:00:01:0a:77";
   EthAddr mac = kMac;
   Quor::StringIterator at = text.begin();
   EXPECT_THROW( sequenceToValue( at, text.end(), mac ), Quor::RangeException );
   EXPECT_EQ( mac, kMac );
}

TEST( EthAddr, ReadsBackWhatIsWritten ) {
   std::mt19937_64 random( 1 );
   for( int i = 0; i < 1000; ++i ) {
      const U64 r = random();
      const EthAddr mac( U16( r >> 32 ), U16( r >> 16 ), U16( r ) );
      ASSERT_EQ( read( valueToStrep( mac ) ), mac );
   }
}

TEST( EthAddr, IsOrderedAsANumber ) {
   const std::vector<EthAddr> ascending{
         EthAddr(),
         EthAddr( 0, 0, 1 ),
         EthAddr( 0, 0, 0x0100 ),
         EthAddr( 0, 0, 0xFFFF ),
         EthAddr( 0, 1, 0 ),
         EthAddr( 0, 0xFFFF, 0xFFFF ),
         EthAddr( 1, 0, 0 ),
         EthAddr( 0x0100, 0, 0 ),
         EthAddr( 0xFFFF, 0xFFFF, 0xFFFF ),
   };
   for( std::size_t i = 0; i < ascending.size(); ++i ) {
      for( std::size_t j = 0; j < ascending.size(); ++j ) {
         const EthAddr &a = ascending[i];
         const EthAddr &b = ascending[j];
         EXPECT_EQ( a < b, i < j ) << a << " " << b;
         EXPECT_EQ( a == b, i == j ) << a << " " << b;
         EXPECT_EQ( a.number() < b.number(), i < j ) << a << " " << b;
      }
   }
}

/// The hash as it is defined, bit by bit.
U32 definedHash( const EthAddr &mac ) {
   const auto pascal = []( U32 x ) {
      U32 result = 0;
      for( U32 i = 0; i < 32; ++i ) {
         U32 bit = 0;
         for( U32 j = 0; j < 32; ++j ) {
            if( ( j & i ) == j ) {
               bit ^= x >> j & 1;
            }
         }
         result |= bit << i;
      }
      return result;
   };
   const U64 m = mac.number();
   const U32 vrid = static_cast<U32>( m & 0xFF );
   return pascal( ( vrid + 255 ) % 256 ) ^
          static_cast<U32>( ( ( m >> 8 ) * 0x1b7e0c18a49a14a5 ) >> 32 );
}

TEST( EthAddrHash, IsTheDefinedOne ) {
   for( U16 vrid = 0; vrid < 256; ++vrid ) {
      for( const U16 family : { U16{ 0x0100 }, U16{ 0x0200 } } ) {
         const EthAddr mac( 0, 0x5e00, U16( family | vrid ) );
         ASSERT_EQ( mac.hash(), definedHash( mac ) ) << mac;
      }
   }
   std::mt19937_64 random( 2 );
   for( int i = 0; i < 2000; ++i ) {
      const U64 r = random();
      const EthAddr mac( U16( r >> 32 ), U16( r >> 16 ), U16( r ) );
      ASSERT_EQ( mac.hash(), definedHash( mac ) ) << mac;
   }
}

TEST( EthAddrHash, IsPinned ) {                // what is stored by one release is found by the next
   EXPECT_EQ( EthAddr( 0, 0, 1 ).hash(), 0u ); // nothing but virtual router 1
   EXPECT_EQ( EthAddr( 0, 0, 2 ).hash(), 0xFFFFFFFFu );
   EXPECT_EQ( EthAddr( 0, 0, 3 ).hash(), 0xAAAAAAAAu );
}

TEST( EthAddrHash, ABucketIsTakenFromItsReversedBits ) {
   std::mt19937_64 random( 3 );
   for( int i = 0; i < 100; ++i ) {
      const EthAddr mac( 0, 0x5e00, U16( random() ) );
      ASSERT_EQ( naturalHash( mac ), mac.hash() ) << mac;
   }
}

/// The number of keys in the fullest of 2 to the power `bits` buckets, when every one of `macs`
/// stands on VLANs `firstVlan` to `firstVlan` + `vlans` - 1. A bucket is the low end of the mixed
/// hash, read backwards, which changes the order of the buckets but not what is in them.
U32 fullestBucket( const std::vector<EthAddr> &macs, U32 firstVlan, U32 vlans, U32 bits ) {
   std::vector<U32> buckets( std::size_t{ 1 } << bits );
   U32 fullest = 0;
   for( const EthAddr &mac : macs ) {
      const U32 hash = mac.hash();
      for( U32 vlan = firstVlan; vlan < firstVlan + vlans; ++vlan ) {
         fullest = std::max( fullest, ++buckets[( hash ^ vlan ) & ( buckets.size() - 1 )] );
      }
   }
   return fullest;
}

/// The MACs of virtual routers `first` to `first` + `count` - 1 for IPv4 (1) or IPv6 (2).
std::vector<EthAddr> vrrpMacs( U32 family, U32 first, U32 count ) {
   std::vector<EthAddr> macs;
   for( U32 vrid = first; vrid < first + count; ++vrid ) {
      macs.emplace_back( 0, 0x5e00, U16( family << 8 | vrid ) );
   }
   return macs;
}

TEST( EthAddrHash, AlignedBlocksOfVlansAndVirtualRoutersFillTheirBucketsWithOneKeyEach ) {
   std::mt19937 random( 4 );
   for( U32 vlanBits = 0; vlanBits <= 12; ++vlanBits ) {
      for( U32 vridBits = 0; vridBits < 8; ++vridBits ) {
         const U32 vlans = 1u << vlanBits;
         const U32 routers = 1u << vridBits;
         const U32 firstVlan = static_cast<U32>( random() ) % ( 4096 / vlans ) * vlans;
         const U32 firstRouter = 1 + static_cast<U32>( random() ) % ( 256 / routers ) * routers;
         const U32 count = std::min( routers, 256 - firstRouter ); // virtual router 256 is none
         for( const U32 family : { 1u, 2u } ) {
            ASSERT_EQ( fullestBucket( vrrpMacs( family, firstRouter, count ), firstVlan, vlans,
                                      vlanBits + vridBits ),
                       1u )
                  << vlans << " VLANs from " << firstVlan << ", " << count
                  << " virtual routers from " << firstRouter << ", family " << family;
         }
      }
   }
}

TEST( EthAddrHash, AllVlansWithTheVirtualRoutersOfASwitchHaveOneKeyABucket ) {
   for( const U32 routers : { 16u, 150u, 255u } ) {
      U32 bits = 0;
      while( ( 1u << bits ) < routers * 4094 ) {
         ++bits;
      }
      EXPECT_EQ( fullestBucket( vrrpMacs( 1, 1, routers ), 1, 4094, bits ), 1u ) << routers;
      EXPECT_EQ( fullestBucket( vrrpMacs( 2, 1, routers ), 1, 4094, bits ), 1u ) << routers;
   }
   std::vector<EthAddr> all = vrrpMacs( 1, 1, 255 );
   for( const EthAddr &mac : vrrpMacs( 2, 1, 255 ) ) {
      all.push_back( mac );
   }
   EXPECT_EQ( fullestBucket( all, 1, 4094, 21 ), 1u );
}

} // namespace
} // namespace Pelmo
