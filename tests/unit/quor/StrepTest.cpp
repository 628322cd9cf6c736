// Text forms of plain values, and reading them back.
#include "quor/Strep.h"
#include "quor/Exception.h"
#include "quor/Name.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

namespace Quor {
namespace {

/// What the RangeException says that `read` throws; "no error" when it throws none.
String errorOf( const std::function<void()> &read ) {
   try {
      read();
   } catch( const RangeException &error ) {
      return error.what();
   }
   return "no error";
}

TEST( NeedString, MatchesATokenAndMovesBehindIt ) {
   struct Row {
      const char *token;
      String text;
      std::ptrdiff_t behind;
   };
   for( const Row &row : {
              Row{ "Value", "Value(", 5 },
              Row{ "", "anything", 0 },
              Row{ "", "", 0 },
              Row{ " (", "(", 1 },
              Row{ " (", "   (x", 4 },
              Row{ " (", " \t\n\v\f\r(", 7 },
              Row{ "} ", "}  \n ", 5 },
              Row{ "} ", "}", 1 },
              Row{ " ", "", 0 },
              Row{ " ", "x", 0 },
              Row{ " ", "  x", 2 },
              Row{ "a b", "ab", 2 },
              Row{ "a b", "a   b", 5 },
              Row{ " : ", " :\t\tx", 4 },
              Row{ " **", "**", 2 },
        } ) {
      StringIterator at = row.text.begin();
      needString( at, row.text.end(), row.token );
      EXPECT_EQ( at - row.text.begin(), row.behind )
            << "\"" << row.token << "\" in \"" << row.text << "\"";
   }
}

TEST( NeedString, AMissingTokenLeavesThePlaceAndTellsWhatWasFound ) {
   struct Row {
      const char *token;
      String text;
      const char *error;
   };
   for( const Row &row : {
              Row{ "Value", "Walue", "expected \"Value\", found \"Walue\"" },
              Row{ "Value", "Val", "expected \"Value\", found \"Val\"" },
              Row{ "Value", "value", "expected \"Value\", found \"value\"" },
              Row{ " (", "  x", "expected \" (\", found \"  x\"" },
              Row{ "a b", "a   c", "expected \"a b\", found \"a   c\"" },
              Row{ "(", " (", "expected \"(\", found \" (\"" },
              Row{ ")", "", "expected \")\", found the end of the text" },
        } ) {
      StringIterator at = row.text.begin();
      EXPECT_EQ( errorOf( [&] { needString( at, row.text.end(), row.token ); } ), row.error );
      EXPECT_EQ( at - row.text.begin(), 0 ) << row.error;
   }
}

TEST( NeedString, LooksNoFurtherThanItsEnd ) {
   const String text = "Value";
   StringIterator at = text.begin();
   EXPECT_THROW( needString( at, text.begin() + 4, "Value" ), RangeException );
   EXPECT_NO_THROW( needString( at, text.begin() + 4, "Valu " ) );
   EXPECT_EQ( at - text.begin(), 4 );
}

TEST( Excerpt, IsTheRestOfTheTextShortenedInQuotes ) {
   const auto excerptOf = []( const String &text ) { return excerpt( text.begin(), text.end() ); };
   EXPECT_EQ( excerptOf( "" ), "the end of the text" );
   EXPECT_EQ( excerptOf( "short" ), "\"short\"" );
   EXPECT_EQ( excerptOf( String( 40, 'a' ) ), "\"" + String( 40, 'a' ) + "\"" );
   EXPECT_EQ( excerptOf( String( 41, 'a' ) ), "\"" + String( 40, 'a' ) + "...\"" );
}

TEST( QuotedText, IsReadUpToItsClosingQuote ) {
   struct Row {
      String text;
      const char *value;
      std::ptrdiff_t behind;
   };
   for( const Row &row : {
              Row{ "'vlanId': 7", "vlanId", 8 },
              Row{ "\"mac\" rest", "mac", 5 },
              Row{ "''", "", 2 },
              Row{ "'a\"b'", "a\"b", 5 },
              Row{ "\"a'b\"", "a'b", 5 },
              Row{ R"('a\'b')", "a'b", 6 },
              Row{ R"('a\\')", "a\\", 5 },
              Row{ R"('a\nb')", "anb", 6 },
              Row{ "' a  b '", " a  b ", 8 },
        } ) {
      String value = "before";
      StringIterator at = row.text.begin();
      sequenceToValue( at, row.text.end(), value );
      EXPECT_EQ( value, row.value ) << row.text;
      EXPECT_EQ( at - row.text.begin(), row.behind ) << row.text;
   }
}

TEST( QuotedText, AnythingElseIsARangeErrorAndChangesNothing ) {
   struct Row {
      String text;
      const char *error;
   };
   for( const Row &row : {
              Row{ "", "expected a quoted text, found the end of the text" },
              Row{ "mac", "expected a quoted text, found \"mac\"" },
              Row{ " 'mac'", "expected a quoted text, found \" 'mac'\"" },
              Row{ "'mac", "a quoted text has no closing quote: \"'mac\"" },
              Row{ "'mac\"", "a quoted text has no closing quote: \"'mac\"\"" },
              Row{ "'", "a quoted text has no closing quote: \"'\"" },
              Row{ R"('mac\')", R"(a quoted text has no closing quote: "'mac\'")" },
              Row{ R"('mac\)", R"(a quoted text has no closing quote: "'mac\")" },
        } ) {
      String value = "before";
      StringIterator at = row.text.begin();
      EXPECT_EQ( errorOf( [&] { sequenceToValue( at, row.text.end(), value ); } ), row.error );
      EXPECT_EQ( value, "before" ) << row.error;
   }
}

TEST( QuotedText, IsWrittenSoThatItReadsBack ) {
   EXPECT_EQ( valueToStrep( String( "mac" ) ), "'mac'" );
   EXPECT_EQ( valueToStrep( String( "" ) ), "''" );
   EXPECT_EQ( valueToStrep( String( R"(a'b"c\d)" ) ), R"('a\'b\"c\\d')" );
   for( const char *text : { "", "plain", "'", "\"", "\\", "\\'", "a\nb", "x'y\"z\\" } ) {
      EXPECT_EQ( wholeText<String>( valueToStrep( String( text ) ) ), text );
   }
}

TEST( Number, IsReadUpToTheFirstCharacterThatIsNoDigit ) {
   struct Row {
      String text;
      U64 max;
      U64 value;
      std::ptrdiff_t behind;
   };
   constexpr U64 kMost = ~U64{ 0 } / 10 - 1;
   for( const Row &row : {
              Row{ "0", 9, 0, 1 },
              Row{ "9", 9, 9, 1 },
              Row{ "007x", 9, 7, 3 },
              Row{ "4094,", 4094, 4094, 4 },
              Row{ "12 34", 100, 12, 2 },
              Row{ "0", 0, 0, 1 },
              Row{ std::to_string( kMost ), kMost, kMost, 19 },
        } ) {
      StringIterator at = row.text.begin();
      EXPECT_EQ( sequenceToNumber( at, row.text.end(), row.max, "a number" ), row.value )
            << row.text;
      EXPECT_EQ( at - row.text.begin(), row.behind ) << row.text;
   }
}

TEST( Number, OutOfItsBoundsIsARangeErrorThatNamesIt ) {
   struct Row {
      String text;
      const char *error;
   };
   for( const Row &row : {
              Row{ "", "the end of the text is not a lamp (0 to 255)" },
              Row{ "x", "\"x\" is not a lamp (0 to 255)" },
              Row{ "256", "\"256\" is not a lamp (0 to 255)" },
              Row{ "2560", "\"2560\" is not a lamp (0 to 255)" },
              Row{ "1000000000000000000000000007",
                   "\"1000000000000000000000000007\" is not a lamp (0 to 255)" },
              Row{ "-1", "\"-1\" is not a lamp (0 to 255)" },
              Row{ "+1", "\"+1\" is not a lamp (0 to 255)" },
              Row{ " 1", "\" 1\" is not a lamp (0 to 255)" },
        } ) {
      StringIterator at = row.text.begin();
      EXPECT_EQ( errorOf( [&] { sequenceToNumber( at, row.text.end(), 255, "a lamp" ); } ),
                 row.error );
   }
}

TEST( Number, MayBeAsLargeAsItsBoundAllowsAndNotLarger ) {
   const String largest = "18446744073709551615";
   StringIterator at = largest.begin();
   EXPECT_EQ( sequenceToNumber( at, largest.end(), ~U64{ 0 }, "a number" ), ~U64{ 0 } );
   for( const String &text :
        { String( "18446744073709551616" ), String( "18446744073709551620" ),
          String( "99999999999999999999" ), String( "184467440737095516150" ) } ) {
      at = text.begin();
      EXPECT_THROW( sequenceToNumber( at, text.end(), ~U64{ 0 }, "a number" ), RangeException )
            << text;
   }
}

TEST( Number, OfThirtyTwoBitsIsReadAndWritten ) {
   EXPECT_EQ( wholeText<U32>( "0" ), 0u );
   EXPECT_EQ( wholeText<U32>( "4294967295" ), 0xFFFFFFFFu );
   EXPECT_EQ( valueToStrep( U32{ 0 } ), "0" );
   EXPECT_EQ( valueToStrep( U32{ 0xFFFFFFFF } ), "4294967295" );
   const String tooLarge = "4294967296";
   U32 value = 7;
   StringIterator at = tooLarge.begin();
   EXPECT_EQ( errorOf( [&] { sequenceToValue( at, tooLarge.end(), value ); } ),
              "\"4294967296\" is not an unsigned number (0 to 4294967295)" );
   EXPECT_EQ( value, 7u );
}

TEST( Bool, IsTrueOrFalse ) {
   EXPECT_EQ( valueToStrep( true ), "true" );
   EXPECT_EQ( valueToStrep( false ), "false" );
   EXPECT_TRUE( wholeText<bool>( "true" ) );
   const String text = "false, true";
   bool value = true;
   StringIterator at = text.begin();
   sequenceToValue( at, text.end(), value );
   EXPECT_FALSE( value );
   EXPECT_EQ( at - text.begin(), 5 );
}

TEST( Bool, IsNothingElse ) {
   for( const String &text : { String( "" ), String( "True" ), String( "1" ), String( "tru" ),
                               String( " true" ), String( "yes" ) } ) {
      bool value = true;
      StringIterator at = text.begin();
      EXPECT_EQ( errorOf( [&] { sequenceToValue( at, text.end(), value ); } ),
                 "expected true or false, found " + excerpt( text.begin(), text.end() ) );
      EXPECT_TRUE( value ) << text;
   }
}

TEST( WholeText, WhatIsLeftOverIsAnErrorThatNamesItsColumn ) {
   EXPECT_EQ( errorOf( [] { wholeText<U32>( "12x" ); } ), "junk at column 2 deserializing 12x" );
   EXPECT_EQ( errorOf( [] { wholeText<bool>( "true " ); } ),
              "junk at column 4 deserializing true " );
   EXPECT_EQ( errorOf( [] { wholeText<U32>( "12" ); } ), "no error" );
}

TEST( NeedEnd, ShowsTheWholeText ) {
   const String text( 100, 'a' );
   EXPECT_EQ( errorOf( [&] { needEnd( text.begin(), text ); } ),
              "junk at column 0 deserializing " + text );
   EXPECT_EQ( errorOf( [&] { needEnd( text.end() - 1, text ); } ),
              "junk at column 99 deserializing " + text );
   EXPECT_EQ( errorOf( [&] { needEnd( text.end(), text ); } ), "no error" );
}

TEST( Name, IsATextThatIsComparedAndShown ) {
   const Name name = "helper";
   EXPECT_EQ( name.text(), "helper" );
   EXPECT_EQ( Name( String( "helper" ) ), name );
   EXPECT_NE( Name( "other" ), name );
   EXPECT_LT( name, Name( "other" ) );
   EXPECT_EQ( Name().text(), "" );
   EXPECT_EQ( valueToStrep( name ), "'helper'" );
   EXPECT_EQ( valueToStrep( Name( "it's" ) ), "'it\\'s'" );
   std::ostringstream out;
   out << name;
   EXPECT_EQ( out.str(), "helper" );
}

TEST( Exception, TheAttributeWhoseValueCouldNotBeReadIsPutInFront ) {
   EXPECT_EQ( errorOf( [] {
                 rethrowFromDeserializeAttr( RangeException( "\"x\" is not a VLAN" ), "vlanId" );
              } ),
              "attribute 'vlanId': \"x\" is not a VLAN" );
}

TEST( Exception, RangeAndNameInUseErrorsAreTheSystemsOwn ) {
   EXPECT_THROW( throw RangeException( "text" ), Exception );
   EXPECT_THROW( throw NameInUseException( "text" ), Exception );
   EXPECT_THROW( throw Exception( "text" ), std::runtime_error );
   EXPECT_FALSE( (std::is_base_of_v<RangeException, NameInUseException>));
   EXPECT_STREQ( NameInUseException( "text" ).what(), "text" );
}

} // namespace
} // namespace Quor
