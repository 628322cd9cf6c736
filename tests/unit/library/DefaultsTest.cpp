// What somebody who derives from a class of ours need not say.
#include "OrloVrrpHelper/RetryingHelper.h"
#include "OrloVrrpSm/VrrpSm.h"
#include "platform/Descriptions.h"
#include "quor/GenericNotifiee.h"
#include "tests/unit/library/Values.h"

#include <gtest/gtest.h>

namespace LibraryTests {
namespace {

using OrloHelper::HardwareWork;

/// Hardware that tells nothing, and has nothing beside the pairs.
class SilentHelper : public OrloHelper::RetryingHelper {
 public:
   explicit SilentHelper( const OrloHelper::HelperSettings &settings )
         : RetryingHelper( "silent", settings ) {}
   std::vector<Entry> readAll() const override { return {}; }
   int added = 0;

 private:
   void add( std::span<Write> writes ) override { added += static_cast<int>( writes.size() ); }
   void remove( std::span<Write> ) override {}
};

TEST( Defaults, HardwareThatTellsNothingIsWrittenAllTheSame ) {
   OrloHelper::HelperSettings settings;
   settings.indexes = 4;
   const auto helper = Quor::make<SilentHelper>( settings );
   HardwareWork &work = *helper;
   EXPECT_EQ( work.fd(), -1 );
   work.interfacesAre( {} );
   helper->addVirtualRouterMac( mac( 1 ), 10, 0 );
   work.work( std::chrono::steady_clock::now() );
   EXPECT_EQ( helper->added, 1 );
   helper->addVirtualRouterMac( mac( 1 ), 10, settings.indexes ); // which nobody need be told of
   EXPECT_EQ( helper->refusals(), 1u );
   work.leave();
}

/// Overrides no hook of its entity, or calls all of them.
template <class Watcher>
class Indifferent : public Watcher {
 public:
   using Watcher::isGenericIs;
};

TEST( Defaults, AWatcherNeedNotListenToAnything ) {
   using VlanWatcher = Indifferent<IntfVlanIdSet::SviVlanSet::NotifieeConst>;
   const auto set = Quor::make<IntfVlanIdSet::SviVlanSet>( IntfId( "br10" ) );
   const auto watcher = Quor::make<VlanWatcher>();
   watcher->notifierIs( set );
   watcher->isGenericIs( true );
   watcher->isRegisteredNotifieeIs( true );
   set->vlanIdIs( vlan( 10 ), true );
   watcher->onVlanId();
   watcher->onVlanIdquorImmediate();
   EXPECT_EQ( keysOf( set->vlanIds() ), std::vector<VlanId>{ vlan( 10 ) } );
}

TEST( Defaults, AWatcherOfTheStatusNeedNotListenToTheWholeOfIt ) {
   using Routing::Fhrp::VirtualRouterMacStatus;
   const auto status = Quor::make<VirtualRouterMacStatus>();
   const auto watcher = Quor::make<VirtualRouterMacStatus::NotifieeConst>();
   watcher->notifierIs( status );
   watcher->onVrrpVirtualMac();
   watcher->onVrrpVirtualMacquorImmediate();
   EXPECT_EQ( status->vrrpVirtualMacs().size(), 0u );
}

TEST( Defaults, AnObserverNeedNotListenToTheEnd ) {
   class Observer : public Quor::GenericObserver {
    public:
      void onAttribute( const Quor::Attribute &, const Ptr<Quor::GenericIf> & ) override {
         ++heard;
      }
      int heard = 0;
   } observer;
   auto set = Quor::make<IntfVlanIdSet::SviVlanSet>( IntfId( "br10" ) );
   const Quor::GenericNotifiee watcher( Quor::genericIf( set ), observer,
                                        Quor::Binding::uncounted );
   set->vlanIdIs( vlan( 10 ), true );
   set = nullptr;
   EXPECT_EQ( observer.heard, 1 );
}

TEST( Defaults, TheMetadataOfAQueueAreThoseOfAnEmptyOne ) {
   EXPECT_EQ( Orlo::QueueMetadata(), ( Orlo::QueueMetadata{ 0, 0 } ) );
}

} // namespace
} // namespace LibraryTests
