// Histories of the library beside the model. The first byte is the number of indexes, the second
// says whether there is nothing but inputs (then every rule for such states is checked as well) and
// whether interfaces share VLANs. Each step has a byte for what it is, then four for an operation,
// and six for each operation in the middle of it. A stop that the model predicts is let happen in a
// process of its own, and ends the history.
#include "tests/model/Story.h"
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"

#include <array>

using namespace ModelTests;
using Op = Operation;

namespace {

constexpr U32 kIntfs = 4;
constexpr U32 kMacs = 6;
const std::vector<U16> kVlans{ 0, 1, 2, 10, 11, 100, 2048, 4094 };
constexpr U32 kMostIndexes = 20;
constexpr std::size_t kMostSteps = 100;

constexpr std::array<Op::Kind, 10> kInputs{
      Op::kPublish, Op::kRefuse, Op::kWithdraw,      Op::kJoin,        Op::kLeave,
      Op::kRestart, Op::kResize, Op::kStopReflector, Op::kAbandonKeys, Op::kStartReflector };
/// What may happen in the middle of something else.
constexpr std::array<Op::Kind, 8> kNested{ Op::kPublish, Op::kWithdraw, Op::kJoin,   Op::kLeave,
                                           Op::kRefuse,  Op::kKeyTrue,  Op::kKeyDel, Op::kMute };

Operation operation( Fuzz::Input &input, Op::Kind kind ) {
   Operation read{ kind };
   read.intf = kind == Op::kPublishWithoutSet ? 0 : 1 + input.below( kIntfs );
   read.mac = input.below( kMacs );
   read.vlan = input.below( static_cast<U32>( kVlans.size() ) );
   return fitting( read );
}

Disturbance disturbance( Fuzz::Input &input ) {
   const auto moment = static_cast<Moment>( input.below( 6 ) );
   const U32 nth = input.below( 3 );
   return { moment, nth, operation( input, kNested[input.below( kNested.size() )] ) };
}

Step anyStep( Fuzz::Input &input ) {
   Step step;
   step.what = static_cast<Step::What>( input.below( Step::kIndexesOn + 1 ) );
   if( step.what > Step::kDisturbTwice ) {
      return step;
   }
   step.operation = operation( input, static_cast<Op::Kind>( input.below( Op::kKinds ) ) );
   if( step.what != Step::kPerform ) {
      const U32 about = input.below( 4 );
      step.sameIntf = ( about & 1 ) != 0;
      step.sameKey = ( about & 2 ) != 0;
      step.disturbance = disturbance( input );
      step.another = step.what == Step::kDisturbTwice ? disturbance( input ) : step.disturbance;
   }
   return related( step );
}

/// Unless they share VLANs, every VLAN is one interface's alone.
Step inputStep( Fuzz::Input &input, bool sharesVlans ) {
   Step step;
   step.operation = operation( input, kInputs[input.below( kInputs.size() )] );
   if( !sharesVlans && ( step.operation.kind == Op::kJoin || step.operation.kind == Op::kLeave ) ) {
      step.operation.intf = 1 + step.operation.vlan % kIntfs;
   }
   return step;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t *bytes, std::size_t size ) {
   Fuzz::Input input( bytes, size );
   const U32 indexes = input.below( kMostIndexes + 1 );
   const U32 kind = input.below( 4 );
   Story story{ World( kIntfs, kMacs, kVlans, indexes ), {}, kind != 0, kind != 1, kind == 0 };
   while( !input.empty() && story.steps.size() < kMostSteps ) {
      story.steps.push_back( story.inputsOnly ? inputStep( input, story.sharesVlans )
                                              : anyStep( input ) );
   }
   const Outcome outcome = told( story );
   if( !outcome.differs.empty() ) {
      Fuzz::found( outcome.differs + "\n" + shown( story ) );
   }
   return 0;
}
