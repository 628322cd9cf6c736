// Hardware that says no.
#include "conformance/Bench.h"
#include "conformance/Rule.h"

#include <algorithm>

namespace OrloConformance {

using Quor::U32;
using Refusal = Bench::Refusal;

namespace {

constexpr std::chrono::milliseconds kLongestDelay{ 30'000 };
constexpr std::chrono::milliseconds kMoment{ 1 };
constexpr int kTries = 14;

/// Waits until the hardware has refused what is to be done for the index.
Refusal refused( Bench &bench, U32 index ) {
   if( !bench.eventually( [&] { return bench.refusal( index ).has_value(); } ) ) {
      throw Broken( "the hardware refuses, and refusal( " + std::to_string( index ) +
                          " ) says nothing; the hardware holds " + text( bench.held() ),
                    "the refusal, kept (or has the command had no effect?)" );
   }
   return *bench.refusal( index );
}

void expectRefusal( Bench &bench, U32 index, const Pair &pair, bool isRemoval ) {
   const Refusal refusal = refused( bench, index );
   bench.expect( refusal.pair == pair && refusal.isRemoval == isRemoval,
                 std::string( "refused is the " ) + ( refusal.isRemoval ? "removal" : "add" ) +
                       " of " + text( refusal.pair ),
                 std::string( "the " ) + ( isRemoval ? "removal" : "add" ) + " of " +
                       text( pair ) );
   bench.expect( !refusal.reason.empty() && refusal.reason.find( '\n' ) == std::string::npos,
                 "the reason is \"" + refusal.reason + "\"", "one line" );
   bench.expect( refusal.tries > 0, "tries are 0", "1 or more" );
}

/// Without a call of the programmer.
void expectInAMinute( Bench &bench, const Slots &slots ) {
   const auto isDone = [&] {
      for( U32 index = 0; index < bench.indexes(); ++index ) {
         if( bench.refusal( index ) ) {
            return false;
         }
      }
      return bench.held() == slots;
   };
   if( !bench.inAMinute( isDone ) ) {
      throw Broken( "a minute after the hardware accepts again it holds " + text( bench.held() ),
                    text( slots ) + ", and no refusal" );
   }
}

void kept( Bench &bench ) {
   bench.put( { { 0, bench.pair( 0 ) } } );
   const Quor::U64 refusals = bench.refusals();
   const std::size_t lines = bench.lines();
   bench.refuse();
   bench.add( bench.pair( 1 ), 1 );
   expectRefusal( bench, 1, bench.pair( 1 ), false );
   bench.expect( bench.refusals() > refusals, "refusals() has not counted it", "it counts each" );
   bench.expect( bench.lines() > lines, "the administrator is told nothing", "a line of trouble" );
   bench.expect( !bench.slot( 1 ), "slot( 1 ) gives a pair that was refused", "nothing" );
   // Hardware that is gone as a whole refuses what it had as well.
   bench.expect( bench.slot( 0 ) == bench.pair( 0 ) || bench.refusal( 0 ).has_value(),
                 "slot( 0 ) has lost its pair", "it stays as it was, or is refused as well" );
}

void askedAgain( Bench &bench ) {
   bench.refuse();
   bench.add( bench.pair( 0 ), 0 );
   auto before = std::chrono::steady_clock::duration::zero();
   for( int i = 0; i < kTries; ++i ) {
      const Refusal refusal = refused( bench, 0 );
      const Bench::Time next = bench.work();
      const auto delay = refusal.next - bench.now();
      const auto ms = []( auto time ) {
         return std::to_string( std::chrono::ceil<std::chrono::milliseconds>( time ).count() ) +
                " ms";
      };
      bench.expect( delay > delay.zero() && delay <= kLongestDelay,
                    "it is to be asked again in " + ms( delay ), "later, in 30000 ms at most" );
      bench.expect( next <= refusal.next, "work() wants to be called later than refusal().next",
                    "in time for it" );
      bench.expect( delay > before || delay == kLongestDelay,
                    "it is to be asked again in " + ms( delay ) + ", after " + ms( before ) +
                          " before",
                    "later each time, up to 30000 ms" );
      const auto tries = [&] { return refused( bench, 0 ).tries; };
      bench.nowIs( refusal.next - kMoment );
      bench.work();
      bench.expect( tries() == refusal.tries, "it is asked again before refusal().next", "then" );
      bench.nowIs( refusal.next );
      bench.expect( bench.eventually( [&] { return tries() > refusal.tries; } ),
                    "it is not asked again at refusal().next", "then" );
      before = delay;
   }
}

void wishTakenBack( Bench &bench ) {
   bench.refuse();
   bench.add( bench.pair( 0 ), 0 );
   refused( bench, 0 );
   bench.remove( bench.pair( 0 ), 0 );
   bench.work();
   bench.accept();
   expectInAMinute( bench, {} );
   bench.nowIs( bench.now() + kLongestDelay );
   bench.expectHeld( {}, "later" );
}

void lastWish( Bench &bench ) {
   bench.refuse();
   bench.add( bench.pair( 0 ), 0 );
   refused( bench, 0 );
   bench.remove( bench.pair( 0 ), 0 );
   bench.add( bench.pair( 1 ), 0 );
   bench.add( bench.pair( 0 ), 2 );
   bench.work();
   bench.accept();
   const Slots all{ { 0, bench.pair( 1 ) }, { 2, bench.pair( 0 ) } };
   expectInAMinute( bench, all );
   bench.nowIs( bench.now() + kLongestDelay );
   bench.expectHeld( all, "later" );
}

void acceptsAgain( Bench &bench ) {
   Slots all{ { 3, bench.pair( 3 ) } };
   bench.put( all );
   bench.refuse();
   for( U32 index = 0; index < 3; ++index ) {
      bench.add( bench.pair( index ), index );
      all.emplace( all.begin() + index, index, bench.pair( index ) );
   }
   for( U32 index = 0; index < 3; ++index ) {
      refused( bench, index );
   }
   bench.accept();
   expectInAMinute( bench, all );
}

void restartWhileRefused( Bench &bench ) {
   bench.open();
   bench.start( { bench.pair( 0 ), bench.pair( 1 ) }, bench.few() );
   const Slots before = bench.programmed();
   bench.expectHeld( before, "after a start" );
   bench.refuse();
   bench.wanted( bench.pair( 2 ) );
   bench.work();
   bench.open();
   const Slots there = bench.held();
   bench.start( { bench.pair( 0 ), bench.pair( 1 ), bench.pair( 2 ) }, bench.few() );
   const Slots now = bench.programmed();
   for( const Slot &slot : there ) {
      bench.expect( std::find( now.begin(), now.end(), slot ) != now.end(),
                    "after a restart the programmer has " + text( now ),
                    "with what was held: " + text( there ) );
   }
   bench.accept();
   expectInAMinute( bench, now );
}

void removalRefused( Bench &bench ) {
   const Slots before{ { 0, bench.pair( 0 ) } };
   bench.put( before );
   bench.refuseRemovals();
   bench.remove( bench.pair( 0 ), 0 );
   bench.add( bench.pair( 1 ), 0 );
   bench.add( bench.pair( 0 ), 1 );
   expectRefusal( bench, 0, bench.pair( 0 ), true );
   for( int i = 0; i < 4; ++i ) {
      const Slots there = bench.held();
      bench.expect( there == before,
                    "while a removal is refused the hardware holds " + text( there ),
                    text( before ) + ": nothing else for the index, nor for the pair" );
      bench.nowIs( bench.now() + kLongestDelay );
      bench.work();
   }
   bench.accept();
   expectInAMinute( bench, { { 0, bench.pair( 1 ) }, { 1, bench.pair( 0 ) } } );
}

void removalTakenBack( Bench &bench ) {
   bench.put( { { 0, bench.pair( 0 ) } } );
   bench.refuseRemovals();
   bench.remove( bench.pair( 0 ), 0 );
   refused( bench, 0 );
   bench.add( bench.pair( 0 ), 0 );
   bench.work();
   bench.accept();
   expectInAMinute( bench, { { 0, bench.pair( 0 ) } } );
   bench.nowIs( bench.now() + kLongestDelay );
   bench.expectHeld( { { 0, bench.pair( 0 ) } }, "later" );
}

constexpr unsigned kRefuses = Rule::kView | Rule::kWork | Rule::kRefuse;
constexpr unsigned kRefusesRemovals = Rule::kView | Rule::kWork | Rule::kRefuseRemovals;

constexpr Rule kRules[] = {
      { "a-refused-pair",
        "what is refused is kept with its reason, counted and told; nothing is thrown", kRefuses,
        kept },
      { "asked-again",
        "what is refused is asked for again at its time and not before, later each time, after 30 "
        "seconds at most",
        kRefuses, askedAgain },
      { "a-refused-pair-taken-back",
        "a refused pair that is removed does not come when the hardware accepts again", kRefuses,
        wishTakenBack },
      { "the-last-wish",
        "when the hardware accepts again an index gets the pair that was last wanted there, and a "
        "pair the index that was last its own",
        kRefuses, lastWish },
      { "accepts-again",
        "when the hardware accepts again everything wanted comes, without a call of the programmer",
        kRefuses, acceptsAgain },
      { "a-restart-while-refused",
        "a restart while the hardware refuses adopts what is there; the rest comes when it accepts",
        kRefuses, restartWhileRefused },
      { "a-refused-removal",
        "while a pair cannot be removed, its index gets no other pair, and it no other index",
        kRefusesRemovals, removalRefused },
      { "a-refused-removal-taken-back",
        "a pair that could not be removed and is wanted again where it is stays", kRefusesRemovals,
        removalTakenBack } };

} // namespace

std::span<const Rule> refusalRules() {
   return kRules;
}

} // namespace OrloConformance
