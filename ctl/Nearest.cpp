#include "ctl/Nearest.h"

#include <algorithm>
#include <numeric>

namespace OrloCtl {

namespace {

/// Letters to insert, remove, replace, or to swap with their neighbour.
std::size_t distance( const std::string &a, const std::string &b ) {
   std::vector<std::size_t> older( b.size() + 1 );
   std::vector<std::size_t> before( b.size() + 1 );
   std::vector<std::size_t> now( b.size() + 1 );
   std::iota( before.begin(), before.end(), std::size_t{ 0 } );
   for( std::size_t i = 1; i <= a.size(); ++i ) {
      now[0] = i;
      for( std::size_t j = 1; j <= b.size(); ++j ) {
         const std::size_t replaced = before[j - 1] + ( a[i - 1] == b[j - 1] ? 0 : 1 );
         now[j] = std::min( { replaced, before[j] + 1, now[j - 1] + 1 } );
         if( i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1] ) {
            now[j] = std::min( now[j], older[j - 2] + 1 );
         }
      }
      older.swap( before );
      before.swap( now );
   }
   return before[b.size()];
}

} // namespace

std::string nearest( const std::string &word, const std::vector<std::string> &words ) {
   constexpr std::size_t kLongest = 40;
   std::string best;
   std::size_t fewest = std::min<std::size_t>( 3, word.size() / 2 + 1 ); // more is another word
   for( const std::string &one : words ) {
      const std::size_t changes = word.size() > kLongest ? kLongest : distance( word, one );
      if( changes < fewest ) {
         fewest = changes;
         best = one;
      }
   }
   return best;
}

} // namespace OrloCtl
