// The whole way from the redundancy protocol's status to the hardware, with every trace.
#include "tests/unit/library/Programming.h"
#include "tests/unit/library/Reflecting.h"

#include <gtest/gtest.h>

#include <sstream>

namespace LibraryTests {
namespace {

/// Both halves over one table: br10 serves VLAN 10, the hardware has two indexes.
struct Pipeline : Programming {
   Ptr<VirtualRouterMacStatus> status = Quor::make<VirtualRouterMacStatus>();
   Ptr<IntfVlanIdSet::Table> vlanSets = Quor::make<IntfVlanIdSet::Table>();
   Ptr<SviVlanSet> br10 = vlanSets->sviVlanSetIs( IntfId( "br10" ) );
   Ptr<LibSm> reflector;

   Pipeline() : Programming( 2 ) { br10->vlanIdIs( vlan( 10 ), true ); }
   void startBoth() {
      reflector = libSmFactory( status, vlanSets, table );
      start();
   }
   void appears( U16 vrid ) { status->vrrpVirtualMacIs( record( vrid ), true ); }
   void disappears( U16 vrid ) { status->vrrpVirtualMacDel( record( vrid ) ); }
   static VirtualRouterMac record( U16 vrid ) {
      return VirtualRouterMac( IntfId( "br10" ), mac( vrid ) );
   }
};

/// One day in the life of a switch whose hardware holds a pair of the day before.
void day( Pipeline &world ) {
   world.appears( 1 );
   world.helper->holds( { { pair( 10, 1 ), 1 } } );
   world.startBoth();
   world.br10->vlanIdIs( vlan( 20 ), true );
   world.appears( 2 );
   world.disappears( 1 );
   world.br10->vlanIdDel( vlan( 20 ) );
   world.disappears( 2 );
   world.appears( 3 );
   world.sm->doCleanup();
   world.sm = nullptr;
   world.reflector = nullptr;
}

// VLAN 20 stands before VLAN 10 in a set. A bar shows a blank at the end of a line.
constexpr char kDay[] = R"(
8 OrloVrrpPrivateVlanReflectorLib handleInitialized: handleInitialized
8 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: LibSm::handleVirtualRouterMac(br10/00:00:5e:00:01:01)
2 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: br10/00:00:5e:00:01:01 appeared in input table
8 OrloVrrpPrivateVlanReflectorLib handleDmacsForIntf: LibSm::handleDmacsForIntf(br10)
0 OrloVrrpPrivateVlanReflectorLib handleDmacsForIntf: Creating vlan sm for br10
8 OrloVrrpPrivateVlanReflectorLib handleInitialized: VlanIntfSm(br10)::handleInitialized
8 OrloVrrpPrivateVlanReflectorLib handleVlanId: VlanIntfSm(br10)::handleVlanId(10)
1 OrloVrrpPrivateVlanReflectorLib handleVlanId: Intf br10 adding VLAN 10
8 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10)::handleDmac(00:00:5e:00:01:01)
2 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10) adding Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:01})
2 OrloVrrpSm:33 handleInitialized: void Orlo::VrrpSm::handleInitialized()
3 OrloVrrpSm:39 handleInitialized: Preparing indexes for 2 Vrrp routers.
3 OrloVrrpSm:49 handleInitialized: Syncing vrrp state
sync
3 OrloVrrpSm:54 handleInitialized: Index:1 vrmac:Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:01})
4 OrloVrrpSm:108 handleVrrpMac: void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:01}) )
flag false
complete
8 OrloVrrpPrivateVlanReflectorLib handleVlanId: VlanIntfSm(br10)::handleVlanId(20)
1 OrloVrrpPrivateVlanReflectorLib handleVlanId: Intf br10 adding VLAN 20
2 OrloVrrpPrivateVlanReflectorLib handleVlanId: VlanIntfSm(br10) adding Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:01})
4 OrloVrrpSm:108 handleVrrpMac: void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:01}) )
4 OrloVrrpSm:122 handleVrrpMac:  adding vrmac at index 0
5 OrloVrrpSm:160 doAddVirtualRouterMac: void Orlo::VrrpSm::doAddVirtualRouterMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:01}) ), 0
add 00:00:5e:00:01:01 on VLAN 20 at 0
8 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: LibSm::handleVirtualRouterMac(br10/00:00:5e:00:01:02)
2 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: br10/00:00:5e:00:01:02 appeared in input table
8 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10)::handleDmac(00:00:5e:00:01:02)
2 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10) adding Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:02})
4 OrloVrrpSm:108 handleVrrpMac: void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:02}) )
4 OrloVrrpSm:127 handleVrrpMac:  enq to macsNeedingVirtualRouterIndex |
2 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10) adding Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:02})
4 OrloVrrpSm:108 handleVrrpMac: void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:02}) )
4 OrloVrrpSm:127 handleVrrpMac:  enq to macsNeedingVirtualRouterIndex |
8 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: LibSm::handleVirtualRouterMac(br10/00:00:5e:00:01:01)
2 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: br10/00:00:5e:00:01:01 disappeared from input table
8 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10)::handleDmac(00:00:5e:00:01:01)
2 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10) removing Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:01})
4 OrloVrrpSm:108 handleVrrpMac: void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:01}) )
4 OrloVrrpSm:132 handleVrrpMac:  deleting vrmac Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:01})at index 0
5 OrloVrrpSm:178 doDeleteVirtualRouterMac: void Orlo::VrrpSm::doDeleteVirtualRouterMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:01}) ), 0
delete 00:00:5e:00:01:01 on VLAN 20 at 0
5 OrloVrrpSm:160 doAddVirtualRouterMac: void Orlo::VrrpSm::doAddVirtualRouterMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:02}) ), 0
add 00:00:5e:00:01:02 on VLAN 20 at 0
2 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10) removing Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:01})
4 OrloVrrpSm:108 handleVrrpMac: void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:01}) )
4 OrloVrrpSm:132 handleVrrpMac:  deleting vrmac Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:01})at index 1
5 OrloVrrpSm:178 doDeleteVirtualRouterMac: void Orlo::VrrpSm::doDeleteVirtualRouterMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:01}) ), 1
delete 00:00:5e:00:01:01 on VLAN 10 at 1
5 OrloVrrpSm:160 doAddVirtualRouterMac: void Orlo::VrrpSm::doAddVirtualRouterMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:02}) ), 1
add 00:00:5e:00:01:02 on VLAN 10 at 1
8 OrloVrrpPrivateVlanReflectorLib handleVlanId: VlanIntfSm(br10)::handleVlanId(20)
1 OrloVrrpPrivateVlanReflectorLib handleVlanId: Intf br10 deleting VLAN 20
2 OrloVrrpPrivateVlanReflectorLib handleVlanId: VlanIntfSm(br10) removing Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:02})
4 OrloVrrpSm:108 handleVrrpMac: void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:02}) )
4 OrloVrrpSm:132 handleVrrpMac:  deleting vrmac Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:02})at index 0
5 OrloVrrpSm:178 doDeleteVirtualRouterMac: void Orlo::VrrpSm::doDeleteVirtualRouterMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 20, 'mac': 00:00:5e:00:01:02}) ), 0
delete 00:00:5e:00:01:02 on VLAN 20 at 0
8 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: LibSm::handleVirtualRouterMac(br10/00:00:5e:00:01:02)
2 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: br10/00:00:5e:00:01:02 disappeared from input table
8 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10)::handleDmac(00:00:5e:00:01:02)
2 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10) removing Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:02})
4 OrloVrrpSm:108 handleVrrpMac: void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:02}) )
4 OrloVrrpSm:132 handleVrrpMac:  deleting vrmac Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:02})at index 1
5 OrloVrrpSm:178 doDeleteVirtualRouterMac: void Orlo::VrrpSm::doDeleteVirtualRouterMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:02}) ), 1
delete 00:00:5e:00:01:02 on VLAN 10 at 1
4 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: Removing dmacs table for br10
8 OrloVrrpPrivateVlanReflectorLib handleDmacsForIntf: LibSm::handleDmacsForIntf(br10)
0 OrloVrrpPrivateVlanReflectorLib handleDmacsForIntf: Removing vlan sm for br10
8 OrloVrrpPrivateVlanReflectorLib doCleanup: VlanIntfSm(br10)::doCleanup
8 OrloVrrpPrivateVlanReflectorLib handleDmacsForIntf: LibSm::handleDmacsForIntf(br10)
8 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: LibSm::handleVirtualRouterMac(br10/00:00:5e:00:01:03)
2 OrloVrrpPrivateVlanReflectorLib handleVirtualRouterMac: br10/00:00:5e:00:01:03 appeared in input table
8 OrloVrrpPrivateVlanReflectorLib handleDmacsForIntf: LibSm::handleDmacsForIntf(br10)
0 OrloVrrpPrivateVlanReflectorLib handleDmacsForIntf: Creating vlan sm for br10
8 OrloVrrpPrivateVlanReflectorLib handleInitialized: VlanIntfSm(br10)::handleInitialized
8 OrloVrrpPrivateVlanReflectorLib handleVlanId: VlanIntfSm(br10)::handleVlanId(10)
1 OrloVrrpPrivateVlanReflectorLib handleVlanId: Intf br10 adding VLAN 10
8 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10)::handleDmac(00:00:5e:00:01:03)
2 OrloVrrpPrivateVlanReflectorLib handleDmac: VlanIntfSm(br10) adding Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:03})
4 OrloVrrpSm:108 handleVrrpMac: void Orlo::VrrpSm::handleVrrpMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:03}) )
4 OrloVrrpSm:122 handleVrrpMac:  adding vrmac at index 0
5 OrloVrrpSm:160 doAddVirtualRouterMac: void Orlo::VrrpSm::doAddVirtualRouterMac(const Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)( Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:03}) ), 0
add 00:00:5e:00:01:03 on VLAN 10 at 0
2 OrloVrrpSm:75 doCleanup: void Orlo::VrrpSm::doCleanup()
8 OrloVrrpPrivateVlanReflectorLib handleDmacsForIntf: LibSm::handleDmacsForIntf(br10)
0 OrloVrrpPrivateVlanReflectorLib handleDmacsForIntf: Removing vlan sm for br10
8 OrloVrrpPrivateVlanReflectorLib doCleanup: VlanIntfSm(br10)::doCleanup
2 OrloVrrpPrivateVlanReflectorLib doCleanup: VlanIntfSm(br10) removing Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': 10, 'mac': 00:00:5e:00:01:03})
)";

Lines linesOf( const String &text ) {
   std::istringstream in( text );
   Lines lines;
   for( String line; std::getline( in, line ); ) {
      if( !line.empty() ) {
         lines.push_back( line.back() == '|' ? line.substr( 0, line.size() - 1 ) : line );
      }
   }
   return lines;
}

bool isTrace( const String &line ) {
   return line[0] >= '0' && line[0] <= '9';
}

/// The lines of the day that `isWanted`.
template <class Predicate>
Lines dayWith( const Predicate &isWanted ) {
   Lines lines = linesOf( kDay );
   std::erase_if( lines, [&]( const String &line ) { return !isWanted( line ); } );
   return lines;
}

TEST( Pipeline, ADayAtAllTraceLevels ) {
   Pipeline world;
   world.story.traces();
   day( world );
   EXPECT_EQ( world.story.take(), linesOf( kDay ) );
}

TEST( Pipeline, ADayWithoutTraces ) {
   Pipeline world;
   day( world );
   EXPECT_EQ( world.story.take(),
              dayWith( []( const String &line ) { return !isTrace( line ); } ) );
}

TEST( Pipeline, ADayAtEachLevelByItself ) {
   for( U32 level = 0; level <= 9; ++level ) {
      Pipeline world;
      world.story.traces( 1u << level );
      day( world );
      EXPECT_EQ( world.story.take(), dayWith( [&]( const String &line ) {
                    return !isTrace( line ) || line[0] == std::to_string( level )[0];
                 } ) )
            << "level " << level;
   }
}

TEST( Pipeline, TracesNameTheirFacilityTheirSourceAndTheirLine ) {
   Pipeline world;
   for( const char *const facility : { kProgrammer, kReflector } ) {
      Quor::traceLevelsIs( facility, Quor::kAllTraceLevels );
   }
   int programmers = 0;
   int reflectors = 0;
   Quor::traceSinkIs( [&]( const Quor::TraceRecord &record ) {
      EXPECT_STREQ( record.context, "<unknown>" );
      EXPECT_GT( record.line, 0u );
      if( record.facility.name() == "OrloVrrp" ) {
         ++programmers;
         EXPECT_STREQ( record.source, "OrloVrrpSm" );
      } else {
         ++reflectors;
         EXPECT_EQ( record.facility.name(), "OrloVrrpPrivateVlanReflectorLib" );
         EXPECT_STREQ( record.source, "OrloVrrpPrivateVlanReflectorLib" );
      }
   } );
   day( world );
   Quor::traceSinkIs( {} );
   for( const char *const facility : { kProgrammer, kReflector } ) {
      Quor::traceLevelsIs( facility, 0 );
   }
   EXPECT_GT( programmers, 0 );
   EXPECT_GT( reflectors, 0 );
}

TEST( Pipeline, TracesThatAreOffAreFormattedForTheCoverageStream ) {
   Pipeline world;
   std::ostringstream covered;
   Quor::coverageStream = &covered;
   Quor::traceSinkIs( []( const Quor::TraceRecord &record ) {
      ADD_FAILURE() << "not live: " << record.message;
   } );
   day( world );
   Quor::traceSinkIs( {} );
   Quor::coverageStream = nullptr;
   const Lines lines = linesOf( covered.str() );
   const Lines traces = dayWith( isTrace );
   ASSERT_EQ( lines.size(), traces.size() );
   for( std::size_t i = 0; i < lines.size(); ++i ) {
      const String message = traces[i].substr( traces[i].find( ": " ) + 2 );
      EXPECT_NE( lines[i].find( message ), String::npos ) << lines[i];
   }
}

TEST( Pipeline, ARestartOfBothHalvesWritesNothingToTheHardware ) {
   Pipeline world;
   world.appears( 1 );
   world.appears( 2 );
   world.startBoth();
   const Slots before = world.programmed();
   ASSERT_EQ( before.size(), 2u );
   world.sm = nullptr; // first: it must not see the reflector's table run empty
   world.reflector = nullptr;
   world.story.take();
   world.helper->holds( before );
   world.startBoth();
   EXPECT_EQ( world.story.take(), ( Lines{ kSync, kFlagCleared, kComplete } ) );
   EXPECT_EQ( world.programmed(), before );
}

TEST( Pipeline, ARecordThatFlapsMovesTheIndexesOn ) {
   Pipeline world;
   world.startBoth();
   world.story.take();
   world.appears( 1 );
   world.disappears( 1 );
   world.appears( 1 );
   world.disappears( 1 );
   EXPECT_EQ( world.story.take(),
              ( Lines{ added( pair( 10, 1 ), 0 ), deleted( pair( 10, 1 ), 0 ),
                       added( pair( 10, 1 ), 1 ), deleted( pair( 10, 1 ), 1 ) } ) );
}

} // namespace
} // namespace LibraryTests
