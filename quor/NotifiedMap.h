// A keyed collection that tells its owner's watchers of every change.
#ifndef QUOR_NOTIFIEDMAP_H
#define QUOR_NOTIFIEDMAP_H

#include "quor/HashMap.h"

namespace Quor {

/// The storage of a watched collection attribute. `Notify` is the owner's const member function
/// that tells the watchers of one key, so that an entity's operations are one-line delegations:
///
///    void macIs( const Mac &mac, bool value ) { mac_.is( mac, value ); }
///    bool macDel( const Mac &mac ) { return mac_.del( mac ); }
///
/// Watchers may destroy the entry that has changed, the map and the owner. So they are told through
/// a copy of the key; or, where copying is dear, through the entry, which is held meanwhile.
template <class Key, class Value, auto Notify>
class NotifiedMap : public HashMap<Key, Value> {
 public:
   using typename HashMap<Key, Value>::Entry;
   using typename HashMap<Key, Value>::Iterator;
   using HashMap<Key, Value>::HashMap;

   /// Adds the key or changes its value, and notifies; an equal value does nothing.
   void is( const Key &key, const Value &value ) { is( key, naturalHash( key ), value ); }
   /// `hash`, here and below: the key's naturalHash(), for somebody who knows it already.
   void is( const Key &key, U32 hash, const Value &value ) {
      if constexpr( kTellsCopy ) {
         const Key copy = key;
         if( this->put( copy, hash, value ) ) {
            told( copy );
         }
      } else if( const Ptr<Entry> changed = this->set( key, value ) ) {
         told( changed->key() );
      }
   }

   // For a key that stands in no entry.

   /// Adds the key and notifies; false when the key is present.
   bool isNew( const Key &key, U32 hash, const Value &value ) {
      const bool isAdded = this->addNew( key, hash, value ) != nullptr;
      if( isAdded ) {
         told( key );
      }
      return isAdded;
   }
   /// Removes the key, notifies and gives the value that it had; false when the key is absent.
   bool taken( const Key &key, U32 hash, Value &value ) {
      const bool isTaken = this->extract( key, hash, value );
      if( isTaken ) {
         told( key );
      }
      return isTaken;
   }

   /// Removes the key, notifies and gives the removed value; an absent key notifies nobody and
   /// gives Value{}.
   Value del( const Key &key ) { return del( key, naturalHash( key ) ); }
   Value del( const Key &key, U32 hash ) {
      if constexpr( kTellsCopy ) {
         const Key copy = key;
         Value value{};
         taken( copy, hash, value );
         return value;
      } else {
         return removed( this->take( key ) );
      }
   }
   Value del( const Iterator &at ) { return removed( this->take( at ) ); }

   /// Removes the keys one by one in order, each with its own notification.
   void delAll() {
      for( Iterator at = this->begin(); at != this->end(); ++at ) {
         del( at );
      }
   }

 private:
   static constexpr bool kTellsCopy = std::is_trivially_copyable_v<Key> &&
                                      sizeof( Key ) <= sizeof( void * ) &&
                                      std::is_trivially_copyable_v<Value>;

   template <class Owner, class Told>
   const Owner &ownerFor( void ( Owner::* /*notify*/ )( Told ) const ) const {
      return *static_cast<const Owner *>( this->owner() );
   }
   bool isWatched() const { return ownerFor( Notify ).isWatched(); }
   [[gnu::always_inline]] inline void told( const Key &key ) const {
      if( isWatched() ) {
         ( ownerFor( Notify ).*Notify )( key );
      }
   }

   Value removed( const Ptr<Entry> &entry ) const {
      if( !entry ) {
         return Value{};
      }
      told( entry->key() );
      return entry->value();
   }
};

} // namespace Quor

#endif
