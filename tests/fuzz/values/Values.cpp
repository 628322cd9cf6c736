// Texts of values. The first byte chooses the type, the rest is the text. Whatever it is:
//
//    - it is read, or refused with a RangeException that says something; what was to be filled in
//      is untouched then;
//    - a value that was read has a text that reads as the same value and has the same text;
//    - what is reported as junk begins at the column that is reported: everything before it is a
//      whole text, and with the next character it is none.
#include "agent/control/TypedText.h"
#include "quor/Exception.h"
#include "quor/GenericInstance.h"
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"
#include "types/OrloVrrpSm.h"

#include <array>
#include <optional>

using Fuzz::check;
using Pair = Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;
using Quor::sequenceToValue; // for what has no namespace of ours
using Quor::String;
using Quor::StringIterator;
using Quor::Type;
using Quor::valueToStrep;

namespace {

/// The reader of whole texts: its own, where the type has one.
template <class V>
V whole( const String &text ) {
   if constexpr( requires { strepToValue( Quor::Strep<V>{}, text ); } ) {
      return strepToValue( Quor::Strep<V>{}, text );
   } else {
      return Quor::wholeText<V>( text );
   }
}

template <class V>
std::optional<V> tried( const String &text, String *why = nullptr ) {
   try {
      return whole<V>( text );
   } catch( const Quor::RangeException &error ) {
      const String what = error.what();
      check( !what.empty(), "a refusal without a word" );
      if( why ) {
         *why = what;
      }
      return std::nullopt;
   }
}

template <class V>
void roundTrip( const V &value ) {
   const String text = valueToStrep( value );
   check( tried<V>( text ) == value, "the text of a value reads as another one: " + text );
   check( valueToStrep( whole<V>( text ) ) == text, "the text of a value changes: " + text );
}

/// Reads one value at the beginning; gives how many characters it took.
template <class V>
std::optional<std::size_t> beginning( const String &text, const V &before ) {
   V value = before;
   StringIterator at = text.begin();
   try {
      sequenceToValue( at, text.end(), value );
   } catch( const Quor::RangeException & ) {
      check( value == before, "a refused text has changed the value: " + text );
      return std::nullopt;
   }
   const auto taken = static_cast<std::size_t>( at - text.begin() );
   check( taken <= text.size(), "read behind the end: " + text );
   check( tried<V>( text.substr( 0, taken ) ) == value, "read more than what was taken: " + text );
   return taken;
}

void expectJunk( const String &why, std::size_t column, const String &text ) {
   const String wanted = "junk at column " + std::to_string( column ) + " deserializing " + text;
   check( why == wanted.c_str(), // what() ends at a zero byte
          "not the column where the junk begins, " + std::to_string( column ) + ": " + why );
}

template <class V>
void tryText( const String &text, const V &other ) {
   String why;
   const std::optional<V> value = tried<V>( text, &why );
   const std::optional<std::size_t> taken = beginning<V>( text, other );
   if( value ) {
      roundTrip( *value );
      // An interface's name may have what ends it among other values.
      check( std::is_same_v<V, Pelmo::IntfId> || taken == text.size(), "half read: " + text );
   } else if( taken && !std::is_same_v<V, Pelmo::IntfId> ) {
      check( *taken < text.size(), "refused, and yet read to its end: " + text );
      expectJunk( why, *taken, text );
      check( !tried<V>( text.substr( 0, *taken + 1 ) ), "junk that could be read: " + text );
   }
}

/// As people write values: the fields alone do.
void tryTyped( const Type &type, const String &text ) {
   try {
      const auto value = OrloAgent::typedValue( type, text );
      const String shortened = OrloAgent::shortText( value );
      if( shortened.size() <= OrloAgent::kMostValueText ) {
         check( OrloAgent::typedValue( type, shortened )->strRep() == value->strRep(),
                "the short text of a value reads as another one: " + shortened );
      }
      const auto json = OrloAgent::jsonOf( value );
      check( json.is_string() || json.is_number_unsigned() || json.is_boolean(),
             "a value that is no JSON value" );
   } catch( const Quor::RangeException &error ) {
      check( *error.what() != '\0', "a refusal without a word" );
   }
}

template <class V>
void tryAll( const String &text, const V &other ) {
   tryText<V>( text, other );
   tryTyped( *Quor::typeOf<V>(), text );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t *bytes, std::size_t size ) {
   Fuzz::Input input( bytes, size );
   const auto type = input.below( 9 );
   const String text( input.rest() );
   const Pelmo::EthAddr mac( 1, 2, 3 );
   switch( type ) {
   case 0:
      tryAll<Pelmo::EthAddr>( text, mac );
      break;
   case 1:
      tryAll<Bridging::VlanId>( text, Bridging::VlanId( 7 ) );
      break;
   case 2:
      tryAll<Pelmo::IntfId>( text, Pelmo::IntfId( "br7" ) );
      break;
   case 3:
      tryAll<Pair>( text, Pair( Bridging::VlanId( 7 ), mac ) );
      break;
   case 4:
      tryAll<Quor::U32>( text, 7 );
      break;
   case 5:
      tryAll<bool>( text, false );
      tryAll<bool>( text, true );
      break;
   case 6:
      tryText<String>( text, "seven" );
      break;
   case 7:
      tryAll<Routing::Fhrp::VirtualRouterMac>( text, { Pelmo::IntfId( "br7" ), mac } );
      break;
   default:
      tryAll<Orlo::QueueMetadata>( text, { 7, 8 } );
      break;
   }
   return 0;
}
