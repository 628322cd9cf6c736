// Assertions stop the process in every build, and report as the C library's own do.
#include "quor/Assert.h"
#include "tests/unit/support/DeathReport.h"

#include <gtest/gtest.h>

namespace Quor {
namespace {

constexpr AssertSite kSite{ "initialized()", 107, "OrloVrrpSm",
                            "void Orlo::VrrpSm::handleVrrpMac(const VlanAndMac&)" };

TEST( Assert, WhatHoldsPasses ) {
   int passed = 0;
   require( true, kSite );
   ++passed;
   EXPECT_EQ( passed, 1 );
}

TEST( AssertDeathTest, WhatDoesNotHoldStopsTheProcessWithTheWholeReport ) {
   EXPECT_EXIT( require( false, kSite ), testing::KilledBySignal( SIGABRT ),
                "[^ ]+: OrloVrrpSm:107: void Orlo::VrrpSm::handleVrrpMac\\(const VlanAndMac&\\): "
                "Assertion `initialized\\(\\)' failed\\." );
}

TEST( AssertDeathTest, AFailureIsReportedTheSameWayWithoutACondition ) {
   EXPECT_EXIT( assertionFailed( { "0", 24, "OrloCommon", "void f()" } ),
                testing::KilledBySignal( SIGABRT ),
                Support::assertionReport( "OrloCommon", 24, "void f()", "0" ) );
}

} // namespace
} // namespace Quor
