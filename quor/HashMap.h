// Keyed collections: hash maps with an order of iteration that depends on the content alone.
//
// The bucket of a key is given by the top bits of its 32-bit hash (with 2 to the power b buckets:
// the hash shifted right by 32 - b), and within a bucket entries stand in ascending order of the
// hash, ties by the key. So iteration runs in ascending order of (hash, key), whatever was added or
// removed before.
//
// A key type brings operator==, operator<, valueToStrep() and bucketHash( key ), all found by its
// namespace.
#ifndef QUOR_HASHMAP_H
#define QUOR_HASHMAP_H

#include "quor/CountedEntry.h"
#include "quor/PinnedIterator.h"
#include "quor/Strep.h"

#include <algorithm>

namespace Quor {

/// Unique keys, each with a value, in counted entries. Belongs to an owner, which the iterators
/// keep alive. The map itself notifies nobody: the operations say what changed, the owner tells its
/// watchers.
///
/// Finding, adding and removing take constant time on average; adding doubles the number of buckets
/// when there are more entries than buckets. Starts with one bucket. One thread.
template <class Key, class Value>
class HashMap {
 public:
   class Entry;
   using Iterator = PinnedIterator<HashMap>;

   explicit HashMap( const PtrInterface *owner ) noexcept : owner_( owner ) {}
   HashMap( const HashMap & ) = delete;
   HashMap &operator=( const HashMap & ) = delete;
   ~HashMap() { clear(); }

   U32 size() const noexcept { return size_; }
   U32 bucketCount() const noexcept { return 1u << bits_; }
   bool isMemberOf( const Key &key ) const noexcept { return lookup( key ) != nullptr; }
   /// Null when the key is absent.
   Ptr<Entry> find( const Key &key ) const noexcept { return Ptr<Entry>::share( lookup( key ) ); }
   /// The value of an absent key is `Value{}`.
   Value value( const Key &key ) const {
      const Entry *const entry = lookup( key );
      return entry ? entry->value() : Value{};
   }

   /// Present with an equal value: nothing, and gives null. Otherwise overwrites the value, or adds
   /// an entry, and gives the entry. Whoever keeps it can use its key and value whatever happens to
   /// the map.
   Ptr<Entry> set( const Key &key, const Value &value );
   /// Adds an entry; NameInUseException when the key is present.
   Ptr<Entry> insert( const Key &key, const Value &value );
   /// Removes the entry of the key and gives it; null when the key is absent.
   Ptr<Entry> take( const Key &key ) { return remove( lookup( key ) ); }
   /// Removes the entry under the iterator, if it is still there.
   Ptr<Entry> take( const Iterator &at ) {
      return at != end() && at->isMember() ? remove( at.entry_.get() ) : nullptr;
   }
   /// Removes all entries at once.
   void clear() noexcept;

   /// Costs the same however much has been removed from the front.
   Iterator begin() const;
   std::default_sentinel_t end() const noexcept { return {}; }
   /// At the first entry that does not come before `key`, whether that is there or not.
   Iterator iteratorFrom( const Key &key ) const;

 protected:
   const PtrInterface *owner() const noexcept { return owner_; }

 private:
   friend Iterator;
   using Chain = Entry *;
   static constexpr U32 kMostBits = 31;

   U32 bucket( U32 hash ) const noexcept {
      return static_cast<U32>( U64{ hash } >> ( 32 - bits_ ) ); // in 64 bits: bits_ may be 0
   }
   Entry *lookup( const Key &key ) const noexcept;
   /// The place in the chain where (hash, key) stands or would stand.
   Chain *place( U32 hash, const Key &key ) noexcept;
   Ptr<Entry> add( U32 hash, const Key &key, const Value &value );
   Ptr<Entry> remove( Entry *entry ) noexcept;
   void grow();
   /// The first entry of the first bucket at or after `bucket` that has one.
   Entry *first( U32 bucket ) const noexcept;
   Entry *after( const Entry &entry ) const noexcept;

   const PtrInterface *owner_;
   std::vector<Chain> buckets_ = std::vector<Chain>( 1 );
   U32 bits_ = 0;
   U32 size_ = 0;
   mutable U32 front_ = 0; // the buckets before it are empty
};

/// A key with its value.
template <class Key, class Value>
class HashMap<Key, Value>::Entry : public CountedEntry<Entry> {
 public:
   const Key &key() const noexcept { return key_; }
   const Value &value() const noexcept { return value_; }

 private:
   friend class HashMap;
   friend class CountedEntry<Entry>;
   void unheld() const noexcept { delete this; }
   Entry( U32 hash, const Key &key, const Value &value )
         : hash_( hash ), key_( key ), value_( value ) {}

   U32 hash_;
   Entry *next_ = nullptr;
   const Key key_;
   Value value_;
};

} // namespace Quor

#include "quor/HashMap.ipp"

#endif
