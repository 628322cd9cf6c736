// A long history with walks and with changes in the middle of changes, tried in a process of its
// own.
#ifndef TESTS_MODEL_STORY_H
#define TESTS_MODEL_STORY_H

#include "tests/model/Operation.h"

namespace ModelTests {

/// One step: an operation, with others in the middle of it or without, or a walk's.
struct Step {
   enum What { kPerform, kDisturb, kDisturbTwice, kWalkTable, kTableOn, kWalkIndexes, kIndexesOn };
   What what = kPerform;
   Operation operation{ Operation::kPublish };
   Disturbance disturbance{ Moment::kTableEarly, 0, { Operation::kPublish } };
   Disturbance another = disturbance;      ///< a second one, perhaps in the middle of the first
   bool sameIntf = false, sameKey = false; ///< the disturbance is about what the operation is about
};

/// Its numbers, as the operation of its kind wants them.
Operation fitting( Operation operation );
/// Its disturbances are about what it is about, as far as it says so: most surprises come from what
/// is in work already.
Step related( Step step );

struct Story {
   World world;
   std::vector<Step> steps;
   /// Nothing but inputs: then the rules for every such state are checked after every step.
   bool inputsOnly;
   bool sharesVlans;
   bool mutesVlans;
};

/// What became of it. `differs` is empty when the library did what the model says.
struct Outcome {
   std::string differs;
   U32 performed = 0;
   U32 disturbed = 0; ///< how often an operation happened in the middle of another
   U32 visited = 0;   ///< how often a walk went on
   U32 stopped = 0;   ///< one when the history ended with a stop
};

Outcome tried( const Story &story );
/// In this process: what is broken then may end it.
Outcome told( const Story &story );
/// One step a line.
std::string shown( const Story &story );

} // namespace ModelTests

#endif
