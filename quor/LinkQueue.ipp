// The inside of LinkQueue.h.
#ifndef QUOR_LINKQUEUE_IPP
#define QUOR_LINKQUEUE_IPP

namespace Quor {

template <class Value, class Link>
auto LinkQueue<Value, Link>::standingAt( U32 key ) const noexcept -> Entry & {
   const U32 place = placeOf( key );
   Page *page = pages_.bucket( numberOf( key ) );
   // Around the whole circle the head's page and the tail's may begin with the same key.
   while( static_cast<U32>( page->number * Page::kPlaces ) != key - place ||
          !( page->occupied & Page::bit( place ) ) ) {
      page = page->next;
   }
   return *entry( *page, place );
}

/// Nearly always the next place in the tail's page.
template <class Value, class Link>
inline auto LinkQueue<Value, Link>::addLast( const Value &value ) -> Entry & {
   if( Page *const tail = pages_.tail() ) [[likely]] {
      const U32 place = tail->last() + 1;
      const U32 key = static_cast<U32>( tail->number * Page::kPlaces ) + place;
      if( place < Page::kPlaces && key > nextKey_ && tail->isFree( place ) &&
          tail->number - pages_.head()->number < kMostPages - 1 ) [[likely]] {
         Entry &added = addAt( *tail, place, value );
         nextKey_ = key;
         return added;
      }
   }
   return addLastAnywhere( value );
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::addLastAnywhere( const Value &value ) -> Entry & {
   if( count_ == 0 ) {
      return addAnywhere( nextKey_, value );
   }
   const Ordinal tail = tailOrdinal();
   const U32 tailKey = static_cast<U32>( tail );
   const U32 key = tailKey >= nextKey_ ? tailKey + 1 : nextKey_;
   const Ordinal ordinal = tail + static_cast<U32>( key - tailKey );
   if( isFullAt( ordinal ) ) [[unlikely]] {
      QueuePages::throwFull();
   }
   Entry &added = addAnywhere( ordinal, value );
   nextKey_ = key;
   return added;
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::set( U32 key, const Value &value ) -> Ptr<Entry> {
   Entry *const entry = at( ordinalOf( key ) );
   if( !entry ) {
      return insert( key, value );
   }
   if( entry->value_ == value ) {
      return nullptr;
   }
   Ptr<Entry> held = ptrTo( *entry );
   Value next = value; // what copying throws leaves the former value where it is
   [[maybe_unused]] const Value former = std::exchange( entry->value_, std::move( next ) );
   return held;
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::insert( U32 key, const Value &value ) -> Ptr<Entry> {
   const Ordinal ordinal = ordinalOf( key );
   if( at( ordinal ) ) {
      throw NameInUseException( "the position " + std::to_string( key ) + " is taken already" );
   }
   return Ptr<Entry>::share( &addAnywhere( ordinal, value ) );
}

template <class Value, class Link>
inline auto LinkQueue<Value, Link>::deq() -> Ptr<Entry> {
   if( count_ == 0 ) {
      return nullptr;
   }
   Entry &head = *first( *pages_.head() );
   unlink( head );
   return removed( head );
}

template <class Value, class Link>
inline Value LinkQueue<Value, Link>::extractFirst() {
   static_assert( std::is_trivially_copyable_v<Value>,
                  "copying another value may change the queue" );
   if( count_ == 0 ) {
      return Value{};
   }
   Page &page = *pages_.head();
   if( page.displaced ) [[unlikely]] {
      return extractAside( *first( page ), &LinkQueue::unlink );
   }
   const U32 place = page.first();
   Entry &head = *Entry::at( page, place );
   Value value = head.value_;
   unlinkPlace( page, place );
   drop( head, page, place );
   return value;
}

template <class Value, class Link>
inline Value LinkQueue<Value, Link>::extract( Entry &entry ) {
   static_assert( std::is_trivially_copyable_v<Value>,
                  "copying another value may change the queue" );
   Page &page = entry.page();
   if( page.displaced ) [[unlikely]] {
      return extractAside( entry, &LinkQueue::unlinkAnywhere );
   }
   const U32 place = entry.place_;
   Value value = entry.value_;
   const bool isTail = &page == pages_.tail() && place == page.last();
   unlinkPlace( page, place );
   if( isTail ) {
      tailHasGone();
   }
   drop( entry, page, place );
   return value;
}

template <class Value, class Link>
Value LinkQueue<Value, Link>::extractAside( Entry &entry,
                                            void ( LinkQueue::*unlinks )( Entry & ) noexcept ) {
   Page &page = entry.page();
   Value value = entry.value_;
   ( this->*unlinks )( entry );
   drop( entry, page, entry.place_ );
   return value;
}

template <class Value, class Link>
inline void LinkQueue<Value, Link>::unlinkAnywhere( Entry &entry ) noexcept {
   const bool isTail = entry.ordinal() == tailOrdinal();
   unlink( entry );
   if( isTail ) {
      tailHasGone();
   }
}

template <class Value, class Link>
[[gnu::always_inline]] inline void LinkQueue<Value, Link>::prefetch( U32 key ) const noexcept {
   if( Page *const page = pages_.bucket( numberOf( key ) ) ) {
      __builtin_prefetch( page );
      __builtin_prefetch( Entry::at( *page, placeOf( key ) ) );
   }
}

template <class Value, class Link>
template <class Visit>
void LinkQueue<Value, Link>::forEach( const Visit &visit ) const {
   for( Page *page = pages_.head(); page; page = page->behind ) {
      for( Page::Places left = page->occupied; left != 0; left &= left - 1 ) {
         visit( *entry( *page, static_cast<U32>( std::countr_zero( left ) ) ) );
      }
   }
}

/// While the keys have not wrapped, a key below the head's stands before the head; once the tail's
/// key is below the head's, such a key belongs to the next round and stands behind it.
template <class Value, class Link>
auto LinkQueue<Value, Link>::ordinalOf( U32 key ) const noexcept -> Ordinal {
   if( count_ == 0 ) {
      return key;
   }
   const Ordinal head = headOrdinal();
   const U32 headKey = static_cast<U32>( head );
   const bool wrapped = static_cast<U32>( tailOrdinal() ) < headKey;
   return head - headKey + key + ( wrapped && key < headKey ? Ordinal{ 1 } << 32 : 0 );
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::home( Page &page, U32 place ) noexcept -> Page & {
   Page *home = &page;
   if( page.displaced & Page::bit( place ) ) [[unlikely]] {
      do {
         home = home->aside;
      } while( !( home->occupied & Page::bit( place ) ) );
   }
   return *home;
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::at( Ordinal ordinal ) const noexcept -> Entry * {
   Page *const page = pages_.find( numberOf( ordinal ) );
   const U32 place = placeOf( ordinal );
   return page && ( page->occupied & Page::bit( place ) ) ? entry( *page, place ) : nullptr;
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::from( Ordinal ordinal ) const noexcept -> Entry * {
   Page *page = pages_.from( numberOf( ordinal ) );
   if( page && page->number == numberOf( ordinal ) ) {
      const U32 place = placeOf( ordinal );
      const Page::Places left = page->occupied >> place;
      if( left != 0 ) {
         return entry( *page, place + static_cast<U32>( std::countr_zero( left ) ) );
      }
      page = page->behind;
   }
   return page ? first( *page ) : nullptr;
}

template <class Value, class Link>
inline auto LinkQueue<Value, Link>::addAt( Page &page, U32 place, const Value &value ) -> Entry & {
   Entry *const added = new( Entry::at( page, place ) ) Entry( place, value );
   page.use( place );
   page.occupied |= Page::bit( place );
   ++count_;
   return *added;
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::addAnywhere( Ordinal ordinal, const Value &value ) -> Entry & {
   static_assert( alignof( Entry ) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ );
   const U32 place = placeOf( ordinal );
   Page *const inOrder = pages_.find( numberOf( ordinal ) );
   Page *home = inOrder;
   while( home && !home->isFree( place ) ) { // somebody holds the entry that was removed there
      home = home->aside;
   }
   Page *made = nullptr;
   if( !home ) {
      home = made = pages_.make( numberOf( ordinal ) );
   }
   Entry *const added = Entry::at( *home, place );
   try {
      new( added ) Entry( place, value );
   } catch( ... ) {
      if( made ) {
         pages_.drop( *made );
      }
      throw;
   }
   home->use( place );
   home->occupied |= Page::bit( place );
   if( !inOrder ) {
      pages_.link( *home );
   } else if( home != inOrder ) {
      if( made ) {
         made->aside = std::exchange( inOrder->aside, made );
         made->displaced = ~Page::Places{ 0 };
      }
      inOrder->occupied |= Page::bit( place );
      inOrder->displaced |= Page::bit( place );
   }
   ++count_;
   return *added;
}

template <class Value, class Link>
inline void LinkQueue<Value, Link>::unlink( Entry &entry ) noexcept {
   const Page::Places left = ~Page::bit( entry.place_ );
   Page &home = entry.page();
   Page *page = &home;
   if( home.displaced & ~left ) [[unlikely]] {
      page = pages_.find( home.number );
      page->displaced &= left;
      home.occupied &= left;
      if( home.occupied == 0 ) {
         dropAside( *page, home );
      }
   }
   unlinkPlace( *page, entry.place_ );
}

template <class Value, class Link>
inline void LinkQueue<Value, Link>::unlinkPlace( Page &page, U32 place ) noexcept {
   page.occupied &= ~Page::bit( place );
   if( page.occupied == 0 ) {
      pages_.unlink( page );
   }
   --count_;
}

template <class Value, class Link>
void LinkQueue<Value, Link>::dropAside( Page &page, Page &empty ) noexcept {
   Page **at = &page.aside;
   while( *at != &empty ) {
      at = &( *at )->aside;
   }
   *at = std::exchange( empty.aside, nullptr );
   empty.displaced = 0;
   pages_.drop( empty );
}

} // namespace Quor

#endif
