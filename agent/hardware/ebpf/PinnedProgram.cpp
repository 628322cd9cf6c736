#include "agent/hardware/ebpf/PinnedProgram.h"

#include "agent/hardware/Failpoint.h"
#include "agent/hardware/HardwareError.h"
#include "agent/hardware/ebpf/TableAccess.h"

#include <algorithm>
#include <array>
#include <bpf/bpf.h>
#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>

namespace OrloAgent {

namespace {

using Quor::U32;
using Shape = PortProgram::Shape;

constexpr char kProgramPin[] = "program";

/// What makes two loaded programs do the same: their instructions (the kernel's hash of them) and
/// their tables.
struct Likeness {
   std::array<Quor::U8, BPF_TAG_SIZE> tag{};
   std::array<U32, PortProgram::kTables> tables{};
   U32 id = 0;

   bool isLike( const Likeness &other ) const { return tag == other.tag && tables == other.tables; }
};

std::optional<Likeness> likenessOf( int fd ) {
   bpf_prog_info info{};
   Likeness likeness;
   info.nr_map_ids = static_cast<U32>( likeness.tables.size() );
   info.map_ids = reinterpret_cast<Quor::U64>( likeness.tables.data() );
   U32 size = sizeof( info );
   if( fd < 0 || bpf_obj_get_info_by_fd( fd, &info, &size ) != 0 ||
       info.type != BPF_PROG_TYPE_SCHED_CLS || info.nr_map_ids != likeness.tables.size() ) {
      return std::nullopt;
   }
   std::copy( std::begin( info.tag ), std::end( info.tag ), likeness.tag.begin() );
   std::sort( likeness.tables.begin(), likeness.tables.end() );
   likeness.id = info.id;
   return likeness;
}

/// What a table that is replaced leaves to the one in its place. Rows are only ever left out when
/// they have no room there.
void copyTable( PortProgram::Table table, int from, int to, U32 indexes, const Shape &before ) {
   int error = 0;
   switch( table ) {
   case PortProgram::kRouterMacs:
      for( const EbpfKernel::Entry &entry : entriesOf( from ) ) {
         if( entry.index < indexes ) {
            const RouterMacKey key = keyOf( entry.pair );
            const RouterMacValue value{ entry.index, entry.svi };
            bpf_map_update_elem( to, &key, &value, BPF_ANY );
         }
      }
      break;
   case PortProgram::kFrameCounts:
      copyCounts( from, to, std::min( indexes, before.entries ) );
      break;
   default:
      for( const auto &[ifindex, value] : portsOf( from, error ) ) {
         bpf_map_update_elem( to, &ifindex, &value, BPF_ANY );
      }
   }
}

[[noreturn]] void fail( const std::system_error &error ) {
   throw HardwareError( std::string( "the program of the ports: " ) + error.what() +
                        ( error.code().value() == EPERM
                                ? "; it needs root, or the capabilities CAP_BPF and CAP_NET_ADMIN"
                                : "" ) );
}

} // namespace

PinnedProgram::PinnedProgram( const std::string &folder, U32 indexes, const Notice &notice ) try
      : folder_( folder, false ), loaded_( indexes ) {
   takeTables( indexes, notice );
   takeProgram();
} catch( const std::system_error &error ) {
   fail( error );
}

void PinnedProgram::unpin() const {
   folder_.unpin( kProgramPin );
   for( const char *const name : PortProgram::kTableNames ) {
      folder_.unpin( name );
   }
}

void PinnedProgram::takeTables( U32 indexes, const Notice &notice ) {
   std::array<FileDescriptor, PortProgram::kTables> pinned;
   std::array<std::optional<Shape>, PortProgram::kTables> shapes;
   for( std::size_t i = 0; i < PortProgram::kTables; ++i ) {
      const auto table = static_cast<PortProgram::Table>( i );
      pinned[i] = folder_.open( PortProgram::kTableNames[i] );
      if( pinned[i].get() < 0 && errno == EPERM ) {
         throw std::system_error( EPERM, std::generic_category(), "cannot open its tables" );
      }
      shapes[i] = shapeOfTable( pinned[i].get() );
      if( shapes[i] == loaded_.shape( table ) ) {
         loaded_.tableIs( table, pinned[i].get() );
      }
   }
   loaded_.load();
   for( std::size_t i = 0; i < PortProgram::kTables; ++i ) {
      const auto table = static_cast<PortProgram::Table>( i );
      const std::string name = PortProgram::kTableNames[i];
      const Shape wanted = loaded_.shape( table );
      if( shapes[i] == wanted ) {
         continue;
      }
      Shape resized = shapes[i].value_or( Shape{} );
      resized.entries = wanted.entries;
      if( resized == wanted ) {
         copyTable( table, pinned[i].get(), loaded_.table( table ), indexes, *shapes[i] );
      } else if( pinned[i].get() >= 0 ) {
         notice( folder_.path() + "/" + name +
                 " cannot be used: it is no such table as the program needs; an empty one takes " +
                 "its place" );
      }
      folder_.pin( name, loaded_.table( table ) );
   }
}

void PinnedProgram::takeProgram() {
   const std::optional<Likeness> loaded = likenessOf( loaded_.fd() );
   if( !loaded ) {
      throw std::system_error( errno, std::generic_category(), "cannot look at what was loaded" );
   }
   program_ = folder_.open( kProgramPin );
   const std::optional<Likeness> before = likenessOf( program_.get() );
   if( before && before->isLike( *loaded ) ) {
      id_ = before->id;
      return;
   }
   folder_.pin( kProgramPin, loaded_.fd() );
   program_ = folder_.open( kProgramPin );
   if( program_.get() < 0 ) {
      throw std::system_error( errno, std::generic_category(), "cannot open what was pinned" );
   }
   id_ = loaded->id;
}

} // namespace OrloAgent
