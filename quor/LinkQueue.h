// First-in-first-out queues whose elements stand under 32-bit position keys.
#ifndef QUOR_LINKQUEUE_H
#define QUOR_LINKQUEUE_H

#include "quor/CountedEntry.h"
#include "quor/PinnedIterator.h"

#include <array>
#include <bit>
#include <memory>
#include <unordered_map>

namespace Quor {

/// What an entry of a queue carries beside its value, when nothing more is needed.
struct NoLink {};

/// Entries in the order of their position keys: the head is the oldest, the tail the newest. Enq
/// counts the keys up; when they pass 2^32 - 1 they go on at 0, so that "after" is meant around the
/// circle.
///
/// Entries stand in pages of 64 consecutive positions: Enq, Deq and removal by position take
/// constant time. Setting an absent position in the middle of the queue looks for its page from the
/// tail; positions far apart cost a page each. `Link` is room in every entry for an index that
/// somebody keeps beside the queue. Belongs to an owner, which the iterators keep alive. One
/// thread.
template <class Value, class Link = NoLink>
class LinkQueue {
 public:
   class Entry;
   using Iterator = PinnedIterator<LinkQueue>;

   explicit LinkQueue( const PtrInterface *owner ) noexcept : owner_( owner ) {}
   LinkQueue( const LinkQueue & ) = delete;
   LinkQueue &operator=( const LinkQueue & ) = delete;
   ~LinkQueue() { clear(); }

   U32 count() const noexcept { return count_; }
   U32 pageCount() const noexcept { return static_cast<U32>( pages_.size() ); }
   /// The key that the next Enq takes, unless the tail's is not below it: then the one behind the
   /// tail's.
   U32 nextKey() const noexcept { return nextKey_; }
   void nextKeyIs( U32 key ) noexcept { nextKey_ = key; }

   Ptr<Entry> find( U32 key ) const noexcept { return Ptr<Entry>::share( at( ordinalOf( key ) ) ); }
   /// Null when the queue is empty.
   Ptr<Entry> head() const noexcept { return Ptr<Entry>::share( headEntry() ); }

   /// Appends; RangeException "linkqueue index space full" when the keys have come round to the
   /// head's.
   Ptr<Entry> enq( const Value &value );
   /// Puts `value` at `key`, over what stands there; gives the entry, or null when `value` stood
   /// there already.
   Ptr<Entry> set( U32 key, const Value &value );
   /// Puts `value` at `key`, where no entry stands; NameInUseException when one does.
   Ptr<Entry> insert( U32 key, const Value &value );
   /// Overwrites the value of an entry.
   void valueIs( Entry &entry, const Value &value ) { entry.value_ = value; }
   /// Removes the head; null when the queue is empty.
   Ptr<Entry> deq() { return remove( headEntry() ); }
   /// Removes the entry at `key` and gives it; null when none stands there. After the tail has gone
   /// this way, Enq counts on from the new tail.
   Ptr<Entry> take( U32 key );
   /// Removes the entry under the iterator, if it is still there.
   Ptr<Entry> take( const Iterator &iterator ) {
      return iterator != end() && iterator->isMember() ? take( iterator->key() ) : nullptr;
   }
   void clear() noexcept {
      while( deq() ) {
      }
   }

   Iterator begin() const { return Iterator( this, head() ); }
   std::default_sentinel_t end() const noexcept { return {}; }
   /// At the entry at `key`, or at the first one behind that position.
   Iterator iteratorFrom( U32 key ) const;
   Iterator iteratorAt( const Entry &entry ) const {
      return Iterator( this, Ptr<Entry>::share( at( entry.ordinal_ ) ) );
   }

 private:
   friend Iterator;
   /// A position on a line that does not wrap; its low 32 bits are the position key.
   using Ordinal = U64;
   static constexpr U32 kPage = 64;

   struct Page {
      U64 number;
      U64 occupied = 0; // bit i: position i of the page
      std::array<Entry *, kPage> entries{};
      Page *before = nullptr;
      Page *behind = nullptr;
   };

   Entry *headEntry() const noexcept {
      return head_ ? head_->entries[static_cast<U32>( std::countr_zero( head_->occupied ) )]
                   : nullptr;
   }
   Entry *tailEntry() const noexcept {
      return tail_ ? tail_->entries[63u - static_cast<U32>( std::countl_zero( tail_->occupied ) )]
                   : nullptr;
   }
   Ordinal ordinalOf( U32 key ) const noexcept;
   Page *page( Ordinal ordinal ) const noexcept;
   Page &pageNew( Ordinal ordinal );
   void pageDel( Page *page ) noexcept;
   Entry *at( Ordinal ordinal ) const noexcept;
   struct Cursor {}; // positions tell the order
   Entry *after( const Entry &entry, Cursor ) const noexcept { return after( entry.ordinal_ ); }
   Entry *after( Ordinal ordinal ) const noexcept;
   Ptr<Entry> add( Ordinal ordinal, const Value &value );
   Ptr<Entry> remove( Entry *entry ) noexcept;

   const PtrInterface *owner_;
   std::unordered_map<U64, std::unique_ptr<Page>> pages_; // by number; linked in order
   Page *head_ = nullptr;
   Page *tail_ = nullptr;
   U32 count_ = 0;
   U32 nextKey_ = 0;
};

/// A value with its position key.
template <class Value, class Link>
class LinkQueue<Value, Link>::Entry : public CountedEntry<Entry> {
 public:
   U32 key() const noexcept { return static_cast<U32>( ordinal_ ); }
   const Value &value() const noexcept { return value_; }
   /// Of two entries of a queue, the one nearer to the head.
   bool isOlderThan( const Entry &other ) const noexcept { return ordinal_ < other.ordinal_; }
   Link &link() noexcept { return link_; }

 private:
   friend class LinkQueue;
   friend class CountedEntry<Entry>;
   void unheld() const noexcept { delete this; }
   Entry( U64 ordinal, const Value &value ) : ordinal_( ordinal ), value_( value ) {}

   U64 ordinal_;
   Value value_;
   [[no_unique_address]] Link link_;
};

} // namespace Quor

#include "quor/LinkQueue.ipp"

#endif
