// The inside of LinkQueue.h.
#ifndef QUOR_LINKQUEUE_IPP
#define QUOR_LINKQUEUE_IPP

namespace Quor {

template <class Value, class Link>
auto LinkQueue<Value, Link>::enq( const Value &value ) -> Ptr<Entry> {
   const Entry *const tail = tailEntry();
   if( !tail ) {
      return add( ordinalOf( nextKey_ ), value );
   }
   const U32 key = tail->key() >= nextKey_ ? tail->key() + 1 : nextKey_;
   const Ordinal ordinal = tail->ordinal_ + static_cast<U32>( key - tail->key() );
   if( ordinal - headEntry()->ordinal_ >= ~U32{ 0 } ) {
      throw RangeException( "linkqueue index space full" );
   }
   Ptr<Entry> added = add( ordinal, value );
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
   [[maybe_unused]] const Value former = std::exchange( entry->value_, value ); // see HashMap::set
   return held;
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::insert( U32 key, const Value &value ) -> Ptr<Entry> {
   const Ordinal ordinal = ordinalOf( key );
   if( at( ordinal ) ) {
      throw NameInUseException( "the position " + std::to_string( key ) + " is taken already" );
   }
   return add( ordinal, value );
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::take( U32 key ) -> Ptr<Entry> {
   Entry *const entry = at( ordinalOf( key ) );
   const bool isTail = entry && entry == tailEntry();
   Ptr<Entry> taken = remove( entry );
   if( isTail && count_ != 0 ) {
      nextKey_ = tailEntry()->key() + 1;
   }
   return taken;
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::iteratorFrom( U32 key ) const -> Iterator {
   const Ordinal ordinal = ordinalOf( key );
   Entry *const entry = at( ordinal );
   return Iterator( this, Ptr<Entry>::share( entry ? entry : after( ordinal ) ) );
}

/// While the keys have not wrapped, a key below the head's stands before the head; once the tail's
/// key is below the head's, such a key belongs to the next round and stands behind it.
template <class Value, class Link>
auto LinkQueue<Value, Link>::ordinalOf( U32 key ) const noexcept -> Ordinal {
   const Entry *const head = headEntry();
   if( !head ) {
      return key;
   }
   const Ordinal round = head->ordinal_ - head->key();
   const bool wrapped = tailEntry()->key() < head->key();
   return round + key + ( wrapped && key < head->key() ? Ordinal{ 1 } << 32 : 0 );
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::page( Ordinal ordinal ) const noexcept -> Page * {
   const U64 number = ordinal / kPage;
   for( Page *const end : { tail_, head_ } ) { // where nearly everything happens
      if( end && end->number == number ) {
         return end;
      }
   }
   const auto found = pages_.find( number );
   return found == pages_.end() ? nullptr : found->second.get();
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::pageNew( Ordinal ordinal ) -> Page & {
   if( Page *const existing = page( ordinal ) ) {
      return *existing;
   }
   const U64 number = ordinal / kPage;
   Page *const made = pages_.emplace( number, std::make_unique<Page>( Page{ .number = number } ) )
                            .first->second.get();
   Page *before = tail_;
   while( before && before->number > number ) {
      before = before->before;
   }
   made->before = before;
   made->behind = before ? before->behind : head_;
   ( made->before ? made->before->behind : head_ ) = made;
   ( made->behind ? made->behind->before : tail_ ) = made;
   return *made;
}

template <class Value, class Link>
void LinkQueue<Value, Link>::pageDel( Page *page ) noexcept {
   ( page->before ? page->before->behind : head_ ) = page->behind;
   ( page->behind ? page->behind->before : tail_ ) = page->before;
   pages_.erase( page->number );
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::at( Ordinal ordinal ) const noexcept -> Entry * {
   const Page *const home = page( ordinal );
   return home ? home->entries[ordinal % kPage] : nullptr;
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::after( Ordinal ordinal ) const noexcept -> Entry * {
   const Ordinal next = ordinal + 1;
   const Page *home = page( next );
   if( home ) {
      const U64 rest = home->occupied >> ( next % kPage );
      if( rest != 0 ) {
         return home->entries[next % kPage + static_cast<U32>( std::countr_zero( rest ) )];
      }
      home = home->behind;
   } else {
      home = page( ordinal );
      home = home ? home->behind : head_;
      while( home && home->number < next / kPage ) {
         home = home->behind;
      }
   }
   return home ? home->entries[static_cast<U32>( std::countr_zero( home->occupied ) )] : nullptr;
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::add( Ordinal ordinal, const Value &value ) -> Ptr<Entry> {
   Ptr<Entry> entry = Ptr<Entry>::adopt( new Entry( ordinal, value ) );
   Page &home = pageNew( ordinal );
   home.entries[ordinal % kPage] = Ptr<Entry>( entry ).release(); // the queue's reference
   home.occupied |= U64{ 1 } << ( ordinal % kPage );
   ++count_;
   return entry;
}

template <class Value, class Link>
auto LinkQueue<Value, Link>::remove( Entry *entry ) noexcept -> Ptr<Entry> {
   if( !entry ) {
      return nullptr;
   }
   Page *const home = page( entry->ordinal_ );
   home->entries[entry->ordinal_ % kPage] = nullptr;
   home->occupied &= ~( U64{ 1 } << ( entry->ordinal_ % kPage ) );
   if( home->occupied == 0 ) {
      pageDel( home );
   }
   entry->removed();
   --count_;
   return Ptr<Entry>::adopt( entry );
}

} // namespace Quor

#endif
