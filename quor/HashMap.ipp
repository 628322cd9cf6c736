// The inside of HashMap.h.
#ifndef QUOR_HASHMAP_IPP
#define QUOR_HASHMAP_IPP

namespace Quor {

template <class Key, class Value>
auto HashMap<Key, Value>::set( const Key &key, const Value &value ) -> Ptr<Entry> {
   const U32 hash = bucketHash( key );
   Chain *const at = place( hash, key );
   if( !*at || !( ( *at )->key_ == key ) ) {
      return add( hash, key, value );
   }
   if( ( *at )->value_ == value ) {
      return nullptr;
   }
   Ptr<Entry> entry = ptrTo( **at );
   // Whatever goes with the former value may change the map, or remove this very entry.
   [[maybe_unused]] const Value former = std::exchange( entry->value_, value );
   return entry;
}

template <class Key, class Value>
auto HashMap<Key, Value>::insert( const Key &key, const Value &value ) -> Ptr<Entry> {
   const U32 hash = bucketHash( key );
   Chain *const at = place( hash, key );
   if( *at && ( *at )->key_ == key ) {
      throw NameInUseException( "the key " + valueToStrep( key ) + " is present already" );
   }
   return add( hash, key, value );
}

template <class Key, class Value>
auto HashMap<Key, Value>::begin() const -> Iterator {
   Entry *const entry = first( front_ );
   front_ = entry ? bucket( entry->hash_ ) : bucketCount();
   return Iterator( this, Ptr<Entry>::share( entry ) );
}

template <class Key, class Value>
void HashMap<Key, Value>::clear() noexcept {
   for( std::size_t i = 0; i < buckets_.size(); ++i ) {
      while( buckets_[i] ) {
         remove( buckets_[i] );
      }
   }
}

template <class Key, class Value>
auto HashMap<Key, Value>::iteratorFrom( const Key &key ) const -> Iterator {
   const U32 hash = bucketHash( key );
   Entry *const entry = *const_cast<HashMap *>( this )->place( hash, key );
   return Iterator( this, Ptr<Entry>::share( entry ? entry : first( bucket( hash ) + 1 ) ) );
}

template <class Key, class Value>
auto HashMap<Key, Value>::lookup( const Key &key ) const noexcept -> Entry * {
   const U32 hash = bucketHash( key );
   Entry *entry = buckets_[bucket( hash )];
   while( entry && !( entry->hash_ == hash && entry->key_ == key ) ) {
      entry = entry->next_;
   }
   return entry;
}

template <class Key, class Value>
auto HashMap<Key, Value>::place( U32 hash, const Key &key ) noexcept -> Chain * {
   Chain *at = &buckets_[bucket( hash )];
   while( *at && ( ( *at )->hash_ < hash || ( ( *at )->hash_ == hash && ( *at )->key_ < key ) ) ) {
      at = &( *at )->next_;
   }
   return at;
}

template <class Key, class Value>
auto HashMap<Key, Value>::add( U32 hash, const Key &key, const Value &value ) -> Ptr<Entry> {
   Ptr<Entry> added = Ptr<Entry>::adopt( new Entry( hash, key, value ) );
   if( size_ == bucketCount() && bits_ < kMostBits ) {
      grow();
   }
   Chain *const at = place( hash, key ); // nothing throws from here on
   added->next_ = *at;
   *at = Ptr<Entry>( added ).release(); // the map's reference
   ++size_;
   front_ = std::min( front_, bucket( hash ) );
   return added;
}

template <class Key, class Value>
auto HashMap<Key, Value>::remove( Entry *entry ) noexcept -> Ptr<Entry> {
   if( !entry ) {
      return nullptr;
   }
   *place( entry->hash_, entry->key_ ) = entry->next_;
   entry->next_ = nullptr;
   entry->removed();
   --size_;
   return Ptr<Entry>::adopt( entry );
}

template <class Key, class Value>
void HashMap<Key, Value>::grow() {
   std::vector<Chain> twice( buckets_.size() * 2 );
   const U32 upperHalf = 1u << ( 31 - bits_ );
   for( std::size_t i = 0; i < buckets_.size(); ++i ) {
      twice[2 * i] = buckets_[i];
      Chain *cut = &twice[2 * i]; // the chain is in order: its upper part moves as one piece
      while( *cut && !( ( *cut )->hash_ & upperHalf ) ) {
         cut = &( *cut )->next_;
      }
      twice[2 * i + 1] = std::exchange( *cut, nullptr );
   }
   buckets_.swap( twice );
   ++bits_;
   front_ *= 2;
}

template <class Key, class Value>
auto HashMap<Key, Value>::first( U32 bucket ) const noexcept -> Entry * {
   for( std::size_t i = bucket; i < buckets_.size(); ++i ) {
      if( buckets_[i] ) {
         return buckets_[i];
      }
   }
   return nullptr;
}

template <class Key, class Value>
auto HashMap<Key, Value>::after( const Entry &entry ) const noexcept -> Entry * {
   const U32 home = bucket( entry.hash_ );
   Entry *next = entry.next_;
   if( !entry.isMember() ) {
      next = *const_cast<HashMap *>( this )->place( entry.hash_, entry.key_ );
      if( next && next->key_ == entry.key_ ) { // came back meanwhile, and has been visited
         next = next->next_;
      }
   }
   return next ? next : first( home + 1 );
}

} // namespace Quor

#endif
