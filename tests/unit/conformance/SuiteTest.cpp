// The rules: good helpers keep all of them, and each has a wrong helper that it rejects.
#include "conformance/Suite.h"
#include "OrloVrrpHelper/HelperModule.h"
#include "agent/FileDescriptor.h"
#include "tests/unit/agent/TemporaryFolder.h"
#include "tests/unit/conformance/WrongHelpers.h"

#include <gtest/gtest.h>

#include <fcntl.h>

namespace ConformanceTests {
namespace {

using Bridging::VlanId;
using OrloConformance::Rule;
using OrloConformance::Subject;
using OrloConformance::Suite;
using OrloConformance::Verdict;

/// The names of rules, by what has come out.
struct Outcome {
   std::vector<std::string> holds, broken, notTried;
   std::string details;
};

Outcome outcomeOf( const Suite &suite ) {
   Outcome outcome;
   for( const Rule &rule : Suite::rules() ) {
      const Verdict verdict = suite.tried( rule );
      auto &names = verdict.kind == Verdict::Kind::holds    ? outcome.holds
                    : verdict.kind == Verdict::Kind::broken ? outcome.broken
                                                            : outcome.notTried;
      names.emplace_back( rule.name );
      if( !verdict.why.empty() ) {
         outcome.details += std::string( rule.name ) + ": " + verdict.why + "\n";
      }
   }
   return outcome;
}

const HelperSettings kSettings{
      .indexes = 10,
      .interfaces = { { "br10", VlanId( 10 ), { VlanId( 11 ) } }, { "br20", VlanId( 20 ) } } };

Subject subjectOf( FakeTable &table, const Maker &make ) {
   return { .plugin = orloVrrpPlugin,
            .make = [&table,
                     make]( const HelperSettings &settings ) { return make( table, settings ); },
            .settings = kSettings,
            .faults = table.faults(),
            .patience = std::chrono::milliseconds( 100 ) };
}

template <class Helper>
Quor::Ptr<OrloHelper::VrrpSmHelper> make( FakeTable &table, const HelperSettings &settings ) {
   return Quor::make<Helper>( table, settings );
}

/// Hears at once what somebody else takes away.
struct HearingHelper : FakeHelper {
   using FakeHelper::FakeHelper;
   int fd() const override { return table_.fd(); }
   void hear() override {
      for( const U32 index : table_.takeLost() ) {
         lost( index );
      }
   }
   void repair() override { ADD_FAILURE() << "what it has heard of needs no repair"; }
};

/// Does everything inside of a call, and shows nothing.
class BlindHelper : public OrloHelper::VrrpSmHelper {
 public:
   BlindHelper( FakeTable &table, const HelperSettings &settings )
         : VrrpSmHelper( "blind" ), table_( table ), indexes_( settings.indexes ) {
      syncCurrentStateOnInitIs( true );
   }
   void addVirtualRouterMac( const Pelmo::EthAddr &mac, U32 vlan, U32 index ) override {
      table_.slots[index] = { VlanId( static_cast<Quor::U16>( vlan ) ), mac };
   }
   void deleteVirtualRouterMac( const Pelmo::EthAddr &, U32, U32 index ) override {
      table_.slots.erase( index );
   }
   void syncVrrpStateOnInit( const State &state ) override {
      table_.slots.erase( table_.slots.lower_bound( indexes_ ), table_.slots.end() );
      for( const auto &[index, pair] : table_.slots ) {
         state->virtualRouterIndexIs( pair, index );
      }
   }

 private:
   FakeTable &table_;
   const U32 indexes_;
};

class GoodHelpersTest : public testing::TestWithParam<std::mt19937::result_type> {};

TEST_P( GoodHelpersTest, KeepEveryRule ) {
   FakeTable table;
   Subject subject = subjectOf( table, make<FakeHelper> );
   subject.seed = GetParam();
   const Outcome outcome = outcomeOf( Suite( subject ) );
   EXPECT_EQ( outcome.details, "" );
   EXPECT_EQ( outcome.holds.size(), Suite::rules().size() );
}

INSTANTIATE_TEST_SUITE_P( OfSeveralSeeds, GoodHelpersTest,
                          testing::Range<std::mt19937::result_type>( 1, 21 ) );

TEST( SuiteTest, AHelperThatHearsItsHardwareNeedsNoRepair ) {
   FakeTable table;
   const Suite suite( subjectOf( table, make<HearingHelper> ) );
   for( const Rule &rule : Suite::rules() ) {
      if( std::string( rule.name ) == "a-lost-entry" ) {
         EXPECT_EQ( suite.tried( rule ).why, "" );
      }
   }
}

TEST( SuiteTest, WhatCannotBeReadBackIsNotTried ) {
   FakeTable table;
   const Outcome outcome = outcomeOf( Suite( subjectOf( table, make<BlindHelper> ) ) );
   EXPECT_EQ( outcome.broken, std::vector<std::string>{} ) << outcome.details;
   EXPECT_EQ( outcome.holds,
              ( std::vector<std::string>{
                    "adoption-is-asked-for", "empty-hardware", "no-index", "fewer-indexes",
                    "leftovers", "a-restart", "a-restart-with-pairs-waiting",
                    "a-start-inside-the-process", "a-restart-in-the-middle" } ) );
   EXPECT_EQ( outcome.notTried.size(), Suite::rules().size() - outcome.holds.size() );
   EXPECT_NE( outcome.details.find(
                    "an-added-pair: the helper cannot be read back: it is no HardwareView\n" ),
              std::string::npos )
         << outcome.details;
   EXPECT_EQ( table.slots.size(), 0u );
}

TEST( SuiteTest, WhatNobodyCanPlayIsNotTried ) {
   FakeTable table;
   Subject subject = subjectOf( table, make<FakeHelper> );
   subject.faults = {};
   const Outcome outcome = outcomeOf( Suite( subject ) );
   EXPECT_EQ( outcome.broken, std::vector<std::string>{} ) << outcome.details;
   EXPECT_EQ( outcome.details, "a-pair-twice: needs --plant\n"
                               "no-vlan: needs --plant\n"
                               "a-refused-pair: needs --refuse\n"
                               "asked-again: needs --refuse\n"
                               "a-refused-pair-taken-back: needs --refuse\n"
                               "the-last-wish: needs --refuse\n"
                               "accepts-again: needs --refuse\n"
                               "a-restart-while-refused: needs --refuse\n"
                               "a-refused-removal: needs --refuse-removals\n"
                               "a-refused-removal-taken-back: needs --refuse-removals\n"
                               "a-lost-entry: needs --lose\n"
                               "an-entry-too-many: needs --plant\n"
                               "an-entry-elsewhere: needs --lose\n" );
}

// The memory hardware, changed as by somebody else who writes into its file.

Quor::U64 word( const Pair &pair ) {
   return Quor::U64{ 0xA } << 60 | Quor::U64{ pair.vlanId().number() } << 48 | pair.mac().number();
}

void overwrite( const std::string &path, U32 index, Quor::U64 word ) {
   const OrloAgent::FileDescriptor file( open( path.c_str(), O_WRONLY | O_CLOEXEC ) );
   ASSERT_EQ( pwrite( file.get(), &word, sizeof word, 64 + 8 * off_t{ index } ), 8 );
}

TEST( SuiteTest, TheMemoryHardwareKeepsEveryRuleThatCanBePlayed ) {
   const OrloAgent::TemporaryFolder folder;
   const std::string path = folder.path( "slots" );
   Subject subject{
         .plugin = orloVrrpPlugin,
         .make =
               []( const HelperSettings &settings ) {
                  return Quor::Ptr<OrloHelper::VrrpSmHelper>::adopt( orloHelperNew( settings ) );
               },
         .settings = kSettings,
         .faults = { .lose = [&]( const Pair &, U32 index ) { overwrite( path, index, 0 ); },
                     .plant = [&]( const Pair &pair,
                                   U32 index ) { overwrite( path, index, word( pair ) ); } } };
   subject.settings.settings = { { "path", path } };
   const Outcome outcome = outcomeOf( Suite( subject ) );
   EXPECT_EQ( outcome.broken, std::vector<std::string>{} ) << outcome.details;
   EXPECT_EQ( outcome.notTried.size(), 8u ) << outcome.details;
   EXPECT_EQ( outcome.holds.size(), Suite::rules().size() - 8 );
}

// What is wrong is found

TEST( SuiteTest, EveryRuleRejectsAHelperThatBreaksIt ) {
   for( const Rule &rule : Suite::rules() ) {
      SCOPED_TRACE( rule.name );
      const auto wrong = wrongHelpers().find( rule.name );
      if( wrong == wrongHelpers().end() ) {
         ADD_FAILURE() << "no helper breaks this rule";
         continue;
      }
      FakeTable table;
      const Verdict verdict = Suite( subjectOf( table, wrong->second ) ).tried( rule );
      EXPECT_EQ( verdict.kind, Verdict::Kind::broken ) << verdict.why;
      EXPECT_NE( verdict.why.find( "; it should be: " ), std::string::npos ) << verdict.why;
   }
   EXPECT_EQ( wrongHelpers().size(), Suite::rules().size() );
}

TEST( SuiteTest, RulesHaveNamesOfTheirOwnAndSayWhatHolds ) {
   std::map<std::string, int> names;
   for( const Rule &rule : Suite::rules() ) {
      EXPECT_EQ( ++names[rule.name], 1 ) << rule.name;
      EXPECT_NE( std::string( rule.text ), "" ) << rule.name;
   }
}

TEST( SuiteTest, TellsWhatTheHardwareHoldsAndEmptiesIt ) {
   FakeTable table;
   table.slots = { { 1, { VlanId( 10 ), Pelmo::EthAddr( 0, 0x5e00, 0x0133 ) } },
                   { 3, { VlanId( 99 ), Pelmo::EthAddr( 0, 0x5e00, 0x0134 ) } } };
   const Suite suite( subjectOf( table, make<FakeHelper> ) );
   EXPECT_EQ( suite.held(), 2u );
   EXPECT_EQ( table.slots.size(), 2u ) << "looking changes nothing";
   suite.empty();
   EXPECT_EQ( suite.held(), 0u );
   EXPECT_EQ( table.slots.size(), 0u );
   EXPECT_EQ( Suite( subjectOf( table, make<BlindHelper> ) ).held(), std::nullopt );
}

TEST( SuiteTest, HardwareThatIsNotEmptiedIsBroken ) {
   FakeTable table;
   table.refusesRemovals = true;
   table.slots = { { 1, { VlanId( 10 ), Pelmo::EthAddr( 0, 0x5e00, 0x0133 ) } } };
   const Suite suite( subjectOf( table, make<FakeHelper> ) );
   const Verdict verdict = suite.tried( Suite::rules().front() );
   EXPECT_EQ( verdict.kind, Verdict::Kind::broken );
   EXPECT_EQ( verdict.why, "after a start with nothing to program the hardware holds 1: VLAN 10 "
                           "00:00:5e:00:01:33; it should be: nothing" );
}

} // namespace
} // namespace ConformanceTests
