#include "agent/hardware/ebpf/TableAccess.h"

#include <algorithm>
#include <array>
#include <bpf/bpf.h>
#include <bpf/libbpf.h>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace OrloAgent {

namespace {

using Quor::U32;
using Octets = Pelmo::EthAddr::Octets;

/// A descriptor may stand for a program as well, and the kernel describes it all the same.
bool isTable( int fd ) {
   const std::string link = "/proc/self/fd/" + std::to_string( fd );
   std::array<char, 64> target{};
   const ssize_t size = readlink( link.c_str(), target.data(), target.size() );
   return size > 0 && std::string_view( target.data(), static_cast<std::size_t>( size ) ) ==
                            "anon_inode:bpf-map";
}

} // namespace

std::optional<PortProgram::Shape> shapeOfTable( int fd ) {
   bpf_map_info info{};
   U32 size = sizeof( info );
   if( fd < 0 || !isTable( fd ) || bpf_obj_get_info_by_fd( fd, &info, &size ) != 0 ) {
      return std::nullopt;
   }
   return PortProgram::Shape{ info.type, info.key_size, info.value_size, info.max_entries,
                              info.map_flags };
}

RouterMacKey keyOf( const Pair &pair ) {
   RouterMacKey key{ pair.vlanId().number(), {} };
   const Octets octets = pair.mac().octets();
   std::copy( octets.begin(), octets.end(), key.mac );
   return key;
}

EbpfKernel::Entry entryOf( const RouterMacKey &key, const RouterMacValue &value ) {
   Octets octets;
   std::copy( std::begin( key.mac ), std::end( key.mac ), octets.begin() );
   return { Pair( Bridging::VlanId( key.vlan ), Pelmo::EthAddr( octets ) ), value.index,
            value.svi };
}

std::vector<EbpfKernel::Entry> entriesOf( int fd ) {
   constexpr U32 kAtOnce = 1024; // more than any bucket of the kernel's hash table has
   std::vector<RouterMacKey> keys( kAtOnce );
   std::vector<RouterMacValue> values( kAtOnce );
   std::vector<EbpfKernel::Entry> entries;
   U32 from = 0;
   U32 to = 0;
   bool isFirst = true;
   for( int error = 0; error != ENOENT; ) { // that one comes with the last rows
      U32 count = kAtOnce;
      error = -bpf_map_lookup_batch( fd, isFirst ? nullptr : &from, &to, keys.data(), values.data(),
                                     &count, nullptr );
      if( error != 0 && error != ENOENT ) {
         throw std::system_error( error, std::generic_category(),
                                  "cannot read the table of virtual router MACs" );
      }
      for( U32 i = 0; i < std::min( count, kAtOnce ); ++i ) {
         entries.push_back( entryOf( keys[i], values[i] ) );
      }
      from = to;
      isFirst = false;
   }
   return entries;
}

std::vector<std::pair<U32, PortValue>> portsOf( int fd, int &error ) {
   std::vector<std::pair<U32, PortValue>> rows;
   error = 0;
   U32 key = 0;
   const U32 *before = nullptr;
   // Somebody who changes the table meanwhile may make the walk begin anew.
   for( U32 steps = 0; steps < 2 * kMostPorts; ++steps ) {
      U32 next = 0;
      if( bpf_map_get_next_key( fd, before, &next ) != 0 ) {
         error = errno == ENOENT ? 0 : errno;
         break;
      }
      PortValue value{};
      if( bpf_map_lookup_elem( fd, &next, &value ) == 0 ) {
         rows.emplace_back( next, value );
      }
      key = next;
      before = &key;
   }
   return rows;
}

void copyCounts( int from, int to, U32 count ) {
   const int processors = libbpf_num_possible_cpus();
   if( processors <= 0 ) {
      return;
   }
   std::vector<FrameCount> each( static_cast<std::size_t>( processors ) );
   for( U32 index = 0; index < count; ++index ) {
      if( bpf_map_lookup_elem( from, &index, each.data() ) == 0 ) {
         bpf_map_update_elem( to, &index, each.data(), BPF_ANY );
      }
   }
}

} // namespace OrloAgent
