#include "pelmo/EthAddr.h"

#include "quor/Exception.h"

#include <algorithm>
#include <ostream>

namespace Pelmo {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

/// -1 when `c` is no hexadecimal digit.
int digit( char c ) {
   const char lower = c >= 'A' && c <= 'F' ? static_cast<char>( c - 'A' + 'a' ) : c;
   const char *const found = std::find( kDigits, kDigits + 16, lower );
   return found == kDigits + 16 ? -1 : static_cast<int>( found - kDigits );
}

bool isMacCharacter( char c ) {
   return digit( c ) >= 0 || c == ':' || c == '-' || c == '.';
}

/// Twelve digits in groups of `group`, with `separator` between the groups.
bool parseGroups( const Quor::String &text, std::size_t group, char separator, EthAddr &mac ) {
   const std::size_t groups = 12 / group;
   if( text.size() != 12 + groups - 1 ) {
      return false;
   }
   EthAddr::Octets octets{};
   std::size_t nibble = 0;
   for( std::size_t i = 0; i < text.size(); ++i ) {
      if( i % ( group + 1 ) == group ) {
         if( text[i] != separator ) {
            return false;
         }
         continue;
      }
      const int value = digit( text[i] );
      if( value < 0 ) {
         return false;
      }
      octets[nibble / 2] = static_cast<Quor::U8>( octets[nibble / 2] << 4 | value );
      ++nibble;
   }
   mac = EthAddr( octets );
   return true;
}

} // namespace

Quor::String valueToStrep( const EthAddr &mac ) {
   Quor::String text;
   text.reserve( 17 );
   for( const Quor::U8 octet : mac.octets() ) {
      if( !text.empty() ) {
         text += ':';
      }
      text += kDigits[octet >> 4];
      text += kDigits[octet & 15];
   }
   return text;
}

void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end, EthAddr &mac ) {
   const Quor::StringIterator behind = std::find_if_not( at, end, isMacCharacter );
   const Quor::String text( at, behind );
   if( !parseGroups( text, 2, ':', mac ) && !parseGroups( text, 2, '-', mac ) &&
       !parseGroups( text, 4, '.', mac ) ) {
      throw Quor::RangeException( Quor::excerpt( at, end ) +
                                  " is not a MAC address (such as 00:00:5e:00:01:0a)" );
   }
   at = behind;
}

EthAddr strepToValue( Quor::Strep<EthAddr>, const Quor::String &text ) {
   return Quor::wholeText<EthAddr>( text );
}

std::ostream &operator<<( std::ostream &out, const EthAddr &mac ) {
   return out << valueToStrep( mac );
}

} // namespace Pelmo
