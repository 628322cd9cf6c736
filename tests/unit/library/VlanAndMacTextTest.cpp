// The text form of a pair, and reading it back.
#include "quor/Exception.h"
#include "tests/unit/library/Values.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

namespace LibraryTests {
namespace {

const String kHead = "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {";
const String kValid = kHead + "'vlanId': 10, 'mac': 00:00:5e:00:01:0a})";
const VlanAndMac kValue( VlanId( 10 ), mac( 10 ) );

VlanAndMac parsed( const String &text ) {
   return strepToValue( Quor::Strep<VlanAndMac>{}, text );
}

/// What is wrong with a text, as its reader says; empty when nothing is.
String complaint( const String &text ) {
   try {
      parsed( text );
      return "";
   } catch( const Quor::RangeException &error ) {
      return error.what();
   }
}

bool contains( const String &text, const String &part ) {
   return text.find( part ) != String::npos;
}

// Writing

TEST( VlanAndMacText, NamesTheTypeAndThenBothAttributesInOrder ) {
   EXPECT_EQ( valueToStrep( kValue ), "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** "
                                      "{'vlanId': 10, 'mac': 00:00:5e:00:01:0a})" );
}

TEST( VlanAndMacText, WritesBothAttributesAlsoWhenTheyHaveTheirDefaults ) {
   EXPECT_EQ( valueToStrep( VlanAndMac() ), kHead + "'vlanId': 1, 'mac': 00:00:00:00:00:00})" );
}

TEST( VlanAndMacText, JudgesNoVlanNumber ) {
   EXPECT_EQ( valueToStrep( VlanAndMac( vlan( 65535 ), EthAddr( 0xffff, 0xffff, 0xffff ) ) ),
              kHead + "'vlanId': 65535, 'mac': ff:ff:ff:ff:ff:ff})" );
   EXPECT_EQ( valueToStrep( pair( 0, 1 ) ), kHead + "'vlanId': 0, 'mac': 00:00:5e:00:01:01})" );
}

TEST( VlanAndMacText, IsExactlyWhatAStreamReceives ) {
   std::ostringstream out;
   out << kValue;
   EXPECT_EQ( out.str(), kValid );
   out << std::hex << std::showbase << kValue;
   EXPECT_EQ( out.str(), kValid + kValid );
}

// Reading what was written

TEST( VlanAndMacText, GivesTheValueBack ) {
   std::mt19937 random( 5 );
   const auto word = [&] { return static_cast<U16>( random() ); };
   for( int i = 0; i < 300; ++i ) {
      const VlanAndMac value( vlan( word() ), EthAddr( word(), word(), word() ) );
      EXPECT_EQ( parsed( valueToStrep( value ) ), value );
   }
   EXPECT_EQ( parsed( valueToStrep( pair( 0, 0 ) ) ), pair( 0, 0 ) );
   EXPECT_EQ( parsed( valueToStrep( pair( 65535, 255 ) ) ), pair( 65535, 255 ) );
}

// Attributes

TEST( VlanAndMacText, TakesTheAttributesInEitherOrder ) {
   EXPECT_EQ( parsed( kHead + "'mac': 00:00:5e:00:01:0a, 'vlanId': 10})" ), kValue );
}

TEST( VlanAndMacText, WithoutAttributesReadsAsVlan1AndTheZeroMac ) {
   EXPECT_EQ( parsed( kHead + "})" ), VlanAndMac( vlan( 1 ), EthAddr() ) );
}

TEST( VlanAndMacText, AMissingAttributeKeepsItsDefault ) {
   EXPECT_EQ( parsed( kHead + "'vlanId': 10})" ), VlanAndMac( vlan( 10 ), EthAddr() ) );
   EXPECT_EQ( parsed( kHead + "'mac': 00:00:5e:00:01:0a})" ), VlanAndMac( vlan( 1 ), mac( 10 ) ) );
}

TEST( VlanAndMacText, OfAnAttributeGivenTwiceTheLaterOneCounts ) {
   EXPECT_EQ( parsed( kHead + "'vlanId': 7, 'mac': 00:00:5e:00:01:0a, 'vlanId': 10})" ), kValue );
   EXPECT_EQ(
         parsed( kHead + "'mac': ff:ff:ff:ff:ff:ff, 'vlanId': 10, 'mac': 00:00:5e:00:01:0a})" ),
         kValue );
}

// White space

TEST( VlanAndMacText, TakesWhiteSpaceBetweenItsParts ) {
   const String parts = "_Value_(_'Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac'_,_**_{_'vlanId'_:"
                        "_10_,_'mac'_:_00:00:5e:00:01:0a_}_)_";
   for( const String &space : { String( "" ), String( " " ), String( "\t \n  " ) } ) {
      String text;
      for( const char c : parts ) {
         text += c == '_' ? space : String( 1, c );
      }
      EXPECT_EQ( complaint( text ), "" );
      EXPECT_EQ( parsed( text ), kValue ) << text;
   }
}

TEST( VlanAndMacText, TakesWhiteSpaceInsideEmptyBraces ) {
   EXPECT_EQ( parsed( kHead + " \n })" ), VlanAndMac() );
}

TEST( VlanAndMacText, TakesNoWhiteSpaceInsideItsParts ) {
   for( const char *const text : {
              "Val ue('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {})",
              "Value(' Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {})",
              "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac ', ** {})",
              "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', * * {})",
        } ) {
      EXPECT_NE( complaint( text ), "" ) << text;
   }
   EXPECT_EQ( complaint( kHead + "'vlanId ': 10})" ), "VlanAndMac has no such attribute: vlanId " );
}

// Failures

TEST( VlanAndMacText, FailsWithoutAnyOneOfItsTokens ) {
   for( const char *const text : {
              "('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10})",
              "Value'Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10})",
              "Value(, ** {'vlanId': 10})",
              "Value('Orlo::VrrpPrivateVlanReflectorLib::Other', ** {'vlanId': 10})",
              "Value(Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac, ** {'vlanId': 10})",
              "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac' ** {'vlanId': 10})",
              "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', {'vlanId': 10})",
              "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** 'vlanId': 10})",
              "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {vlanId: 10})",
              "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId' 10})",
              "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10)",
              "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10}",
              "value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10})",
        } ) {
      EXPECT_THROW( parsed( text ), Quor::RangeException ) << text;
   }
}

TEST( VlanAndMacText, NeedsOneSeparatorBetweenAttributesAndNoneElsewhere ) {
   for( const char *const attributes : {
              "'vlanId': 10 'mac': 00:00:5e:00:01:0a",
              "'vlanId': 10,, 'mac': 00:00:5e:00:01:0a",
              ", 'vlanId': 10",
              "'vlanId': 10,",
              "'vlanId': 10; 'mac': 00:00:5e:00:01:0a",
        } ) {
      EXPECT_THROW( parsed( kHead + attributes + "})" ), Quor::RangeException ) << attributes;
   }
}

TEST( VlanAndMacText, CutOffAnywhereFails ) {
   for( std::size_t length = 0; length < kValid.size(); ++length ) {
      EXPECT_THROW( parsed( kValid.substr( 0, length ) ), Quor::RangeException )
            << kValid.substr( 0, length );
   }
}

TEST( VlanAndMacText, CutOffWhereAnAttributeOrTheBraceIsDueEndsPrematurely ) {
   for( const char *const attributes : {
              "",
              " \n ",
              "'vlanId': 1",
              "'vlanId': 10",
              "'vlanId': 10 \t",
              "'vlanId': 10, 'mac': 00:00:5e:00:01:0a",
              "'vlanId': 10, 'mac': 00:00:5e:00:01:0a ",
        } ) {
      EXPECT_EQ( complaint( kHead + attributes ), "premature end of value type VlanAndMac" );
   }
}

TEST( VlanAndMacText, NamesAnAttributeThatItDoesNotKnow ) {
   EXPECT_EQ( complaint( kHead + "'vlan': 10})" ), "VlanAndMac has no such attribute: vlan" );
   EXPECT_EQ( complaint( kHead + "'vlanId': 10, 'Mac': 00:00:5e:00:01:0a})" ),
              "VlanAndMac has no such attribute: Mac" );
   EXPECT_EQ( complaint( kHead + "'': 10})" ), "VlanAndMac has no such attribute: " );
   EXPECT_EQ( complaint( kHead + "'hash': 10})" ), "VlanAndMac has no such attribute: hash" );
}

TEST( VlanAndMacText, NamesTheAttributeWhoseValueCannotBeRead ) {
   EXPECT_EQ( complaint( kHead + "'mac': 00:00:5e:00:01:0a, 'vlanId': 65536})" ),
              "attribute 'vlanId': \"65536})\" is not a VLAN number (0 to 65535)" );
   EXPECT_EQ( complaint( kHead + "'vlanId': 10, 'mac': 00:00:5e:00:01})" ),
              "attribute 'mac': \"00:00:5e:00:01})\" is not a MAC address (such as "
              "00:00:5e:00:01:0a)" );
   EXPECT_TRUE( contains( complaint( kHead + "'vlanId': -1})" ), "'vlanId'" ) );
   EXPECT_TRUE( contains( complaint( kHead + "'vlanId': ten})" ), "'vlanId'" ) );
   EXPECT_TRUE( contains( complaint( kHead + "'mac': })" ), "'mac'" ) );
}

TEST( VlanAndMacText, FollowedByJunkTellsItsColumnAndTheWholeText ) {
   EXPECT_EQ( complaint( kValid + "x" ), "junk at column " + std::to_string( kValid.size() ) +
                                               " deserializing " + kValid + "x" );
   EXPECT_EQ( complaint( kValid + "  x" ), "junk at column " + std::to_string( kValid.size() + 2 ) +
                                                 " deserializing " + kValid + "  x" );
   EXPECT_EQ( complaint( kValid + kValid ), "junk at column " + std::to_string( kValid.size() ) +
                                                  " deserializing " + kValid + kValid );
   EXPECT_EQ( complaint( kHead + "})x" ), "junk at column 61 deserializing " + kHead + "})x" );
}

// One value out of a longer text

TEST( VlanAndMacText, ReadFromASequenceLeavesTheRest ) {
   const String text = kValid + " rest";
   auto at = text.begin();
   const VlanAndMac value( at, text.end() );
   EXPECT_EQ( value, kValue );
   EXPECT_EQ( String( at, text.end() ), "rest" );

   auto again = text.begin();
   VlanAndMac target;
   sequenceToValue( again, text.end(), target );
   EXPECT_EQ( target, kValue );
   EXPECT_EQ( String( again, text.end() ), "rest" );
}

TEST( VlanAndMacText, FailingLeavesTargetAndPositionAsTheyWere ) {
   const String text = kHead + "'vlanId': 11, 'mac': nonsense})";
   auto at = text.begin();
   VlanAndMac target = kValue;
   EXPECT_THROW( sequenceToValue( at, text.end(), target ), Quor::RangeException );
   EXPECT_EQ( target, kValue );
   EXPECT_EQ( at, text.begin() );
}

} // namespace
} // namespace LibraryTests
