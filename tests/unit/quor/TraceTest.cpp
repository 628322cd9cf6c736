// Trace facilities: what is traced, when, and where it goes.
#include "quor/Trace.h"

#include "quor/Exception.h"
#include "tests/unit/support/TraceRecorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <iostream>
#include <thread>

namespace Quor {
namespace {

using Lines = Support::TraceRecorder::Lines;

/// What is written to a stream while it is watched.
class Captured {
 public:
   explicit Captured( std::ostream &stream ) : stream_( stream ), before_( stream.rdbuf() ) {
      stream.rdbuf( text_.rdbuf() );
   }
   ~Captured() { stream_.rdbuf( before_ ); }
   Captured( const Captured & ) = delete;
   Captured &operator=( const Captured & ) = delete;

   String text() const { return text_.str(); }

 private:
   std::ostringstream text_;
   std::ostream &stream_;
   std::streambuf *before_;
};

/// The coverage stream is set for a scope.
class Coverage {
 public:
   Coverage() { coverageStream = &text_; }
   ~Coverage() { coverageStream = nullptr; }
   Coverage( const Coverage & ) = delete;
   Coverage &operator=( const Coverage & ) = delete;

   String text() const { return text_.str(); }

 private:
   std::ostringstream text_;
};

/// A trace site whose message tells how often it was evaluated.
class Site {
 public:
   void pass( const TraceHandle &facility, U32 level ) {
      if( Trace t{ facility, level, "OrloTest", 42, "pass" } ) {
         t << "message " << ++evaluated_;
      }
   }
   int evaluated() const { return evaluated_; }

 private:
   int evaluated_ = 0;
};

TEST( Trace, IsOffAtFirstAndEvaluatesNothing ) {
   const TraceHandle facility( "OrloOffAtFirst", false );
   const Captured standardError( std::cerr );
   Site site;
   EXPECT_EQ( facility.levels(), 0u );
   for( U32 level = 0; level <= 9; ++level ) {
      EXPECT_FALSE( facility.isLive( level ) ) << level;
      site.pass( facility, level );
   }
   EXPECT_EQ( site.evaluated(), 0 );
   EXPECT_EQ( standardError.text(), "" );
}

TEST( Trace, EveryLevelIsSwitchedOnItsOwn ) {
   const TraceHandle facility( "OrloLevels", false );
   for( U32 on = 0; on <= 9; ++on ) {
      Support::TraceRecorder traces( TraceLevels{ 1u << on }, "OrloLevels" );
      EXPECT_EQ( facility.levels(), 1u << on );
      Site site;
      for( U32 level = 0; level <= 9; ++level ) {
         EXPECT_EQ( facility.isLive( level ), level == on ) << level << " with " << on << " on";
         site.pass( facility, level );
      }
      EXPECT_EQ( site.evaluated(), 1 ) << "with " << on << " on";
      EXPECT_EQ( traces.lines(), Lines{ std::to_string( on ) + " OrloTest:42 pass: message 1" } );
   }
   EXPECT_EQ( facility.levels(), 0u );
}

TEST( Trace, AllLevelsAreZeroToNine ) {
   const TraceHandle facility( "OrloAll", false );
   const Support::TraceRecorder traces( "OrloAll" );
   Site site;
   for( U32 level = 0; level <= 10; ++level ) {
      site.pass( facility, level );
   }
   EXPECT_EQ( traces.lines().size(), 10u );
   EXPECT_EQ( facility.levels(), kAllTraceLevels );
}

TEST( Trace, AFacilityMayBeMadeOn ) {
   const TraceHandle facility( "OrloMadeOn", true );
   EXPECT_EQ( facility.name(), "OrloMadeOn" );
   EXPECT_EQ( facility.levels(), kAllTraceLevels );
   for( U32 level = 0; level <= 9; ++level ) {
      EXPECT_TRUE( facility.isLive( level ) ) << level;
   }
}

TEST( Trace, AFacilityIsSwitchedDirectly ) {
   TraceHandle facility( "OrloDirect", true );
   facility.levelsIs( 0 );
   EXPECT_FALSE( facility.isLive( 3 ) );
   EXPECT_EQ( facility.levels(), 0u );
   facility.levelsIs( 1u << 3 );
   EXPECT_TRUE( facility.isLive( 3 ) );
   EXPECT_FALSE( facility.isLive( 4 ) );
   EXPECT_EQ( facility.levels(), 8u );
}

TEST( Trace, LevelsSetByNameReachTheFacilityOfThatNameOnly ) {
   const TraceHandle facility( "OrloNamed", false );
   const TraceHandle same( "OrloNamed", false );
   const TraceHandle other( "OrloNamedToo", false );
   traceLevelsIs( "OrloNamed", 1u << 4 );
   EXPECT_EQ( facility.levels(), 16u );
   EXPECT_EQ( same.levels(), 16u );
   EXPECT_EQ( other.levels(), 0u );
   traceLevelsIs( "OrloNamed", 0 );
   EXPECT_EQ( facility.levels(), 0u );
   EXPECT_EQ( same.levels(), 0u );
}

TEST( Trace, LevelsSetByNameWaitForAFacilityThatIsMadeLater ) {
   traceLevelsIs( "OrloLater", 1u << 4 );
   traceLevelsIs( "OrloLaterOff", 0 );
   {
      const TraceHandle facility( "OrloLater", false );
      EXPECT_EQ( facility.levels(), 16u );
   }
   const TraceHandle again( "OrloLater", true );
   EXPECT_EQ( again.levels(), 16u );
   const TraceHandle off( "OrloLaterOff", true );
   EXPECT_EQ( off.levels(), 0u );
   traceLevelsIs( "OrloLater", 0 );
}

/// A record with its texts kept.
struct Kept {
   const TraceHandle *facility;
   String context, message;
   U32 level;
   String source;
   U32 line;
   String function;
};

/// Keeps the traces that a sink is given, until it goes.
class Sink {
 public:
   Sink() {
      traceSinkIs( [this]( const TraceRecord &r ) {
         records.push_back(
               { &r.facility, r.context, r.message, r.level, r.source, r.line, r.function } );
      } );
   }
   ~Sink() { traceSinkIs( {} ); }
   Sink( const Sink & ) = delete;
   Sink &operator=( const Sink & ) = delete;

   std::vector<Kept> records;
};

TEST( Trace, TheSinkIsGivenEverythingThatIsKnownOfATrace ) {
   const TraceHandle facility( "OrloRecord", true );
   const Sink sink;
   if( Trace t{ facility, 4, "OrloVrrpSm", 108, "handleVrrpMac" } ) {
      t << "( " << 7 << " )";
   }
   ASSERT_EQ( sink.records.size(), 1u );
   const Kept &record = sink.records.front();
   EXPECT_EQ( record.facility, &facility );
   EXPECT_EQ( record.context, "<unknown>" );
   EXPECT_EQ( record.message, "( 7 )" );
   EXPECT_EQ( record.level, 4u );
   EXPECT_EQ( record.source, "OrloVrrpSm" );
   EXPECT_EQ( record.line, 108u );
   EXPECT_EQ( record.function, "handleVrrpMac" );
}

TEST( Trace, IsEmittedWhenItsSiteIsLeft ) {
   const TraceHandle facility( "OrloScope", true );
   const Sink sink;
   if( Trace t{ facility, 1, "OrloTest", 1, "f" } ) {
      t << "outer";
      if( Trace inner{ facility, 1, "OrloTest", 2, "f" } ) {
         inner << "inner";
      }
      EXPECT_EQ( sink.records.size(), 1u );
      t << " at last";
   }
   ASSERT_EQ( sink.records.size(), 2u );
   EXPECT_EQ( sink.records[0].message, "inner" );
   EXPECT_EQ( sink.records[1].message, "outer at last" );
}

TEST( Trace, WithoutAMessageIsStillEmitted ) {
   const TraceHandle facility( "OrloEmpty", true );
   const Sink sink;
   if( const Trace t{ facility, 1, "OrloTest", 1, "f" } ) {
   }
   ASSERT_EQ( sink.records.size(), 1u );
   EXPECT_EQ( sink.records[0].message, "" );
}

TEST( Trace, WritesNumbersWithTwelveDigits ) {
   const TraceHandle facility( "OrloPrecision", true );
   const Sink sink;
   if( Trace t{ facility, 1, "OrloTest", 1, "f" } ) {
      t << 1.0 / 3 << " " << 1234567890.125;
   }
   EXPECT_EQ( sink.records.at( 0 ).message, "0.333333333333 1234567890.12" );
}

TEST( Trace, WithoutASinkGoesToStandardErrorALineEach ) {
   const TraceHandle facility( "OrloDefault", true );
   const Captured standardError( std::cerr );
   Site site;
   site.pass( facility, 0 );
   site.pass( facility, 9 );
   EXPECT_EQ( standardError.text(), "OrloDefault 0 OrloTest:42 pass: message 1\n"
                                    "OrloDefault 9 OrloTest:42 pass: message 2\n" );
}

TEST( Trace, TheSinkIsReplacedAndRestored ) {
   const TraceHandle facility( "OrloSinks", true );
   const Captured standardError( std::cerr );
   Site site;
   int first = 0;
   int second = 0;
   traceSinkIs( [&]( const TraceRecord & ) { ++first; } );
   site.pass( facility, 1 );
   traceSinkIs( [&]( const TraceRecord & ) { ++second; } );
   site.pass( facility, 1 );
   site.pass( facility, 1 );
   EXPECT_EQ( standardError.text(), "" );
   traceSinkIs( {} );
   site.pass( facility, 1 );
   EXPECT_EQ( first, 1 );
   EXPECT_EQ( second, 2 );
   EXPECT_EQ( standardError.text(), "OrloSinks 1 OrloTest:42 pass: message 4\n" );
}

TEST( Trace, TheCoverageStreamGetsTheTracesThatAreNotLiveAndTheSinkThoseThatAre ) {
   TraceHandle facility( "OrloCoverage", false );
   const Captured standardError( std::cerr );
   const Sink sink;
   Site site;
   {
      const Coverage coverage;
      site.pass( facility, 3 );
      EXPECT_EQ( coverage.text(), "OrloCoverage 3 OrloTest:42 pass: message 1\n" );
      facility.levelsIs( 1u << 4 );
      site.pass( facility, 4 );
      site.pass( facility, 5 );
      EXPECT_EQ( coverage.text(), "OrloCoverage 3 OrloTest:42 pass: message 1\n"
                                  "OrloCoverage 5 OrloTest:42 pass: message 3\n" );
   }
   ASSERT_EQ( sink.records.size(), 1u );
   EXPECT_EQ( sink.records[0].message, "message 2" );
   EXPECT_EQ( standardError.text(), "" );
   site.pass( facility, 5 ); // the stream is not set any more
   EXPECT_EQ( site.evaluated(), 3 );
}

TEST( Trace, AFacilityThatIsMadeWhileTheCoverageStreamIsSetIsCoveredAsWell ) {
   Site site;
   const Coverage coverage;
   const TraceHandle facility( "OrloCoveredFromTheStart", false );
   EXPECT_EQ( facility.levels(), 0u );
   site.pass( facility, 9 );
   traceLevelsIs( "OrloCoveredFromTheStart", 1u << 9 );
   EXPECT_EQ( facility.levels(), 1u << 9 );
   site.pass( facility, 0 );
   traceLevelsIs( "OrloCoveredFromTheStart", 0 );
   site.pass( facility, 1 );
   EXPECT_EQ( facility.levels(), 0u );
   EXPECT_EQ( coverage.text(), "OrloCoveredFromTheStart 9 OrloTest:42 pass: message 1\n"
                               "OrloCoveredFromTheStart 0 OrloTest:42 pass: message 2\n"
                               "OrloCoveredFromTheStart 1 OrloTest:42 pass: message 3\n" );
}

TEST( Trace, IsHandedOverWithItsContext ) {
   const TraceHandle facility( "OrloHelper", false );
   const Sink sink;
   traceHelper( facility, "a context", "live", 7, true, "OrloTest", 12, "f" );
   traceHelper( facility, "a context", "not live", 7, false, "OrloTest", 13, "f" );
   ASSERT_EQ( sink.records.size(), 1u );
   EXPECT_EQ( sink.records[0].context, "a context" );
   EXPECT_EQ( sink.records[0].message, "live" );
   EXPECT_EQ( sink.records[0].level, 7u );
   EXPECT_EQ( sink.records[0].line, 12u );
   const Coverage coverage;
   traceHelper( facility, "a context", "not live", 7, false, "OrloTest", 14, "g" );
   EXPECT_EQ( coverage.text(), "OrloHelper 7 OrloTest:14 g: not live\n" );
   EXPECT_EQ( sink.records.size(), 1u );
}

TEST( TraceLevels, AreReadFromNumbersAndRanges ) {
   struct Row {
      const char *text;
      TraceLevels levels;
   };
   for( const Row &row : {
              Row{ "none", 0 },
              Row{ "all", 0x3FF },
              Row{ "0", 0x001 },
              Row{ "9", 0x200 },
              Row{ "0-9", 0x3FF },
              Row{ "0-4,8", 0x11F },
              Row{ "8,0-4", 0x11F },
              Row{ "3-3", 0x008 },
              Row{ "1,3,5", 0x02A },
              Row{ "1-3,2-4,2", 0x01E },
        } ) {
      EXPECT_EQ( traceLevels( row.text ), row.levels ) << row.text;
   }
}

TEST( TraceLevels, AnythingElseIsARangeError ) {
   for( const char *text : { "",       " ",
                             "10",     "0-10",
                             "-1",     "1-",
                             "-",      ",",
                             "1,",     ",1",
                             "1,,2",   "1-2-3",
                             "1 2",    " 1",
                             "1 ",     "1, 2",
                             "All",    "all,1",
                             "1,all",  "none,1",
                             "1,none", "0x1",
                             "a",      "1;2",
                             "+1",     "99999999999999999999",
                             "4-0",    "1,9-8" } ) {
      EXPECT_THROW( (void)traceLevels( text ), RangeException ) << "\"" << text << "\"";
   }
}

/// The facility of a module, as modules keep theirs.
TraceHandle &moduleFacility() {
   static TraceHandle facility( "OrloModule", false );
   return facility;
}

TEST( Trace, FacilitiesAreMadeOnFirstUseByAnyThread ) {
   constexpr U32 kThreads = 4;
   constexpr int kEach = 50;
   std::atomic<U32> ready{ 0 };
   std::vector<TraceHandle *> shared( kThreads );
   std::vector<std::vector<std::unique_ptr<TraceHandle>>> own( kThreads );
   std::vector<std::thread> threads;
   for( U32 t = 0; t < kThreads; ++t ) {
      threads.emplace_back( [&, t] {
         ++ready;
         while( ready != kThreads ) {
         }
         shared[t] = &moduleFacility();
         for( int i = 0; i < kEach; ++i ) {
            own[t].push_back( std::make_unique<TraceHandle>( "OrloThreads", false ) );
            const TraceHandle passing( "OrloThreads", false );
         }
      } );
   }
   for( std::thread &thread : threads ) {
      thread.join();
   }
   traceLevelsIs( "OrloThreads", 1 );
   traceLevelsIs( "OrloModule", 2 );
   for( U32 t = 0; t < kThreads; ++t ) {
      EXPECT_EQ( shared[t], shared[0] );
      for( const auto &facility : own[t] ) {
         EXPECT_EQ( facility->levels(), 1u );
      }
   }
   EXPECT_EQ( shared[0]->levels(), 2u );
   traceLevelsIs( "OrloThreads", 0 );
   traceLevelsIs( "OrloModule", 0 );
}

TEST( Trace, AModuleFindsTheOneFacilityFromWhateverThreadAsksFirst ) {
   for( int round = 0; round < 50; ++round ) {
      TraceFacility facility( []() -> const TraceHandle & { return moduleFacility(); } );
      std::vector<const TraceHandle *> found( 4 );
      std::atomic<int> ready{ 0 };
      std::vector<std::thread> threads;
      for( const TraceHandle *&handle : found ) {
         threads.emplace_back( [&] {
            ++ready;
            while( ready != 4 ) {
            }
            handle = &facility.get();
         } );
      }
      for( std::thread &thread : threads ) {
         thread.join();
      }
      ASSERT_EQ( found, std::vector<const TraceHandle *>( 4, &moduleFacility() ) );
   }
}

TEST( Trace, AFacilityIsMadeByItsFirstTraceThoughThatIsOff ) {
   static int made = 0;
   TraceFacility facility( []() -> const TraceHandle & {
      ++made;
      static TraceHandle handle( "OrloFirst", false );
      return handle;
   } );
   const auto pass = [&]( U32 level ) {
      if( Trace t{ facility, level, "OrloTest", 42, "pass" } ) {
         t << "level " << level;
      }
   };
   EXPECT_EQ( made, 0 );
   Support::TraceRecorder traces( "OrloOther" );
   pass( 3 );
   pass( 3 );
   EXPECT_EQ( made, 1 );
   EXPECT_EQ( traces.lines(), Lines() );
   traceLevelsIs( "OrloFirst", 1u << 3 );
   pass( 3 );
   pass( 4 );
   EXPECT_EQ( traces.take(), Lines{ "3 OrloTest:42 pass: level 3" } );
   std::ostringstream covered;
   coverageStream = &covered;
   pass( 4 );
   coverageStream = nullptr;
   EXPECT_EQ( covered.str(), "OrloFirst 4 OrloTest:42 pass: level 4\n" );
   traceLevelsIs( "OrloFirst", 0 );
   pass( 3 );
   EXPECT_EQ( traces.lines(), Lines() );
   EXPECT_EQ( made, 1 );
}

TEST( TraceRecorder, LeavesNoTraceOfItself ) {
   const TraceHandle facility( "OrloRecorder", false );
   Site site;
   {
      Support::TraceRecorder traces( "OrloRecorder" );
      site.pass( facility, 2 );
      EXPECT_EQ( traces.take(), Lines{ "2 OrloTest:42 pass: message 1" } );
      EXPECT_EQ( traces.lines(), Lines() );
   }
   EXPECT_EQ( facility.levels(), 0u );
   const TraceHandle on( "OrloRecorderOn", true );
   const Captured standardError( std::cerr );
   site.pass( on, 2 );
   EXPECT_EQ( standardError.text(), "OrloRecorderOn 2 OrloTest:42 pass: message 2\n" );
}

} // namespace
} // namespace Quor
