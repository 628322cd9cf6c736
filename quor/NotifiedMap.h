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
/// The changed entry is held until the watchers have been told: they may be told through a key that
/// stands in the entry, and may destroy entry, map and owner.
template <class Key, class Value, auto Notify>
class NotifiedMap : public HashMap<Key, Value> {
 public:
   using typename HashMap<Key, Value>::Entry;
   using typename HashMap<Key, Value>::Iterator;
   using HashMap<Key, Value>::HashMap;

   /// Adds the key or changes its value, and notifies; an equal value does nothing.
   void is( const Key &key, const Value &value ) {
      if( !isWatched() && this->addNew( key, naturalHash( key ), value ) ) {
         return;
      }
      if( const Ptr<Entry> changed = this->set( key, value ) ) {
         told( changed->key() );
      }
   }

   /// Adds the key and notifies; false when the key is present. `hash`: its naturalHash().
   bool isNew( const Key &key, U32 hash, const Value &value ) {
      Entry *const added = this->addNew( key, hash, value );
      if( added && isWatched() ) {
         const Ptr<Entry> hold = ptrTo( *added );
         told( added->key() );
      }
      return added != nullptr;
   }

   /// Removes the key and notifies; the value that it had, nothing when the key is absent.
   std::optional<Value> taken( const Key &key, U32 hash ) {
      if( !isWatched() ) {
         return this->extract( key, hash );
      }
      const Ptr<Entry> entry = this->take( key );
      return entry ? std::optional<Value>( removed( entry, entry->key() ) ) : std::nullopt;
   }

   /// Removes the key, notifies and gives the removed value; an absent key notifies nobody and
   /// gives Value{}.
   Value del( const Key &key ) {
      if constexpr( std::is_trivially_copyable_v<Key> && sizeof( Key ) <= sizeof( void * ) ) {
         // Whoever is told can begin before the processor has fetched the entry.
         const Key copy = key;
         return removed( this->take( copy ), copy );
      } else {
         const Ptr<Entry> entry = this->take( key );
         return entry ? removed( entry, entry->key() ) : Value{};
      }
   }
   Value del( const Iterator &at ) {
      const Ptr<Entry> entry = this->take( at );
      return entry ? removed( entry, entry->key() ) : Value{};
   }

   /// Removes the keys one by one in order, each with its own notification.
   void delAll() {
      for( Iterator at = this->begin(); at != this->end(); ++at ) {
         del( at );
      }
   }

 private:
   template <class Owner, class Told>
   const Owner &ownerFor( void ( Owner::* /*notify*/ )( Told ) const ) const {
      return *static_cast<const Owner *>( this->owner() );
   }
   bool isWatched() const { return ownerFor( Notify ).isWatched(); }
   void told( const Key &key ) const {
      if( isWatched() ) {
         ( ownerFor( Notify ).*Notify )( key );
      }
   }

   Value removed( const Ptr<Entry> &entry, const Key &key ) const {
      if( !entry ) {
         return Value{};
      }
      told( key );
      return entry->value();
   }
};

} // namespace Quor

#endif
