#include "bench/subjects/Histories.h"

#include <algorithm>

namespace OrloBench {

namespace {

using Kind = Step::Kind;
using Steps = std::vector<Step>;

Steps vlansJoin( std::size_t count ) {
   Steps steps;
   for( std::size_t number = 1; number <= count; ++number ) {
      steps.push_back( { Kind::vlanJoins, { vlan( number ), {} } } );
   }
   return steps;
}

Steps each( Kind kind, const Macs &macs ) {
   Steps steps;
   for( const EthAddr &mac : macs ) {
      steps.push_back( { kind, { VlanId(), mac } } );
   }
   return steps;
}

Steps each( Kind kind, const Pairs &pairs ) {
   Steps steps;
   for( const VlanAndMac &pair : pairs ) {
      steps.push_back( { kind, pair } );
   }
   return steps;
}

template <class... More>
Steps all( Steps steps, const More &...more ) {
   ( steps.insert( steps.end(), more.begin(), more.end() ), ... );
   return steps;
}

Pairs reversed( Pairs pairs ) {
   std::reverse( pairs.begin(), pairs.end() );
   return pairs;
}

Pairs shuffled( Pairs pairs ) {
   std::shuffle( pairs.begin(), pairs.end(), std::mt19937_64( 2 ) );
   return pairs;
}

const Steps kTearDown{ { Kind::tearDown, {} } };

void publishing( std::vector<History> &histories, MacKind kind, const std::string &name ) {
   const Macs ten = macs( 10, kind );
   const Steps published = each( Kind::publish, ten );
   const Steps withdrawn = each( Kind::withdraw, ten );
   for( const U32 indexes : { 0u, 1u, 50u, 100u, 200u } ) {
      const std::string with = name + " with " + std::to_string( indexes ) + " indexes";
      histories.push_back( { "published, withdrawn, published again, torn down: " + with,
                             indexes,
                             {},
                             vlansJoin( 10 ),
                             all( published, withdrawn, published, kTearDown ) } );
      histories.push_back( { "VLANs leave and join: " + with,
                             indexes,
                             {},
                             all( vlansJoin( 8 ), published ),
                             { { Kind::vlanLeaves, { vlan( 3 ), {} } },
                               { Kind::vlanJoins, { vlan( 9 ), {} } },
                               { Kind::vlanLeaves, { vlan( 1 ), {} } },
                               { Kind::vlanJoins, { vlan( 3 ), {} } },
                               { Kind::vlanJoins, { vlan( 3 ), {} } },
                               { Kind::vlanLeaves, { vlan( 77 ), {} } } } } );
   }
   histories.push_back(
         { "withdrawn in reverse, half of them wait: " + name,
           50,
           {},
           vlansJoin( 10 ),
           all( published, each( Kind::withdraw, Macs( ten.rbegin(), ten.rend() ) ) ) } );
}

void waiting( std::vector<History> &histories ) {
   const Pairs line = pairs( 10, macs( 10, MacKind::sequential ) );
   const Steps wanted = each( Kind::want, line );
   histories.push_back(
         { "waiting ones go in order", 3, {}, {}, all( wanted, each( Kind::unwant, line ) ) } );
   histories.push_back( { "waiting ones go in reverse",
                          3,
                          {},
                          {},
                          all( wanted, each( Kind::unwant, reversed( line ) ) ) } );
   histories.push_back( { "waiting ones go in random order",
                          3,
                          {},
                          {},
                          all( wanted, each( Kind::unwant, shuffled( line ) ) ) } );

   Pairs few( line.begin(), line.begin() + 7 );
   Pairs many;
   for( int round = 0; round < 9; ++round ) {
      const Pairs next = shuffled( few );
      many.insert( many.end(), next.begin() + round % 3, next.end() );
   }
   const Steps waits = each( Kind::wait, many );
   const Steps handed = each( Kind::unwant, Pairs( line.begin() + 90, line.end() ) );
   const Steps holders = each( Kind::want, Pairs( line.begin() + 90, line.end() ) );
   histories.push_back( { "one pair stands in line many times",
                          10,
                          {},
                          {},
                          all( holders, waits, each( Kind::handle, shuffled( few ) ),
                               each( Kind::handle, reversed( few ) ), each( Kind::want, few ),
                               each( Kind::unwant, few ) ) } );
   // Each pair once, or the second would find its index taken.
   histories.push_back( { "indexes are handed on to those who wait",
                          10,
                          {},
                          {},
                          all( holders, each( Kind::wait, few ), handed ) } );
}

void adoption( std::vector<History> &histories ) {
   const Macs six = macs( 6, MacKind::sequential );
   const Pairs all36 = shuffled( pairs( 6, six ) );
   std::vector<Slot> slots;
   for( const VlanAndMac &pair : all36 ) {
      slots.push_back( { pair, static_cast<U32>( 35 - slots.size() ) } );
   }
   const Steps published = each( Kind::publish, six );
   const Steps withdrawn = each( Kind::withdraw, six );
   histories.push_back(
         { "all is adopted", 36, slots, all( vlansJoin( 6 ), published ), withdrawn } );
   slots.resize( 20 );
   histories.push_back(
         { "some is adopted", 50, slots, all( vlansJoin( 6 ), published ), withdrawn } );
   histories.push_back( { "some is adopted, and some waits", 40, slots,
                          all( vlansJoin( 8 ), published ), withdrawn } );
   histories.push_back( { "what is not wanted goes at the start", 40, slots,
                          all( vlansJoin( 3 ), published ),
                          all( Steps{ { Kind::vlanJoins, { vlan( 5 ), {} } } }, withdrawn ) } );
}

History anything( unsigned seed ) {
   std::mt19937_64 random( seed );
   const Macs some = macs( 12, seed % 2 == 0 ? MacKind::sequential : MacKind::random );
   History history{ "random history " + std::to_string( seed ),
                    static_cast<U32>( random() % 90 ),
                    {},
                    {},
                    {} };
   for( int step = 0; step < 400; ++step ) {
      const VlanAndMac pair( vlan( 1 + random() % 12 ), some[random() % some.size()] );
      constexpr Kind kKinds[] = { Kind::vlanJoins, Kind::vlanJoins, Kind::vlanLeaves,
                                  Kind::publish,   Kind::publish,   Kind::withdraw };
      Steps &steps = step < 40 ? history.before : history.after;
      steps.push_back( { kKinds[random() % std::size( kKinds )], pair } );
   }
   history.after.push_back( kTearDown.front() );
   return history;
}

} // namespace

std::vector<History> histories() {
   std::vector<History> histories;
   publishing( histories, MacKind::sequential, "sequential MACs" );
   publishing( histories, MacKind::random, "random MACs" );
   waiting( histories );
   adoption( histories );
   for( unsigned seed = 1; seed <= 20; ++seed ) {
      histories.push_back( anything( seed ) );
   }
   return histories;
}

} // namespace OrloBench
