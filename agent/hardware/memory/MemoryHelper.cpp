#include "agent/hardware/memory/MemoryHelper.h"

namespace OrloAgent {

using Quor::U32;

MemoryHelper::MemoryHelper( const std::string &path, const OrloHelper::HelperSettings &settings )
      : RetryingHelper( "memory", settings ), notice_( settings.trouble ),
        slots_( path, settings.indexes, settings.trouble ) {
   syncCurrentStateOnInitIs( true );
}

std::optional<Pair> MemoryHelper::slot( U32 index ) const {
   return slots_.isWhole() ? slots_.slot( index ) : std::nullopt;
}

void MemoryHelper::hear() {
   slots_.mend( notice_ );
}

void MemoryHelper::repair() {
   slots_.mend( notice_ );
   RetryingHelper::repair();
}

std::vector<MemoryHelper::Entry> MemoryHelper::readAll() const {
   slots_.needWhole();
   std::vector<Entry> entries;
   for( U32 index = 0; index < slots_.count(); ++index ) {
      if( const std::optional<Pair> pair = slots_.slot( index ) ) {
         entries.push_back( { *pair, index } );
      }
   }
   return entries;
}

void MemoryHelper::add( std::span<Write> writes ) {
   slots_.needWhole();
   for( Write &write : writes ) {
      const std::optional<Pair> there = slots_.slot( write.index );
      if( !there ) {
         slots_.slotIs( write.index, write.pair );
      } else if( *there != write.pair ) {
         write.refusal = "somebody else has put another pair into the slot";
      }
   }
}

void MemoryHelper::remove( std::span<Write> writes ) {
   slots_.needWhole();
   for( const Write &write : writes ) {
      if( slots_.slot( write.index ) == write.pair ) {
         slots_.slotDel( write.index );
      }
   }
}

} // namespace OrloAgent
