// Walks over the keys of collections that may change under them.
#ifndef QUOR_KEYWALK_H
#define QUOR_KEYWALK_H

#include "quor/Types.h"

#include <type_traits>
#include <utility>

namespace Quor {

/// Visits the keys of a HashMap by the rules of a PinnedIterator, at less cost: it holds nobody,
/// and finds its place by a copy of the key when something has been removed.
///
///    for( auto vlan = vlans.keys(); vlan; ++vlan ) { use( *vlan ); }
///
/// The map must outlive it. A Map gives first( cursor ), firstBehind( cursor ) and linkBehind(
/// hash, key ), and counts what makes a plain walk go astray.
template <class Map>
class KeyWalk {
 public:
   using Entry = typename Map::Entry;
   using Key = std::remove_cvref_t<decltype( std::declval<const Entry &>().key() )>;
   static_assert( std::is_trivially_copyable_v<Key>, "what goes with a key may change the map" );

   explicit KeyWalk( const Map &map ) noexcept : map_( map ), changes_( map.changes_ ) {
      standAt( map.first( cursor_ ) );
   }

   explicit operator bool() const noexcept { return entry_ != nullptr; }
   const Key &operator*() const noexcept { return key_; }
   [[gnu::always_inline]] inline void operator++() noexcept {
      const auto next = changes_ == map_.changes_ ? entry_->link_ : again();
      standAt( next != 0 ? &map_.node( next ) : map_.firstBehind( cursor_ ) );
   }
   /// The key that comes so many steps (a power of 2) later, or near it; behind the end, any key or
   /// null.
   const Key *ahead( U32 steps ) const noexcept {
      const Entry *const entry = map_.entryAhead( cursor_.bucket, steps );
      return entry ? &entry->key() : nullptr;
   }

 private:
   /// Finds the place of the key in the map as it is now, and gives the link to what is behind.
   [[gnu::noinline, gnu::cold]] typename Map::Link again() noexcept {
      changes_ = map_.changes_;
      const U32 hash = naturalHash( key_ );
      cursor_ = { map_.bucket( hash ), map_.mask_ };
      return map_.linkBehind( hash, key_ );
   }
   void standAt( const Entry *entry ) noexcept {
      entry_ = entry;
      if( entry ) {
         key_ = entry->key();
      }
   }

   const Map &map_;
   typename Map::Cursor cursor_{};
   const Entry *entry_ = nullptr; // good as long as changes_ are the map's
   Key key_{};
   U64 changes_;
};

} // namespace Quor

#endif
