#include "agent/hardware/memory/MemoryReader.h"

#include "agent/hardware/SlotFile.h"

namespace OrloAgent {

using Quor::U32;

MemoryReader::MemoryReader( const std::string &path ) : VrrpSmHelper( "memory" ), path_( path ) {}

std::optional<Pair> MemoryReader::slot( U32 index ) const {
   const std::vector<std::optional<Pair>> contents = SlotFile::read( path_ );
   return index < contents.size() ? contents[index] : std::nullopt;
}

std::vector<MemoryReader::Entry> MemoryReader::readAll() const {
   std::vector<Entry> entries;
   U32 index = 0;
   for( const std::optional<Pair> &pair : SlotFile::read( path_ ) ) {
      if( pair ) {
         entries.push_back( { *pair, index } );
      }
      ++index;
   }
   return entries;
}

} // namespace OrloAgent
