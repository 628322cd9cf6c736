// Keys with hashes of our choice, for the tests of the collections.
#ifndef TESTS_UNIT_QUOR_HASHMAPKEYS_H
#define TESTS_UNIT_QUOR_HASHMAPKEYS_H

#include "quor/BitReverse.h"
#include "quor/HashMap.h"
#include "tests/unit/quor/Dice.h"

#include <compare>
#include <ostream>
#include <tuple>
#include <utility>
#include <vector>

namespace Quor {

/// Keys are told apart, and ordered within a hash, by their number.
struct Key {
   U32 hash = 0;
   U32 number = 0;

   friend bool operator==( const Key &a, const Key &b ) { return a.number == b.number; }
   friend bool operator<( const Key &a, const Key &b ) { return a.number < b.number; }
};

inline U32 naturalHash( const Key &key ) {
   return bitReverse( key.hash );
}
inline String valueToStrep( const Key &key ) {
   return "#" + std::to_string( key.number );
}
inline std::ostream &operator<<( std::ostream &out, const Key &key ) {
   return out << valueToStrep( key ) << " at " << std::hex << key.hash << std::dec;
}

/// Where a key stands among all keys.
struct InOrder {
   bool operator()( const Key &a, const Key &b ) const {
      return std::tie( a.hash, a.number ) < std::tie( b.hash, b.number );
   }
};

/// `count` different keys, some of which share a hash, or a hash but for its last bits.
inline std::vector<Key> someKeys( Dice &dice, U32 count ) {
   std::vector<Key> keys;
   for( U32 number = 0; number < count; ++number ) {
      const Key key{ dice.any(), number };
      const U32 near = keys.empty() ? 0 : keys[dice.roll( number )].hash;
      switch( dice.roll( 4 ) ) {
      case 0:
         keys.push_back( { near, number } );
         break;
      case 1:
         keys.push_back( { near ^ dice.roll( 4 ), number } );
         break;
      default:
         keys.push_back( key );
      }
   }
   return keys;
}

/// A map with its owner.
class Shelf : public PtrInterface {
 public:
   using Map = HashMap<Key, U32>;
   using Content = std::vector<std::pair<U32, U32>>;

   explicit Shelf( int *alive = nullptr ) : alive_( alive ) { count( 1 ); }
   ~Shelf() override { count( -1 ); }

   Map map{ this };

   /// Numbers of the keys and values, in the order of the walk.
   Content content() const {
      Content all;
      for( const Map::Entry &entry : map ) {
         all.emplace_back( entry.key().number, entry.value() );
      }
      return all;
   }

 private:
   void count( int by ) {
      if( alive_ ) {
         *alive_ += by;
      }
   }

   int *const alive_;
};

} // namespace Quor

#endif
