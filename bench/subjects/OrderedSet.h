// Few keys in the order in which the product's collections visit them.
#ifndef ORLOBENCH_SUBJECTS_ORDEREDSET_H
#define ORLOBENCH_SUBJECTS_ORDEREDSET_H

#include "bench/subjects/Values.h"
#include "quor/BitReverse.h"

#include <algorithm>

namespace OrloBench {

/// Ascending by (hash, key).
struct InTableOrder {
   template <class Key>
   bool operator()( const Key &left, const Key &right ) const noexcept {
      const U32 l = Quor::bitReverse( naturalHash( left ) );
      const U32 r = Quor::bitReverse( naturalHash( right ) );
      return l != r ? l < r : left < right;
   }
};

/// One array: what is walked all the time, and changed rarely.
template <class Key>
class OrderedSet {
 public:
   /// False: it is there already.
   bool insert( const Key &key ) {
      const auto at = std::lower_bound( keys_.begin(), keys_.end(), key, InTableOrder() );
      if( at != keys_.end() && *at == key ) {
         return false;
      }
      keys_.insert( at, key );
      return true;
   }
   /// False: it was not there.
   bool erase( const Key &key ) {
      const auto at = std::lower_bound( keys_.begin(), keys_.end(), key, InTableOrder() );
      if( at == keys_.end() || !( *at == key ) ) {
         return false;
      }
      keys_.erase( at );
      return true;
   }
   void clear() noexcept { keys_.clear(); }

   auto begin() const noexcept { return keys_.begin(); }
   auto end() const noexcept { return keys_.end(); }

 private:
   std::vector<Key> keys_;
};

} // namespace OrloBench

#endif
