// A pass over one or two watchers asks for no memory.
#include "platform/Descriptions.h"
#include "platform/HardwareStatus.h"
#include "platform/SviVlanSet.h"
#include "quor/GenericNotifiee.h"
#include "tests/unit/quor/AllocationCount.h"

#include <gtest/gtest.h>

namespace Quor {
namespace {

using Bridging::VlanId;
using IntfVlanIdSet::SviVlanSet;
using Routing::Fhrp::Hardware::Status;

class StatusListener : public Status::NotifieeConst {
 public:
   void onVirtualRouterCount() override { ++heard; }
   int heard = 0;
};

class VlanListener : public SviVlanSet::NotifieeConst {
 public:
   using NotifieeConst::onVlanId;
   void onVlanId( VlanId ) override { ++heard; }
   int heard = 0;
};

/// A bound and registered watcher of `entity`.
template <class Listener, class E>
Ptr<Listener> listening( const Ptr<E> &entity ) {
   Ptr<Listener> listener = make<Listener>();
   listener->notifierIs( entity );
   listener->isRegisteredNotifieeIs( true );
   return listener;
}

TEST( NotificationAllocation, AnObjectIsCounted ) {
   const std::size_t before = allocations();
   const Ptr<Status> status = make<Status>();
   EXPECT_GT( allocations(), before );
   EXPECT_TRUE( status );
}

TEST( NotificationAllocation, OneWatcherIsToldWithoutAny ) {
   const Ptr<Status> status = make<Status>();
   const auto first = listening<StatusListener>( status );
   const std::size_t before = allocations();
   status->virtualRouterCountIs( 3 );
   EXPECT_EQ( allocations(), before );
   EXPECT_EQ( first->heard, 1 );
}

TEST( NotificationAllocation, TwoWatchersAreToldWithoutAny ) {
   const Ptr<Status> status = make<Status>();
   const auto first = listening<StatusListener>( status );
   const auto second = listening<StatusListener>( status );
   const std::size_t before = allocations();
   status->virtualRouterCountIs( 3 );
   EXPECT_EQ( allocations(), before );
   EXPECT_EQ( first->heard, 1 );
   EXPECT_EQ( second->heard, 1 );
}

TEST( NotificationAllocation, TheRemovalOfAKeyIsToldWithoutAny ) {
   const Ptr<SviVlanSet> set = make<SviVlanSet>( Pelmo::IntfId( "br10" ) );
   const auto first = listening<VlanListener>( set );
   const auto second = listening<VlanListener>( set );
   set->vlanIdIs( VlanId( 10 ), false );
   const std::size_t before = allocations();
   set->vlanIdIs( VlanId( 10 ), true );
   set->vlanIdDel( VlanId( 10 ) );
   EXPECT_EQ( allocations(), before );
   EXPECT_EQ( first->heard, 3 );
   EXPECT_EQ( second->heard, 3 );
}

/// Hears without knowing the type.
class CountingObserver : public GenericObserver {
 public:
   void onAttribute( const Attribute &, const Ptr<GenericIf> & ) override { ++heard; }
   int heard = 0;
};

TEST( NotificationAllocation, OnlyTheKeyOfAGenericWatcherNeedsAny ) {
   const Ptr<SviVlanSet> set = make<SviVlanSet>( Pelmo::IntfId( "br10" ) );
   const auto first = listening<VlanListener>( set );
   set->vlanIdIs( VlanId( 10 ), false );
   CountingObserver observer;
   {
      const GenericNotifiee watcher( genericIf( set ), observer );
      const std::size_t before = allocations();
      set->vlanIdIs( VlanId( 10 ), true );
      EXPECT_EQ( allocations(), before + 1 );
   }
   const std::size_t before = allocations();
   set->vlanIdIs( VlanId( 10 ), false );
   EXPECT_EQ( allocations(), before );
   EXPECT_EQ( first->heard, 3 );
   EXPECT_EQ( observer.heard, 1 );
}

} // namespace
} // namespace Quor
