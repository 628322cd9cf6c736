#include "tests/unit/ebpf/program/TestRun.h"

#include "tagged.skel.h"

#include <bpf/bpf.h>
#include <cerrno>
#include <system_error>

namespace OrloAgent {

namespace {

void need( int error, const char *doing ) {
   if( error != 0 ) {
      throw std::system_error( -error, std::generic_category(), doing );
   }
}

} // namespace

TestRun::TestRun( const PortProgram &program ) : object_( tagged_object__open_and_load() ) {
   if( !object_ ) {
      throw std::system_error( errno, std::generic_category(), "cannot load the test's program" );
   }
   const Quor::U32 first = 0;
   const int fd = program.fd();
   need( bpf_map_update_elem( bpf_map__fd( object_->maps.under_test ), &first, &fd, BPF_ANY ),
         "cannot hand over to the program under test" );
}

TestRun::~TestRun() {
   tagged_object__destroy( object_ );
}

TestRun::Answer TestRun::answer( const std::vector<Quor::U8> &frame, const std::vector<Tag> &tags,
                                 Quor::U32 joined ) const {
   __sk_buff context{};
   __sk_buff contextAfter{};
   for( std::size_t i = 0; i < tags.size(); ++i ) {
      context.cb[2 * i] = tags[i].etherType;
      context.cb[2 * i + 1] = tags[i].control;
   }
   context.gso_segs = joined;
   context.priority = 3;
   std::vector<Quor::U8> after( frame.size() + 64 );
   bpf_test_run_opts options{};
   options.sz = sizeof( options );
   options.ctx_in = &context;
   options.ctx_size_in = sizeof( context );
   options.ctx_out = &contextAfter;
   options.ctx_size_out = sizeof( contextAfter );
   options.data_in = frame.data();
   options.data_size_in = static_cast<Quor::U32>( frame.size() );
   options.data_out = after.data();
   options.data_size_out = static_cast<Quor::U32>( after.size() );
   need( bpf_prog_test_run_opts( bpf_program__fd( object_->progs.tagged ), &options ),
         "cannot run the program on a frame" );
   after.resize( options.data_size_out );
   return { static_cast<int>( options.retval ), after, contextAfter.priority };
}

} // namespace OrloAgent
