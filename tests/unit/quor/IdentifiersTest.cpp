// VLAN numbers and interface names.
#include "bridging/VlanId.h"
#include "pelmo/IntfId.h"

#include "quor/Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <vector>

namespace {

using Bridging::VlanId;
using Pelmo::IntfId;
using Quor::String;
using Quor::StringIterator;

template <class V>
V readWhole( const String &text ) {
   return strepToValue( Quor::Strep<V>{}, text );
}

/// What the RangeException says that reading `text` as a V throws; else the text of what was read.
template <class V>
String errorOf( const String &text ) {
   try {
      return "read as " + valueToStrep( readWhole<V>( text ) );
   } catch( const Quor::RangeException &error ) {
      return error.what();
   }
}

template <class V>
String shown( const V &value ) {
   std::ostringstream out;
   out << value;
   return out.str();
}

TEST( VlanId, IsASixteenBitNumberThatIsItsOwnHash ) {
   EXPECT_EQ( VlanId().number(), 0u );
   EXPECT_EQ( sizeof( VlanId ), 2u );
   for( const Quor::U16 number : std::vector<Quor::U16>{ 0, 1, 10, 4094, 4095, 65535 } ) {
      EXPECT_EQ( VlanId( number ).number(), number );
      EXPECT_EQ( VlanId( number ).hash(), number );
      EXPECT_EQ( naturalHash( VlanId( number ) ), number );
   }
}

TEST( VlanId, IsWrittenAndReadInDecimalFromZeroTo65535 ) {
   for( const char *text : { "0", "1", "10", "4094", "4095", "65535" } ) {
      EXPECT_EQ( valueToStrep( readWhole<VlanId>( text ) ), text );
      EXPECT_EQ( shown( readWhole<VlanId>( text ) ), text );
   }
   EXPECT_EQ( readWhole<VlanId>( "4094" ), VlanId( 4094 ) );
}

TEST( VlanId, EverythingElseIsARangeErrorThatShowsTheText ) {
   for( const char *text : { "65536", "100000", "-1", "x", " 1", "+1", "0x10" } ) {
      const String error = errorOf<VlanId>( text );
      if( String( text ) == "0x10" ) {
         EXPECT_EQ( error, "junk at column 1 deserializing 0x10" );
      } else {
         EXPECT_EQ( error, "\"" + String( text ) + "\" is not a VLAN number (0 to 65535)" );
      }
   }
   EXPECT_EQ( errorOf<VlanId>( "" ), "the end of the text is not a VLAN number (0 to 65535)" );
   EXPECT_EQ( errorOf<VlanId>( "10 " ), "junk at column 2 deserializing 10 " );
}

TEST( VlanId, InASequenceItEndsBehindItsDigits ) {
   const String text = "10, 'mac'";
   VlanId vlanId;
   StringIterator at = text.begin();
   sequenceToValue( at, text.end(), vlanId );
   EXPECT_EQ( vlanId, VlanId( 10 ) );
   EXPECT_EQ( *at, ',' );
   EXPECT_THROW( sequenceToValue( at, text.end(), vlanId ), Quor::RangeException );
   EXPECT_EQ( vlanId, VlanId( 10 ) );
}

TEST( VlanId, IsOrderedByNumber ) {
   EXPECT_LT( VlanId( 9 ), VlanId( 10 ) );
   EXPECT_LT( VlanId( 255 ), VlanId( 256 ) );
   EXPECT_FALSE( VlanId( 10 ) < VlanId( 10 ) );
   EXPECT_NE( VlanId( 9 ), VlanId( 10 ) );
   EXPECT_EQ( VlanId( 10 ), VlanId( 10 ) );
}

TEST( IntfId, IsANameOfAtMostFifteenBytes ) {
   EXPECT_EQ( IntfId::kMaxLength, 15u );
   EXPECT_EQ( sizeof( IntfId ), 16u );
   for( const char *name : { "br10", "a", "vlan4094", "123456789012345", "eth0.100", "x:y", "a,b",
                             "(x)", "\xC3\xA9" } ) {
      const IntfId intf{ name };
      EXPECT_EQ( intf.name(), name );
      EXPECT_FALSE( intf.empty() );
      EXPECT_EQ( valueToStrep( intf ), name );
      EXPECT_EQ( shown( intf ), name );
      EXPECT_EQ( readWhole<IntfId>( name ), intf );
   }
}

TEST( IntfId, TheEmptyNameMeansNone ) {
   EXPECT_TRUE( IntfId().empty() );
   EXPECT_TRUE( IntfId( "" ).empty() );
   EXPECT_EQ( IntfId(), IntfId( "" ) );
   EXPECT_EQ( valueToStrep( IntfId() ), "" );
   EXPECT_EQ( readWhole<IntfId>( "" ), IntfId() );
}

TEST( IntfId, IsEqualAndBeforeAsItsName ) {
   const std::vector<String> names{ "",    "a",    "a23456789012345", "b",
                                    "br1", "br10", "br100",           "br2" };
   for( const String &one : names ) {
      for( const String &other : names ) {
         EXPECT_EQ( IntfId( one ) == IntfId( other ), one == other ) << one << ' ' << other;
         EXPECT_EQ( IntfId( one ) < IntfId( other ), one < other ) << one << ' ' << other;
      }
   }
}

TEST( IntfId, TheOrderOfMapsComesFromTheFnv1aHashOfItsName ) {
   EXPECT_EQ( IntfId().hash(), 2'166'136'261u );
   EXPECT_EQ( IntfId( "a" ).hash(), 3'826'002'220u );
   EXPECT_EQ( IntfId( "br10" ).hash(), 2'778'910'132u );
   EXPECT_EQ( IntfId( "vlan4094" ).hash(), 2'779'796'837u );
}

TEST( IntfId, EverythingElseIsARangeErrorThatShowsTheName ) {
   for( const String &name :
        { String( "1234567890123456" ), String( 200, 'a' ), String( "a/b" ), String( "/" ),
          String( "a b" ), String( " a" ), String( "a\t" ), String( "a\nb" ), String( "a\v" ),
          String( "a\f" ), String( "a\r" ) } ) {
      EXPECT_EQ(
            errorOf<IntfId>( name ),
            "\"" + name +
                  "\" is not an interface name (at most 15 bytes, no '/' and no white space)" );
      EXPECT_THROW( IntfId{ name }, Quor::RangeException ) << name;
   }
   EXPECT_THROW( readWhole<IntfId>( String( "a\0b", 3 ) ), Quor::RangeException );
}

TEST( IntfId, InASequenceItEndsBeforeWhatNoNameContainsAndBeforePunctuation ) {
   for( const char end : { ' ', '\t', '\n', '\v', '\f', '\r', '/', ',', ')', '}' } ) {
      const String text = String( "br10" ) + end + "more";
      IntfId intf;
      StringIterator at = text.begin();
      sequenceToValue( at, text.end(), intf );
      EXPECT_EQ( intf, IntfId( "br10" ) ) << "before character " << int{ end };
      EXPECT_EQ( at - text.begin(), 4 ) << "before character " << int{ end };
   }
   const String longest = "123456789012345";
   IntfId intf;
   StringIterator at = longest.begin();
   sequenceToValue( at, longest.end(), intf );
   EXPECT_EQ( intf.name(), longest );
   EXPECT_TRUE( at == longest.end() );
}

TEST( IntfId, ANameThatIsTooLongInASequenceIsAnErrorAndChangesNothing ) {
   const String text = "1234567890123456/x";
   IntfId intf( "br10" );
   StringIterator at = text.begin();
   EXPECT_THROW( sequenceToValue( at, text.end(), intf ), Quor::RangeException );
   EXPECT_EQ( intf, IntfId( "br10" ) );
}

TEST( IntfId, IsOrderedAsItsName ) {
   const std::vector<IntfId> ascending{ IntfId(),         IntfId( "a" ),  IntfId( "a1" ),
                                        IntfId( "a10" ),  IntfId( "a2" ), IntfId( "b" ),
                                        IntfId( "br10" ), IntfId( "br9" ) };
   for( std::size_t i = 0; i < ascending.size(); ++i ) {
      for( std::size_t j = 0; j < ascending.size(); ++j ) {
         EXPECT_EQ( ascending[i] < ascending[j], i < j ) << ascending[i] << " " << ascending[j];
         EXPECT_EQ( ascending[i] == ascending[j], i == j ) << ascending[i] << " " << ascending[j];
      }
   }
}

TEST( IntfId, EqualNamesHaveOneHashAndTheNamesOfASwitchManyDifferentOnes ) {
   EXPECT_EQ( IntfId( "br10" ).hash(), IntfId( "br10" ).hash() );
   EXPECT_EQ( naturalHash( IntfId( "br10" ) ), IntfId( "br10" ).hash() );
   std::vector<Quor::U32> hashes;
   for( int n = 1; n <= 4094; ++n ) {
      hashes.push_back( IntfId( "vlan" + std::to_string( n ) ).hash() );
   }
   std::sort( hashes.begin(), hashes.end() );
   EXPECT_TRUE( std::adjacent_find( hashes.begin(), hashes.end() ) == hashes.end() );
}

} // namespace
