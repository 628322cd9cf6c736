// Where the programmer stops the process, and what it says then.
#include "tests/unit/library/Programming.h"
#include "tests/unit/support/DeathReport.h"

#include <gtest/gtest.h>

#include <iostream>
#include <new>

namespace LibraryTests {
namespace {

constexpr char kHandleKey[] =
      "void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)";

String stopped( U32 line, const char *function, const char *expression ) {
   return Support::assertionReport( "OrloVrrpSm", line, function, expression ) + "\n$";
}

#define EXPECT_STOPPED( statement, report )                                                        \
   EXPECT_EXIT( statement, testing::KilledBySignal( SIGABRT ), report )

/// Writes its calls to standard error, where the report of the assertion follows.
class LoudHelper : public OrloHelper::VrrpSmHelper {
 public:
   LoudHelper() : VrrpSmHelper( "loud" ) {}

   void addVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      std::cerr << call( "add", mac, vlanId, index ) << std::endl;
   }
   void deleteVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      std::cerr << call( "delete", mac, vlanId, index ) << std::endl;
   }
   void syncVrrpStateOnInit( const Ptr<CurrentVrrpStateForInit> &snapshot ) override {
      snapshot->virtualRouterIndexIs( a, 5 );
      syncCurrentStateOnInitIs( false );
   }
};

struct Loud {
   Ptr<VirtualRouterMacTable> table = virtualRouterMacTableFactory();
   Ptr<Hardware> hardware = Quor::make<Hardware>();
   Ptr<OrloHelper::VrrpSmHelper> helper = Quor::make<LoudHelper>();
   Ptr<VrrpSm> sm;

   explicit Loud( U32 indexes ) { hardware->virtualRouterCountIs( indexes ); }
   void start() { sm = Orlo::VrrpSmIs( table, hardware, helper ); }
};

TEST( AssertionDeathTest, HandlingAKeyBeforeTheStartStops ) {
   Running world( 2 );
   world.sm->initializedIs( false );
   EXPECT_STOPPED( world.sm->handleVrrpMac( a ), stopped( 107, kHandleKey, "initialized()" ) );
   EXPECT_STOPPED( world.wanted( a ), stopped( 107, kHandleKey, "initialized()" ) );
}

TEST( AssertionDeathTest, HandlingAllKeysBeforeTheStartStops ) {
   Running world( 2 ); // also without a key
   world.sm->initializedIs( false );
   EXPECT_STOPPED( world.sm->handleVrrpMac(),
                   stopped( 96, "void Orlo::VrrpSm::handleVrrpMac()", "initialized()" ) );
   world.sm->vrrpMacStatusIs( nullptr ); // also without a table
   EXPECT_STOPPED( world.sm->handleVrrpMac(),
                   stopped( 96, "void Orlo::VrrpSm::handleVrrpMac()", "initialized()" ) );
}

TEST( AssertionDeathTest, AProgrammedPairProgrammedAgainStopsBehindTheHelper ) {
   Loud world( 3 );
   world.start();
   world.table->newVirtualRouterMac( a, true );
   world.sm->virtualRouterIndexIs( a, 7 );
   EXPECT_STOPPED( world.sm->handleVrrpMac( a ),
                   "^" + added( a, 0 ) + "\n[^\n]*" +
                         stopped( 124, kHandleKey,
                                  "!virtualRouterIndexIteratorConst().isMemberOf( vrMac )" ) );
}

TEST( AssertionDeathTest, HandlingAllKeysAfterTheStartStopsAtAProgrammedOne ) {
   Running world( 3, { a } );
   EXPECT_STOPPED(
         world.sm->handleVrrpMac(),
         stopped( 124, kHandleKey, "!virtualRouterIndexIteratorConst().isMemberOf( vrMac )" ) );
}

TEST( AssertionDeathTest, ATableThatHoldsAProgrammedKeyStopsWhenItIsTaken ) {
   Running world( 3, { a } );
   const auto other = virtualRouterMacTableFactory();
   other->virtualRouterMacIs( a, true );
   EXPECT_STOPPED(
         world.sm->vrrpMacStatusIs( other ),
         stopped( 124, kHandleKey, "!virtualRouterIndexIteratorConst().isMemberOf( vrMac )" ) );
}

TEST( AssertionDeathTest, AChangedFlagOfAProgrammedKeyStops ) {
   Running world( 3, { a } );
   EXPECT_STOPPED(
         world.table->virtualRouterMacIs( a, false ),
         stopped( 124, kHandleKey, "!virtualRouterIndexIteratorConst().isMemberOf( vrMac )" ) );
}

TEST( AssertionDeathTest, AnAdoptedPairIsOnlyPassedOverWhileTheFlagIsSet ) {
   Loud world( 3 );
   world.table->virtualRouterMacIs( a, true );
   world.helper->syncCurrentStateOnInitIs(
         true ); // the helper clears it in the middle of the start
   EXPECT_STOPPED( world.start(),
                   "^" + added( a, 0 ) + "\n[^\n]*" +
                         stopped( 124, kHandleKey,
                                  "!virtualRouterIndexIteratorConst().isMemberOf( vrMac )" ) );
}

TEST( AssertionDeathTest, AWaitingPairThatIsProgrammedStopsBehindTheHelper ) {
   Loud world( 1 );
   world.start();
   world.sm->virtualRouterIndexIs( a, 0 );
   world.sm->virtualRouterIndexIs( b, 7 );
   world.sm->macsNeedingVirtualRouterIndexEnq( b );
   EXPECT_STOPPED( world.sm->handleVrrpMac( a ),
                   "^" + deleted( a, 0 ) + "\n" + added( b, 0 ) + "\n[^\n]*" +
                         stopped( 140, kHandleKey,
                                  "!virtualRouterIndexIteratorConst().isMemberOf( vrMacNew )" ) );
}

// Without a helper

TEST( AssertionDeathTest, AStartWithoutAHelperStopsWithThePoolFilled ) {
   Programming world( 3 );
   world.helper = nullptr;
   Quor::traceLevelsIs( kProgrammer, 1u << 3 );
   EXPECT_STOPPED( world.start(),
                   "Preparing indexes for 3 Vrrp routers.\n[^\n]*" +
                         stopped( 46, "void Orlo::VrrpSm::handleInitialized()", "vrrpHelper()" ) );
   Quor::traceLevelsIs( kProgrammer, 0 );
}

/// Makes a programmer without a helper and, when its start has come to the first trace, does with
/// it what only a programmer without a helper stops at.
template <class Do>
void duringAStartWithoutAHelper( const Do &what ) {
   alignas( VrrpSm ) static std::byte storage[sizeof( VrrpSm )];
   const auto hardware = Quor::make<Hardware>();
   Quor::traceLevelsIs( kProgrammer, 1u << 2 );
   Quor::traceSinkIs(
         [&]( const Quor::TraceRecord & ) { what( *reinterpret_cast<VrrpSm *>( storage ) ); } );
   new( storage ) VrrpSm( nullptr, hardware, nullptr );
}

TEST( AssertionDeathTest, AnAddWithoutAHelperStops ) {
   EXPECT_STOPPED(
         duringAStartWithoutAHelper( []( VrrpSm &sm ) { sm.doAddVirtualRouterMac( a, 0 ); } ),
         stopped( 169,
                  "void Orlo::VrrpSm::doAddVirtualRouterMac(const "
                  "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)",
                  "vrrpHelper()" ) );
}

TEST( AssertionDeathTest, ADeleteWithoutAHelperStops ) {
   EXPECT_STOPPED(
         duringAStartWithoutAHelper( []( VrrpSm &sm ) { sm.doDeleteVirtualRouterMac( a, 0 ); } ),
         stopped( 187,
                  "void Orlo::VrrpSm::doDeleteVirtualRouterMac(const "
                  "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)",
                  "vrrpHelper()" ) );
}

TEST( AssertionDeathTest, OnVlan0NobodyMissesTheHelper ) {
   const VlanAndMac zero = pair( 0, 1 ); // so what stops is the start itself
   EXPECT_STOPPED( duringAStartWithoutAHelper( [&]( VrrpSm &sm ) {
                      sm.doAddVirtualRouterMac( zero, 0 );
                      sm.doDeleteVirtualRouterMac( zero, 0 );
                   } ),
                   stopped( 46, "void Orlo::VrrpSm::handleInitialized()", "vrrpHelper()" ) );
}

TEST( AssertionDeathTest, AStartWithoutAHardwareStatusStops ) {
   Programming world( 3 );
   world.hardware = nullptr;
   EXPECT_EXIT( world.start(), testing::KilledBySignal( SIGABRT ), "" );
}

} // namespace
} // namespace LibraryTests
