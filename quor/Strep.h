// Text forms ("string representations") of values, and reading them back.
//
// A value type V brings, beside itself, three free functions that are found by its namespace:
//
//    String valueToStrep( const V & );                                  text form
//    void sequenceToValue( StringIterator &at, StringIterator end, V & );  reads one V, leaves `at`
//    behind it V strepToValue( Strep<V>, const String & );                        reads a whole
//    text
//
// All readers throw RangeException and leave the target unchanged when they do.
#ifndef QUOR_STREP_H
#define QUOR_STREP_H

#include "quor/Types.h"

namespace Quor {

using StringIterator = String::const_iterator;

/// Chooses the reader of a whole text by the type that is wanted: `strepToValue( Strep<VlanId>{}, s
/// )`.
template <class V>
struct Strep {};

/// Matches `token` at `at` and moves behind it. A blank in the token stands for any run of white
/// space, also none. When the token is not there, `at` stays where it was and RangeException says
/// what was expected and what was found.
void needString( StringIterator &at, StringIterator end, const char *token );

/// A quoted text: single or double quotes, a backslash takes the next character as it is.
void sequenceToValue( StringIterator &at, StringIterator end, String &value );
String valueToStrep( const String &value );

/// An unsigned decimal number of at most `max`; `what` names it in the error.
U64 sequenceToNumber( StringIterator &at, StringIterator end, U64 max, const char *what );
void sequenceToValue( StringIterator &at, StringIterator end, U32 &value );
String valueToStrep( U32 value );

/// true or false.
void sequenceToValue( StringIterator &at, StringIterator end, bool &value );
String valueToStrep( bool value );

/// The text from `at` on, shortened, in quotes: for error texts.
String excerpt( StringIterator at, StringIterator end );

/// Throws "junk at column N deserializing TEXT" unless `at` is the end of `text`.
void needEnd( StringIterator at, const String &text );

/// Reads the whole of `text` as one V by V's own sequenceToValue.
template <class V>
V wholeText( const String &text ) {
   V value{};
   StringIterator at = text.begin();
   sequenceToValue( at, text.end(), value );
   needEnd( at, text );
   return value;
}

} // namespace Quor

#endif
