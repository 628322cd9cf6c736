// Output to a reader that is slow, that has stopped, or that has gone.
#include "agent/StandardOutput.h"
#include "tests/unit/agent/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fstream>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace OrloAgent {
namespace {

using namespace std::chrono_literals;

class StandardOutputTest : public testing::Test {
 protected:
   StandardOutputTest() {
      std::signal( SIGPIPE, SIG_IGN );
      EXPECT_EQ( pipe( pipe_.data() ), 0 );
      fcntl( pipe_[0], F_SETFL, O_NONBLOCK ); // the reader's end: the agent's is left as it is
   }
   ~StandardOutputTest() override {
      output_.reset();
      close( pipe_[0] );
      close( pipe_[1] );
   }
   void begin( std::size_t mostKept = StandardOutput::kMostKept ) {
      output_.emplace( loop_, stream_, pipe_[1], mostKept );
   }
   void write( int from, int to ) {
      for( int i = from; i < to; ++i ) {
         stream_ << line( i );
      }
   }
   static std::string line( int number ) {
      return "line " + std::to_string( number ) + " " + std::string( 50, '.' ) + "\n";
   }
   static std::string lines( int from, int to ) {
      std::string all;
      for( int i = from; i < to; ++i ) {
         all += line( i );
      }
      return all;
   }
   /// What is in the pipe now.
   std::string read() const {
      std::string all;
      std::array<char, 65536> bytes{};
      for( ;; ) {
         const ssize_t count = ::read( pipe_[0], bytes.data(), bytes.size() );
         if( count <= 0 ) {
            return all;
         }
         all.append( bytes.data(), static_cast<std::size_t>( count ) );
      }
   }
   /// What a reader gets while the loop runs, until nothing is kept any more.
   std::string readAll() {
      std::string all;
      EventLoop::Subscription again;
      const std::function<void()> go = [&] {
         all += read();
         if( output_->kept() == 0 ) {
            loop_.stop();
         } else {
            again = loop_.after( 100us, go );
         }
      };
      again = loop_.after( 0us, go );
      loop_.run();
      return all + read();
   }

   EventLoop loop_;
   std::ostringstream before_;
   std::ostream stream_{ before_.rdbuf() };
   std::array<int, 2> pipe_{};
   std::optional<StandardOutput> output_;
};

TEST_F( StandardOutputTest, ALineIsOutAtItsEnd ) {
   stream_ << "before\n";
   begin();
   stream_ << "one " << 1;
   EXPECT_EQ( read(), "" );
   stream_ << std::endl << "two\nthr";
   EXPECT_EQ( read(), "one 1\ntwo\n" );
   stream_ << "ee";
   output_.reset();
   EXPECT_EQ( read(), "three" );
   stream_ << "after\n";
   EXPECT_EQ( before_.str(), "before\nafter\n" );
}

TEST_F( StandardOutputTest, AReaderThatStopsIsNotWaitedForAndGetsEverythingLater ) {
   begin();
   write( 0, 20000 ); // more than a megabyte: no pipe holds that
   EXPECT_GT( output_->kept(), 500'000u );
   EXPECT_EQ( readAll(), lines( 0, 20000 ) );
   EXPECT_EQ( output_->kept(), 0u );
   write( 20000, 20002 );
   EXPECT_EQ( read(), lines( 20000, 20002 ) );
}

TEST_F( StandardOutputTest, WhatIsTooMuchIsDroppedAsWholeLinesAndSaid ) {
   begin( 100'000 );
   write( 0, 20000 );
   EXPECT_LE( output_->kept(), 100'000u );

   const std::string all = readAll();

   const std::size_t note = all.rfind( "orlo-agent: " );
   ASSERT_NE( note, std::string::npos );
   const int lost = std::stoi( all.substr( note + 12 ) );
   EXPECT_GT( lost, 1000 );
   EXPECT_EQ( all, lines( 0, 20000 - lost ) + "orlo-agent: " + std::to_string( lost ) +
                         " lines are lost: nobody was reading\n" );
   write( 7, 8 );
   EXPECT_EQ( read(), line( 7 ) );
}

TEST_F( StandardOutputTest, AReaderThatHasGoneCostsNothing ) {
   begin();
   write( 0, 20000 );
   close( pipe_[0] );
   write( 0, 2 );
   EXPECT_EQ( output_->kept(), 0u );
   pipe_[0] = -1;
}

TEST_F( StandardOutputTest, AtTheEndAReaderThatHasStoppedIsGivenUp ) {
   begin();
   write( 0, 20000 );
   output_.reset();
   const std::string all = read();
   EXPECT_FALSE( all.empty() );
   EXPECT_EQ( all, lines( 0, 20000 ).substr( 0, all.size() ) );
}

TEST_F( StandardOutputTest, AFileTakesEverything ) {
   const TemporaryFolder folder;
   const int file = open( folder.path( "log" ).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600 );
   ASSERT_GE( file, 0 );
   output_.emplace( loop_, stream_, file );
   write( 0, 20000 );
   EXPECT_EQ( output_->kept(), 0u );
   output_.reset();
   close( file );
   std::stringstream all;
   all << std::ifstream( folder.path( "log" ) ).rdbuf();
   EXPECT_EQ( all.str(), lines( 0, 20000 ) );
}

TEST_F( StandardOutputTest, ALineWithoutAnEndGoesOutInPieces ) {
   begin();
   stream_ << std::string( 100'000, 'x' ) << "\n" << std::string( 70'000, 'y' );
   EXPECT_EQ( readAll(), std::string( 100'000, 'x' ) + "\n" + std::string( 70'000, 'y' ) );
}

} // namespace
} // namespace OrloAgent
