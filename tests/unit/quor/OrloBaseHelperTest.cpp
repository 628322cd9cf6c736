// The base of the hardware helpers, and what the hardware offers.
#include "platform/OrloBaseHelper.h"
#include "platform/HardwareStatus.h"
#include "tests/unit/support/DeathReport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

namespace Orlo {
namespace {

/// Sets or removes the variable that silences helpers without hardware; restores it.
class NoopAgent {
 public:
   explicit NoopAgent( const char *value ) {
      if( const char *const before = std::getenv( kName ) ) {
         before_ = before;
      }
      put( value );
   }
   ~NoopAgent() { put( before_ ? before_->c_str() : nullptr ); }
   NoopAgent( const NoopAgent & ) = delete;
   NoopAgent &operator=( const NoopAgent & ) = delete;

   static void put( const char *value ) {
      if( value ) {
         ::setenv( kName, value, 1 );
      } else {
         ::unsetenv( kName );
      }
   }

 private:
   static constexpr const char *kName = "ORLO_NOOP_AGENT";
   std::optional<Quor::String> before_;
};

Quor::String report( const Quor::String &message ) {
   return "(^|\n)" + Support::literally( message ) + "\n[^\n]*" +
          Support::assertionReport( "OrloCommon", 24,
                                    "void Orlo::OrloBaseHelper::orloAssert(Quor::String) const",
                                    "0" );
}

TEST( OrloBaseHelper, HasANameAndKnowsTheNamesOfItsAttributes ) {
   const auto helper = Quor::make<OrloBaseHelper>( "memory" );
   EXPECT_EQ( helper->name(), Quor::Name( "memory" ) );
   EXPECT_EQ( OrloBaseHelper::kName, 130u );
   EXPECT_EQ( helper->attributeString( OrloBaseHelper::kName ), "name" );
   EXPECT_EQ( helper->attributeString( 0 ), "" );
   EXPECT_EQ( helper->attributeString( 131 ), "" );
}

TEST( OrloBaseHelper, CanBeWatched ) {
   class Watcher : public OrloBaseHelper::NotifieeConst {};
   const auto helper = Quor::make<OrloBaseHelper>( "memory" );
   const auto watcher = Quor::make<Watcher>();
   watcher->notifierIs( helper );
   watcher->isRegisteredNotifieeIs( true );
   EXPECT_EQ( helper->notifieeCount(), 1u );
}

TEST( OrloBaseHelperDeathTest, AnOperationThatShouldHaveBeenOverriddenStopsTheProcess ) {
   const NoopAgent unset( nullptr );
   const OrloBaseHelper helper( "memory" );
   EXPECT_EXIT( helper.orloAssert( "not implemented: add (really)" ),
                testing::KilledBySignal( SIGABRT ), report( "not implemented: add (really)" ) );
   EXPECT_EXIT( helper.orloAssert( "" ), testing::KilledBySignal( SIGABRT ), report( "" ) );
}

TEST( OrloBaseHelper, WithTheVariablePresentItIsSilentWhateverTheValue ) {
   const OrloBaseHelper helper( "memory" );
   for( const char *value : { "1", "0", "no", "" } ) {
      const NoopAgent set( value );
      testing::internal::CaptureStderr();
      helper.orloAssert( "not implemented" );
      EXPECT_EQ( testing::internal::GetCapturedStderr(), "" ) << "ORLO_NOOP_AGENT=" << value;
   }
}

TEST( OrloBaseHelperDeathTest, TheVariableIsLookedUpAtEveryCall ) {
   const NoopAgent set( "1" );
   const OrloBaseHelper helper( "memory" );
   EXPECT_EXIT(
         {
            helper.orloAssert( "silent" );
            NoopAgent::put( nullptr );
            helper.orloAssert( "first time not silent" );
         },
         testing::KilledBySignal( SIGABRT ), report( "first time not silent" ) );
   EXPECT_EXIT(
         {
            NoopAgent::put( nullptr );
            NoopAgent::put( "" );
            helper.orloAssert( "silent again" );
            std::_Exit( 0 );
         },
         testing::ExitedWithCode( 0 ), "" );
}

TEST( HardwareStatus, OffersNoIndexesUntilThePlatformTells ) {
   const auto status = Quor::make<Routing::Fhrp::Hardware::Status>();
   EXPECT_EQ( status->virtualRouterCount(), 0u );
   status->virtualRouterCountIs( 0xFFFFFFFF );
   EXPECT_EQ( status->virtualRouterCount(), 0xFFFFFFFFu );
   EXPECT_EQ( Routing::Fhrp::Hardware::Status::kVirtualRouterCount, 130u );
}

} // namespace
} // namespace Orlo
