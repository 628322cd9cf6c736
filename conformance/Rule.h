// What a helper may be relied on for, and how that is tried.
#ifndef ORLOCONFORMANCE_RULE_H
#define ORLOCONFORMANCE_RULE_H

#include <span>
#include <string>

namespace OrloConformance {

class Bench;

struct Rule {
   /// What cannot be done without, to be combined.
   enum Needs : unsigned {
      kNothing = 0,
      kView = 1,           ///< a HardwareView
      kWork = 2,           ///< a HardwareWork
      kRefuse = 4,         ///< Faults::refuse
      kRefuseRemovals = 8, ///< Faults::refuseRemovals
      kLose = 16,          ///< Faults::lose
      kPlant = 32          ///< Faults::plant
   };

   const char *name; ///< of the situation, as people type it
   const char *text; ///< what holds in it
   unsigned needs;
   /// Begins on empty hardware with a helper that has been started with nothing to program. Throws
   /// Broken.
   void ( *tryOn )( Bench &bench );
};

/// What has come out.
struct Verdict {
   enum class Kind { holds, broken, notTried };
   Kind kind;
   std::string why; ///< one line; empty when it holds
};

// By what they are about; Suite.h has them all.
std::span<const Rule> startRules();
std::span<const Rule> writeRules();
std::span<const Rule> restartRules();
std::span<const Rule> refusalRules();
std::span<const Rule> repairRules();
std::span<const Rule> storyRules();

} // namespace OrloConformance

#endif
