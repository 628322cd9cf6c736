// A helper on hardware in memory, with a clock of the test's own: what is the same for all
// hardware.
#ifndef TESTS_UNIT_AGENT_HELPERONFAKEHARDWARE_H
#define TESTS_UNIT_AGENT_HELPERONFAKEHARDWARE_H

#include "OrloVrrpHelper/CurrentVrrpStateForInit.h"
#include "OrloVrrpHelper/HardwareView.h"
#include "OrloVrrpHelper/HardwareWork.h"
#include "OrloVrrpHelper/HelperSettings.h"
#include "agent/Pair.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

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

/// What derives from it makes the helper.
template <class Helper>
class HelperOnFakeHardware : public testing::Test {
 protected:
   using U32 = Quor::U32;
   using Lines = std::vector<std::string>;
   using Entry = OrloHelper::HardwareView::Entry;
   using Entries = std::vector<Entry>;
   using Time = OrloHelper::HardwareWork::Time;

   explicit HelperOnFakeHardware( std::vector<OrloHelper::RoutedInterface> interfaces )
         : interfaces_( std::move( interfaces ) ) {}

   OrloHelper::HelperSettings settings( U32 indexes ) {
      OrloHelper::HelperSettings settings;
      settings.indexes = indexes;
      settings.trouble = [this]( const std::string &what ) { told_.push_back( what ); };
      settings.interfaces = interfaces_;
      return settings;
   }
   /// What the programmer adopts at start.
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
   /// Works `milliseconds` after the last time, and gives what was written.
   Lines work( int milliseconds = 1 ) {
      now_ += std::chrono::milliseconds( milliseconds );
      return written();
   }
   Lines told() { return std::exchange( told_, {} ); }
   std::string reason( U32 index ) const {
      const auto refusal = helper_->refusal( index );
      return refusal ? refusal->reason : "";
   }

   /// Works now.
   virtual Lines written() = 0;

   std::vector<OrloHelper::RoutedInterface> interfaces_;
   Lines told_;
   Quor::Ptr<Helper> helper_;
   Time now_{ std::chrono::hours( 1 ) };
   Time next_{};
};

} // namespace OrloAgent

#endif
