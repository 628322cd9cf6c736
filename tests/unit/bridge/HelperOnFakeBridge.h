// A helper of the bridge hardware on a bridge in memory.
#ifndef TESTS_UNIT_BRIDGE_HELPERONFAKEBRIDGE_H
#define TESTS_UNIT_BRIDGE_HELPERONFAKEBRIDGE_H

#include "agent/hardware/bridge/BridgeHelper.h"
#include "tests/unit/agent/HelperOnFakeHardware.h"
#include "tests/unit/agent/TemporaryFolder.h"
#include "tests/unit/bridge/FakeBridge.h"

namespace OrloAgent {

inline VlanRule rule( Quor::U16 vlan, Quor::U8 vrid, Quor::U16 primary ) {
   return { pair( vlan, vrid ), Bridging::VlanId( primary ) };
}

/// br0.10 serves the VLANs 10, 11 and 12, br0.20 the VLAN 20.
class HelperOnFakeBridge : public HelperOnFakeHardware<BridgeHelper> {
 protected:
   using Fdb = std::map<Pair, FdbState>;
   using Rules = std::map<U32, FoundRule>;

   HelperOnFakeBridge()
         : HelperOnFakeHardware( { routed( "br0.10", 10, { 11, 12 } ), routed( "br0.20", 20 ) } ) {}

   /// Makes a helper, which finds what the one before has left.
   void make( U32 indexes = 8, bool isReadOnly = false ) {
      helper_ = nullptr;
      OrloHelper::HelperSettings all = settings( indexes );
      all.isReadOnly = isReadOnly;
      helper_ = Quor::make<BridgeHelper>( "br0", folder_.path( "slots" ), all,
                                          std::make_unique<FakeBridgeKernel>( bridge_ ) );
   }
   /// Makes one, lets it adopt, and gives what is written by that.
   Lines start( U32 indexes = 8 ) {
      make( indexes );
      adopted_ = adopt();
      return work();
   }
   /// Also on the news of what it writes itself.
   Lines written() override {
      bridge_.calls.clear();
      helper_->work( now_ );
      next_ = helper_->work( now_ );
      return bridge_.takeCalls();
   }
   Entries held() const { return helper_->readAll(); }

   TemporaryFolder folder_;
   FakeBridge bridge_;
   Entries adopted_;
};

} // namespace OrloAgent

#endif
