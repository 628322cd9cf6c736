// A listening socket on the event loop, also when there is nothing left to accept with.
#include "agent/control/Listener.h"
#include "agent/control/ControlSocket.h"
#include "tests/unit/agent/TemporaryFolder.h"
#include "tests/unit/agent/TestSocket.h"

#include <gtest/gtest.h>

#include <list>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/resource.h>

namespace OrloAgent {
namespace {

using namespace std::chrono_literals;

/// No more file descriptors for this process while it lives. Nothing is asserted meanwhile: the
/// tools that watch a test need some themselves.
class NoDescriptors {
 public:
   NoDescriptors() {
      getrlimit( RLIMIT_NOFILE, &before_ );
      rlimit none = before_;
      none.rlim_cur = 0;
      setrlimit( RLIMIT_NOFILE, &none );
   }
   ~NoDescriptors() { setrlimit( RLIMIT_NOFILE, &before_ ); }
   NoDescriptors( const NoDescriptors & ) = delete;
   NoDescriptors &operator=( const NoDescriptors & ) = delete;

 private:
   rlimit before_{};
};

class ListenerTest : public testing::Test {
 protected:
   TemporaryFolder folder_;
   std::string path_ = folder_.path( "socket" );
   ControlSocket socket_{ path_, "" };
   EventLoop loop_;
};

TEST_F( ListenerTest, ConnectionsAreAccepted ) {
   std::list<TestSocket> clients;
   for( int i = 0; i < 40; ++i ) {
      clients.emplace_back( path_ );
   }
   int accepted = 0;
   const Listener listener( loop_, socket_.take(), 1h, [&]( const FileDescriptor & ) {
      if( ++accepted == 40 ) {
         loop_.stop();
      }
   } );
   loop_.run();
   EXPECT_EQ( accepted, 40 );
   EXPECT_FALSE( listener.isPaused() );
}

TEST_F( ListenerTest, WithoutFileDescriptorsAcceptingPauses ) {
   const TestSocket client( path_ );
   int accepted = 0;
   bool isPaused = false;
   const Listener listener( loop_, socket_.take(), 1h,
                            [&]( const FileDescriptor & ) { ++accepted; } );
   const auto end = loop_.after( 20ms, [&] {
      isPaused = listener.isPaused();
      loop_.stop();
   } );
   {
      const NoDescriptors none;
      loop_.run();
   }
   EXPECT_TRUE( isPaused );
   EXPECT_EQ( accepted, 0 );
}

TEST_F( ListenerTest, WhoWaitedForAFileDescriptorIsAcceptedAfterThePause ) {
   const TestSocket client( path_ );
   std::optional<NoDescriptors> none;
   bool wasPaused = false;
   const Listener listener( loop_, socket_.take(), 1ms,
                            [&]( const FileDescriptor & ) { loop_.stop(); } );
   EventLoop::Subscription again;
   const std::function<void()> untilPaused = [&] {
      if( listener.isPaused() ) {
         wasPaused = true;
         none.reset();
      } else {
         again = loop_.after( 100us, untilPaused );
      }
   };
   again = loop_.after( 100us, untilPaused );
   none.emplace();
   loop_.run();
   EXPECT_TRUE( wasPaused );
   EXPECT_FALSE( listener.isPaused() );
}

TEST_F( ListenerTest, ThatNobodyCanBeAcceptedIsSaidOnceAndThatItGoesOn ) {
   const TestSocket client( path_ );
   std::optional<NoDescriptors> none;
   std::vector<std::string> notices;
   const Listener listener(
         loop_, socket_.take(), 1ms, []( const FileDescriptor & ) {},
         [&]( const std::string &what ) {
            notices.push_back( what );
            if( notices.size() == 2 ) {
               loop_.stop();
            }
         } );
   const auto enough = loop_.after( 20ms, [&] { none.reset(); } ); // many pauses later
   none.emplace();
   loop_.run();
   EXPECT_EQ( notices, ( std::vector<std::string>{
                             "cannot accept another client: Too many open files; it is tried "
                             "again and again",
                             "clients are accepted again" } ) );
}

TEST_F( ListenerTest, WhatCannotBeTakenCostsOneConnectionAndAPause ) {
   TestSocket first( path_ );
   const TestSocket second( path_ );
   int accepted = 0;
   const Listener listener( loop_, socket_.take(), 1ms, [&]( const FileDescriptor & ) {
      if( ++accepted == 1 ) {
         throw std::runtime_error( "no memory" );
      }
      loop_.stop();
   } );
   loop_.run();
   EXPECT_EQ( accepted, 2 );
   EXPECT_EQ( first.rest(), "" );
}

} // namespace
} // namespace OrloAgent
