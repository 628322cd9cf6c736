#include "agent/control/Nearest.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace OrloAgent {

namespace {

constexpr std::size_t kMostEdits = 3;

/// How many letters have to be changed, added or left out to make one text of the other.
std::size_t edits( std::string_view one, std::string_view other ) {
   std::vector<std::size_t> row( other.size() + 1 ); // of the table of all prefixes
   std::iota( row.begin(), row.end(), 0 );
   for( std::size_t i = 0; i < one.size(); ++i ) {
      std::size_t diagonal = std::exchange( row[0], i + 1 );
      for( std::size_t j = 0; j < other.size(); ++j ) {
         const std::size_t replaced = diagonal + ( one[i] == other[j] ? 0 : 1 );
         diagonal = row[j + 1];
         row[j + 1] = std::min( { replaced, row[j] + 1, diagonal + 1 } );
      }
   }
   return row.back();
}

bool areOfAlmostTheSameLength( std::string_view one, std::string_view other ) {
   return std::max( one.size(), other.size() ) - std::min( one.size(), other.size() ) <= kMostEdits;
}

} // namespace

std::string didYouMean( std::string_view typed, const std::vector<std::string_view> &names ) {
   std::size_t fewest = std::min( kMostEdits + 1, typed.size() );
   std::string_view nearest;
   for( const std::string_view name : names ) {
      if( areOfAlmostTheSameLength( typed, name ) ) {
         if( const std::size_t needed = edits( typed, name ); needed < fewest ) {
            fewest = needed;
            nearest = name;
         }
      }
   }
   return nearest.empty() ? "" : "; did you mean " + std::string( nearest ) + "?";
}

} // namespace OrloAgent
