#include "agent/hardware/ebpf/LinuxEbpf.h"

#include "agent/hardware/Failpoint.h"
#include "agent/hardware/ebpf/PortFilter.h"
#include "agent/hardware/ebpf/TableAccess.h"

#include <bpf/bpf.h>
#include <cerrno>
#include <net/if.h>

namespace OrloAgent {

namespace {

using Quor::U32;

/// How far a batch of `size` came. The kernel says how many are done, except when it has not even
/// begun.
EbpfKernel::Done doneOf( int error, U32 count, std::size_t size ) {
   if( error == 0 ) {
      return { size, 0 };
   }
   return { error == EFAULT || count >= size ? 0 : count, error };
}

} // namespace

LinuxEbpf::LinuxEbpf( const std::string &pins, U32 indexes, const PinnedProgram::Notice &notice )
      : program_( pins, indexes, notice ) {}

std::vector<EbpfKernel::Entry> LinuxEbpf::entries() const {
   return entriesOf( program_.table( PortProgram::kRouterMacs ) );
}

std::optional<EbpfKernel::Entry> LinuxEbpf::entry( const Pair &pair ) const {
   const RouterMacKey key = keyOf( pair );
   RouterMacValue value{};
   if( bpf_map_lookup_elem( program_.table( PortProgram::kRouterMacs ), &key, &value ) != 0 ) {
      return std::nullopt;
   }
   return entryOf( key, value );
}

EbpfKernel::Done LinuxEbpf::put( std::span<const Entry> rows ) {
   std::vector<RouterMacKey> keys;
   std::vector<RouterMacValue> values;
   for( const Entry &row : rows ) {
      keys.push_back( keyOf( row.pair ) );
      values.push_back( { row.index, row.svi } );
   }
   U32 count = static_cast<U32>( rows.size() );
   Failpoint::hit( "add" );
   const int error = -bpf_map_update_batch( program_.table( PortProgram::kRouterMacs ), keys.data(),
                                            values.data(), &count, nullptr );
   return doneOf( error, count, rows.size() );
}

EbpfKernel::Done LinuxEbpf::erase( std::span<const Pair> pairs ) {
   std::vector<RouterMacKey> keys;
   for( const Pair &pair : pairs ) {
      keys.push_back( keyOf( pair ) );
   }
   U32 count = static_cast<U32>( pairs.size() );
   Failpoint::hit( "remove" );
   const int error = -bpf_map_delete_batch( program_.table( PortProgram::kRouterMacs ), keys.data(),
                                            &count, nullptr );
   return doneOf( error, count, pairs.size() );
}

std::map<U32, U32> LinuxEbpf::ports() const {
   int error = 0; // then it is as if the rest were not there: it is put there again
   std::map<U32, U32> ports;
   for( const auto &[ifindex, value] : portsOf( program_.table( PortProgram::kPorts ), error ) ) {
      ports.emplace( ifindex, value.accessVlan );
   }
   return ports;
}

int LinuxEbpf::portIs( U32 ifindex, U32 accessVlan ) {
   const PortValue value{ accessVlan };
   Failpoint::hit( "port" );
   return -bpf_map_update_elem( program_.table( PortProgram::kPorts ), &ifindex, &value, BPF_ANY );
}

int LinuxEbpf::portDel( U32 ifindex ) {
   Failpoint::hit( "port" );
   return -bpf_map_delete_elem( program_.table( PortProgram::kPorts ), &ifindex );
}

EbpfKernel::Filter LinuxEbpf::filter( U32 ifindex ) const {
   return PortFilter( ifindex ).state( program_.id() );
}

int LinuxEbpf::attach( U32 ifindex ) {
   return PortFilter( ifindex ).attach( program_.fd() );
}

int LinuxEbpf::detach( U32 ifindex ) {
   return PortFilter( ifindex ).detach();
}

U32 LinuxEbpf::ifindex( const std::string &name ) const {
   return if_nametoindex( name.c_str() );
}

int LinuxEbpf::fd() const {
   return news_.fd();
}

EbpfKernel::News LinuxEbpf::hear() {
   return news_.hear();
}

} // namespace OrloAgent
