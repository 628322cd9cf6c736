#include "text/Nearest.h"

#include <algorithm>
#include <numeric>

namespace OrloText {

namespace {

constexpr std::size_t kMostEdits = 3;

char lower( char c ) {
   return c >= 'A' && c <= 'Z' ? static_cast<char>( c | 32 ) : c;
}

bool areSame( char one, char other ) {
   return lower( one ) == lower( other );
}

/// How many letters have to be changed, put in, left out or swapped to make one text of the other.
std::size_t edits( std::string_view one, std::string_view other ) {
   // Three rows of the table of all prefixes.
   std::vector<std::size_t> older( other.size() + 1 );
   std::vector<std::size_t> before( other.size() + 1 );
   std::vector<std::size_t> now( other.size() + 1 );
   std::iota( before.begin(), before.end(), std::size_t{ 0 } );
   for( std::size_t i = 1; i <= one.size(); ++i ) {
      now[0] = i;
      for( std::size_t j = 1; j <= other.size(); ++j ) {
         const std::size_t changed =
               before[j - 1] + ( areSame( one[i - 1], other[j - 1] ) ? 0 : 1 );
         now[j] = std::min( { changed, before[j] + 1, now[j - 1] + 1 } );
         if( i > 1 && j > 1 && areSame( one[i - 1], other[j - 2] ) &&
             areSame( one[i - 2], other[j - 1] ) ) {
            now[j] = std::min( now[j], older[j - 2] + 1 );
         }
      }
      older.swap( before );
      before.swap( now );
   }
   return before.back();
}

bool areOfAlmostTheSameLength( std::string_view one, std::string_view other ) {
   return std::max( one.size(), other.size() ) - std::min( one.size(), other.size() ) <= kMostEdits;
}

} // namespace

std::string_view nearest( std::string_view typed, const std::vector<std::string_view> &names ) {
   std::size_t fewest = std::min( kMostEdits, typed.size() / 2 ) + 1; // more is another word
   std::string_view nearest;
   for( const std::string_view name : names ) {
      if( areOfAlmostTheSameLength( typed, name ) ) {
         if( const std::size_t needed = edits( typed, name ); needed < fewest ) {
            fewest = needed;
            nearest = name;
         }
      }
   }
   return nearest;
}

std::string didYouMean( std::string_view typed, const std::vector<std::string_view> &names ) {
   const std::string_view meant = nearest( typed, names );
   return meant.empty() ? "" : "; did you mean " + std::string( meant ) + "?";
}

} // namespace OrloText
