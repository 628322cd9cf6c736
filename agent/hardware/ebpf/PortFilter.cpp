#include "agent/hardware/ebpf/PortFilter.h"

#include "agent/FileDescriptor.h"
#include "agent/hardware/Failpoint.h"
#include "agent/hardware/ebpf/program/PortProgram.h"

#include <bpf/bpf.h>
#include <bpf/libbpf.h>
#include <cerrno>
#include <string_view>

namespace OrloAgent {

namespace {

bpf_tc_hook hookOf( Quor::U32 ifindex ) {
   bpf_tc_hook hook{};
   hook.sz = sizeof( hook );
   hook.ifindex = static_cast<int>( ifindex );
   hook.attach_point = BPF_TC_INGRESS;
   return hook;
}

bpf_tc_opts placeOf() {
   bpf_tc_opts place{};
   place.sz = sizeof( place );
   place.handle = PortFilter::kHandle;
   place.priority = PortFilter::kPreference;
   return place;
}

/// Which of the two a program is that is not the current one.
EbpfKernel::Filter stateOf( Quor::U32 programId ) {
   const FileDescriptor program( bpf_prog_get_fd_by_id( programId ) );
   if( program.get() < 0 && errno == EPERM ) {
      // To look at it takes CAP_SYS_ADMIN; nobody else is likely to be at this very place.
      return EbpfKernel::Filter::outdated;
   }
   bpf_prog_info info{};
   Quor::U32 size = sizeof( info );
   const bool isOurs = program.get() >= 0 &&
                       bpf_obj_get_info_by_fd( program.get(), &info, &size ) == 0 &&
                       std::string_view( info.name ) == PortProgram::kName;
   return isOurs ? EbpfKernel::Filter::outdated : EbpfKernel::Filter::foreign;
}

} // namespace

EbpfKernel::Filter PortFilter::state( Quor::U32 programId ) const {
   const bpf_tc_hook hook = hookOf( ifindex_ );
   bpf_tc_opts found = placeOf();
   if( bpf_tc_query( &hook, &found ) != 0 ) {
      return EbpfKernel::Filter::none; // or one of another kind, which only attach() comes upon
   }
   return found.prog_id == programId ? EbpfKernel::Filter::current : stateOf( found.prog_id );
}

int PortFilter::attach( int programFd ) const {
   bpf_tc_hook hook = hookOf( ifindex_ );
   Failpoint::hit( "clsact" );
   const int error = -bpf_tc_hook_create( &hook );
   if( error != 0 && error != EEXIST ) {
      return error;
   }
   bpf_tc_opts filter = placeOf();
   filter.prog_fd = programFd;
   filter.flags = BPF_TC_F_REPLACE;
   Failpoint::hit( "filter" );
   const int refused = -bpf_tc_attach( &hook, &filter );
   return refused == EINVAL ? EEXIST : refused; // not of the kind that stands at this preference
}

int PortFilter::detach() const {
   const bpf_tc_hook hook = hookOf( ifindex_ );
   const bpf_tc_opts place = placeOf();
   Failpoint::hit( "filter" );
   const int error = -bpf_tc_detach( &hook, &place );
   return error == ENOENT || error == ENODEV || error == EINVAL ? 0 : error;
}

} // namespace OrloAgent
