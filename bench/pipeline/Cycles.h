// All MACs come, go, and come again.
#ifndef ORLOBENCH_PIPELINE_CYCLES_H
#define ORLOBENCH_PIPELINE_CYCLES_H

#include "bench/pipeline/Scene.h"

namespace OrloBench {

/// Phases: first (everything has to grow), delete, again.
template <class Subject>
Round cycle( const Size &size, MacKind kind ) {
   const Macs all = macs( size.macs, kind );
   Scene<Subject> scene( size.vlans, size.indexes() );
   scene->startProgrammer();
   const auto publish = [&]( Subject &subject ) {
      for( const EthAddr &mac : all ) {
         subject.publish( mac );
      }
   };
   scene.phase( "first", size.pairs(), publish );
   scene.phase( "delete", size.pairs(), [&]( Subject &subject ) {
      for( const EthAddr &mac : all ) {
         subject.withdraw( mac );
      }
   } );
   scene.phase( "again", size.pairs(), publish );
   return scene.round();
}

} // namespace OrloBench

#endif
