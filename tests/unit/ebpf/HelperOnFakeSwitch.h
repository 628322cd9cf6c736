// A helper of the ebpf hardware on a switch in memory, with a clock of the test's own.
#ifndef TESTS_UNIT_EBPF_HELPERONFAKESWITCH_H
#define TESTS_UNIT_EBPF_HELPERONFAKESWITCH_H

#include "agent/hardware/ebpf/EbpfHelper.h"
#include "tests/unit/ebpf/FakeSwitch.h"

#include <gtest/gtest.h>

namespace OrloAgent {

inline Pair pair( Quor::U16 vlan, Quor::U8 vrid ) {
   return { Bridging::VlanId( vlan ),
            Pelmo::EthAddr( Pelmo::EthAddr::Octets{ 0, 0, 0x5e, 0, 1, vrid } ) };
}

inline OrloHelper::RoutedInterface routed( const std::string &name, Quor::U16 vlan,
                                           const std::vector<Quor::U16> &secondaries = {} ) {
   OrloHelper::RoutedInterface interface { name, Bridging::VlanId( vlan ) };
   for( const Quor::U16 secondary : secondaries ) {
      interface.secondaryVlans.emplace_back( secondary );
   }
   return interface;
}

class HelperOnFakeSwitch : public testing::Test {
 protected:
   using U32 = Quor::U32;
   using Lines = std::vector<std::string>;
   using Rows = std::map<Pair, FakeSwitch::Row>;
   using Taken = std::vector<std::pair<Pair, U32>>;
   using Time = OrloHelper::HardwareWork::Time;

   HelperOnFakeSwitch() {
      for( const char *name : { "br10", "br20", "swp1", "swp2" } ) {
         switch_.comes( name );
      }
   }

   /// Starts a helper, which finds what the one before has left.
   void start( U32 indexes = 8 ) {
      helper_ = nullptr;
      OrloHelper::HelperSettings settings;
      settings.indexes = indexes;
      settings.trouble = [this]( const std::string &what ) { told_.push_back( what ); };
      settings.interfaces = interfaces_;
      helper_ = Quor::make<EbpfHelper>( std::make_unique<FakeEbpf>( switch_, program_ ), own_,
                                        settings );
   }
   /// What the programmer adopts at start.
   Taken adopt() {
      const auto state = Quor::make<OrloHelper::CurrentVrrpStateForInit>();
      helper_->syncVrrpStateOnInit( state );
      Taken taken;
      for( const auto &entry : state->virtualRouterIndexes() ) {
         taken.emplace_back( entry.key(), entry.value() );
      }
      std::sort( taken.begin(), taken.end(),
                 []( const auto &a, const auto &b ) { return a.second < b.second; } );
      return taken;
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
   /// Works once, `milliseconds` after the last time, and gives what was written.
   Lines work( int milliseconds = 1 ) {
      switch_.calls.clear();
      now_ += std::chrono::milliseconds( milliseconds );
      next_ = helper_->work( now_ );
      return switch_.takeCalls();
   }
   Lines told() { return std::exchange( told_, {} ); }
   std::string reason( U32 index ) const {
      const auto refusal = helper_->refusal( index );
      return refusal ? refusal->reason : "";
   }
   U32 ifindex( const std::string &name ) const { return switch_.devices.at( name ); }

   FakeSwitch switch_;
   std::vector<OrloHelper::RoutedInterface> interfaces_{ routed( "br10", 10, { 11, 12 } ),
                                                         routed( "br20", 20 ) };
   EbpfSettings own_{ "/sys/fs/bpf/orlo", { { "swp1", 0 }, { "swp2", 10 } }, 128 };
   U32 program_ = 1;
   Lines told_;
   Quor::Ptr<EbpfHelper> helper_;
   Time now_{ std::chrono::hours( 1 ) };
   Time next_{};
};

} // namespace OrloAgent

#endif
