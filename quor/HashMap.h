// Keyed collections: hash maps with an order of iteration that depends on the content alone.
//
// The bucket of a key is given by the top bits of its 32-bit hash (with 2 to the power b buckets:
// the hash shifted right by 32 - b), and within a bucket entries stand in ascending order of the
// hash, ties by the key. So iteration runs in ascending order of (hash, key), whatever was added or
// removed before.
//
// In memory the buckets stand in another order, by the low bits of the hash before its bits were
// reversed: keys whose hashes differ in low bits only, such as all VLANs of one MAC, are neighbours
// there, in whatever order they are added, found or removed.
//
// A key type brings operator==, operator<, valueToStrep() and naturalHash( key ), all found by its
// namespace: the hash above is the natural one with its bits reversed.
#ifndef QUOR_HASHMAP_H
#define QUOR_HASHMAP_H

#include "quor/CountedEntry.h"
#include "quor/KeyWalk.h"
#include "quor/PinnedIterator.h"
#include "quor/Slab.h"
#include "quor/Strep.h"

namespace Quor {

/// Is the hash of a key kept beside it? Where computing it costs more than reading it.
template <class Key>
inline constexpr bool kKeepsHash = sizeof( Key ) > 8;

/// Unique keys, each with a value, in counted entries. Belongs to an owner, which the iterators
/// keep alive. The map itself notifies nobody: the operations say what changed, the owner tells its
/// watchers.
///
/// Finding, adding and removing take constant time on average; adding doubles the number of buckets
/// when there are more entries than buckets. Starts with one bucket, and has 16 for a second entry.
/// An entry of 8 bytes of key takes 16 bytes with a flag as its value, 20 with a 32-bit number, and
/// 4 to 8 for its bucket. Memory is kept for the next entries until the map goes; an entry that is
/// still held then keeps it. One thread.
template <class Key, class Value>
class HashMap {
 public:
   class Entry;
   using Iterator = PinnedIterator<HashMap>;
   using KeyWalk = Quor::KeyWalk<HashMap>;

   explicit HashMap( const PtrInterface *owner ) : owner_( owner ) {}
   HashMap( const HashMap & ) = delete;
   HashMap &operator=( const HashMap & ) = delete;
   ~HashMap() { clear(); }

   U32 size() const noexcept { return size_; }
   U32 bucketCount() const noexcept { return mask_ + 1; }
   bool isMemberOf( const Key &key ) const noexcept {
      return isMemberOf( key, naturalHash( key ) );
   }
   /// `hash`, here and below: the key's naturalHash(), for somebody who knows it already.
   bool isMemberOf( const Key &key, U32 hash ) const noexcept {
      return lookup( key, hash ) != nullptr;
   }
   /// Null when the key is absent.
   Ptr<Entry> find( const Key &key ) const noexcept {
      return Ptr<Entry>::share( lookup( key, naturalHash( key ) ) );
   }
   /// The value of an absent key is `Value{}`.
   Value value( const Key &key ) const {
      const Entry *const entry = lookup( key, naturalHash( key ) );
      return entry ? entry->value() : Value{};
   }

   /// Present with an equal value: nothing, and gives null. Otherwise overwrites the value, or adds
   /// an entry, and gives the entry. Whoever keeps it can use its key and value whatever happens to
   /// the map.
   Ptr<Entry> set( const Key &key, const Value &value );
   /// Adds an entry and gives it; null when the key is present.
   Ptr<Entry> setNew( const Key &key, const Value &value ) {
      return Ptr<Entry>::share( addNew( key, naturalHash( key ), value ) );
   }
   /// The same; NameInUseException when the key is present.
   Ptr<Entry> insert( const Key &key, const Value &value );
   /// Asks for the memory that the next addition needs, so that it is not refused then.
   void prepare() {
      growForOneMore();
      nodes_->prepare();
   }
   /// Removes the entry of the key and gives it; null when the key is absent.
   Ptr<Entry> take( const Key &key );
   /// Removes the entry under the iterator, if it is still there.
   Ptr<Entry> take( const Iterator &at );
   /// Removes the entry of the key and gives its value, a plain one; false when the key is absent.
   bool extract( const Key &key, U32 hash, Value &value );
   /// Removes all entries at once.
   void clear() noexcept;
   /// Takes the buckets that so many entries will have anyway, at once and before they come.
   void reserve( U32 entries );

   /// Costs the same however much has been removed from the front.
   Iterator begin() const;
   std::default_sentinel_t end() const noexcept { return {}; }
   /// At the first entry that does not come before `key`, whether that is there or not.
   Iterator iteratorFrom( const Key &key ) const;
   /// A walk over the keys, by the rules of an Iterator but without holding anybody.
   KeyWalk keys() const { return KeyWalk( *this ); }

   // A map that does not fit a cache jumps about in memory. Who knows which keys come next can have
   // the processor fetch them meanwhile; nothing is changed by it, and any number will do.

   /// Is it so large?
   bool isFarApart() const noexcept { return mask_ >= kFarApart; }
   /// Fetches the bucket of the key that comes `kLater` steps later, by its natural hash, and the
   /// entry of the one that comes `kSoon` steps later, whose bucket has been fetched before.
   void prefetch( U32 later, U32 soon ) const noexcept;
   /// For a long walk that looks up every key in others as well. Gives an entry that will be
   /// reached within kSoon steps and that has been fetched, or null.
   template <class... Others>
   const Entry *prefetchAll( const Iterator &at, const Others &...others ) const noexcept;
   static constexpr U32 kLater = 8;
   static constexpr U32 kSoon = 4;

 protected:
   const PtrInterface *owner() const noexcept { return owner_; }
   /// setNew() for somebody who does not hold the entry.
   Entry *addNew( const Key &key, U32 hash, const Value &value );
   /// set() for somebody who only asks whether it has changed something; of plain values.
   bool put( const Key &key, U32 hash, const Value &value );

 private:
   friend Iterator;
   friend KeyWalk;
   using Nodes = Slab<Entry>;
   using Link = U32; // to a node
   /// A place in buckets_.
   using Bucket = U32;
   /// Tells a walk its bucket without a look at the entry, so that the processor can fetch several
   /// entries at once. Good for as long as the mask is the map's.
   struct Cursor {
      Bucket bucket = 0;
      U32 mask = 0;
   };
   static constexpr U32 kFewBuckets = 16; // which the second entry brings
   static constexpr U32 kMostBuckets = 1u << 31;
   static constexpr Bucket kEnd = ~Bucket{ 0 }; // behind all buckets
   static constexpr U32 kFarApart = 1u << 17;   // buckets that do not stay in a cache

   Entry &node( Link link ) const noexcept { return *nodes_->at( link ); }
   Bucket bucket( U32 hash ) const noexcept { return hash & mask_; }
   /// Does a stand before b when bits are reversed? The lowest bit that differs decides.
   static bool precedes( U32 a, U32 b ) noexcept {
      const U32 differing = a ^ b;
      return ( b & differing & ( 0 - differing ) ) != 0;
   }
   /// The next bucket of 0 to `mask`; 0 at the end.
   static Bucket behind( Bucket bucket, U32 mask ) noexcept;
   /// The bucket so many steps (a power of 2) behind this one; 0 at the end.
   Bucket ahead( Bucket bucket, U32 steps ) const noexcept;
   /// The first entry of that bucket; null when there is none.
   const Entry *entryAhead( Bucket bucket, U32 steps ) const noexcept;

   Entry *lookup( const Key &key, U32 hash ) const noexcept;
   /// The link to (hash, key), or to what stands behind it.
   Link *place( U32 hash, const Key &key ) noexcept;
   bool isAt( Link link, const Key &key ) const noexcept {
      return link != 0 && node( link ).key_ == key;
   }
   /// Adds at `at`, where there is no such key.
   Entry &add( Link *at, U32 hash, const Key &key, const Value &value );
   Entry &newEntry( const typename Nodes::Place &there, U32 hash, const Key &key,
                    const Value &value );
   /// The link to the entry of the key; one to nothing when the key is absent.
   Link *linkTo( const Key &key, U32 hash ) noexcept;
   /// Takes the entry out of its chain.
   Entry &unlink( Link &link ) noexcept;
   Ptr<Entry> remove( Link &link ) noexcept;
   /// True when places may have moved.
   bool growForOneMore() {
      const bool grows = size_ >= most_;
      if( grows ) [[unlikely]] {
         grow();
      }
      return grows;
   }
   [[gnu::noinline]] void grow();
   /// Uses twice as many buckets, which are there already.
   void split();
   // Null when there is none.
   Entry *first( Cursor &cursor ) const noexcept;
   Entry *firstBehind( Cursor &cursor ) const noexcept;
   Entry *after( const Entry &entry, Cursor &cursor ) const noexcept;
   /// The link to what stands behind (hash, key) in its bucket, whether that is there or not.
   Link linkBehind( U32 hash, const Key &key ) const noexcept;
   /// What the link leads to; for none, the first entry of the buckets behind.
   Entry *entryAt( Link link, Cursor &cursor ) const noexcept;

   const PtrInterface *owner_;
   typename Nodes::Owned nodes_; // made with the first entry
   std::vector<Link> buckets_ = std::vector<Link>( 1 );
   U32 mask_ = 0; // of the hash bits that tell the bucket
   U32 size_ = 0;
   U32 most_ = 0;                // the size that it grows above; none before it has nodes
   mutable Bucket front_ = kEnd; // the buckets before it are empty
   U64 changes_ = 0;             // so many entries have gone, or buckets been split
};

/// A key with its value.
template <class Key, class Value>
class HashMap<Key, Value>::Entry : public CountedEntry<Entry> {
   static constexpr bool kIsFlag =
         std::is_same_v<Value, bool>; // which the entry's word has room for
   template <class Instead>
   struct Nothing {
      explicit Nothing( const Instead & ) noexcept {}
   };
   static bool flagOf( const Value &value ) noexcept {
      if constexpr( kIsFlag ) {
         return value;
      } else {
         return false;
      }
   }

 public:
   const Key &key() const noexcept { return key_; }
   std::conditional_t<kIsFlag, bool, const Value &> value() const noexcept {
      if constexpr( kIsFlag ) {
         return this->bit();
      } else {
         return value_;
      }
   }

 private:
   friend class HashMap;
   friend KeyWalk;
   friend class CountedEntry<Entry>;
   Entry( U32 naturalHash, const Key &key, const Value &value );
   U32 hash() const noexcept;
   /// Gives the former value: whatever goes with it may change the map, or remove this very entry.
   Value exchange( const Value &value );
   [[gnu::noinline]] void unheld() const noexcept;

   Link link_ = 0; // to the next one of the bucket; when it is no member any more, to itself
   [[no_unique_address]] std::conditional_t<kKeepsHash<Key>, U32, Nothing<U32>> hash_;
   const Key key_;
   [[no_unique_address]] std::conditional_t<kIsFlag, Nothing<Value>, Value> value_;
};

} // namespace Quor

#include "quor/HashMap.ipp"

#endif
