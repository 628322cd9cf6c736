#include "bench/pipeline/Cases.h"
#include "bench/pipeline/Scene.h"

#include <malloc.h>

namespace OrloBench {

namespace {

/// Phases: publish (the pairs come while everything runs, on empty hardware), program (they are
/// wanted when the programmer starts, on empty hardware), adopt (the hardware has all of them).
template <class Subject>
Round start( const Size &size ) {
   const Macs all = macs( size.macs, MacKind::sequential );
   Round round;
   const auto take = [&]( Scene<Subject> &scene ) {
      const Round other = scene.round();
      round.phases.insert( other.phases.begin(), other.phases.end() );
      round.digest = round.digest * 31 + other.digest;
   };
   const auto publish = [&]( Subject &subject ) {
      for( const EthAddr &mac : all ) {
         subject.publish( mac );
      }
   };
   const auto startProgrammer = []( Subject &subject ) { subject.startProgrammer(); };
   {
      Scene<Subject> scene( size.vlans, size.indexes() );
      scene->startProgrammer();
      scene.phase( "publish", size.pairs(), publish );
      take( scene );
   }
   malloc_trim( 0 );
   {
      Scene<Subject> scene( size.vlans, size.indexes() );
      publish( *scene );
      scene.phase( "program", size.pairs(), startProgrammer );
      take( scene );
   }
   malloc_trim( 0 );
   {
      Scene<Subject> scene( size.vlans, size.indexes() );
      publish( *scene );
      std::vector<Slot> slots;
      for( const VlanAndMac &pair : pairs( size.vlans, all ) ) {
         slots.push_back( { pair, static_cast<U32>( slots.size() ) } );
      }
      scene.helper().holds( std::move( slots ) );
      scene.phase( "adopt", size.pairs(), startProgrammer );
      if( scene.helper().adds() != 0 ) {
         throw std::logic_error( "what is there was programmed again" );
      }
      take( scene );
   }
   return round;
}

/// Phase: teardown, VLAN by VLAN; or destruction, as it is.
template <class Subject>
Round end( const Size &size, bool isDestruction ) {
   Scene<Subject> scene( size.vlans, size.indexes() );
   scene->startProgrammer();
   for( const EthAddr &mac : macs( size.macs, MacKind::sequential ) ) {
      scene->publish( mac );
   }
   if( isDestruction ) {
      scene.phase( "destruction", size.pairs(), [&]( Subject & ) { scene.destroy(); } );
      return scene.round();
   }
   scene.phase( "teardown", size.pairs(), []( Subject &subject ) { subject.tearDown(); } );
   if( scene->programmed() != 0 ) {
      throw std::logic_error( "something stays programmed" );
   }
   return scene.round();
}

} // namespace

void registerStartAndEnd() {
   for( const Size size : { Size{ 4094, 16 }, Size{ 4094, 255 } } ) {
      const bool isSmall = size.pairs() < 100'000;
      // The naive code looks for each adopted index in its list.
      compare( "start/" + size.text(), size.iterations(), false,
               [=]<class Subject>() { return start<Subject>( size ); } );
      compare( "teardown/" + size.text(), size.iterations(), isSmall,
               [=]<class Subject>() { return end<Subject>( size, false ); } );
      compare( "destruction/" + size.text(), size.iterations(), isSmall,
               [=]<class Subject>() { return end<Subject>( size, true ); } );
   }
}

} // namespace OrloBench
