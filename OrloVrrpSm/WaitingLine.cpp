#include "OrloVrrpSm/WaitingLine.h"

namespace Orlo {

WaitingLine::Entry *WaitingLine::oldest( const VlanAndMac &pair ) const {
   const auto found = youngest_.find( pair );
   return found == youngest_.end() ? nullptr : found->second->link().younger;
}

Quor::Ptr<WaitingLine::Entry> WaitingLine::set( Quor::U32 key, const VlanAndMac &pair ) {
   Quor::Ptr<Entry> entry = queue_.find( key );
   if( !entry ) {
      return insert( key, pair );
   }
   if( entry->value() == pair ) {
      return nullptr;
   }
   indexDel( *entry );
   queue_.valueIs( *entry, pair );
   return added( std::move( entry ) );
}

Quor::Ptr<WaitingLine::Entry> WaitingLine::added( Quor::Ptr<Entry> entry ) {
   indexNew( *entry );
   return entry;
}

Quor::Ptr<WaitingLine::Entry> WaitingLine::removed( Quor::Ptr<Entry> entry ) noexcept {
   if( entry ) {
      indexDel( *entry );
   }
   return entry;
}

void WaitingLine::indexNew( Entry &entry ) {
   Entry *&youngest = youngest_[entry.value()];
   if( !youngest ) {
      entry.link().younger = &entry;
      youngest = &entry;
      return;
   }
   Entry *older = youngest;
   if( entry.isOlderThan( *youngest ) ) { // not at the tail: only when a position is set
      while( older->link().younger->isOlderThan( entry ) ) {
         older = older->link().younger;
      }
   }
   entry.link().younger = std::exchange( older->link().younger, &entry );
   if( youngest->isOlderThan( entry ) ) {
      youngest = &entry;
   }
}

void WaitingLine::indexDel( Entry &entry ) noexcept {
   const auto found = youngest_.find( entry.value() );
   Entry *const younger = std::exchange( entry.link().younger, nullptr );
   if( younger == &entry ) {
      youngest_.erase( found );
      return;
   }
   // One step when the oldest goes, as it does from the head of the line.
   Entry *older = found->second == &entry ? younger : found->second;
   while( older->link().younger != &entry ) {
      older = older->link().younger;
   }
   older->link().younger = younger;
   if( found->second == &entry ) {
      found->second = older;
   }
}

} // namespace Orlo
