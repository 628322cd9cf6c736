// First-in-first-out queues whose elements stand under 32-bit position keys.
#ifndef QUOR_LINKQUEUE_H
#define QUOR_LINKQUEUE_H

#include "quor/CountedEntry.h"
#include "quor/PinnedIterator.h"
#include "quor/QueuePages.h"

#include <bit>
#include <new>

namespace Quor {

/// What an entry of a queue carries beside its value, when nothing more is needed.
struct NoLink {};

/// Entries in the order of their position keys: the head is the oldest, the tail the newest. Enq
/// counts the keys up; when they pass 2^32 - 1 they go on at 0, so that "after" is meant around the
/// circle.
///
/// Entries stand in pages of 32 consecutive positions: Enq, Deq and removal by position take
/// constant time, and there is an allocation per page, not per entry. Setting an absent position in
/// the middle of the queue looks for the next page behind it; positions far apart cost a page each.
/// An entry has 6 bytes beside its value and its link, a page 64: an entry of a number takes 12
/// bytes, and 14 with its share of a full page. `Link` is room in every entry for an index that
/// somebody keeps beside the queue. Belongs to an owner, which the iterators keep alive. One
/// thread.
template <class Value, class Link = NoLink>
class LinkQueue {
 public:
   class Entry;
   using Iterator = PinnedIterator<LinkQueue>;

   explicit LinkQueue( const PtrInterface *owner ) : owner_( owner ) {}
   LinkQueue( const LinkQueue & ) = delete;
   LinkQueue &operator=( const LinkQueue & ) = delete;
   ~LinkQueue() { clear(); }

   U32 count() const noexcept { return count_; }
   U32 pageCount() const noexcept { return pages_.count(); }
   /// The key that the next Enq takes, unless the tail's is not below it: then the one behind the
   /// tail's.
   U32 nextKey() const noexcept { return nextKey_; }
   void nextKeyIs( U32 key ) noexcept { nextKey_ = key; }

   Ptr<Entry> find( U32 key ) const noexcept { return Ptr<Entry>::share( at( ordinalOf( key ) ) ); }
   /// The entry at the key of one that is in the queue. Nothing is counted: for an index that is
   /// kept beside the queue.
   Entry &standingAt( U32 key ) const noexcept;
   /// How many positions behind the head's this one is.
   U32 distance( U32 key ) const noexcept { return key - static_cast<U32>( headOrdinal() ); }
   /// Null when the queue is empty.
   Ptr<Entry> head() const noexcept {
      return count_ == 0 ? nullptr : Ptr<Entry>::share( first( *pages_.head() ) );
   }

   /// Appends; RangeException "linkqueue index space full" when the keys have come round to the
   /// head's.
   Ptr<Entry> enq( const Value &value ) { return Ptr<Entry>::share( &addLast( value ) ); }
   /// The same for somebody who does not hold the entry.
   Entry &addLast( const Value &value );
   /// Puts `value` at `key`, over what stands there; gives the entry, or null when `value` stood
   /// there already.
   Ptr<Entry> set( U32 key, const Value &value );
   /// Puts `value` at `key`, where no entry stands; NameInUseException when one does.
   Ptr<Entry> insert( U32 key, const Value &value );
   /// Overwrites the value of an entry.
   void valueIs( Entry &entry, const Value &value ) { entry.value_ = value; }
   /// Removes the head; null when the queue is empty.
   Ptr<Entry> deq();
   /// Removes the entry at `key` and gives it; null when none stands there. After the tail has gone
   /// this way, Enq counts on from the new tail.
   Ptr<Entry> take( U32 key ) {
      Entry *const entry = at( ordinalOf( key ) );
      return entry ? take( *entry ) : nullptr;
   }
   /// Removes an entry of the queue, as by its key.
   Ptr<Entry> take( Entry &entry ) {
      unlinkAnywhere( entry );
      return removed( entry );
   }
   /// Remove the head, or an entry of the queue, and give the value alone, a plain one; `Value{}`
   /// when there is none.
   Value extractFirst();
   Value extract( Entry &entry );
   Value extract( U32 key ) {
      Entry *const entry = at( ordinalOf( key ) );
      return entry ? extract( *entry ) : Value{};
   }
   /// Removes the entry under the iterator, if it is still there.
   Ptr<Entry> take( const Iterator &iterator ) {
      return iterator != end() && iterator->isMember() ? take( *iterator.entry_ ) : nullptr;
   }
   void clear() noexcept {
      while( deq() ) {
      }
   }

   Iterator begin() const { return Iterator( this, head() ); }
   std::default_sentinel_t end() const noexcept { return {}; }
   /// At the entry at `key`, or at the first one behind that position.
   Iterator iteratorFrom( U32 key ) const {
      const Ordinal ordinal = ordinalOf( key );
      return Iterator( this, Ptr<Entry>::share( from( ordinal ) ) );
   }
   /// Has the processor fetch the entry at the key.
   void prefetch( U32 key ) const noexcept;
   /// Calls `visit` for every entry from head to tail; it must not change the queue.
   template <class Visit>
   void forEach( const Visit &visit ) const;

 private:
   friend Iterator;
   /// A position on a line that does not wrap; its low 32 bits are the position key.
   using Ordinal = U64;
   using Page = QueuePage;
   static constexpr Ordinal kMostPages = ( Ordinal{ 1 } << 32 ) / Page::kPlaces;

   static constexpr std::size_t pageSize() noexcept {
      return Entry::pageHead() + Page::kPlaces * sizeof( Entry );
   }
   static U32 placeOf( Ordinal ordinal ) noexcept {
      return static_cast<U32>( ordinal % Page::kPlaces );
   }
   static Ordinal numberOf( Ordinal ordinal ) noexcept { return ordinal / Page::kPlaces; }

   // Of a queue that is not empty.
   Ordinal headOrdinal() const noexcept {
      const Page &page = *pages_.head();
      return page.number * Page::kPlaces + page.first();
   }
   Ordinal tailOrdinal() const noexcept {
      const Page &page = *pages_.tail();
      return page.number * Page::kPlaces + page.last();
   }
   /// The keys have come round to the head's.
   bool isFullAt( Ordinal ordinal ) const noexcept {
      return numberOf( ordinal ) - pages_.head()->number >= kMostPages - 1 &&
             ordinal - headOrdinal() >= ~U32{ 0 };
   }

   Ordinal ordinalOf( U32 key ) const noexcept;
   /// The page in which the entry at an occupied place stands: this one, or one aside of it.
   static Page &home( Page &page, U32 place ) noexcept;
   static Entry *entry( Page &page, U32 place ) noexcept {
      return Entry::at( home( page, place ), place );
   }
   static Entry *first( Page &page ) noexcept { return entry( page, page.first() ); }
   Entry *at( Ordinal ordinal ) const noexcept;
   /// The entry at the position, or the first one behind it.
   Entry *from( Ordinal ordinal ) const noexcept;
   struct Cursor {}; // positions tell the order
   Entry *after( const Entry &entry, Cursor ) const noexcept { return from( entry.ordinal() + 1 ); }
   [[gnu::noinline]] Entry &addLastAnywhere( const Value &value );
   [[gnu::noinline]] Entry &addAnywhere( Ordinal ordinal, const Value &value );
   /// In a page in order, where the place is free.
   Entry &addAt( Page &page, U32 place, const Value &value );
   /// Take an entry out of the order; only its memory is still the queue's.
   void unlink( Entry &entry ) noexcept;
   void unlinkAnywhere( Entry &entry ) noexcept;
   void unlinkPlace( Page &page, U32 place ) noexcept;
   /// extract() where entries of the page stand in more than one.
   [[gnu::noinline, gnu::cold]] Value
   extractAside( Entry &entry, void ( LinkQueue::*unlinks )( Entry & ) noexcept );
   /// The tail has gone from anywhere but the head.
   void tailHasGone() noexcept {
      if( count_ != 0 ) {
         nextKey_ = static_cast<U32>( tailOrdinal() ) + 1;
      }
   }
   /// What becomes of it then.
   static Ptr<Entry> removed( Entry &entry ) noexcept {
      entry.removed();
      return Ptr<Entry>::adopt( &entry );
   }
   static void drop( Entry &entry, Page &home, U32 place ) {
      if( entry.dropped() ) {
         entry.goesFrom( home, place );
      }
   }
   /// Lets go of a page aside of another one.
   void dropAside( Page &page, Page &empty ) noexcept;

   const PtrInterface *owner_;
   QueuePages pages_{ pageSize() };
   U32 count_ = 0;
   U32 nextKey_ = 0;
};

/// A value with its position key. It stands in a page of the queue.
template <class Value, class Link>
class LinkQueue<Value, Link>::Entry : public CountedEntry<Entry> {
 public:
   U32 key() const noexcept { return static_cast<U32>( ordinal() ); }
   const Value &value() const noexcept { return value_; }
   /// Of two entries of a queue, the one nearer to the head.
   bool isOlderThan( const Entry &other ) const noexcept { return ordinal() < other.ordinal(); }
   Link &link() noexcept { return link_; }

 private:
   friend class LinkQueue;
   friend class CountedEntry<Entry>;
   /// Bytes of a page before its entries.
   static constexpr std::size_t pageHead() noexcept {
      return ( sizeof( QueuePage ) + alignof( Entry ) - 1 ) / alignof( Entry ) * alignof( Entry );
   }

   Entry( U32 place, const Value &value ) : place_( static_cast<U16>( place ) ), value_( value ) {}
   ~Entry() = default;
   static Entry *at( QueuePage &page, U32 place ) noexcept {
      return reinterpret_cast<Entry *>( reinterpret_cast<std::byte *>( &page ) + pageHead() ) +
             place;
   }
   QueuePage &page() const noexcept {
      return *reinterpret_cast<QueuePage *>(
            reinterpret_cast<std::byte *>( const_cast<Entry *>( this ) - place_ ) - pageHead() );
   }
   U64 ordinal() const noexcept { return page().number * QueuePage::kPlaces + place_; }
   void unheld() const noexcept { goesFrom( page(), place_ ); }
   void goesFrom( QueuePage &home, U32 place ) const noexcept {
      this->~Entry(); // what goes with the value may change the queue: the place is not free yet
      home.letGo( place );
   }

   U16 place_; // in its page
   Value value_;
   [[no_unique_address]] Link link_;
};

} // namespace Quor

#include "quor/LinkQueue.ipp"

#endif
