// A keyed collection that tells its owner's watchers of every change.
#ifndef QUOR_NOTIFIEDMAP_H
#define QUOR_NOTIFIEDMAP_H

#include "quor/HashMap.h"

#include <optional>

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
      if( const Ptr<Entry> changed = this->set( key, value ) ) {
         told( *changed );
      }
   }

   /// Adds the key and notifies; false when the key is present.
   bool isNew( const Key &key, const Value &value ) {
      const Ptr<Entry> added = this->setNew( key, value );
      if( added ) {
         told( *added );
      }
      return static_cast<bool>( added );
   }

   /// Removes the key and notifies; the value that it had, nothing when the key is absent.
   std::optional<Value> taken( const Key &key ) {
      const Ptr<Entry> entry = this->take( key );
      return entry ? std::optional<Value>( removed( entry ) ) : std::nullopt;
   }

   /// Removes the key, notifies and gives the removed value; an absent key notifies nobody and
   /// gives Value{}.
   Value del( const Key &key ) { return removed( this->take( key ) ); }
   Value del( const Iterator &at ) { return removed( this->take( at ) ); }

   /// Removes the keys one by one in order, each with its own notification.
   void delAll() {
      for( Iterator at = this->begin(); at != this->end(); ++at ) {
         del( at );
      }
   }

 private:
   template <class Owner, class Told>
   void tell( void ( Owner::*notify )( Told ) const, const Entry &entry ) const {
      const Owner &owner = *static_cast<const Owner *>( this->owner() );
      if( owner.isWatched() ) {
         ( owner.*notify )( entry.key() );
      }
   }
   void told( const Entry &entry ) const { tell( Notify, entry ); }

   Value removed( const Ptr<Entry> &entry ) const {
      if( !entry ) {
         return Value{};
      }
      told( *entry );
      return entry->value();
   }
};

} // namespace Quor

#endif
