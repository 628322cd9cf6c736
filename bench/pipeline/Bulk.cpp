#include "bench/pipeline/Cases.h"
#include "bench/pipeline/Scene.h"

namespace OrloBench {

namespace {

constexpr std::size_t kVlansThatMove = 64;

/// Phases: leave, join.
template <class Subject>
Round vlansMove( const Size &size ) {
   Scene<Subject> scene( size.vlans, size.indexes() );
   scene->startProgrammer();
   for( const EthAddr &mac : macs( size.macs, MacKind::sequential ) ) {
      scene->publish( mac );
   }
   const std::size_t moving = std::min( kVlansThatMove, size.vlans );
   scene.phase( "leave", moving * size.macs, [&]( Subject &subject ) {
      for( std::size_t number = 1; number <= moving; ++number ) {
         subject.vlanLeaves( vlan( number ) );
      }
   } );
   scene.phase( "join", moving * size.macs, [&]( Subject &subject ) {
      for( std::size_t number = 1; number <= moving; ++number ) {
         subject.vlanJoins( vlan( number ) );
      }
   } );
   return scene.round();
}

/// Phase: handover. Those that were published first are programmed, the others get their indexes.
template <class Subject>
Round handOver( const Size &size ) {
   const Macs all = macs( size.macs, MacKind::sequential );
   Scene<Subject> scene( size.vlans, size.indexes() );
   scene->startProgrammer();
   for( const EthAddr &mac : all ) {
      scene->publish( mac );
   }
   scene.phase( "handover", size.pairs() / 2, [&]( Subject &subject ) {
      for( std::size_t i = 0; i < all.size() / 2; ++i ) {
         subject.withdraw( all[i] );
      }
   } );
   return scene.round();
}

} // namespace

void registerBulk() {
   for( const Size size : { Size{ 10, 10 }, Size{ 4094, 16 }, Size{ 4094, 254 } } ) {
      const Size half{ size.vlans, size.macs, true };
      compare( "vlan/" + size.text(), size.iterations(), size.pairs() < 100'000,
               [=]<class Subject>() { return vlansMove<Subject>( size ); } );
      compare( "handover/" + half.text(), half.iterations(), size.pairs() < 100'000,
               [=]<class Subject>() { return handOver<Subject>( half ); } );
   }
}

} // namespace OrloBench
