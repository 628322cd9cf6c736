// Messages of the kernel become plain values; whatever else arrives does no harm.
#include "agent/input/RtnetlinkMessages.h"
#include "tests/unit/agent/FakeKernel.h"
#include "tests/unit/agent/NetlinkBytes.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <random>

namespace OrloAgent {
namespace {

std::vector<KernelMessage> readAll( std::span<const std::byte> bytes ) {
   std::vector<KernelMessage> messages;
   DatagramReader reader( bytes );
   while( std::optional<KernelMessage> message = reader.next() ) {
      messages.push_back( std::move( *message ) );
   }
   return messages;
}

/// The news of a datagram with one message.
KernelNews newsOf( const NetlinkBytes &bytes ) {
   const std::vector<KernelMessage> messages = readAll( bytes.span() );
   EXPECT_EQ( messages.size(), 1u );
   return messages.empty() ? KernelNews{} : messages.front().news;
}

const std::initializer_list<int> kMac51{ 0x00, 0x00, 0x5e, 0x00, 0x01, 0x33 };

NetlinkMessage macvlanMessage() {
   return NetlinkMessage( RTM_NEWLINK )
         .with( linkHeader( 7 ) )
         .attribute( IFLA_IFNAME, "vrrp.51" )
         .attribute( IFLA_ADDRESS, kMac51 )
         .number( IFLA_LINK, 3 )
         .attribute( IFLA_PROTO_DOWN, { 0 } )
         .nested( IFLA_LINKINFO, attributeBytes( IFLA_INFO_KIND, "macvlan" ) );
}

TEST( RtnetlinkMessages, AMacvlanAsTheKernelTellsIt ) {
   EXPECT_EQ( newsOf( macvlanMessage().bytes() ),
              KernelNews( macvlan( 7, "vrrp.51", 3, vrrpMac( 51 ) ) ) );
}

TEST( RtnetlinkMessages, FlagsOfALink ) {
   struct Row {
      unsigned int flags;
      int protoDown;
      bool up, lowerUp, isProtoDown;
   };
   constexpr unsigned int kUp = IFF_UP;
   constexpr unsigned int kLowerUp = 1u << 16;
   for( const Row &row :
        { Row{ 0, 0, false, false, false }, Row{ kUp, 0, true, false, false },
          Row{ kLowerUp, 0, false, true, false }, Row{ kUp | kLowerUp, 1, true, true, true },
          Row{ kUp | IFF_RUNNING, 1, true, false, true } } ) {
      const KernelNews news = newsOf( NetlinkMessage( RTM_NEWLINK )
                                            .with( linkHeader( 7, row.flags ) )
                                            .attribute( IFLA_IFNAME, "a" )
                                            .attribute( IFLA_PROTO_DOWN, { row.protoDown } )
                                            .bytes() );
      ASSERT_TRUE( std::holds_alternative<Link>( news ) ) << row.flags;
      const Link &link = std::get<Link>( news );
      EXPECT_EQ( link.up, row.up ) << row.flags;
      EXPECT_EQ( link.lowerUp, row.lowerUp ) << row.flags;
      EXPECT_EQ( link.protoDown, row.isProtoDown ) << row.flags;
   }
}

TEST( RtnetlinkMessages, AttributesThatAreMissingOrOfAnotherSizeLeaveTheirDefaults ) {
   Link bare;
   bare.ifindex = 7;
   bare.name = "a";
   bare.up = bare.lowerUp = true;
   const NetlinkMessage named =
         NetlinkMessage( RTM_NEWLINK ).with( linkHeader( 7 ) ).attribute( IFLA_IFNAME, "a" );
   const std::vector<NetlinkMessage> rows{
         named,
         NetlinkMessage( named ).attribute( IFLA_ADDRESS, { 1, 2, 3, 4 } ), // a tunnel's
         NetlinkMessage( named ).attribute( IFLA_ADDRESS, { 1, 2, 3, 4, 5, 6, 7, 8 } ),
         NetlinkMessage( named ).attribute( IFLA_ADDRESS, "" ),
         NetlinkMessage( named ).attribute( IFLA_LINK, { 1, 0 } ),
         NetlinkMessage( named ).attribute( IFLA_PROTO_DOWN, nullptr, 0 ),
         NetlinkMessage( named ).attribute( IFLA_LINKINFO, nullptr, 0 ),
         NetlinkMessage( named ).attribute( IFLA_LINKINFO, { 1, 2, 3 } ),
         NetlinkMessage( named ).nested( IFLA_LINKINFO, attributeBytes( IFLA_INFO_DATA, "x" ) ),
   };
   for( std::size_t i = 0; i < rows.size(); ++i ) {
      EXPECT_EQ( newsOf( rows[i].bytes() ), KernelNews( bare ) ) << "row " << i;
   }
}

TEST( RtnetlinkMessages, ALowerLinkInAnotherNamespaceIsNone ) {
   const KernelNews news = newsOf( macvlanMessage().number( IFLA_LINK_NETNSID, 0 ).bytes() );
   EXPECT_EQ( news, KernelNews( macvlan( 7, "vrrp.51", 0, vrrpMac( 51 ) ) ) );
}

TEST( RtnetlinkMessages, ALinkIsGone ) {
   EXPECT_EQ( newsOf( NetlinkMessage( RTM_DELLINK )
                            .with( linkHeader( 7 ) )
                            .attribute( IFLA_IFNAME, "vrrp.51" )
                            .bytes() ),
              KernelNews( LinkGone{ 7 } ) );
}

TEST( RtnetlinkMessages, WhatIsNotAboutTheLinkItself ) {
   const std::vector<NetlinkBytes> rows{
         // A port has left its bridge; the port is still there.
         NetlinkMessage( RTM_DELLINK ).with( linkHeader( 7, 0, AF_BRIDGE ) ).bytes(),
         NetlinkMessage( RTM_NEWLINK ).with( linkHeader( 7, 0, AF_INET6 ) ).bytes(),
         // A wireless driver speaks.
         NetlinkMessage( RTM_NEWLINK )
               .with( linkHeader( 7 ) )
               .attribute( IFLA_IFNAME, "wlan0" )
               .attribute( IFLA_WIRELESS, { 1, 2, 3, 4 } )
               .bytes(),
         NetlinkMessage( RTM_NEWADDR ).with( addressHeader( 7, AF_PACKET, 0 ) ).bytes(),
         NetlinkMessage( RTM_NEWROUTE ).bytes(),
         NetlinkMessage( NLMSG_NOOP ).bytes(),
   };
   for( std::size_t i = 0; i < rows.size(); ++i ) {
      EXPECT_EQ( newsOf( rows[i] ), KernelNews( Irrelevant{} ) ) << "row " << i;
   }
}

TEST( RtnetlinkMessages, AnIpv4Address ) {
   const auto message = []( Quor::U16 type ) {
      return NetlinkMessage( type )
            .with( addressHeader( 7, AF_INET, 24 ) )
            .attribute( IFA_ADDRESS, { 192, 0, 2, 1 } )
            .attribute( IFA_LOCAL, { 192, 0, 2, 1 } )
            .bytes();
   };
   EXPECT_EQ( newsOf( message( RTM_NEWADDR ) ), KernelNews( address( 7, "192.0.2.1/24" ) ) );
   EXPECT_EQ( newsOf( message( RTM_DELADDR ) ),
              KernelNews( AddressGone{ address( 7, "192.0.2.1/24" ) } ) );
}

TEST( RtnetlinkMessages, AnIpv4AddressWithAPeer ) {
   Address expected = address( 7, "192.0.2.1/32" );
   expected.peer[3] = 2;
   EXPECT_EQ( newsOf( NetlinkMessage( RTM_NEWADDR )
                            .with( addressHeader( 7, AF_INET, 32 ) )
                            .attribute( IFA_ADDRESS, { 192, 0, 2, 2 } )
                            .attribute( IFA_LOCAL, { 192, 0, 2, 1 } )
                            .bytes() ),
              KernelNews( expected ) );
}

TEST( RtnetlinkMessages, AnIpv6AddressIsTheSameWhateverItsPrefixLengthAndPeer ) {
   const std::initializer_list<int> linkLocal{ 0xfe, 0x80, 0, 0, 0, 0, 0, 0,
                                               0,    0,    0, 0, 0, 0, 0, 1 };
   const std::initializer_list<int> peer{ 0x20, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2 };
   const KernelNews expected = address( 7, "fe80::1" );
   EXPECT_EQ( newsOf( NetlinkMessage( RTM_NEWADDR )
                            .with( addressHeader( 7, AF_INET6, 64 ) )
                            .attribute( IFA_ADDRESS, linkLocal )
                            .bytes() ),
              expected );
   EXPECT_EQ( newsOf( NetlinkMessage( RTM_NEWADDR )
                            .with( addressHeader( 7, AF_INET6, 128 ) )
                            .attribute( IFA_LOCAL, linkLocal )
                            .attribute( IFA_ADDRESS, peer )
                            .bytes() ),
              expected );
   EXPECT_TRUE( std::get<Address>( expected ).isLinkLocal() );
}

TEST( RtnetlinkMessages, TheEndOfADumpAndAnswers ) {
   EXPECT_EQ( newsOf( NetlinkMessage( NLMSG_DONE ).with( 0 ).bytes() ),
              KernelNews( DumpDone{ 0 } ) );
   EXPECT_EQ( newsOf( NetlinkMessage( NLMSG_DONE ).bytes() ), KernelNews( DumpDone{ 0 } ) );
   EXPECT_EQ( newsOf( NetlinkMessage( NLMSG_DONE ).with( -ENOMEM ).bytes() ),
              KernelNews( DumpDone{ ENOMEM } ) );
   EXPECT_EQ( newsOf( NetlinkMessage( NLMSG_ERROR ).with( -EBUSY ).bytes() ),
              KernelNews( DumpReply{ EBUSY } ) );
   EXPECT_EQ( newsOf( NetlinkMessage( NLMSG_ERROR ).with( 0 ).bytes() ),
              KernelNews( DumpReply{ 0 } ) );
   EXPECT_EQ( newsOf( NetlinkMessage( NLMSG_ERROR ).with( INT32_MIN ).bytes() ),
              KernelNews( DumpReply{ EPROTO } ) );
   EXPECT_EQ( newsOf( NetlinkMessage( NLMSG_OVERRUN ).bytes() ), KernelNews( Lost{} ) );
}

TEST( RtnetlinkMessages, SeveralInOneDatagram ) {
   const std::vector<KernelMessage> messages = readAll(
         ( macvlanMessage().bytes() + NetlinkMessage( NLMSG_NOOP ).bytes() +
           NetlinkMessage( RTM_DELLINK, NLM_F_MULTI, 5, 6 ).with( linkHeader( 8 ) ).bytes() )
               .span() );
   ASSERT_EQ( messages.size(), 3u );
   EXPECT_TRUE( std::holds_alternative<Link>( messages[0].news ) );
   EXPECT_TRUE( std::holds_alternative<Irrelevant>( messages[1].news ) );
   EXPECT_EQ( messages[2].news, KernelNews( LinkGone{ 8 } ) );
   EXPECT_EQ( messages[2].header.nlmsg_flags, NLM_F_MULTI );
   EXPECT_EQ( messages[2].header.nlmsg_seq, 5u );
   EXPECT_EQ( messages[2].header.nlmsg_pid, 6u );
}

TEST( RtnetlinkMessages, MalformedOnes ) {
   const std::vector<NetlinkBytes> rows{
         NetlinkMessage( RTM_NEWLINK ).bytes(),                          // no family header
         NetlinkMessage( RTM_NEWLINK ).with( linkHeader( 0 ) ).bytes(),  // no link
         NetlinkMessage( RTM_NEWLINK ).with( linkHeader( -1 ) ).bytes(), // nor this
         NetlinkMessage( RTM_NEWLINK ).with( linkHeader( 7 ) ).bytes(),  // no name
         NetlinkMessage( RTM_NEWLINK )                                   // one too long
               .with( linkHeader( 7 ) )
               .attribute( IFLA_IFNAME, "abcdefghijklmnop" )
               .bytes(),
         NetlinkMessage( RTM_DELLINK ).with( Quor::U16{} ).bytes(),
         NetlinkMessage( RTM_NEWADDR ).bytes(),
         NetlinkMessage( RTM_NEWADDR ).with( addressHeader( 0, AF_INET, 24 ) ).bytes(),
         NetlinkMessage( RTM_NEWADDR ).with( addressHeader( 0xffffffff, AF_INET, 24 ) ).bytes(),
         NetlinkMessage( RTM_NEWADDR ).with( addressHeader( 7, AF_INET, 24 ) ).bytes(),
         NetlinkMessage( RTM_NEWADDR )
               .with( addressHeader( 7, AF_INET, 24 ) )
               .attribute( IFA_LOCAL, { 192, 0, 2 } )
               .bytes(),
         NetlinkMessage( RTM_DELADDR )
               .with( addressHeader( 7, AF_INET6, 64 ) )
               .attribute( IFA_ADDRESS, { 192, 0, 2, 1 } )
               .bytes(),
         NetlinkMessage( NLMSG_ERROR ).bytes(),
   };
   for( std::size_t i = 0; i < rows.size(); ++i ) {
      EXPECT_EQ( newsOf( rows[i] ), KernelNews( Malformed{ "" } ) ) << "row " << i;
   }
}

/// A copy of the first bytes in memory of just that size, so that a sanitizer sees the first one
/// too many.
class Exactly {
 public:
   Exactly( std::span<const std::byte> bytes, std::size_t count )
         : bytes_( new std::byte[count] ), count_( count ) {
      std::copy_n( bytes.begin(), count, bytes_.get() );
   }
   std::span<std::byte> span() const { return { bytes_.get(), count_ }; }

 private:
   std::unique_ptr<std::byte[]> bytes_;
   std::size_t count_;
};

NetlinkBytes sampleDatagram() {
   return macvlanMessage().bytes() +
          NetlinkMessage( RTM_NEWADDR )
                .with( addressHeader( 7, AF_INET, 24 ) )
                .attribute( IFA_ADDRESS, { 192, 0, 2, 1 } )
                .attribute( IFA_LOCAL, { 192, 0, 2, 1 } )
                .bytes() +
          NetlinkMessage( NLMSG_DONE, NLM_F_MULTI ).with( 0 ).bytes();
}

TEST( RtnetlinkMessages, CutOffAnywhereTheRestIsOneMalformedMessage ) {
   const NetlinkBytes whole = sampleDatagram();
   for( std::size_t count = 0; count < whole.size(); ++count ) {
      const Exactly cut( whole.span(), count );
      const std::vector<KernelMessage> messages = readAll( cut.span() );
      for( std::size_t i = 0; i + 1 < messages.size(); ++i ) {
         EXPECT_FALSE( std::holds_alternative<Malformed>( messages[i].news ) ) << count;
      }
      EXPECT_LE( messages.size(), 3u ) << count;
   }
}

TEST( RtnetlinkMessages, AnyLengthInAnyPlaceStaysInsideTheBytes ) {
   const NetlinkBytes whole = sampleDatagram();
   for( std::size_t at = 0; at + 2 <= whole.size(); at += 2 ) {
      for( const int value : { 0, 1, 3, 4, 5, 15, 16, 17, 255, 0x7fff, 0x8000, 0xffff } ) {
         const Exactly copy( whole.span(), whole.size() );
         const auto changed = static_cast<Quor::U16>( value );
         std::memcpy( copy.span().data() + at, &changed, sizeof( changed ) );
         EXPECT_LE( readAll( copy.span() ).size(), whole.size() / sizeof( nlmsghdr ) )
               << at << " " << value;
      }
   }
}

TEST( RtnetlinkMessages, NoBytesDoHarm ) {
   const NetlinkBytes whole = sampleDatagram();
   std::mt19937 random( 1 );
   for( int i = 0; i < 50000; ++i ) {
      const Exactly copy( whole.span(), random() % ( whole.size() + 1 ) );
      for( auto changes = random() % 8; changes > 0 && !copy.span().empty(); --changes ) {
         copy.span()[random() % copy.span().size()] = static_cast<std::byte>( random() );
      }
      readAll( copy.span() );
   }
}

} // namespace
} // namespace OrloAgent
