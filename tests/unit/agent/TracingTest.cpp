// The library's traces, switched while it runs by several at once.
#include "agent/control/Tracing.h"
#include "quor/Trace.h"
#include "tests/unit/agent/ControlledAgent.h"

namespace OrloAgent {
namespace {

class TracingTest : public testing::Test {
 protected:
   std::unique_ptr<Following> follow( const std::string &levels, Json &events ) {
      return tracing_->follow( "OrloVrrp", levels,
                               [&events]( const Json &event ) { events.push_back( event ); } );
   }
   void trace( Quor::U32 level ) {
      if( Quor::Trace t{ facility_, level, "Somewhere", 7, "something" } ) {
         t << "at level " << level;
      }
   }
   Quor::TraceLevels levels() const { return facility_.levels(); }
   std::string whyNot( const std::string &facility, const std::string &levels ) {
      try {
         tracing_->levelsAre( facility, levels );
      } catch( const Quor::RangeException &error ) {
         return error.what();
      }
      return "";
   }

   Quor::TraceHandle facility_{ "OrloVrrp", false };
   std::optional<Tracing> tracing_{ std::in_place,
                                    [] { return Time( std::chrono::seconds( 1000000000 ) ); } };
   Json one_ = Json::array();
   Json other_ = Json::array();
};

TEST_F( TracingTest, WhoFollowsHearsTheLevelsThatItAskedFor ) {
   const auto following = follow( "4", one_ );
   trace( 3 );
   trace( 4 );
   expectJson( one_, R"([{"at":"2001-09-09T01:46:40Z","facility":"OrloVrrp","level":4,
      "source":"Somewhere","line":7,"function":"something","message":"at level 4"}])" );
}

TEST_F( TracingTest, ALevelIsOnWhileAnybodyWantsIt ) {
   EXPECT_EQ( levels(), 0u );
   auto one = follow( "0-2", one_ );
   EXPECT_EQ( levels(), 7u );
   auto other = follow( "2,8", other_ );
   EXPECT_EQ( levels(), 0x107u );
   trace( 1 );
   trace( 2 );
   trace( 8 );
   EXPECT_EQ( one_.size(), 2u );
   EXPECT_EQ( other_.size(), 2u );
   one = nullptr;
   EXPECT_EQ( levels(), 0x104u );
   other = nullptr;
   EXPECT_EQ( levels(), 0u );
   trace( 2 );
   EXPECT_EQ( one_.size() + other_.size(), 4u );
}

TEST_F( TracingTest, TheCommandLinesLevelsComeBackWhenWhoFollowedHasGone ) {
   tracing_->levelsAre( "OrloVrrp", "1" );
   auto one = follow( "1,4", one_ );
   EXPECT_EQ( levels(), 0x12u );
   testing::internal::CaptureStderr();
   trace( 4 );
   trace( 1 );
   EXPECT_EQ( testing::internal::GetCapturedStderr(),
              "OrloVrrp 1 Somewhere:7 something: at level 1\n" )
         << "a client's levels go to the client alone";
   EXPECT_EQ( one_.size(), 2u );
   one = nullptr;
   EXPECT_EQ( levels(), 2u );
   tracing_->levelsAre( "OrloVrrp", "none" );
   EXPECT_EQ( levels(), 0u );
   tracing_->levelsAre( "OrloVrrp", "all" );
   EXPECT_EQ( levels(), 0x3ffu );
   tracing_.reset();
   EXPECT_EQ( levels(), 0u );
}

TEST_F( TracingTest, AnotherFacilityIsAnothers ) {
   const auto one = follow( "all", one_ );
   const auto other =
         tracing_->follow( "OrloVrrpPrivateVlanReflectorLib", "3",
                           [this]( const Json &event ) { other_.push_back( event ); } );
   trace( 3 );
   EXPECT_EQ( one_.size(), 1u );
   EXPECT_EQ( other_.size(), 0u );
}

TEST_F( TracingTest, AFacilityThatThereIsNotIsToldWithTheNearest ) {
   EXPECT_EQ( whyNot( "OrloVrp", "all" ), "no trace facility OrloVrp; did you mean OrloVrrp?" );
   EXPECT_EQ( whyNot( "orlovrrpprivatevlanreflectorlib", "all" ),
              "no trace facility orlovrrpprivatevlanreflectorlib; did you mean "
              "OrloVrrpPrivateVlanReflectorLib?" );
   EXPECT_EQ( whyNot( "", "all" ), "no trace facility " );
   EXPECT_EQ( whyNot( "Other", "all" ), "no trace facility Other" );
}

TEST_F( TracingTest, LevelsThatAreNoneChangeNothing ) {
   tracing_->levelsAre( "OrloVrrp", "1" );
   EXPECT_NE( whyNot( "OrloVrrp", "10" ), "" );
   EXPECT_THROW( follow( "x", one_ ), Quor::RangeException );
   EXPECT_EQ( levels(), 2u );
}

TEST_F( TracingTest, WhatTheTellingOfATraceTracesIsNotTold ) {
   int told = 0;
   const auto following = tracing_->follow( "OrloVrrp", "all", [&]( const Json & ) {
      ++told;
      trace( 5 );
   } );
   trace( 4 );
   EXPECT_EQ( told, 1 );
}

using TracedAgent = ControlledAgent;

TEST_F( TracedAgent, AClientHearsTheProgrammerAtWork ) {
   startAndRead();
   ASSERT_EQ( follow( "trace", R"({"facility":"OrloVrrp","levels":"all"})" ), "following" );
   masters( { { kDevice51, 51 } } );
   kernel_.quiet();
   const Json heard = events();
   ASSERT_FALSE( heard.empty() );
   EXPECT_EQ( heard[0]["facility"], "OrloVrrp" );
   EXPECT_EQ( follow( "trace", R"({"facility":"OrloVrp","levels":"all"})" ),
              Json( { { "error", "usage" },
                      { "message", "no trace facility OrloVrp; did you mean OrloVrrp?" } } ) );
   EXPECT_EQ( follow( "trace", R"({"facility":"OrloVrrp","levels":"much"})" )["error"], "usage" );
   followings_.clear();
   becomeBackup( kDevice51 );
   kernel_.quiet();
   EXPECT_TRUE( events().empty() );
}

} // namespace
} // namespace OrloAgent
