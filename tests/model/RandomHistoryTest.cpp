// Long random histories of a larger world. What fails is made shorter until nothing can be left
// out.
#include "tests/model/Environment.h"
#include "tests/model/Story.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <iostream>
#include <random>

namespace ModelTests {
namespace {

using Op = Operation;

constexpr U32 kIntfs = 4;
const std::vector<U16> kVlans{ 0, 1, 2, 10, 11, 100, 2048, 4094 };
constexpr U32 kMacs = 6;

/// Everything that comes in by the inputs, and a start of everything anew.
const std::vector<std::pair<std::size_t, Op::Kind>> kInputs{
      { 14, Op::kPublish },      { 8, Op::kWithdraw },      { 1, Op::kRefuse },
      { 12, Op::kJoin },         { 6, Op::kLeave },         { 1, Op::kRestart },
      { 1, Op::kResize },        { 1, Op::kStopReflector }, { 1, Op::kAbandonKeys },
      { 2, Op::kStartReflector } };
const std::vector<std::pair<std::size_t, Op::Kind>> kAnything{
      { 60, Op::kPublish },       { 32, Op::kWithdraw },     { 4, Op::kRefuse },
      { 52, Op::kJoin },          { 24, Op::kLeave },        { 4, Op::kMute },
      { 4, Op::kRestart },        { 3, Op::kResize },        { 3, Op::kForeignSlot },
      { 3, Op::kCleanup },        { 2, Op::kStopReflector }, { 2, Op::kAbandonKeys },
      { 4, Op::kStartReflector }, { 1, Op::kWatchNothing },  { 1, Op::kWatchOutput },
      { 1, Op::kWatchOther },     { 1, Op::kHandleAll },     { 2, Op::kHandlePair },
      { 6, Op::kKeyTrue },        { 1, Op::kKeyFalse },      { 6, Op::kKeyDel },
      { 1, Op::kForgetStart } };
/// What may happen in the middle of something else.
const std::vector<std::pair<std::size_t, Op::Kind>> kNested{
      { 6, Op::kPublish }, { 6, Op::kWithdraw }, { 4, Op::kJoin },   { 4, Op::kLeave },
      { 1, Op::kRefuse },  { 1, Op::kKeyTrue },  { 1, Op::kKeyDel }, { 1, Op::kMute } };

rc::Gen<Operation> operations( const std::vector<std::pair<std::size_t, Op::Kind>> &kinds ) {
   return rc::gen::map(
         rc::gen::build<Operation>(
               rc::gen::set( &Operation::kind,
                             rc::gen::mapcat( rc::gen::just( kinds ),
                                              []( const auto &all ) {
                                                 std::vector<Op::Kind> drawn;
                                                 for( const auto &[weight, kind] : all ) {
                                                    drawn.insert( drawn.end(), weight, kind );
                                                 }
                                                 return rc::gen::elementOf( drawn );
                                              } ) ),
               rc::gen::set( &Operation::intf, rc::gen::inRange<U32>( 1, kIntfs + 1 ) ),
               rc::gen::set( &Operation::mac, rc::gen::inRange<U32>( 0, kMacs ) ),
               rc::gen::set( &Operation::vlan,
                             rc::gen::inRange<U32>( 0, static_cast<U32>( kVlans.size() ) ) ) ),
         fitting );
}

rc::Gen<Disturbance> disturbances() {
   return rc::gen::build<Disturbance>(
         rc::gen::set( &Disturbance::moment,
                       rc::gen::element( Moment::kTableEarly, Moment::kTableLate,
                                         Moment::kStatusEarly, Moment::kStatusLate,
                                         Moment::kHelperAdd, Moment::kHelperDelete ) ),
         rc::gen::set( &Disturbance::nth, rc::gen::inRange<U32>( 0, 3 ) ),
         rc::gen::set( &Disturbance::operation, operations( kNested ) ) );
}

rc::Gen<Step> anyStep() {
   return rc::gen::map(
         rc::gen::build<Step>( rc::gen::set( &Step::what, rc::gen::weightedElement<Step::What>(
                                                                { { 10, Step::kPerform },
                                                                  { 6, Step::kDisturb },
                                                                  { 6, Step::kDisturbTwice },
                                                                  { 1, Step::kWalkTable },
                                                                  { 4, Step::kTableOn },
                                                                  { 1, Step::kWalkIndexes },
                                                                  { 4, Step::kIndexesOn } } ) ),
                               rc::gen::set( &Step::operation, operations( kAnything ) ),
                               rc::gen::set( &Step::disturbance, disturbances() ),
                               rc::gen::set( &Step::another, disturbances() ),
                               rc::gen::set( &Step::sameIntf, rc::gen::arbitrary<bool>() ),
                               rc::gen::set( &Step::sameKey, rc::gen::arbitrary<bool>() ) ),
         related );
}

rc::Gen<Step> inputStep() {
   return rc::gen::build<Step>( rc::gen::set( &Step::what, rc::gen::just( Step::kPerform ) ),
                                rc::gen::set( &Step::operation, operations( kInputs ) ) );
}

/// Every VLAN is one interface's alone.
void unshare( std::vector<Step> &steps ) {
   for( Step &step : steps ) {
      Operation &operation = step.operation;
      if( operation.kind == Op::kJoin || operation.kind == Op::kLeave ) {
         operation.intf = 1 + operation.vlan % kIntfs;
      }
   }
}

/// Tells the checker what to do, once, and everybody how it can be repeated.
void seeded() {
   static const bool isDone = [] {
      const U32 seed =
            fromEnvironment( "ORLO_RANDOM_SEED", std::random_device()() % 1'000'000'000 );
      const U32 cases = fromEnvironment( "ORLO_RANDOM_CASES", kSanitized ? 60 : 1000 );
      const std::string parameters = "seed=" + std::to_string( seed ) +
                                     " max_success=" + std::to_string( cases ) + " max_size=150";
      setenv( "RC_PARAMS", parameters.c_str(), 0 );
      std::cout << "random histories: ORLO_RANDOM_SEED=" << seed << " ORLO_RANDOM_CASES=" << cases
                << " repeats them\n";
      return true;
   }();
   ASSERT_TRUE( isDone );
}

struct Sum {
   unsigned long long histories = 0, performed = 0, disturbed = 0, visited = 0, stopped = 0;

   void operator+=( const Outcome &outcome ) {
      ++histories;
      performed += outcome.performed;
      disturbed += outcome.disturbed;
      visited += outcome.visited;
      stopped += outcome.stopped;
   }
};

std::ostream &operator<<( std::ostream &out, const Sum &sum ) {
   return out << sum.histories << " histories, " << sum.performed << " operations compared, in the "
              << "middle of which another one happened " << sum.disturbed
              << " times; walks went on " << sum.visited << " times; " << sum.stopped
              << " ended with a stop";
}

void hold( const Story &story, Sum &sum ) {
   const Outcome outcome = tried( story );
   sum += outcome;
   if( !outcome.differs.empty() ) {
      RC_FAIL( outcome.differs + "\n" + shown( story ) );
   }
}

TEST( RandomHistory, InputsAloneKeepEveryRule ) {
   seeded();
   Sum sum;
   EXPECT_TRUE( rc::check( "the library does what the model says, and keeps the rules", [&] {
      const auto indexes = *rc::gen::inRange<U32>( 0, 21 );
      const bool sharesVlans = *rc::gen::arbitrary<bool>();
      auto steps = *rc::gen::scale( 3.0, rc::gen::container<std::vector<Step>>( inputStep() ) );
      if( !sharesVlans ) {
         unshare( steps );
      }
      hold( { World( kIntfs, kMacs, kVlans, indexes ), steps, true, sharesVlans, false }, sum );
   } ) );
   std::cout << "inputs alone: " << sum << "\n";
}

TEST( RandomHistory, AnythingInTheMiddleOfAnything ) {
   seeded();
   Sum sum;
   EXPECT_TRUE( rc::check( "the library does what the model says", [&] {
      const auto indexes = *rc::gen::inRange<U32>( 0, 21 );
      const auto steps = *rc::gen::scale( 5.0, rc::gen::container<std::vector<Step>>( anyStep() ) );
      hold( { World( kIntfs, kMacs, kVlans, indexes ), steps, false, true, true }, sum );
   } ) );
   std::cout << "anything: " << sum << "\n";
   EXPECT_GT( sum.disturbed, 0u );
   EXPECT_GT( sum.visited, 0u );
}

} // namespace

void showValue( const Step &step, std::ostream &out );
void showValue( const Step &, std::ostream &out ) {
   out << "(below)";
}

} // namespace ModelTests
