#include "OrloVrrpSm/WaitingLine.h"

namespace Orlo {

using Quor::Ptr;

WaitingLine::Entry *WaitingLine::oldest( const VlanAndMac &pair ) noexcept {
   const U32 key = youngest( pair );
   Entry *found = nullptr;
   if( key != kNone ) {
      Entry &entry = queue_.standingAt( key );
      const U32 oldest = entry.link().younger;
      found = oldest == key ? &entry : &queue_.standingAt( oldest );
   }
   if( atNone_ && atNone_->value() == pair && ( !found || atNone_->isOlderThan( *found ) ) ) {
      found = atNone_;
   }
   return found;
}

Ptr<WaitingLine::Entry> WaitingLine::enq( const VlanAndMac &pair ) {
   reserve();
   Ptr<Entry> entry = queue_.enq( pair );
   indexNew( *entry );
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
   const Ptr<Entry> head = queue_.head();
   if( head ) {
      indexDel( *head );
   }
   return queue_.deq();
}

Ptr<WaitingLine::Entry> WaitingLine::take( U32 key ) {
   const Ptr<Entry> entry = queue_.find( key );
   return entry ? take( *entry ) : nullptr;
}

Ptr<WaitingLine::Entry> WaitingLine::take( Entry &entry ) {
   indexDel( entry );
   return queue_.take( entry );
}

/// The bits that a pair's hash gives in reverse order: what comes in blocks of VLANs falls into one
/// stretch of the buckets.
WaitingLine::U32 &WaitingLine::bucket( const VlanAndMac &pair ) noexcept {
   const U32 hash = pair.mac().hash() ^ pair.vlanId().hash();
   return buckets_[hash & ( buckets_.size() - 1 )];
}

WaitingLine::U32 &WaitingLine::youngest( const VlanAndMac &pair ) noexcept {
   U32 *at = &bucket( pair );
   while( *at != kNone ) {
      Entry &entry = queue_.standingAt( *at );
      if( entry.value() == pair ) {
         break;
      }
      at = &entry.link().chain;
   }
   return *at;
}

void WaitingLine::reserve() {
   if( pairs_ < buckets_.size() ) {
      return;
   }
   std::vector<U32>( 2 * buckets_.size(), kNone ).swap( buckets_ );
   queue_.forEach( [this]( Entry &entry ) {
      const U32 key = entry.key();
      if( key != kNone && queue_.distance( entry.link().younger ) <= queue_.distance( key ) ) {
         entry.link().chain = std::exchange( bucket( entry.value() ), key ); // the youngest
      }
   } );
}

void WaitingLine::indexNew( Entry &entry ) noexcept {
   const U32 key = entry.key();
   if( key == kNone ) {
      atNone_ = &entry;
      return;
   }
   U32 &place = youngest( entry.value() );
   if( place == kNone ) {
      entry.link() = { key, kNone };
      place = key;
      ++pairs_;
      return;
   }
   Entry &youngest = queue_.standingAt( place );
   Entry *older = &youngest;
   if( entry.isOlderThan( youngest ) ) { // not at the tail: only when a position is set
      Entry *next = &queue_.standingAt( older->link().younger );
      while( next->isOlderThan( entry ) ) {
         older = next;
         next = &queue_.standingAt( older->link().younger );
      }
   } else {
      entry.link().chain = youngest.link().chain;
      place = key;
   }
   entry.link().younger = std::exchange( older->link().younger, key );
}

void WaitingLine::indexDel( Entry &entry ) noexcept {
   const U32 key = entry.key();
   if( key == kNone ) {
      atNone_ = nullptr;
      return;
   }
   const U32 younger = entry.link().younger;
   if( younger == key ) {
      U32 *at = &bucket( entry.value() );
      while( *at != key ) {
         at = &queue_.standingAt( *at ).link().chain;
      }
      *at = entry.link().chain;
      --pairs_;
      return;
   }
   U32 &place = youngest( entry.value() );
   // One step when the oldest goes, as it does from the head of the line.
   Entry *older = &queue_.standingAt( place == key ? younger : place );
   while( older->link().younger != key ) {
      older = &queue_.standingAt( older->link().younger );
   }
   older->link().younger = younger;
   if( place == key ) {
      older->link().chain = entry.link().chain;
      place = older->key();
   }
}

} // namespace Orlo
