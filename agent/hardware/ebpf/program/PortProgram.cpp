#include "agent/hardware/ebpf/program/PortProgram.h"

#include "port.skel.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace OrloAgent {

namespace {

[[noreturn]] void fail( int error, const char *doing ) {
   throw std::system_error( error, std::generic_category(), doing );
}

bpf_map *mapOf( const port_object &object, PortProgram::Table table ) {
   switch( table ) {
   case PortProgram::kRouterMacs:
      return object.maps.router_macs;
   case PortProgram::kFrameCounts:
      return object.maps.frame_counts;
   default:
      return object.maps.ports;
   }
}

} // namespace

void PortProgram::Destroy::operator()( port_object *object ) const noexcept {
   port_object__destroy( object );
}

PortProgram::PortProgram( Quor::U32 indexes ) {
   libbpf_set_print( nullptr ); // what fails is told by whoever asked for it
   object_.reset( port_object__open() );
   if( !object_ ) {
      fail( errno, "cannot read the program" );
   }
   const Quor::U32 entries = std::max( indexes, Quor::U32{ 1 } ); // there is no table without any
   for( const Table table : { kRouterMacs, kFrameCounts } ) {
      if( const int error = bpf_map__set_max_entries( mapOf( *object_, table ), entries ) ) {
         fail( -error, "cannot size the program's tables" );
      }
   }
}

PortProgram::~PortProgram() = default;

PortProgram::Shape PortProgram::shape( Table table ) const {
   const bpf_map *const map = mapOf( *object_, table );
   return { static_cast<Quor::U32>( bpf_map__type( map ) ), bpf_map__key_size( map ),
            bpf_map__value_size( map ), bpf_map__max_entries( map ), bpf_map__map_flags( map ) };
}

void PortProgram::tableIs( Table table, int fd ) {
   if( const int error = bpf_map__reuse_fd( mapOf( *object_, table ), fd ) ) {
      fail( -error, "cannot give the program its table" );
   }
}

void PortProgram::load() {
   if( const int error = port_object__load( object_.get() ) ) {
      fail( -error, "cannot load the program" );
   }
}

int PortProgram::fd() const {
   return bpf_program__fd( object_->progs.orlo_port );
}

int PortProgram::table( Table table ) const {
   return bpf_map__fd( mapOf( *object_, table ) );
}

} // namespace OrloAgent
