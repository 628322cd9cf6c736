#include "quor/Strep.h"

#include "quor/Exception.h"

namespace Quor {

namespace {

bool isSpace( char c ) {
   return c == ' ' || ( c >= '\t' && c <= '\r' );
}

bool isQuote( char c ) {
   return c == '\'' || c == '"';
}

} // namespace

String excerpt( StringIterator at, StringIterator end ) {
   constexpr std::ptrdiff_t kMost = 40;
   if( at == end ) {
      return "the end of the text";
   }
   const bool whole = end - at <= kMost;
   return "\"" + String( at, whole ? end : at + kMost ) + ( whole ? "\"" : "...\"" );
}

void needString( StringIterator &at, StringIterator end, const char *token ) {
   StringIterator here = at;
   for( const char *t = token; *t != '\0'; ++t ) {
      if( *t == ' ' ) {
         while( here != end && isSpace( *here ) ) {
            ++here;
         }
      } else if( here != end && *here == *t ) {
         ++here;
      } else {
         throw RangeException( "expected \"" + String( token ) + "\", found " +
                               excerpt( at, end ) );
      }
   }
   at = here;
}

void sequenceToValue( StringIterator &at, StringIterator end, String &value ) {
   StringIterator here = at;
   if( here == end || !isQuote( *here ) ) {
      throw RangeException( "expected a quoted text, found " + excerpt( at, end ) );
   }
   const char quote = *here++;
   String read;
   for( ; here != end && *here != quote; ++here ) {
      if( *here == '\\' && ++here == end ) {
         break;
      }
      read += *here;
   }
   if( here == end ) {
      throw RangeException( "a quoted text has no closing quote: " + excerpt( at, end ) );
   }
   at = ++here;
   value = std::move( read );
}

String valueToStrep( const String &value ) {
   String text = "'";
   for( const char c : value ) {
      if( isQuote( c ) || c == '\\' ) {
         text += '\\';
      }
      text += c;
   }
   return text + "'";
}

U64 sequenceToNumber( StringIterator &at, StringIterator end, U64 max, const char *what ) {
   U64 number = 0;
   StringIterator here = at;
   bool fits = true;
   for( ; here != end && *here >= '0' && *here <= '9'; ++here ) {
      const U64 digit = static_cast<U64>( *here - '0' );
      fits = fits && digit <= max && number <= ( max - digit ) / 10;
      number = fits ? number * 10 + digit : 0;
   }
   if( here == at || !fits ) {
      throw RangeException( excerpt( at, end ) + " is not " + what + " (0 to " +
                            std::to_string( max ) + ")" );
   }
   at = here;
   return number;
}

void sequenceToValue( StringIterator &at, StringIterator end, U32 &value ) {
   value = static_cast<U32>( sequenceToNumber( at, end, 0xFFFFFFFFu, "an unsigned number" ) );
}

String valueToStrep( U32 value ) {
   return std::to_string( value );
}

void sequenceToValue( StringIterator &at, StringIterator end, bool &value ) {
   for( const bool candidate : { true, false } ) {
      const String word = valueToStrep( candidate );
      if( static_cast<std::size_t>( end - at ) >= word.size() &&
          String( at, at + static_cast<std::ptrdiff_t>( word.size() ) ) == word ) {
         at += static_cast<std::ptrdiff_t>( word.size() );
         value = candidate;
         return;
      }
   }
   throw RangeException( "expected true or false, found " + excerpt( at, end ) );
}

String valueToStrep( bool value ) {
   return value ? "true" : "false";
}

void needEnd( StringIterator at, const String &text ) {
   if( at != text.end() ) {
      throw RangeException( "junk at column " + std::to_string( at - text.begin() ) +
                            " deserializing " + text );
   }
}

} // namespace Quor
