// The inside of HashMap.h.
#ifndef QUOR_HASHMAP_IPP
#define QUOR_HASHMAP_IPP

#include <algorithm>
#include <bit>

namespace Quor {

// Entries

template <class Key, class Value>
HashMap<Key, Value>::Entry::Entry( U32 naturalHash, const Key &key, const Value &value )
      : CountedEntry<Entry>( flagOf( value ) ), hash_( naturalHash ), key_( key ), value_( value ) {
}

template <class Key, class Value>
U32 HashMap<Key, Value>::Entry::hash() const noexcept {
   if constexpr( kKeepsHash<Key> ) {
      return hash_;
   } else {
      return naturalHash( key_ );
   }
}

template <class Key, class Value>
Value HashMap<Key, Value>::Entry::exchange( const Value &value ) {
   if constexpr( kIsFlag ) {
      const bool former = this->bit();
      this->bitIs( value );
      return former;
   } else {
      Value next = value; // what copying throws leaves the former value where it is
      return std::exchange( value_, std::move( next ) );
   }
}

template <class Key, class Value>
void HashMap<Key, Value>::Entry::unheld() const noexcept {
   Nodes &nodes = Nodes::of( *this, link_ );
   const Link self = link_;
   Entry *const place = const_cast<Entry *>( this );
   std::destroy_at( place );
   nodes.give( place, self );
}

// Changes

template <class Key, class Value>
auto HashMap<Key, Value>::set( const Key &key, const Value &value ) -> Ptr<Entry> {
   const U32 hash = naturalHash( key );
   Link *const at = place( hash, key );
   if( !isAt( *at, key ) ) {
      return Ptr<Entry>::share( &add( at, hash, key, value ) );
   }
   Ptr<Entry> entry = ptrTo( node( *at ) );
   if( entry->value() == value ) {
      return nullptr;
   }
   [[maybe_unused]] const Value former = entry->exchange( value );
   return entry;
}

template <class Key, class Value>
inline auto HashMap<Key, Value>::addNew( const Key &key, U32 hash, const Value &value ) -> Entry * {
   Link *const at = place( hash, key );
   return isAt( *at, key ) ? nullptr : &add( at, hash, key, value );
}

template <class Key, class Value>
inline bool HashMap<Key, Value>::put( const Key &key, U32 hash, const Value &value ) {
   static_assert( std::is_trivially_copyable_v<Value>,
                  "what goes with a value may change the map" );
   Link *const at = place( hash, key );
   if( !isAt( *at, key ) ) {
      add( at, hash, key, value );
      return true;
   }
   Entry &entry = node( *at );
   return entry.exchange( value ) != value;
}

template <class Key, class Value>
auto HashMap<Key, Value>::insert( const Key &key, const Value &value ) -> Ptr<Entry> {
   Ptr<Entry> added = setNew( key, value );
   if( !added ) {
      throw NameInUseException( "the key " + valueToStrep( key ) + " is present already" );
   }
   return added;
}

template <class Key, class Value>
[[gnu::always_inline]] inline auto HashMap<Key, Value>::add( Link *at, U32 naturalHash,
                                                             const Key &key, const Value &value )
      -> Entry & {
   if( growForOneMore() ) [[unlikely]] {
      at = place( naturalHash, key );
   }
   const typename Nodes::Place there = nodes_->take();
   Entry &added = newEntry( there, naturalHash, key, value );
   if constexpr( !std::is_trivially_copyable_v<Value> ) {
      at = place( naturalHash, key ); // copying the value may have changed the map
   }
   added.link_ = std::exchange( *at, there.link );
   ++size_;
   if( front_ != 0 && precedes( bucket( naturalHash ), front_ ) ) {
      front_ = bucket( naturalHash );
   }
   return added;
}

template <class Key, class Value>
inline auto HashMap<Key, Value>::newEntry( const typename Nodes::Place &there, U32 naturalHash,
                                           const Key &key, const Value &value ) -> Entry & {
   try {
      return *::new( static_cast<void *>( there.node ) ) Entry( naturalHash, key, value );
   } catch( ... ) {
      nodes_->give( there.node, there.link );
      throw;
   }
}

template <class Key, class Value>
inline auto HashMap<Key, Value>::linkTo( const Key &key, U32 hash ) noexcept -> Link * {
   Link *at = &buckets_[bucket( hash )];
   while( *at != 0 && !( node( *at ).key_ == key ) ) {
      at = &node( *at ).link_;
   }
   return at;
}

template <class Key, class Value>
inline auto HashMap<Key, Value>::take( const Key &key ) -> Ptr<Entry> {
   Link &at = *linkTo( key, naturalHash( key ) );
   return at != 0 ? remove( at ) : nullptr;
}

template <class Key, class Value>
inline bool HashMap<Key, Value>::extract( const Key &key, U32 hash, Value &value ) {
   static_assert( std::is_trivially_copyable_v<Value>, "copying another value may change the map" );
   Link &at = *linkTo( key, hash );
   if( at == 0 ) {
      return false;
   }
   const Link link = at;
   Entry &entry = unlink( at );
   value = entry.value();
   if( RefCount::isThreadSafe() ) [[unlikely]] {
      entry.removed();
      entry.referenceDel();
   } else if( entry.droppedAlone() ) {
      std::destroy_at( &entry );
      nodes_->giveAlone( &entry, link );
   }
   return true;
}

template <class Key, class Value>
auto HashMap<Key, Value>::take( const Iterator &iterator ) -> Ptr<Entry> {
   if( iterator == end() || !iterator->isMember() ) {
      return nullptr;
   }
   Link *at = &buckets_[bucket( iterator.entry_->hash() )];
   while( &node( *at ) != iterator.entry_.get() ) {
      at = &node( *at ).link_;
   }
   return remove( *at );
}

template <class Key, class Value>
inline auto HashMap<Key, Value>::unlink( Link &link ) noexcept -> Entry & {
   const Link self = link;
   Entry &entry = node( self );
   link = std::exchange( entry.link_, self );
   ++changes_;
   if( --size_ == 0 ) {
      front_ = kEnd;
   }
   return entry;
}

template <class Key, class Value>
inline auto HashMap<Key, Value>::remove( Link &link ) noexcept -> Ptr<Entry> {
   Entry &entry = unlink( link );
   entry.removed();
   return Ptr<Entry>::adopt( &entry );
}

template <class Key, class Value>
void HashMap<Key, Value>::clear() noexcept {
   while( size_ != 0 ) { // again when a value that goes has added something, which may grow it
      for( std::size_t i = 0; i < buckets_.size(); ++i ) { // NOLINT(modernize-loop-convert)
         while( buckets_[i] != 0 ) {
            remove( buckets_[i] );
         }
      }
   }
}

template <class Key, class Value>
void HashMap<Key, Value>::reserve( U32 entries ) {
   if( entries <= bucketCount() ) {
      return;
   }
   const std::size_t buckets = std::bit_ceil( std::size_t{ std::max( entries, kFewBuckets ) } );
   buckets_.resize( std::min<std::size_t>( buckets, kMostBuckets ) );
   while( bucketCount() < buckets_.size() ) {
      split();
   }
}

/// Room for one more.
template <class Key, class Value>
void HashMap<Key, Value>::grow() {
   if( !nodes_ ) {
      nodes_ = Nodes::make();
   }
   reserve( size_ + 1 );
   most_ = bucketCount() == kMostBuckets ? ~U32{ 0 } : bucketCount();
}

/// Each chain is in order of reversed bits: what belongs to the upper of its two new buckets is its
/// rear part.
template <class Key, class Value>
void HashMap<Key, Value>::split() {
   const U32 before = bucketCount();
   for( Bucket lower = 0; lower < before; ++lower ) {
      Link *cut = &buckets_[lower];
      while( *cut != 0 && ( node( *cut ).hash() & before ) == 0 ) {
         cut = &node( *cut ).link_;
      }
      buckets_[lower + before] = std::exchange( *cut, 0 );
   }
   mask_ = 2 * before - 1;
   ++changes_;
}

// Looking up and walking

template <class Key, class Value>
inline auto HashMap<Key, Value>::lookup( const Key &key, U32 hash ) const noexcept -> Entry * {
   Link link = buckets_[bucket( hash )];
   while( link != 0 ) {
      Entry &entry = node( link );
      if( entry.key_ == key ) {
         return &entry;
      }
      link = entry.link_;
   }
   return nullptr;
}

template <class Key, class Value>
inline auto HashMap<Key, Value>::place( U32 naturalHash, const Key &key ) noexcept -> Link * {
   Link *at = &buckets_[bucket( naturalHash )];
   while( *at != 0 ) {
      Entry &entry = node( *at );
      const U32 hash = entry.hash();
      if( hash == naturalHash ? !( entry.key_ < key ) : precedes( naturalHash, hash ) ) {
         break;
      }
      at = &entry.link_;
   }
   return at;
}

template <class Key, class Value>
auto HashMap<Key, Value>::begin() const -> Iterator {
   Cursor cursor;
   Entry *const entry = first( cursor );
   return Iterator( this, Ptr<Entry>::share( entry ), cursor );
}

template <class Key, class Value>
auto HashMap<Key, Value>::iteratorFrom( const Key &key ) const -> Iterator {
   const U32 hash = naturalHash( key );
   const Link at = *const_cast<HashMap *>( this )->place( hash, key );
   Cursor cursor{ bucket( hash ), mask_ };
   Entry *const entry = at != 0 ? &node( at ) : firstBehind( cursor );
   return Iterator( this, Ptr<Entry>::share( entry ), cursor );
}

/// Counting in reversed bits: the carry runs downwards from the highest one.
template <class Key, class Value>
inline auto HashMap<Key, Value>::behind( Bucket bucket, U32 mask ) noexcept -> Bucket {
   const U32 clear = ~bucket & mask;
   if( clear == 0 ) {
      return 0;
   }
   const U32 carry = 0x80000000u >> __builtin_clz( clear );
   return ( bucket & ( carry - 1 ) ) | carry;
}

/// The highest bits stand for single steps: they stay as they are.
template <class Key, class Value>
inline auto HashMap<Key, Value>::ahead( Bucket bucket, U32 steps ) const noexcept -> Bucket {
   const U32 counted = mask_ / steps;
   const Bucket next = behind( bucket & counted, counted );
   return next == 0 ? 0 : next | ( bucket & ~counted );
}

template <class Key, class Value>
inline auto HashMap<Key, Value>::first( Cursor &cursor ) const noexcept -> Entry * {
   if( size_ == 0 ) {
      return nullptr;
   }
   cursor = { front_, mask_ };
   Entry *const entry = entryAt( buckets_[front_], cursor );
   front_ = cursor.bucket;
   return entry;
}

template <class Key, class Value>
inline auto HashMap<Key, Value>::firstBehind( Cursor &cursor ) const noexcept -> Entry * {
   while( ( cursor.bucket = behind( cursor.bucket, mask_ ) ) != 0 ) {
      if( const Link link = buckets_[cursor.bucket] ) {
         return &node( link );
      }
   }
   return nullptr;
}

template <class Key, class Value>
[[gnu::always_inline]] inline auto HashMap<Key, Value>::after( const Entry &entry,
                                                               Cursor &cursor ) const noexcept
      -> Entry * {
   if( cursor.mask != mask_ ) {
      cursor = { bucket( entry.hash() ), mask_ };
   }
   return entryAt( entry.isMember() ? entry.link_ : linkBehind( entry.hash(), entry.key_ ),
                   cursor );
}

template <class Key, class Value>
auto HashMap<Key, Value>::linkBehind( U32 hash, const Key &key ) const noexcept -> Link {
   const Link at = *const_cast<HashMap *>( this )->place( hash, key );
   return isAt( at, key ) ? node( at ).link_ : at; // there: it stands there, or came back
}

template <class Key, class Value>
[[gnu::always_inline]] inline auto HashMap<Key, Value>::entryAt( Link link,
                                                                 Cursor &cursor ) const noexcept
      -> Entry * {
   if( link != 0 ) {
      return &node( link );
   }
   if( mask_ >= kFarApart ) {
      prefetch( ahead( cursor.bucket, kLater ), ahead( cursor.bucket, kSoon ) );
   }
   return firstBehind( cursor );
}

// Inlined before the compiler concludes that a function without a result that changes nothing need
// not be called.
template <class Key, class Value>
[[gnu::always_inline]] inline void HashMap<Key, Value>::prefetch( U32 later,
                                                                  U32 soon ) const noexcept {
   __builtin_prefetch( &buckets_[bucket( later )] );
   if( const Link link = buckets_[bucket( soon )] ) {
      __builtin_prefetch( &node( link ) );
   }
}

template <class Key, class Value>
template <class... Others>
[[gnu::always_inline]] inline auto
HashMap<Key, Value>::prefetchAll( const Iterator &at, const Others &...others ) const noexcept
      -> const Entry * {
   if( ( 1 + sizeof...( others ) ) * mask_ < kFarApart || at.cursor_.mask != mask_ ) {
      return nullptr;
   }
   const Bucket later = ahead( at.cursor_.bucket, kLater );
   const Bucket soon = ahead( at.cursor_.bucket, kSoon );
   prefetch( later, soon );
   ( others.prefetch( later, soon ), ... );
   return entryAhead( at.cursor_.bucket, kSoon / 2 );
}

template <class Key, class Value>
inline auto HashMap<Key, Value>::entryAhead( Bucket from, U32 steps ) const noexcept
      -> const Entry * {
   const Link link = buckets_[bucket( ahead( from, steps ) )];
   return link != 0 ? &node( link ) : nullptr;
}

} // namespace Quor

#endif
