#include "bench/pipeline/Cases.h"
#include "bench/pipeline/Scene.h"

#include <ctime>

namespace OrloBench {

namespace {

double milliseconds( clockid_t clock ) {
   timespec now{};
   clock_gettime( clock, &now );
   return static_cast<double>( now.tv_sec ) * 1e3 + static_cast<double>( now.tv_nsec ) * 1e-6;
}

/// Phases, in milliseconds: processor (what the thread itself used: other programs do not count)
/// and wall. Every pair is an event of its own.
template <class Subject>
Round longestEvent() {
   const Pairs all = pairs( 4094, macs( 510, MacKind::sequential ) );
   Scene<Subject> scene( 0, static_cast<U32>( all.size() ) );
   scene->startProgrammer();
   double longest = 0;
   double longestWall = 0;
   double wallBefore = milliseconds( CLOCK_MONOTONIC );
   double before = milliseconds( CLOCK_THREAD_CPUTIME_ID );
   for( const VlanAndMac &pair : all ) {
      scene->want( pair );
      const double now = milliseconds( CLOCK_THREAD_CPUTIME_ID );
      const double wall = milliseconds( CLOCK_MONOTONIC );
      longest = std::max( longest, now - before );
      longestWall = std::max( longestWall, wall - wallBefore );
      before = now;
      wallBefore = wall;
   }
   if( scene->programmed() != all.size() ) {
      throw std::logic_error( "not all pairs are programmed" );
   }
   Round round = scene.round();
   round.phases["processor"] = longest;
   round.phases["wall"] = longestWall;
   return round;
}

} // namespace

void registerLongestEvent() {
   compare( "longest", 1, false, []<class Subject>() { return longestEvent<Subject>(); } );
}

} // namespace OrloBench
