// A helper of the ebpf hardware on a switch in memory.
#ifndef TESTS_UNIT_EBPF_HELPERONFAKESWITCH_H
#define TESTS_UNIT_EBPF_HELPERONFAKESWITCH_H

#include "agent/hardware/ebpf/EbpfHelper.h"
#include "tests/unit/agent/HelperOnFakeHardware.h"
#include "tests/unit/ebpf/FakeSwitch.h"

namespace OrloAgent {

class HelperOnFakeSwitch : public HelperOnFakeHardware<EbpfHelper> {
 protected:
   using Rows = std::map<Pair, FakeSwitch::Row>;

   HelperOnFakeSwitch()
         : HelperOnFakeHardware( { routed( "br10", 10, { 11, 12 } ), routed( "br20", 20 ) } ) {
      for( const char *name : { "br10", "br20", "swp1", "swp2" } ) {
         switch_.comes( name );
      }
   }

   /// Starts a helper, which finds what the one before has left.
   void start( U32 indexes = 8 ) {
      helper_ = nullptr;
      helper_ = Quor::make<EbpfHelper>( std::make_unique<FakeEbpf>( switch_, program_ ), own_,
                                        settings( indexes ) );
   }
   Lines written() override {
      switch_.calls.clear();
      next_ = helper_->work( now_ );
      return switch_.takeCalls();
   }
   U32 ifindex( const std::string &name ) const { return switch_.devices.at( name ); }

   FakeSwitch switch_;
   EbpfSettings own_{ "/sys/fs/bpf/orlo", { { "swp1", 0 }, { "swp2", 10 } }, 128 };
   U32 program_ = 1;
};

} // namespace OrloAgent

#endif
