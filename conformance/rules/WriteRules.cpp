// What the hardware holds after the programmer's calls, while it takes everything.
#include "conformance/Bench.h"
#include "conformance/Rule.h"

#include <algorithm>

namespace OrloConformance {

using Quor::U32;

namespace {

constexpr U32 kMostFilled = 4096;

void added( Bench &bench ) {
   bench.put( { { 2, bench.pair( 0 ) } } );
   bench.add( bench.pair( 1 ), 0 );
   bench.expectHeld( { { 0, bench.pair( 1 ) }, { 2, bench.pair( 0 ) } }, "after another add" );
}

void removed( Bench &bench ) {
   bench.put( { { 0, bench.pair( 0 ) }, { 1, bench.pair( 1 ) }, { 3, bench.pair( 2 ) } } );
   bench.remove( bench.pair( 1 ), 1 );
   bench.expectHeld( { { 0, bench.pair( 0 ) }, { 3, bench.pair( 2 ) } }, "after a removal" );
   bench.remove( bench.pair( 0 ), 0 );
   bench.remove( bench.pair( 2 ), 3 );
   bench.expectHeld( {}, "after the last removal" );
}

void everyIndex( Bench &bench ) {
   Slots all;
   const U32 count = std::min( { bench.indexes(), bench.pairs(), kMostFilled } );
   for( U32 i = 0; i < count; ++i ) {
      // The last ones, where there are more indexes than pairs.
      all.emplace_back( bench.indexes() - 1 - i, bench.pair( i ) );
   }
   bench.put( all );
   for( const auto &[index, pair] : all ) {
      bench.remove( pair, index );
   }
   bench.expectHeld( {}, "after the removal of everything" );
}

void slotsAgree( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) }, { 2, bench.pair( 1 ) } };
   bench.put( all );
   const auto seen = [&] {
      Slots slots;
      for( U32 index = 0; index < bench.indexes(); ++index ) {
         if( const auto pair = bench.slot( index ) ) {
            slots.emplace_back( index, *pair );
         }
      }
      return slots;
   };
   if( !bench.eventually( [&] { return seen() == all; } ) ) {
      throw Broken( "slot() says " + text( seen() ), "as readAll(): " + text( all ) );
   }
   bench.remove( bench.pair( 0 ), 0 );
   bench.add( bench.pair( 2 ), 0 );
   const Slots then{ { 0, bench.pair( 2 ) }, { 2, bench.pair( 1 ) } };
   if( !bench.eventually( [&] { return seen() == then; } ) ) {
      throw Broken( "after another pair came slot() says " + text( seen() ),
                    "as readAll(): " + text( then ) );
   }
}

void comesAndGoes( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) } };
   bench.put( all );
   const Quor::U64 writes = bench.writes();
   bench.add( bench.pair( 1 ), 1 );
   bench.remove( bench.pair( 1 ), 1 );
   bench.expectHeld( all, "after a pair that came and went" );
   bench.expectWrites( writes, "after a pair that came and went" );
   bench.remove( bench.pair( 0 ), 0 );
   bench.add( bench.pair( 0 ), 0 );
   bench.expectHeld( all, "after a pair that went and came" );
   bench.expectWrites( writes, "after a pair that went and came" );
}

void handedOn( Bench &bench ) {
   bench.put( { { 1, bench.pair( 0 ) } } );
   bench.remove( bench.pair( 0 ), 1 );
   bench.add( bench.pair( 1 ), 1 );
   bench.expectHeld( { { 1, bench.pair( 1 ) } }, "after the index was handed on" );
   for( U32 i = 1; i < 4; ++i ) {
      bench.remove( bench.pair( i ), 1 );
      bench.add( bench.pair( i + 1 ), 1 );
   }
   bench.expectHeld( { { 1, bench.pair( 4 ) } }, "after the index was handed on three times" );
}

void moves( Bench &bench ) {
   U32 before = 0;
   bench.put( { { before, bench.pair( 0 ) } } );
   for( const U32 index : { 2u, 1u, 3u } ) {
      bench.remove( bench.pair( 0 ), before );
      bench.add( bench.pair( 0 ), index );
      bench.expectHeld( { { index, bench.pair( 0 ) } }, "after the pair has moved" );
      before = index;
   }
}

void trade( Bench &bench ) {
   bench.put( { { 0, bench.pair( 0 ) }, { 1, bench.pair( 1 ) } } );
   bench.remove( bench.pair( 0 ), 0 );
   bench.add( bench.pair( 2 ), 0 );
   bench.remove( bench.pair( 1 ), 1 );
   bench.add( bench.pair( 0 ), 1 );
   bench.remove( bench.pair( 2 ), 0 );
   bench.add( bench.pair( 1 ), 0 );
   bench.expectHeld( { { 0, bench.pair( 1 ) }, { 1, bench.pair( 0 ) } },
                     "after the pairs have traded places" );
}

/// The full table moves on by one index, at once and then pair by pair.
void crowd( Bench &bench ) {
   const U32 count = bench.few();
   const auto at = [&]( U32 round ) {
      Slots slots;
      for( U32 i = 0; i < count; ++i ) {
         slots.emplace_back( ( i + round ) % count, bench.pair( i ) );
      }
      return slots;
   };
   bench.put( at( 0 ) );
   for( U32 round = 0; round < count; ++round ) {
      for( const auto &[index, pair] : at( round ) ) {
         bench.remove( pair, index );
      }
      for( const auto &[index, pair] : at( round + 1 ) ) {
         bench.add( pair, index );
      }
      bench.expectHeld( at( round + 1 ), "after all have moved on" );
   }
   Slots slots = at( 0 );
   const Pair last = slots.back().second;
   bench.remove( last, count - 1 );
   for( U32 i = count - 1; i-- > 0; ) {
      bench.work();
      bench.remove( slots[i].second, i );
      bench.add( slots[i].second, i + 1 );
   }
   bench.work();
   bench.add( last, 0 );
   bench.expectHeld( at( 1 ), "after one after the other has moved on" );
}

void nothingToDo( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) }, { 1, bench.pair( 1 ) } };
   bench.put( all );
   const Quor::U64 writes = bench.writes();
   for( int minute = 0; minute < 5; ++minute ) {
      bench.nowIs( bench.now() + std::chrono::minutes( 1 ) );
      bench.work();
   }
   bench.expectHeld( all, "after work without a call" );
   bench.expectWrites( writes, "after work without a call" );
}

void interfacesAgain( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) }, { 1, bench.pair( 1 ) } };
   bench.put( all );
   const Quor::U64 writes = bench.writes();
   bench.interfacesAre( bench.subject().settings.interfaces );
   bench.expectHeld( all, "after the same interfaces" );
   bench.expectWrites( writes, "after the same interfaces" );
}

void noSuchIndex( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) } };
   bench.put( all );
   const Quor::U64 writes = bench.writes();
   for( const U32 index : { bench.indexes(), Bench::kNoIndex } ) {
      const Quor::U64 refusals = bench.refusals();
      const std::size_t lines = bench.lines();
      bench.add( bench.pair( 1 ), index );
      bench.work();
      bench.remove( bench.pair( 1 ), index );
      bench.work();
      const std::string what = "of an add and a removal at index " + std::to_string( index );
      bench.expect( bench.refusals() == refusals + 2,
                    what + " " + std::to_string( bench.refusals() - refusals ) + " were refused",
                    "2" );
      bench.expect( bench.lines() > lines, what + " the administrator is told nothing",
                    "a line of trouble" );
   }
   bench.expectHeld( all, "after calls for indexes that there are not" );
   bench.expectWrites( writes, "after calls for indexes that there are not" );
}

constexpr Rule kRules[] = {
      { "an-added-pair", "a pair that is added is in the hardware, under its index", Rule::kView,
        added },
      { "a-removed-pair", "a pair that is removed is gone, and no other", Rule::kView, removed },
      { "every-index", "every index takes a pair, also all at once", Rule::kView, everyIndex },
      { "slots-agree", "slot() says what readAll() reads", Rule::kView, slotsAgree },
      { "comes-and-goes", "what comes and goes, or goes and comes, within one event is not written",
        Rule::kView | Rule::kWork, comesAndGoes },
      { "an-index-handed-on",
        "an index that is handed on within one event ends with the last pair only", Rule::kView,
        handedOn },
      { "a-pair-that-moves", "a pair that gets another index ends under the new one only",
        Rule::kView, moves },
      { "pairs-that-trade", "two pairs that trade their indexes within one event have each other's",
        Rule::kView, trade },
      { "a-crowd-that-moves",
        "however many move, at once or one by one: an index never has two pairs, nor a pair two "
        "indexes",
        Rule::kView, crowd },
      { "nothing-to-do", "what is as it should be is not written again, however often work() comes",
        Rule::kView | Rule::kWork, nothingToDo },
      { "interfaces-again", "interfaces that are as they were change nothing",
        Rule::kView | Rule::kWork, interfacesAgain },
      { "no-such-index",
        "a call for an index that there is not is refused, counted and told; nothing is thrown",
        Rule::kView, noSuchIndex } };

} // namespace

std::span<const Rule> writeRules() {
   return kRules;
}

} // namespace OrloConformance
