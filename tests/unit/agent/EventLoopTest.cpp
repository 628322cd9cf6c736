// The event loop: callbacks, also ones that throw or end their own subscription.
#include "agent/EventLoop.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace OrloAgent {
namespace {

using namespace std::chrono_literals;

class EventLoopTest : public testing::Test {
 protected:
   EventLoopTest() { EXPECT_EQ( pipe( pipe_.data() ), 0 ); }
   ~EventLoopTest() override {
      close( pipe_[0] );
      close( pipe_[1] );
   }
   void write() const { EXPECT_EQ( ::write( pipe_[1], "x", 1 ), 1 ); }
   void read() const {
      char c = 0;
      EXPECT_EQ( ::read( pipe_[0], &c, 1 ), 1 );
   }

   EventLoop loop_;
   std::array<int, 2> pipe_{};
};

TEST_F( EventLoopTest, CallsWhileThereIsSomethingToRead ) {
   int calls = 0;
   const auto readable = loop_.onReadable( pipe_[0], [&] {
      if( ++calls == 3 ) {
         loop_.stop();
      } else if( calls == 2 ) {
         read();
         write();
      }
   } );
   write();
   loop_.run();
   EXPECT_EQ( calls, 3 );
}

TEST_F( EventLoopTest, CallsWhileThereIsRoomToWrite ) {
   int calls = 0;
   const auto writable = loop_.onWritable( pipe_[1], [&] {
      if( ++calls == 3 ) {
         loop_.stop();
      }
   } );
   loop_.run();
   EXPECT_EQ( calls, 3 );
}

TEST_F( EventLoopTest, WhoWaitsForRoomIsCalledWhenTheOtherEndReads ) {
   ASSERT_GT( fcntl( pipe_[1], F_SETPIPE_SZ, 4096 ), 0 );
   const std::string page( 4096, 'x' );
   ASSERT_EQ( ::write( pipe_[1], page.data(), page.size() ), 4096 );
   std::string order;
   const auto writable = loop_.onWritable( pipe_[1], [&] {
      order += "room";
      loop_.stop();
   } );
   const auto timer = loop_.after( 1ms, [&] {
      order += "read ";
      std::string all( 4096, ' ' );
      EXPECT_EQ( ::read( pipe_[0], all.data(), all.size() ), 4096 );
   } );
   loop_.run();
   EXPECT_EQ( order, "read room" );
}

TEST_F( EventLoopTest, OneDescriptorTakesTheOtherSubscriptionOnceTheFirstHasEnded ) {
   std::optional<EventLoop::Subscription> first( loop_.onReadable( pipe_[1], [] {} ) );
   EXPECT_THROW( loop_.onWritable( pipe_[1], [] {} ), std::system_error );
   first.reset();
   const auto second = loop_.onWritable( pipe_[1], [&] { loop_.stop(); } );
   EXPECT_NO_THROW( loop_.run() );
}

TEST_F( EventLoopTest, ATimerCallsOnce ) {
   int calls = 0;
   const auto first = loop_.after( 1ms, [&] { ++calls; } );
   const auto last = loop_.after( 20ms, [&] { loop_.stop(); } );
   loop_.run();
   EXPECT_EQ( calls, 1 );
}

TEST_F( EventLoopTest, ASignalIsACall ) {
   int calls = 0;
   const auto signal = loop_.onSignal( SIGUSR2, [&] {
      ++calls;
      loop_.stop();
   } );
   raise( SIGUSR2 );
   loop_.run();
   EXPECT_EQ( calls, 1 );
}

TEST_F( EventLoopTest, WhatACallbackThrowsComesOutOfRun ) {
   const auto timer = loop_.after( 1ms, [] { throw std::runtime_error( "broken" ); } );
   EXPECT_THROW( loop_.run(), std::runtime_error );
}

TEST_F( EventLoopTest, ASubscriptionMayEndItselfOrBeReplacedInItsCallback ) {
   std::optional<EventLoop::Subscription> readable;
   EventLoop::Subscription timer;
   std::string order;
   readable = loop_.onReadable( pipe_[0], [&, text = std::string( "readable " )] {
      readable.reset();
      order += text; // the callback is still there
      timer = loop_.after( 1ms, [&] {
         timer = loop_.after( 1ms, [&] {
            order += "second";
            loop_.stop();
         } );
         order += "first ";
      } );
   } );
   write();
   loop_.run();
   EXPECT_EQ( order, "readable first second" );
}

TEST_F( EventLoopTest, WhatCannotBeWatchedIsAnError ) {
   EXPECT_THROW( loop_.onReadable( -1, [] {} ), std::system_error );
}

} // namespace
} // namespace OrloAgent
