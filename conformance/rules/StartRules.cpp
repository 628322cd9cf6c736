// What a helper is when it has been made, and what it says that its hardware holds.
#include "conformance/Bench.h"
#include "conformance/Rule.h"

namespace OrloConformance {

using Quor::U32;

namespace {

void asksForAdoption( Bench &bench ) {
   bench.open();
   bench.expect( bench.helper().syncCurrentStateOnInit(),
                 "syncCurrentStateOnInit() is false in a new helper", "true" );
}

void emptyHardware( Bench &bench ) {
   bench.open();
   const Slots snapshot = bench.start( {}, bench.few() );
   bench.expect( snapshot.empty(), "the snapshot is " + text( snapshot ), text( Slots{} ) );
   bench.expectHeld( {}, "after the start" );
   bench.expectWrites( 0, "after the start" );
}

void noIndex( Bench &bench ) {
   bench.open( 0 );
   const Slots snapshot = bench.start( { bench.pair( 0 ), bench.pair( 1 ) }, 0 );
   bench.expect( snapshot.empty(), "the snapshot is " + text( snapshot ), text( Slots{} ) );
   bench.unwanted( bench.pair( 0 ) );
   bench.expectHeld( {}, "with no index" );
   bench.expectWrites( 0, "with no index" );
}

void fewerIndexes( Bench &bench ) {
   Slots all;
   Pairs wanted;
   for( U32 index = 0; index < 4; ++index ) {
      all.emplace_back( index, bench.pair( index ) );
      wanted.push_back( bench.pair( index ) );
   }
   bench.put( all );
   bench.open( 2 );
   const Slots snapshot = bench.start( wanted, 2 );
   const Slots kept( all.begin(), all.begin() + 2 );
   bench.expect( snapshot == kept, "with 2 indexes the snapshot is " + text( snapshot ),
                 text( kept ) );
   bench.expectHeld( kept, "with 2 indexes" );
}

void leftovers( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) },
                    { 1, bench.pair( 1 ) },
                    { 2, bench.pair( 2 ) },
                    { 3, bench.pair( 3 ) } };
   bench.put( all );
   bench.open();
   const Slots snapshot = bench.start( { bench.pair( 1 ), bench.pair( 3 ) }, bench.few() );
   bench.expect( snapshot == all, "the snapshot is " + text( snapshot ), text( all ) );
   bench.expectHeld( { all[1], all[3] }, "after the start" );
   bench.expectWrites( 2, "after the start" );
}

void looking( Bench &bench ) {
   const Slots all{ { 0, bench.pair( 0 ) }, { 3, bench.pair( 1 ) } };
   bench.put( all );
   const Quor::U64 writes = bench.writes();
   for( const char *beside : { "beside another helper", "alone" } ) {
      const Slots seen = bench.looked();
      bench.expect( seen == all,
                    std::string( "looking only, " ) + beside + ", a helper reads " + text( seen ),
                    text( all ) );
      if( bench.isOpen() ) {
         bench.expectHeld( all, "after somebody has looked" );
         bench.expectWrites( writes, "after somebody has looked" );
         bench.close();
      }
   }
   bench.open();
   bench.expectHeld( all, "after somebody has looked" );
}

void standsTwice( Bench &bench ) {
   bench.put( { { 0, bench.pair( 0 ) } } );
   bench.close();
   bench.plant( { 2, bench.pair( 0 ) } );
   bench.open();
   const Slots snapshot = bench.start( { bench.pair( 0 ) }, bench.few() );
   bench.expect( snapshot.size() == 1, "the snapshot is " + text( snapshot ),
                 "the pair once, though it stands twice" );
   bench.isInOrder();
   bench.expectHeld( snapshot, "after the start" );
}

void noVlan( Bench &bench ) {
   bench.close();
   bench.plant( { 1, { Bridging::VlanId( 0 ), bench.pair( 0 ).mac() } } );
   bench.plant( { 2, { Bridging::VlanId( 4095 ), bench.pair( 0 ).mac() } } );
   bench.open();
   bench.start( {}, bench.few() );
   bench.isInOrder();
   bench.expectHeld( {}, "after the start" );
}

constexpr Rule kRules[] = {
      { "adoption-is-asked-for",
        "a new helper has syncCurrentStateOnInit set: what the hardware holds is adopted",
        Rule::kNothing, asksForAdoption },
      { "empty-hardware", "the snapshot of empty hardware is empty, and a start writes nothing",
        Rule::kNothing, emptyHardware },
      { "no-index", "a helper with 0 indexes starts, adopts nothing and writes nothing",
        Rule::kNothing, noIndex },
      { "fewer-indexes",
        "started with fewer indexes than before, a helper adopts what is below the number and "
        "frees the rest",
        Rule::kNothing, fewerIndexes },
      { "leftovers",
        "what nobody wants any more is in the snapshot, and is freed at the start; the rest is "
        "not touched",
        Rule::kNothing, leftovers },
      { "looking",
        "a helper with isReadOnly reads what is there, also beside another one, and changes "
        "nothing",
        Rule::kView, looking },
      { "a-pair-twice",
        "a pair that stands under two indexes is adopted under one and leaves the other",
        Rule::kView | Rule::kPlant, standsTwice },
      { "no-vlan", "entries on VLANs 0 and 4095 are not adopted, but removed",
        Rule::kView | Rule::kPlant, noVlan } };

} // namespace

std::span<const Rule> startRules() {
   return kRules;
}

} // namespace OrloConformance
