// What rtnetlink says of devices and filters, message by message.
#include "agent/hardware/ebpf/DeviceNews.h"
#include "tests/unit/agent/NetlinkBytes.h"

#include <gtest/gtest.h>

#include <random>

namespace OrloAgent {
namespace {

using Quor::U16;
using Quor::U32;
using Devices = std::vector<std::pair<U32, std::string>>;
using Ifindexes = std::vector<U32>;

EbpfKernel::News newsOf( const NetlinkBytes &datagram ) {
   EbpfKernel::News news;
   DeviceNews::read( datagram.span(), news );
   return news;
}

Devices devicesOf( const NetlinkBytes &datagram ) {
   Devices devices;
   for( const EbpfKernel::News::Device &device : newsOf( datagram ).devices ) {
      devices.emplace_back( device.ifindex, device.name );
   }
   return devices;
}

NetlinkBytes link( U16 type, int ifindex, const std::string &name, unsigned char family = 0 ) {
   return NetlinkMessage( type )
         .with( linkHeader( ifindex, IFF_UP, family ) )
         .number( IFLA_MTU, 1500 )
         .attribute( IFLA_IFNAME, name )
         .bytes();
}

NetlinkBytes filter( U16 type, int ifindex ) {
   tcmsg header{};
   header.tcm_ifindex = ifindex;
   return NetlinkMessage( type ).with( header ).attribute( TCA_KIND, "bpf" ).bytes();
}

TEST( DeviceNews, DevicesThatComeAndGo ) {
   EXPECT_EQ( devicesOf( link( RTM_NEWLINK, 7, "swp1" ) + link( RTM_DELLINK, 9, "br10" ) ),
              ( Devices{ { 7, "swp1" }, { 9, "br10" } } ) );
}

TEST( DeviceNews, APortThatLeavesABridgeIsStillThere ) {
   EXPECT_EQ( devicesOf( link( RTM_DELLINK, 7, "swp1", AF_BRIDGE ) +
                         link( RTM_NEWLINK, 7, "swp1", AF_INET6 ) ),
              Devices{} );
}

TEST( DeviceNews, FiltersAndTheirQueues ) {
   EXPECT_EQ( newsOf( filter( RTM_NEWTFILTER, 1 ) + filter( RTM_DELTFILTER, 2 ) +
                      filter( RTM_NEWQDISC, 3 ) + filter( RTM_DELQDISC, 4 ) )
                    .filtered,
              ( Ifindexes{ 1, 2, 3, 4 } ) );
   // The number that stands for a block of filters that several devices share.
   EXPECT_EQ(
         newsOf( filter( RTM_NEWTFILTER, static_cast<int>( TCM_IFINDEX_MAGIC_BLOCK ) ) ).filtered,
         Ifindexes{} );
}

TEST( DeviceNews, AnOverrunMeansThatAnythingMayHaveChanged ) {
   EXPECT_FALSE( newsOf( link( RTM_NEWLINK, 7, "swp1" ) ).isIncomplete );
   EXPECT_TRUE( newsOf( NetlinkMessage( NLMSG_OVERRUN ).bytes() ).isIncomplete );
}

TEST( DeviceNews, MessagesThatNobodyNeeds ) {
   const EbpfKernel::News news =
         newsOf( NetlinkMessage( RTM_NEWADDR ).with( addressHeader( 7, AF_INET, 24 ) ).bytes() +
                 NetlinkMessage( NLMSG_DONE ).bytes() + NetlinkMessage( RTM_NEWLINK ).bytes() +
                 NetlinkMessage( RTM_NEWTFILTER ).bytes() + link( RTM_NEWLINK, 0, "none" ) +
                 link( RTM_NEWLINK, -1, "less" ) );
   EXPECT_TRUE( news.devices.empty() );
   EXPECT_TRUE( news.filtered.empty() );
   EXPECT_FALSE( news.isIncomplete );
}

TEST( DeviceNews, ANameThatIsNotThereOrHasNoEnd ) {
   const std::string endless( 40, 'x' );
   EXPECT_EQ( devicesOf( NetlinkMessage( RTM_NEWLINK ).with( linkHeader( 5 ) ).bytes() +
                         NetlinkMessage( RTM_NEWLINK )
                               .with( linkHeader( 6 ) )
                               .attribute( IFLA_IFNAME, endless.data(), endless.size() )
                               .bytes() ),
              ( Devices{ { 5, "" }, { 6, endless } } ) );
}

TEST( DeviceNews, NoBytesLeadOutsideOfThem ) {
   const NetlinkBytes good = link( RTM_NEWLINK, 7, "swp1" ) + filter( RTM_DELTFILTER, 2 ) +
                             link( RTM_DELLINK, 9, "br10" );
   for( std::size_t size = 0; size <= good.size(); ++size ) {
      NetlinkBytes cut; // of its own, so that a look beyond its end is seen
      cut.append( good.span().data(), size );
      EXPECT_LE( newsOf( cut ).devices.size(), 2u );
   }
   std::mt19937 random( 1 );
   for( int i = 0; i < 50'000; ++i ) {
      NetlinkBytes changed = good;
      for( auto changes = random() % 4 + 1; changes > 0; --changes ) {
         changed[random() % changed.size()] = static_cast<std::byte>( random() );
      }
      const EbpfKernel::News news = newsOf( changed );
      EXPECT_LE( news.devices.size() + news.filtered.size(), changed.size() / sizeof( nlmsghdr ) );
   }
}

} // namespace
} // namespace OrloAgent
