// Helpers that go without being told, and what their successors find.
#include "conformance/Bench.h"
#include "conformance/Rule.h"

#include <algorithm>

namespace OrloConformance {

using Quor::U32;

namespace {

Pairs some( const Bench &bench, U32 count ) {
   Pairs pairs;
   for( U32 i = 0; i < count; ++i ) {
      pairs.push_back( bench.pair( i ) );
   }
   return pairs;
}

void expectAdopted( Bench &bench, const Slots &snapshot, const Slots &held, Quor::U64 writes ) {
   bench.expect( snapshot == held, "the snapshot is " + text( snapshot ),
                 "what was held: " + text( held ) );
   bench.expectHeld( held, "after the start" );
   bench.work();
   bench.expectWrites( writes, "after the start" );
}

void restart( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 2 ) }, { 2, bench.pair( 0 ) }, { 3, bench.pair( 1 ) } };
   bench.put( all );
   bench.open();
   expectAdopted( bench, bench.start( some( bench, 3 ), bench.few() ), all, 0 );
}

void restartFull( Bench &bench ) {
   const Pairs pairs = some( bench, bench.few() + 3 );
   bench.open();
   bench.start( pairs, bench.few() );
   const Slots before = bench.programmed();
   bench.expectHeld( before, "after a start" );
   bench.open();
   expectAdopted( bench, bench.start( pairs, bench.few() ), before, 0 );
   bench.expect( bench.programmed() == before && bench.waiting() == 3,
                 "after the restart the programmer has " + text( bench.programmed() ),
                 "as before: " + text( before ) );
   bench.unwanted( before[1].second );
   bench.expectHeld( bench.programmed(), "after the longest waiting has got an index" );
}

void startAgain( Bench &bench ) {
   const Pairs pairs = some( bench, bench.few() + 2 );
   bench.open();
   bench.start( pairs, bench.few() );
   const Slots before = bench.programmed();
   bench.expectHeld( before, "after a start" );
   const Quor::U64 writes = bench.hasView() ? bench.writes() : 0;
   bench.stop();
   bench.helper().syncCurrentStateOnInitIs( true );
   expectAdopted( bench, bench.start( pairs, bench.few() ), before, writes );
   bench.unwanted( before[0].second );
   bench.expectHeld( bench.programmed(), "after a change" );
}

void restartInTheMiddle( Bench &bench ) {
   bench.open();
   bench.start( some( bench, 2 ), bench.few() );
   const Slots before = bench.programmed();
   bench.expectHeld( before, "after a start" );
   bench.unwanted( before[0].second );
   bench.wanted( bench.pair( 2 ) );
   bench.open(); // no work() came
   const Slots there = bench.hasView() ? bench.held() : Slots{};
   const Slots snapshot = bench.start( { before[1].second, bench.pair( 2 ) }, bench.few() );
   bench.expect( !bench.hasView() || snapshot == there, "the snapshot is " + text( snapshot ),
                 "what was held: " + text( there ) );
   const Slots now = bench.programmed();
   bench.expect( std::count( now.begin(), now.end(), before[1] ) == 1,
                 "a pair that stays is now among " + text( now ), text( { before[1] } ) );
   bench.expectHeld( now, "after the start" );
}

constexpr Rule kRules[] = {
      { "a-restart",
        "after an end without a call the snapshot is what was held, and nothing is written",
        Rule::kNothing, restart },
      { "a-restart-with-pairs-waiting",
        "the same with a full table and pairs waiting; then the next in the line gets a freed "
        "index",
        Rule::kNothing, restartFull },
      { "a-start-inside-the-process",
        "the same with the same helper, when the programmer starts anew", Rule::kNothing,
        startAgain },
      { "a-restart-in-the-middle",
        "an end before the work of an event is done: the snapshot is what the hardware holds, and "
        "what is wanted comes",
        Rule::kNothing, restartInTheMiddle } };

} // namespace

std::span<const Rule> restartRules() {
   return kRules;
}

} // namespace OrloConformance
