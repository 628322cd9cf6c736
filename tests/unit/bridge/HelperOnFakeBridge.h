// A helper of the bridge hardware on a bridge in memory, with a clock of the test's own.
#ifndef TESTS_UNIT_BRIDGE_HELPERONFAKEBRIDGE_H
#define TESTS_UNIT_BRIDGE_HELPERONFAKEBRIDGE_H

#include "agent/hardware/bridge/BridgeHelper.h"
#include "tests/unit/agent/TemporaryFolder.h"
#include "tests/unit/bridge/FakeBridge.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace OrloAgent {

inline Pair pair( Quor::U16 vlan, Quor::U8 vrid ) {
   return { Bridging::VlanId( vlan ),
            Pelmo::EthAddr( Pelmo::EthAddr::Octets{ 0, 0, 0x5e, 0, 1, vrid } ) };
}

inline VlanRule rule( Quor::U16 vlan, Quor::U8 vrid, Quor::U16 primary ) {
   return { pair( vlan, vrid ), Bridging::VlanId( primary ) };
}

inline OrloHelper::RoutedInterface routed( const std::string &name, Quor::U16 vlan,
                                           const std::vector<Quor::U16> &secondaries = {} ) {
   OrloHelper::RoutedInterface interface { name, Bridging::VlanId( vlan ) };
   for( const Quor::U16 secondary : secondaries ) {
      interface.secondaryVlans.emplace_back( secondary );
   }
   return interface;
}

/// br0.10 serves the VLANs 10, 11 and 12, br0.20 the VLAN 20.
class HelperOnFakeBridge : public testing::Test {
 protected:
   using U32 = Quor::U32;
   using Lines = std::vector<std::string>;
   using Fdb = std::map<Pair, FdbState>;
   using Rules = std::map<U32, FoundRule>;
   using Entry = OrloHelper::HardwareView::Entry;
   using Entries = std::vector<Entry>;
   using Time = OrloHelper::HardwareWork::Time;

   /// Makes a helper, which finds what the one before has left.
   void make( U32 indexes = 8, bool isReadOnly = false ) {
      helper_ = nullptr;
      OrloHelper::HelperSettings settings;
      settings.indexes = indexes;
      settings.trouble = [this]( const std::string &what ) { told_.push_back( what ); };
      settings.interfaces = interfaces_;
      settings.isReadOnly = isReadOnly;
      helper_ = Quor::make<BridgeHelper>( "br0", folder_.path( "slots" ), settings,
                                          std::make_unique<FakeBridgeKernel>( bridge_ ) );
   }
   /// What the programmer adopts.
   Entries adopt() {
      const auto state = Quor::make<OrloHelper::CurrentVrrpStateForInit>();
      helper_->syncVrrpStateOnInit( state );
      Entries taken;
      for( const auto &entry : state->virtualRouterIndexes() ) {
         taken.push_back( { entry.key(), entry.value() } );
      }
      std::sort( taken.begin(), taken.end(),
                 []( const Entry &a, const Entry &b ) { return a.index < b.index; } );
      return taken;
   }
   /// Makes one, lets it adopt, and gives what is written by that.
   Lines start( U32 indexes = 8 ) {
      make( indexes );
      adopted_ = adopt();
      return work();
   }
   void add( const Pair &one, U32 index ) {
      helper_->addVirtualRouterMac( one.mac(), one.vlanId().number(), index );
   }
   void del( const Pair &one, U32 index ) {
      helper_->deleteVirtualRouterMac( one.mac(), one.vlanId().number(), index );
   }
   /// Adds the pairs under the indexes from 0 on.
   void program( const std::vector<Pair> &pairs ) {
      for( U32 index = 0; index < pairs.size(); ++index ) {
         add( pairs[index], index );
      }
      work();
   }
   /// Works `milliseconds` after the last time, also on the news of what it writes itself, and
   /// gives what was written.
   Lines work( int milliseconds = 1 ) {
      now_ += std::chrono::milliseconds( milliseconds );
      bridge_.calls.clear();
      helper_->work( now_ );
      next_ = helper_->work( now_ );
      return bridge_.takeCalls();
   }
   Lines told() { return std::exchange( told_, {} ); }
   std::string reason( U32 index ) const {
      const auto refusal = helper_->refusal( index );
      return refusal ? refusal->reason : "";
   }
   Entries held() const { return helper_->readAll(); }

   TemporaryFolder folder_;
   FakeBridge bridge_;
   std::vector<OrloHelper::RoutedInterface> interfaces_{ routed( "br0.10", 10, { 11, 12 } ),
                                                         routed( "br0.20", 20 ) };
   Lines told_;
   Entries adopted_;
   Quor::Ptr<BridgeHelper> helper_;
   Time now_{ std::chrono::hours( 1 ) };
   Time next_{};
};

} // namespace OrloAgent

#endif
