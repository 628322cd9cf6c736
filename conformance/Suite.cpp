#include "conformance/Suite.h"

#include "conformance/Bench.h"

namespace OrloConformance {

namespace {

/// What stands in the way, or empty.
std::string missing( unsigned needs, const Bench &bench ) {
   const Faults &faults = bench.faults();
   if( ( needs & Rule::kView ) && !bench.hasView() ) {
      return "the helper cannot be read back: it is no HardwareView";
   }
   if( ( needs & Rule::kWork ) && !bench.hasWork() ) {
      return "the helper does all inside of a call: it is no HardwareWork";
   }
   if( ( needs & Rule::kRefuse ) && !faults.refuse ) {
      return "needs --refuse";
   }
   if( ( needs & Rule::kRefuseRemovals ) && !faults.refuseRemovals ) {
      return "needs --refuse-removals";
   }
   if( ( needs & Rule::kLose ) && !faults.lose ) {
      return "needs --lose";
   }
   if( ( needs & Rule::kPlant ) && !faults.plant ) {
      return "needs --plant";
   }
   return {};
}

} // namespace

const std::vector<Rule> &Suite::rules() {
   static const std::vector<Rule> all = [] {
      std::vector<Rule> rules;
      for( const std::span<const Rule> some : { startRules(), writeRules(), restartRules(),
                                                refusalRules(), repairRules(), storyRules() } ) {
         rules.insert( rules.end(), some.begin(), some.end() );
      }
      return rules;
   }();
   return all;
}

std::optional<std::size_t> Suite::held() const {
   Bench bench( subject_ );
   bench.open();
   return bench.hasView() ? std::optional( bench.held().size() ) : std::nullopt;
}

void Suite::empty() const {
   Bench( subject_ ).openEmpty( subject_.settings.indexes );
}

Verdict Suite::tried( const Rule &rule ) const {
   try {
      Bench bench( subject_ );
      bench.openEmpty( subject_.settings.indexes );
      if( const std::string why = missing( rule.needs, bench ); !why.empty() ) {
         return { Verdict::Kind::notTried, why };
      }
      rule.tryOn( bench );
      return { Verdict::Kind::holds, {} };
   } catch( const Broken &broken ) {
      return { Verdict::Kind::broken, broken.what() };
   }
}

} // namespace OrloConformance
