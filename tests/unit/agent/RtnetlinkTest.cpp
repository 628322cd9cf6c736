// The real kernel, as far as anybody may ask it: what it lists of this network namespace.
#include "agent/input/Rtnetlink.h"
#include "agent/EventLoop.h"
#include "agent/FileDescriptor.h"
#include "agent/input/Devices.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/eventfd.h>

namespace OrloAgent {
namespace {

/// Ends the loop once everything has been read.
class Collector : public KernelWatcher {
 public:
   explicit Collector( EventLoop &loop ) : loop_( loop ) {}

   void onLink( const Link &link ) override { links_[link.ifindex] = link; }
   void onLinkGone( IfIndex ifindex ) override { links_.erase( ifindex ); }
   void onAddress( const Address &address ) override { addresses_.insert( address ); }
   void onAddressGone( const Address &address ) override { addresses_.erase( address ); }
   void onReadingAll() override { hasRead_ = false; }
   void onReadAll() override { hasRead_ = true; }
   void onOverrun() override { hasRead_ = false; }
   void onQuiet() override {
      if( hasRead_ ) {
         loop_.stop();
      }
   }
   void onTrouble( const std::string &what ) override { ADD_FAILURE() << what; }

   std::map<IfIndex, Link> links_;
   std::set<Address> addresses_;

 private:
   EventLoop &loop_;
   bool hasRead_ = false;
};

class RtnetlinkTest : public testing::Test {
 protected:
   RtnetlinkTest() {
      kernel_.start( collector_ );
      loop_.run();
   }

   EventLoop loop_;
   Collector collector_{ loop_ };
   Rtnetlink kernel_{ loop_ };
};

TEST_F( RtnetlinkTest, ListsTheLinksThatTheCLibraryLists ) {
   std::map<IfIndex, std::string> expected;
   if( struct if_nameindex *const all = if_nameindex() ) {
      for( const struct if_nameindex *one = all; one->if_index != 0; ++one ) {
         expected[static_cast<IfIndex>( one->if_index )] = one->if_name;
      }
      if_freenameindex( all );
   }
   std::map<IfIndex, std::string> listed;
   for( const auto &[ifindex, link] : collector_.links_ ) {
      listed[ifindex] = link.name;
   }
   EXPECT_EQ( listed, expected );
   EXPECT_TRUE( listed.contains( 1 ) ) << "there is no loopback?";
}

TEST_F( RtnetlinkTest, ListsTheAddressesThatTheCLibraryLists ) {
   using Text = std::pair<std::string, std::string>; // link, address
   std::multiset<Text> expected;
   ifaddrs *all = nullptr;
   ASSERT_EQ( getifaddrs( &all ), 0 );
   for( const ifaddrs *one = all; one; one = one->ifa_next ) {
      if( !one->ifa_addr ) {
         continue;
      }
      Address address;
      if( one->ifa_addr->sa_family == AF_INET ) {
         std::memcpy( address.local.data(),
                      &reinterpret_cast<const sockaddr_in *>( one->ifa_addr )->sin_addr, 4 );
      } else if( one->ifa_addr->sa_family == AF_INET6 ) {
         address.family = Address::Family::V6;
         std::memcpy( address.local.data(),
                      &reinterpret_cast<const sockaddr_in6 *>( one->ifa_addr )->sin6_addr, 16 );
      } else {
         continue;
      }
      const std::string label( one->ifa_name ); // of an IPv4 address: may be eth0:1
      expected.emplace( label.substr( 0, label.find( ':' ) ), addressText( address ) );
   }
   freeifaddrs( all );
   std::multiset<Text> listed;
   for( const Address &address : collector_.addresses_ ) {
      listed.emplace( collector_.links_[address.ifindex].name, addressText( address ) );
   }
   EXPECT_EQ( listed, expected );
}

TEST_F( RtnetlinkTest, CountsItsReadings ) {
   ASSERT_TRUE( kernel_.counters() );
   EXPECT_EQ( kernel_.counters()->readings, 1u );
   EXPECT_EQ( kernel_.counters()->malformed, 0u );
}

/// Has so many datagrams, with nothing in them, and then none.
class ScriptedSource : public NetlinkSource {
 public:
   explicit ScriptedSource( int datagrams ) : left_( datagrams ) {
      eventfd_write( readable_.get(), 1 );
   }

   int fd() const noexcept override { return readable_.get(); }
   Quor::U32 port() const noexcept override { return 1; }
   Received receive() override {
      if( left_ == 0 ) {
         return Received::nothing;
      }
      if( --left_ == 0 ) {
         eventfd_t told = 0;
         eventfd_read( readable_.get(), &told );
      }
      return Received::datagram;
   }
   NetlinkSpan datagram() const noexcept override { return {}; }
   int send( NetlinkSpan ) noexcept override { return 0; }

 private:
   int left_;
   const FileDescriptor readable_{ eventfd( 0, EFD_CLOEXEC | EFD_NONBLOCK ) };
};

class QuietWatcher : public KernelWatcher {
 public:
   explicit QuietWatcher( EventLoop &loop ) : loop_( loop ) {}
   void onLink( const Link & ) override {}
   void onLinkGone( IfIndex ) override {}
   void onAddress( const Address & ) override {}
   void onAddressGone( const Address & ) override {}
   void onReadingAll() override {}
   void onReadAll() override {}
   void onOverrun() override {}
   void onQuiet() override {
      isQuiet_ = true;
      loop_.stop();
   }
   void onTrouble( const std::string &what ) override { ADD_FAILURE() << what; }

   bool isQuiet_ = false;

 private:
   EventLoop &loop_;
};

TEST( RtnetlinkBatchTest, ItIsQuietAfterTheLastDatagramHoweverManyThereWere ) {
   for( const int datagrams : { 1, 255, 256, 257, 512, 1024 } ) {
      EventLoop loop;
      QuietWatcher watcher( loop );
      Rtnetlink kernel( loop,
                        [datagrams] { return std::make_unique<ScriptedSource>( datagrams ); } );
      kernel.start( watcher );
      const auto tooLate = loop.after( std::chrono::seconds( 10 ), [&loop] { loop.stop(); } );
      loop.run();
      EXPECT_TRUE( watcher.isQuiet_ ) << datagrams;
   }
}

} // namespace
} // namespace OrloAgent
