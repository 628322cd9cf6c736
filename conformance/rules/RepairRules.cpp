// Hardware that somebody else has changed.
#include "conformance/Bench.h"
#include "conformance/Rule.h"

namespace OrloConformance {

namespace {

void nothingToRepair( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) }, { 1, bench.pair( 1 ) }, { 3, bench.pair( 2 ) } };
   bench.put( all );
   const Quor::U64 writes = bench.writes();
   bench.repair();
   bench.expectHeld( all, "after a repair" );
   bench.expectWrites( writes, "after a repair" );
}

void lostEntry( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) }, { 1, bench.pair( 1 ) } };
   bench.put( all );
   const Quor::U64 writes = bench.writes();
   bench.lose( all[0] );
   const auto isBack = [&] { return bench.held() == all; };
   if( !bench.inAMinute( isBack ) ) { // it has not heard of it
      bench.repair();
      if( !bench.inAMinute( isBack ) ) {
         throw Broken( "after a loss and a repair the hardware holds " + text( bench.held() ),
                       text( all ) );
      }
   }
   bench.expectWrites( writes + 1, "after the loss of one entry" );
}

void extraEntry( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) } };
   bench.put( all );
   bench.plant( { 2, bench.pair( 1 ) } );
   bench.repair();
   if( !bench.inAMinute( [&] { return bench.held() == all; } ) ) {
      throw Broken( "with an entry too many, a repair leaves " + text( bench.held() ),
                    text( all ) );
   }
}

void movedEntry( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) }, { 1, bench.pair( 1 ) } };
   bench.put( all );
   bench.lose( all[0] );
   bench.plant( { 2, bench.pair( 0 ) } );
   bench.repair();
   if( !bench.inAMinute( [&] { return bench.held() == all; } ) ) {
      throw Broken( "with an entry under another index, a repair leaves " + text( bench.held() ),
                    text( all ) );
   }
}

constexpr unsigned kRepairs = Rule::kView | Rule::kWork;

constexpr Rule kRules[] = {
      { "nothing-to-repair", "repair() of hardware that is right writes nothing", kRepairs,
        nothingToRepair },
      { "a-lost-entry",
        "an entry that somebody else takes out is put back, at repair() at the latest; no other is "
        "written",
        kRepairs | Rule::kLose, lostEntry },
      { "an-entry-too-many", "repair() removes what somebody else has put in",
        kRepairs | Rule::kPlant, extraEntry },
      { "an-entry-elsewhere", "repair() brings a pair back to its index",
        kRepairs | Rule::kLose | Rule::kPlant, movedEntry } };

} // namespace

std::span<const Rule> repairRules() {
   return kRules;
}

} // namespace OrloConformance
