// The MACs of one interface: the operations of the set, and what its watchers hear.
#include "OrloVrrpPrivateVlanReflectorLib/EthAddrsForIntf.h"
#include "tests/unit/library/Story.h"
#include "tests/unit/library/Values.h"

#include <gtest/gtest.h>

#include <functional>

namespace LibraryTests {
namespace {

using Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf;

class Watcher : public EthAddrsForIntf::NotifieeConst {
 public:
   explicit Watcher( Story &story ) : story_( story ) {}

   std::function<void()> then;

   void onEthAddr( const EthAddr &mac ) override {
      const auto set = notifier();
      const auto entry = set->ethAddrs().find( mac );
      story_.tell( macText( mac ) +
                   ( !entry           ? " is absent"
                     : entry->value() ? " is true"
                                      : " is false" ) +
                   ", " + std::to_string( set->ethAddrs().size() ) + " in all" );
      if( then ) {
         then();
      }
   }
   void onEthAddrquorImmediate() override { story_.tell( "immediate" ); }
   void onEthAddr() override { story_.tell( "all" ); }
   void onNotificationException( Quor::AttrId id ) override {
      story_.tell( "failed at " + std::to_string( id ) );
   }
   void onZeroReferences() override { story_.tell( "set goes" ); }

 private:
   Story &story_;
};

struct Watched {
   Story story;
   Ptr<EthAddrsForIntf> set = Quor::make<EthAddrsForIntf>( IntfId( "br10" ) );
   Ptr<Watcher> w = watcher();

   Ptr<Watcher> watcher() {
      auto made = Quor::make<Watcher>( story );
      made->notifierIs( set );
      made->isRegisteredNotifieeIs( true );
      return made;
   }
};

String told( U16 vrid, const char *state, int count ) {
   return macText( mac( vrid ) ) + " is " + state + ", " + std::to_string( count ) + " in all";
}

TEST( EthAddrsForIntf, StartsEmptyWithItsInterfaceAsKey ) {
   const auto set = Quor::make<EthAddrsForIntf>( IntfId( "br10" ) );
   EXPECT_EQ( set->vlanIntf(), IntfId( "br10" ) );
   EXPECT_EQ( set->fwkKey(), IntfId( "br10" ) );
   EXPECT_EQ( set->ethAddrs().size(), 0u );
}

TEST( EthAddrsForIntf, AddingAMacNotifiesOnceWhenItIsThere ) {
   Watched world;
   world.set->ethAddrIs( mac( 1 ), true );
   world.set->ethAddrIs( mac( 2 ), false );
   EXPECT_EQ( world.story.take(), ( Lines{ told( 1, "true", 1 ), told( 2, "false", 2 ) } ) );
   EXPECT_TRUE( world.set->ethAddr( mac( 1 ) ) );
   EXPECT_FALSE( world.set->ethAddr( mac( 2 ) ) );
   EXPECT_TRUE( world.set->ethAddrs().isMemberOf( mac( 2 ) ) );
   EXPECT_FALSE( world.set->ethAddr( mac( 3 ) ) );
}

TEST( EthAddrsForIntf, TheSameFlagAgainNotifiesNobodyAndAnotherOneDoes ) {
   Watched world;
   world.set->ethAddrIs( mac( 1 ), true );
   world.story.take();
   world.set->ethAddrIs( mac( 1 ), true );
   EXPECT_EQ( world.story.take(), Lines{} );
   world.set->ethAddrIs( mac( 1 ), false );
   EXPECT_EQ( world.story.take(), ( Lines{ told( 1, "false", 1 ) } ) );
}

TEST( EthAddrsForIntf, NewAddsAnEntryWithoutNotifying ) {
   Watched world;
   const auto entry = world.set->newEthAddr( mac( 1 ), true );
   EXPECT_EQ( entry->key(), mac( 1 ) );
   EXPECT_TRUE( world.set->ethAddr( mac( 1 ) ) );
   EXPECT_THROW( world.set->newEthAddr( mac( 1 ), true ), Quor::NameInUseException );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( EthAddrsForIntf, RemovingAMacNotifiesWhenItHasGoneAndGivesItsFlag ) {
   Watched world;
   world.set->newEthAddr( mac( 1 ), true );
   world.set->newEthAddr( mac( 2 ), false );
   EXPECT_TRUE( world.set->ethAddrDel( mac( 1 ) ) );
   EXPECT_EQ( world.story.take(), ( Lines{ told( 1, "absent", 1 ) } ) );
   EXPECT_FALSE( world.set->ethAddrDel( mac( 2 ) ) );
   EXPECT_EQ( world.story.take(), ( Lines{ told( 2, "absent", 0 ) } ) );
}

TEST( EthAddrsForIntf, RemovingAnAbsentMacGivesFalseAndNotifiesNobody ) {
   Watched world;
   world.set->newEthAddr( mac( 1 ), true );
   EXPECT_FALSE( world.set->ethAddrDel( mac( 2 ) ) );
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_EQ( world.set->ethAddrs().size(), 1u );
}

TEST( EthAddrsForIntf, RemovingUnderAnIteratorIsTheSame ) {
   Watched world;
   world.set->newEthAddr( mac( 1 ), true );
   const auto at = world.set->ethAddrs().begin();
   EXPECT_TRUE( world.set->ethAddrDel( at ) );
   EXPECT_EQ( world.story.take(), ( Lines{ told( 1, "absent", 0 ) } ) );
   EXPECT_FALSE( world.set->ethAddrDel( at ) );
   EXPECT_FALSE( world.set->ethAddrDel( world.set->ethAddrs().begin() ) );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( EthAddrsForIntf, RemovingAllNotifiesPerMacInTheOrderOfTheirHash ) {
   Watched world;
   const auto macs = inTableOrder<EthAddr>( { mac( 1 ), mac( 2 ), mac( 3 ) } );
   for( const EthAddr &mac : macs ) {
      world.set->newEthAddr( mac, true );
   }
   EXPECT_EQ( keysOf( world.set->ethAddrs() ), macs );
   world.set->ethAddrDelAll();
   EXPECT_EQ( world.story.take(), ( Lines{ macText( macs[0] ) + " is absent, 2 in all",
                                           macText( macs[1] ) + " is absent, 1 in all",
                                           macText( macs[2] ) + " is absent, 0 in all" } ) );
}

TEST( EthAddrsForIntf, IterationFollowsTheMirroredHashOfTheMac ) {
   const auto set = Quor::make<EthAddrsForIntf>( IntfId( "br10" ) );
   std::vector<EthAddr> macs;
   for( U16 vrid = 1; vrid <= 255; ++vrid ) {
      macs.push_back( mac( vrid ) );
      set->ethAddrIs( mac( vrid ), true );
   }
   EXPECT_EQ( keysOf( set->ethAddrs() ), inTableOrder( macs ) );
}

TEST( EthAddrsForIntf, NotifyTellsTheWatchersWhateverTheSetHolds ) {
   Watched world;
   world.set->ethAddrNotify( mac( 9 ) );
   EXPECT_EQ( world.story.take(), ( Lines{ told( 9, "absent", 0 ) } ) );
   world.w->isRegisteredNotifieeIs( false );
   world.set->ethAddrNotify( mac( 9 ) );
   EXPECT_EQ( world.story.take(), Lines{} );
}

TEST( EthAddrsForIntf, AWatcherThatThrowsIsToldTheIdentifierAndStopsNobodyElse ) {
   Watched world;
   const auto second = world.watcher();
   world.w->then = [] { throw std::runtime_error( "no" ); };
   world.set->ethAddrIs( mac( 1 ), true );
   EXPECT_EQ( world.story.take(),
              ( Lines{ told( 1, "true", 1 ), "failed at 131", told( 1, "true", 1 ) } ) );
}

TEST( EthAddrsForIntf, AWatcherThatOverridesNothingIsPassedOver ) {
   Watched world;
   const auto silent = Quor::make<EthAddrsForIntf::NotifieeConst>();
   silent->notifierIs( world.set );
   silent->isRegisteredNotifieeIs( true );
   silent->onEthAddr( mac( 1 ) );
   silent->onEthAddrquorImmediate();
   silent->onEthAddr();
   world.set->ethAddrIs( mac( 1 ), true );
   EXPECT_EQ( world.story.take(), ( Lines{ told( 1, "true", 1 ) } ) );
}

TEST( EthAddrsForIntf, SetsOfTwoInterfacesAreIndependent ) {
   Watched world;
   const auto other = Quor::make<EthAddrsForIntf>( IntfId( "br20" ) );
   world.set->ethAddrIs( mac( 1 ), true );
   world.story.take();
   other->ethAddrIs( mac( 1 ), true );
   other->ethAddrDel( mac( 1 ) );
   EXPECT_EQ( world.story.take(), Lines{} );
   EXPECT_TRUE( world.set->ethAddr( mac( 1 ) ) );
}

TEST( EthAddrsForIntf, GoingItTellsItsWatchers ) {
   Story story;
   auto set = Quor::make<EthAddrsForIntf>( IntfId( "br10" ) );
   const auto watcher = Quor::make<Watcher>( story );
   watcher->uncountedNotifierIs( set );
   watcher->isRegisteredNotifieeIs( true );
   set->newEthAddr( mac( 1 ), true );
   set = nullptr;
   EXPECT_EQ( story.take(), ( Lines{ "set goes" } ) );
}

} // namespace
} // namespace LibraryTests
