// The seam to the hardware: its flag, its names, and what happens to a platform that forgets it.
#include "OrloVrrpHelper/VrrpSmHelper.h"
#include "tests/unit/library/Story.h"
#include "tests/unit/library/Values.h"
#include "tests/unit/support/DeathReport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

namespace LibraryTests {
namespace {

using OrloHelper::CurrentVrrpStateForInit;
using OrloHelper::VrrpSmHelper;

class Watcher : public VrrpSmHelper::NotifieeConst {
 public:
   Watcher( Story &story, String name ) : story_( story ), name_( std::move( name ) ) {}

   std::function<void()> then;

   void onSyncCurrentStateOnInit() override {
      const auto helper = Ptr<const VrrpSmHelper>::share(
            dynamic_cast<const VrrpSmHelper *>( notifier().get() ) );
      story_.tell( name_ + ( helper->syncCurrentStateOnInit() ? ": true" : ": false" ) );
      if( then ) {
         then();
      }
   }
   void onNotificationException( Quor::AttrId id ) override {
      story_.tell( name_ + ": failed at " + std::to_string( id ) );
   }

 private:
   Story &story_;
   const String name_;
};

struct Watched {
   Story story;
   Ptr<VrrpSmHelper> helper = Quor::make<VrrpSmHelper>( "chip" );

   Ptr<Watcher> watcher( const String &name ) {
      auto made = Quor::make<Watcher>( story, name );
      made->notifierIs( helper );
      made->isRegisteredNotifieeIs( true );
      return made;
   }
};

/// Sets or clears a variable of the environment for a scope.
class Environment {
 public:
   explicit Environment( const char *value ) {
      if( value ) {
         ::setenv( kName, value, 1 );
      } else {
         ::unsetenv( kName );
      }
   }
   ~Environment() { ::unsetenv( kName ); }
   Environment( const Environment & ) = delete;
   Environment &operator=( const Environment & ) = delete;

 private:
   static constexpr char kName[] = "ORLO_NOOP_AGENT";
};

// Construction

TEST( VrrpSmHelper, StartsWithItsNameAndWithoutTheFlag ) {
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   EXPECT_EQ( helper->name(), Quor::Name( "chip" ) );
   EXPECT_FALSE( helper->syncCurrentStateOnInit() );
   EXPECT_EQ( helper->notifieeCount(), 0u );
}

// Names

TEST( VrrpSmHelper, NamesItsAttributesByTheirIdentifiers ) {
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   EXPECT_EQ( helper->attributeString( 386 ), "syncCurrentStateOnInit" );
   EXPECT_EQ( helper->attributeString( 387 ), "addVirtualRouterMac" );
   EXPECT_EQ( helper->attributeString( 388 ), "deleteVirtualRouterMac" );
   EXPECT_EQ( helper->attributeString( 389 ), "syncVrrpStateOnInit" );
   EXPECT_EQ( helper->attributeString( 390 ), "initializationComplete" );
}

TEST( VrrpSmHelper, LeavesOtherIdentifiersToItsBase ) {
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   const auto base = Quor::make<Orlo::OrloBaseHelper>( "base" );
   for( const Quor::AttrId id : { 0u, 5u, 130u, 131u, 385u, 391u, ~0u } ) {
      EXPECT_EQ( helper->attributeString( id ), base->attributeString( id ) ) << id;
   }
   EXPECT_EQ( helper->attributeString( 130 ), "name" );
}

// The flag

TEST( VrrpSmHelper, TheFlagIsStored ) {
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   helper->syncCurrentStateOnInitIs( true );
   EXPECT_TRUE( helper->syncCurrentStateOnInit() );
   helper->syncCurrentStateOnInitIs( false );
   EXPECT_FALSE( helper->syncCurrentStateOnInit() );
}

TEST( VrrpSmHelper, OnlyAChangeOfTheFlagNotifies ) {
   Watched world;
   const auto first = world.watcher( "w" );
   const auto second = world.watcher( "v" );
   world.helper->syncCurrentStateOnInitIs( false );
   EXPECT_EQ( world.story.take(), Lines{} );
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: true", "v: true" } ) );
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( world.story.take(), Lines{} );
   world.helper->syncCurrentStateOnInitIs( false );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: false", "v: false" } ) );
}

TEST( VrrpSmHelper, AnObserverThatMayWriteHearsTheFlagToo ) {
   class Writer : public VrrpSmHelper::Notifiee {
    public:
      int calls = 0;
      void onSyncCurrentStateOnInit() override { ++calls; }
   };
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   const auto writer = Quor::make<Writer>();
   writer->notifierIs( helper );
   writer->isRegisteredNotifieeIs( true );
   helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( writer->calls, 1 );
   EXPECT_EQ( Ptr<VrrpSmHelper>( writer->notifier() ), helper );
}

TEST( VrrpSmHelper, ObserversOfTheBaseKindAreSkipped ) {
   Watched world;
   const auto base = Quor::make<Orlo::OrloBaseHelper::NotifieeConst>();
   base->notifierIs( world.helper );
   base->isRegisteredNotifieeIs( true );
   const auto after = world.watcher( "w" );
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: true" } ) );
}

TEST( VrrpSmHelper, TheDefaultObserverDoesNothing ) {
   Watched world;
   const auto silent = Quor::make<VrrpSmHelper::NotifieeConst>();
   silent->notifierIs( world.helper );
   silent->isRegisteredNotifieeIs( true );
   const auto after = world.watcher( "w" );
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: true" } ) );
}

TEST( VrrpSmHelper, AnObserverThatThrowsIsToldTheIdentifierAndTheNextIsCalled ) {
   Watched world;
   const auto thrower = world.watcher( "w" );
   const auto next = world.watcher( "v" );
   thrower->then = [] { throw std::runtime_error( "no" ); };
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: true", "w: failed at 386", "v: true" } ) );
   EXPECT_TRUE( world.helper->syncCurrentStateOnInit() );
}

TEST( VrrpSmHelper, AnObserverThatUnregistersItselfDisturbsNobody ) {
   Watched world;
   const auto first = world.watcher( "w" );
   const auto leaver = world.watcher( "v" );
   const auto last = world.watcher( "x" );
   leaver->then = [&] { leaver->isRegisteredNotifieeIs( false ); };
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: true", "v: true", "x: true" } ) );
   world.helper->syncCurrentStateOnInitIs( false );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: false", "x: false" } ) );
}

TEST( VrrpSmHelper, AnObserverReleasedDuringDeliveryIsNotCalled ) {
   Watched world;
   const auto first = world.watcher( "w" );
   auto released = world.watcher( "v" );
   const auto last = world.watcher( "x" );
   first->then = [&] { released = nullptr; };
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: true", "x: true" } ) );
}

TEST( VrrpSmHelper, AnObserverRegisteredDuringDeliveryHearsTheNextChange ) {
   Watched world;
   const auto first = world.watcher( "w" );
   Ptr<Watcher> late;
   first->then = [&] {
      if( !late ) {
         late = world.watcher( "late" );
      }
   };
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: true" } ) );
   world.helper->syncCurrentStateOnInitIs( false );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: false", "late: false" } ) );
}

TEST( VrrpSmHelper, AnObserverMayDropTheHelper ) {
   Watched world;
   const auto watcher = Quor::make<Watcher>( world.story, "w" );
   watcher->uncountedNotifierIs( world.helper );
   watcher->isRegisteredNotifieeIs( true );
   watcher->then = [&] { world.helper = nullptr; };
   world.helper->syncCurrentStateOnInitIs( true );
   EXPECT_EQ( world.story.take(), ( Lines{ "w: true" } ) );
   EXPECT_EQ( watcher->notifier(), nullptr );
}

// Default bodies

TEST( VrrpSmHelper, SyncAndCompletionDoNothingByDefault ) {
   const Environment none( nullptr );
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   const auto snapshot = Quor::make<CurrentVrrpStateForInit>();
   helper->syncVrrpStateOnInit( snapshot );
   helper->initializationComplete();
   EXPECT_EQ( snapshot->virtualRouterIndexes().size(), 0u );
   EXPECT_FALSE( helper->syncCurrentStateOnInit() );
}

TEST( VrrpSmHelper, AddAndDeleteAreSilentForAnAgentWithoutHardware ) {
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   for( const char *const value : { "1", "0", "" } ) {
      const Environment noop( value );
      testing::internal::CaptureStderr();
      helper->addVirtualRouterMac( mac( 1 ), 10, 0 );
      helper->deleteVirtualRouterMac( mac( 1 ), 10, 0 );
      EXPECT_EQ( testing::internal::GetCapturedStderr(), "" );
   }
}

/// The message, and right behind it the assertion.
String mustBeImplemented() {
   return "^" + Support::literally( "This function must be implemented by derived class\n" ) +
          "[^\n]*" +
          Support::assertionReport( "OrloCommon", 24,
                                    "void Orlo::OrloBaseHelper::orloAssert(Quor::String) const",
                                    "0" );
}

TEST( VrrpSmHelperDeathTest, APlatformThatForgetsAddIsStopped ) {
   const Environment none( nullptr );
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   EXPECT_EXIT( helper->addVirtualRouterMac( mac( 1 ), 10, 0 ), testing::KilledBySignal( SIGABRT ),
                mustBeImplemented() );
}

TEST( VrrpSmHelperDeathTest, APlatformThatForgetsDeleteIsStopped ) {
   const Environment none( nullptr );
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   EXPECT_EXIT( helper->deleteVirtualRouterMac( mac( 1 ), 10, 0 ),
                testing::KilledBySignal( SIGABRT ), mustBeImplemented() );
}

TEST( VrrpSmHelperDeathTest, TheEnvironmentIsLookedUpAtEveryCall ) {
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   {
      const Environment noop( "1" );
      helper->addVirtualRouterMac( mac( 1 ), 10, 0 );
   }
   EXPECT_EXIT( helper->addVirtualRouterMac( mac( 1 ), 10, 0 ), testing::KilledBySignal( SIGABRT ),
                mustBeImplemented() );
   const Environment noop( "" );
   helper->addVirtualRouterMac( mac( 1 ), 10, 0 );
}

TEST( VrrpSmHelperDeathTest, AnyMessageOfAPlatformIsReportedTheSameWay ) {
   const Environment none( nullptr );
   const auto helper = Quor::make<VrrpSmHelper>( "chip" );
   EXPECT_EXIT( helper->orloAssert( "out of slots" ), testing::KilledBySignal( SIGABRT ),
                "^out of slots\n[^\n]*OrloCommon:24: " );
}

} // namespace
} // namespace LibraryTests
