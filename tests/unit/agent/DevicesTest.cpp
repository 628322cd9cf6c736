// Which device stands for a virtual router MAC: every state that the VRRP daemons were seen to
// make.
#include "agent/input/Devices.h"
#include "agent/Limits.h"
#include "tests/unit/agent/FakeKernel.h"

#include <gtest/gtest.h>

namespace OrloAgent {
namespace {

constexpr IfIndex kSvi = 3;
constexpr IfIndex kDevice = 7;
const std::string kSviLinkLocal = "fe80::1";

/// A VLAN interface br10 with a link-local address, and a device vrrp.51 on it.
class DevicesTest : public testing::Test {
 protected:
   DevicesTest() {
      devices_.linkIs( svi( kSvi, "br10" ) );
      devices_.addressIs( address( kSvi, "10.0.0.2/24" ) );
      devices_.addressIs( address( kSvi, kSviLinkLocal ) );
   }

   void deviceIs( const Link &link, const std::vector<std::string> &addresses = {} ) {
      devices_.linkIs( link );
      for( const std::string &one : addresses ) {
         devices_.addressIs( address( link.ifindex, one ) );
      }
   }
   /// "published: why" or "not: why" for the one device that there is.
   std::string verdict() const {
      const std::vector<Verdict> verdicts = devices_.verdicts();
      EXPECT_EQ( verdicts.size(), 1u );
      return verdicts.empty() ? "" : text( verdicts.front() );
   }
   static std::string text( const Verdict &verdict ) {
      return ( verdict.published ? "published: " : "not: " ) + verdict.reason;
   }
   static Link device( bool up = true, bool lowerUp = true, bool protoDown = false ) {
      Link link = macvlan( kDevice, "vrrp.51", kSvi, vrrpMac( 51 ) );
      link.up = up;
      link.lowerUp = lowerUp;
      link.protoDown = protoDown;
      return link;
   }

   Devices devices_{ { Pelmo::IntfId( "br10" ), Pelmo::IntfId( "br20" ) } };
};

TEST_F( DevicesTest, WhatADeviceStandsFor ) {
   deviceIs( device(), { "10.0.0.1/24" } );
   const Verdict expected{
         "vrrp.51", { Pelmo::IntfId( "br10" ), vrrpMac( 51 ) }, true, "has 10.0.0.1" };
   EXPECT_EQ( devices_.verdicts(), std::vector{ expected } );
}

struct State {
   const char *name;
   bool up, lowerUp, protoDown;
   std::vector<std::string> addresses;
   const char *verdict;
};

std::ostream &operator<<( std::ostream &out, const State &state ) {
   return out << state.name;
}

class DaemonState : public DevicesTest, public testing::WithParamInterface<State> {};

TEST_P( DaemonState, IsJudged ) {
   const State &state = GetParam();
   deviceIs( device( state.up, state.lowerUp, state.protoDown ), state.addresses );
   EXPECT_EQ( verdict(), state.verdict );
}

INSTANTIATE_TEST_SUITE_P(
      Keepalived, DaemonState,
      testing::Values(
            State{ "just made", false, false, false, {}, "not: is down" },
            State{ "IPv4 master", true, true, false, { "10.0.0.1/24" }, "published: has 10.0.0.1" },
            State{ "IPv4 backup", true, true, false, {}, "not: has no address" },
            State{ "IPv4 fault", true, false, false, {}, "not: has no carrier" },
            State{ "IPv6 master",
                   true,
                   true,
                   false,
                   { kSviLinkLocal, "2001:db8::1" },
                   "published: has 2001:db8::1" },
            State{ "IPv6 master with a link-local virtual address",
                   true,
                   true,
                   false,
                   { kSviLinkLocal, "fe80::51" },
                   "published: has fe80::51" },
            State{ "IPv6 backup",
                   true,
                   true,
                   false,
                   { kSviLinkLocal },
                   "not: has no address but the link-local one of br10" },
            State{ "IPv6 fault", true, false, false, { kSviLinkLocal }, "not: has no carrier" },
            State{ "killed as a master",
                   true,
                   true,
                   false,
                   { "10.0.0.1/24" },
                   "published: has 10.0.0.1" } ) );

INSTANTIATE_TEST_SUITE_P(
      Frr, DaemonState,
      testing::Values(
            State{ "master", true, true, false, { "10.0.0.1/24" }, "published: has 10.0.0.1" },
            State{ "backup",
                   true,
                   false,
                   true,
                   { "10.0.0.1/24" },
                   "not: is held down by its protocol daemon" },
            State{ "on the way to backup, first message",
                   true,
                   true,
                   true,
                   { "10.0.0.1/24" },
                   "not: is held down by its protocol daemon" },
            State{ "on the way to master, first message",
                   true,
                   false,
                   false,
                   { "10.0.0.1/24" },
                   "not: has no carrier" },
            State{ "before the daemon's start",
                   true,
                   true,
                   false,
                   { "10.0.0.1/24" },
                   "published: has 10.0.0.1" },
            State{ "before the daemon's start, made with protodown on",
                   true,
                   false,
                   true,
                   { "10.0.0.1/24" },
                   "not: is held down by its protocol daemon" },
            State{ "killed as a master",
                   true,
                   true,
                   false,
                   { "10.0.0.1/24" },
                   "published: has 10.0.0.1" },
            State{ "IPv6 master",
                   true,
                   true,
                   false,
                   { "fe80::200:5eff:fe00:233", "2001:db8::1" },
                   "published: has 2001:db8::1" } ) );

TEST_F( DevicesTest, OnlyVrrpMacsCount ) {
   struct Row {
      const char *mac;
      bool is;
   };
   for( const Row &row : { Row{ "00:00:5e:00:01:01", true }, Row{ "00:00:5e:00:01:ff", true },
                           Row{ "00:00:5e:00:02:01", true }, Row{ "00:00:5e:00:02:ff", true },
                           Row{ "00:00:5e:00:01:00", false }, Row{ "00:00:5e:00:02:00", false },
                           Row{ "00:00:5e:00:00:01", false }, Row{ "00:00:5e:00:03:01", false },
                           Row{ "00:00:5e:01:01:01", false }, Row{ "00:00:5f:00:01:01", false },
                           Row{ "01:00:5e:00:01:01", false }, Row{ "00:00:00:00:00:00", false },
                           Row{ "ff:ff:ff:ff:ff:ff", false } } ) {
      EXPECT_EQ( isVrrpMac( mac( row.mac ) ), row.is ) << row.mac;
      deviceIs( macvlan( kDevice, "vrrp.51", kSvi, mac( row.mac ) ), { "10.0.0.1/24" } );
      EXPECT_EQ( devices_.verdicts().size(), row.is ? 1u : 0u ) << row.mac;
   }
}

TEST_F( DevicesTest, OfOtherKindsOrOnOtherInterfacesAreToldWhy ) {
   Link link = device();
   link.kind = "bridge";
   deviceIs( link, { "10.0.0.1/24" } );
   EXPECT_EQ( verdict(), "not: is not a macvlan" );

   link = device();
   link.lower = 0;
   deviceIs( link );
   EXPECT_EQ( verdict(), "not: stands on no interface of this network namespace" );

   link.lower = 4;
   devices_.linkIs( svi( 4, "br30" ) );
   deviceIs( link );
   EXPECT_EQ( verdict(), "not: stands on br30, which is not configured" );
}

TEST_F( DevicesTest, FollowsTheNameOfTheVlanInterface ) {
   deviceIs( device(), { "10.0.0.1/24" } );
   devices_.linkIs( svi( kSvi, "br30" ) );
   EXPECT_EQ( verdict(), "not: stands on br30, which is not configured" );
   devices_.linkIs( svi( kSvi, "br20" ) );
   EXPECT_EQ( verdict(), "published: has 10.0.0.1" );
   EXPECT_EQ( devices_.verdicts().front().record.intf(), Pelmo::IntfId( "br20" ) );
}

TEST_F( DevicesTest, FollowsTheNameOfTheDevice ) {
   deviceIs( device(), { "10.0.0.1/24" } );
   Link renamed = device();
   renamed.name = "gateway";
   devices_.linkIs( renamed );
   EXPECT_EQ( verdict(), "published: has 10.0.0.1" );
   EXPECT_EQ( devices_.verdicts().front().device, "gateway" );
}

TEST_F( DevicesTest, WhenTheVlanInterfaceIsDownSoIsTheDeviceWhateverItSays ) {
   deviceIs( device(), { "10.0.0.1/24" } );
   Link down = svi( kSvi, "br10" );
   down.up = false;
   devices_.linkIs( down );
   EXPECT_EQ( verdict(), "not: br10 is down" );
}

TEST_F( DevicesTest, WhenTheVlanInterfaceIsDeletedUnderIt ) {
   deviceIs( device(), { "10.0.0.1/24" } );
   devices_.linkDel( kSvi );
   EXPECT_EQ( verdict(), "not: stands on no interface of this network namespace" );
   devices_.linkDel( kDevice );
   EXPECT_TRUE( devices_.verdicts().empty() );
}

TEST_F( DevicesTest, MadeAgainUnderAnotherNumberWithoutItsAddresses ) {
   deviceIs( device(), { "10.0.0.1/24" } );
   devices_.linkDel( kDevice );
   devices_.linkIs( macvlan( 9, "vrrp.51", kSvi, vrrpMac( 51 ) ) );
   EXPECT_EQ( verdict(), "not: has no address" );
   devices_.addressIs( address( 9, "10.0.0.1/24" ) );
   EXPECT_EQ( verdict(), "published: has 10.0.0.1" );
}

TEST_F( DevicesTest, ANumberThatIsUsedAgainHasNoOldAddresses ) {
   deviceIs( device(), { "10.0.0.1/24" } );
   devices_.linkDel( kDevice );
   devices_.linkIs( device() );
   EXPECT_EQ( verdict(), "not: has no address" );
}

TEST_F( DevicesTest, AnIpv4AddressWithAnotherLengthIsAnotherAddress ) {
   deviceIs( device(), { "10.0.0.1/24", "10.0.0.1/32" } );
   devices_.addressDel( address( kDevice, "10.0.0.1/24" ) );
   EXPECT_EQ( verdict(), "published: has 10.0.0.1" );
   devices_.addressDel( address( kDevice, "10.0.0.1/32" ) );
   EXPECT_EQ( verdict(), "not: has no address" );
}

TEST_F( DevicesTest, AnAddressBeforeItsLink ) {
   devices_.addressIs( address( kDevice, "10.0.0.1/24" ) );
   EXPECT_TRUE( devices_.verdicts().empty() );
   devices_.linkIs( device() );
   EXPECT_EQ( verdict(), "published: has 10.0.0.1" );
}

TEST_F( DevicesTest, WhatIsUnknownMayGo ) {
   devices_.linkDel( 99 );
   devices_.addressDel( address( 99, "10.0.0.1/24" ) );
   devices_.addressDel( address( kSvi, "10.9.9.9/24" ) );
   EXPECT_TRUE( devices_.verdicts().empty() );
}

TEST_F( DevicesTest, ABackupStaysOneWhileItsInterfaceHasLostItsLinkLocalAddress ) {
   deviceIs( device(), { kSviLinkLocal } );
   const std::string backup = "not: has no address but the link-local one of br10";
   EXPECT_EQ( verdict(), backup );
   // The interface goes down and comes up; its own address returns only after duplicate address
   // detection.
   devices_.addressDel( address( kSvi, kSviLinkLocal ) );
   EXPECT_EQ( verdict(), backup );
   devices_.addressIs( address( kSvi, kSviLinkLocal ) );
   EXPECT_EQ( verdict(), backup );
   // It gets another one instead: the device's address is not its any more.
   devices_.addressDel( address( kSvi, kSviLinkLocal ) );
   devices_.addressIs( address( kSvi, "fe80::2" ) );
   EXPECT_EQ( verdict(), "published: has fe80::1" );
}

TEST_F( DevicesTest, OnlyTheAddressOfItsOwnInterfaceDoesNotCount ) {
   devices_.linkIs( svi( 4, "br20" ) );
   devices_.addressIs( address( 4, "fe80::20" ) );
   deviceIs( device(), { kSviLinkLocal, "fe80::20" } );
   EXPECT_EQ( verdict(), "published: has fe80::20" );
}

TEST_F( DevicesTest, AnAddressOfTheInterfaceThatIsNotLinkLocalCounts ) {
   deviceIs( device(), { "10.0.0.2/24" } );
   EXPECT_EQ( verdict(), "published: has 10.0.0.2" );
}

TEST_F( DevicesTest, AReadingForgetsWhatItDoesNotTell ) {
   deviceIs( device(), { "10.0.0.1/24", "10.0.0.9/24" } );
   deviceIs( macvlan( 8, "vrrp.52", kSvi, vrrpMac( 52 ) ), { "10.0.0.3/24" } );

   devices_.readingBegins();
   EXPECT_EQ( devices_.verdicts().size(), 2u ) << "nothing is forgotten before the end";
   devices_.linkIs( svi( kSvi, "br10" ) );
   devices_.linkIs( device() );
   devices_.addressIs( address( kDevice, "10.0.0.9/24" ) );
   devices_.readingEnds();

   EXPECT_EQ( verdict(), "published: has 10.0.0.9" );
}

TEST_F( DevicesTest, AReadingThatBeginsAgainCountsFromThere ) {
   deviceIs( device(), { "10.0.0.1/24" } );
   devices_.readingBegins();
   devices_.linkIs( svi( kSvi, "br10" ) );
   devices_.linkIs( device() );
   devices_.readingBegins();
   devices_.linkIs( svi( kSvi, "br10" ) );
   devices_.readingEnds();
   EXPECT_TRUE( devices_.verdicts().empty() );
}

TEST( VrrpMac, AreNoMoreThanTheLimit ) {
   Quor::U32 count = 0;
   for( Quor::U32 low = 0; low < 1 << 20; ++low ) { // behind the first octets that all of them have
      const auto word = static_cast<Quor::U16>( low );
      count += isVrrpMac( { 0, static_cast<Quor::U16>( 0x5e00 | low >> 16 ), word } ) ? 1 : 0;
   }
   EXPECT_EQ( count, Limits::macsOfInterface );
}

} // namespace
} // namespace OrloAgent
