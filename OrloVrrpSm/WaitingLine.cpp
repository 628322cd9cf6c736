#include "OrloVrrpSm/WaitingLine.h"

namespace Orlo {

using Quor::Ptr;

WaitingLine::Oldest WaitingLine::oldest( const VlanAndMac &pair, U32 hash ) noexcept {
   Oldest found;
   found.youngest_ = youngest( pair, hash );
   if( Entry *const entry = found.youngest_.entry ) {
      const U32 oldest = entry->link().younger;
      found.entry_ = oldest == *found.youngest_.place ? entry : &queue_.standingAt( oldest );
   }
   if( atNone_ && atNone_->value() == pair &&
       ( !found || atNone_->isOlderThan( *found.entry_ ) ) ) {
      found.entry_ = atNone_;
      found.youngest_.entry = nullptr;
   }
   return found;
}

WaitingLine::Entry &WaitingLine::addLast( const VlanAndMac &pair ) {
   reserve();
   Entry &entry = queue_.addLast( pair );
   indexNew( entry );
   return entry;
}

Ptr<WaitingLine::Entry> WaitingLine::insert( U32 key, const VlanAndMac &pair ) {
   reserve();
   Ptr<Entry> entry = queue_.insert( key, pair );
   indexNew( *entry );
   return entry;
}

Ptr<WaitingLine::Entry> WaitingLine::set( U32 key, const VlanAndMac &pair ) {
   Ptr<Entry> entry = queue_.find( key );
   if( !entry ) {
      return insert( key, pair );
   }
   if( entry->value() == pair ) {
      return nullptr;
   }
   reserve();
   indexDel( *entry );
   queue_.valueIs( *entry, pair );
   indexNew( *entry );
   return entry;
}

Ptr<WaitingLine::Entry> WaitingLine::deq() {
   if( const Ptr<Entry> head = queue_.head() ) {
      indexDel( *head );
   }
   return queue_.deq();
}

WaitingLine::VlanAndMac WaitingLine::extractFirst() {
   if( const Ptr<Entry> head = queue_.head() ) {
      indexDel( oldest( head->value(), naturalHash( head->value() ) ) );
   }
   return queue_.extractFirst();
}

Ptr<WaitingLine::Entry> WaitingLine::take( U32 key ) {
   const Ptr<Entry> entry = queue_.find( key );
   if( entry ) {
      indexDel( *entry );
   }
   return queue_.take( key );
}

Ptr<WaitingLine::Entry> WaitingLine::take( const Oldest &oldest ) {
   indexDel( oldest );
   return queue_.take( *oldest.entry_ );
}

WaitingLine::VlanAndMac WaitingLine::extract( U32 key ) {
   const Ptr<Entry> entry = take( key );
   return entry ? entry->value() : VlanAndMac();
}

WaitingLine::VlanAndMac WaitingLine::extract( const Oldest &oldest ) {
   indexDel( oldest );
   return queue_.extract( *oldest.entry_ );
}

/// By the natural hash: what comes in blocks of VLANs falls into one stretch of the buckets.
inline WaitingLine::Youngest WaitingLine::youngest( const VlanAndMac &pair, U32 hash ) noexcept {
   U32 *at = &bucket( hash );
   while( *at != kNone ) {
      Entry &entry = queue_.standingAt( *at );
      if( entry.value() == pair ) {
         return { at, &entry };
      }
      at = &entry.link().chain;
   }
   return { at, nullptr };
}

void WaitingLine::reserve() {
   if( pairs_ < buckets_.size() ) {
      return;
   }
   std::vector<U32>( 2 * buckets_.size(), kNone ).swap( buckets_ );
   mask_ = static_cast<U32>( buckets_.size() - 1 );
   queue_.forEach( [this]( Entry &entry ) {
      const U32 key = entry.key();
      if( key != kNone && queue_.distance( entry.link().younger ) <= queue_.distance( key ) ) {
         entry.link().chain = std::exchange( bucket( naturalHash( entry.value() ) ), key );
      }
   } );
}

void WaitingLine::indexNew( Entry &entry ) noexcept {
   const U32 key = entry.key();
   if( key == kNone ) {
      atNone_ = &entry;
      return;
   }
   const Youngest found = youngest( entry.value(), naturalHash( entry.value() ) );
   if( !found.entry ) {
      entry.link() = { key, kNone };
      *found.place = key;
      ++pairs_;
      return;
   }
   Entry *older = found.entry;
   if( entry.isOlderThan( *older ) ) { // not at the tail: only when a position is set
      Entry *next = &queue_.standingAt( older->link().younger );
      while( next->isOlderThan( entry ) ) {
         older = next;
         next = &queue_.standingAt( older->link().younger );
      }
   } else {
      entry.link().chain = older->link().chain;
      *found.place = key;
   }
   entry.link().younger = std::exchange( older->link().younger, key );
}

void WaitingLine::indexDel( Entry &entry ) noexcept {
   const U32 key = entry.key();
   if( key == kNone ) {
      atNone_ = nullptr;
      return;
   }
   const Youngest found = youngest( entry.value(), naturalHash( entry.value() ) );
   const U32 younger = entry.link().younger;
   if( younger == key ) {
      *found.place = entry.link().chain;
      --pairs_;
      return;
   }
   const bool isYoungest = *found.place == key;
   // One step when the oldest goes, as it does from the head of the line.
   Entry *older = &queue_.standingAt( isYoungest ? younger : *found.place );
   while( older->link().younger != key ) {
      older = &queue_.standingAt( older->link().younger );
   }
   older->link().younger = younger;
   if( isYoungest ) {
      older->link().chain = entry.link().chain;
      *found.place = older->key();
   }
}

void WaitingLine::indexDel( const Oldest &oldest ) noexcept {
   if( !oldest.youngest_.entry ) {
      atNone_ = nullptr;
   } else if( oldest.youngest_.entry == oldest.entry_ ) {
      *oldest.youngest_.place = oldest.entry_->link().chain;
      --pairs_;
   } else {
      const U32 next = oldest.entry_->link().younger;
      oldest.youngest_.entry->link().younger = next;
      queue_.prefetch( next ); // the oldest one when the pair leaves again
   }
}

} // namespace Orlo
