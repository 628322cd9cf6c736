#include "bench/pipeline/Cases.h"
#include "bench/pipeline/Scene.h"

namespace OrloBench {

namespace {

const char *const kOrders[] = { "arrival", "reverse", "random" };

Pairs inOrder( Pairs pairs, const std::string &order ) {
   if( order == "reverse" ) {
      std::reverse( pairs.begin(), pairs.end() );
   } else if( order == "random" ) {
      std::shuffle( pairs.begin(), pairs.end(), std::mt19937_64( 3 ) );
   }
   return pairs;
}

/// Phase: leave. Everybody waits by `join`, and goes by `leave`.
template <class Subject, class Step>
Round leaving( const Pairs &arriving, const Pairs &going, Step join, Step leave ) {
   Scene<Subject> scene( 0, 0 );
   scene->startProgrammer();
   for( const VlanAndMac &pair : arriving ) {
      ( ( *scene ).*join )( pair );
   }
   scene.phase( "leave", going.size(), [&]( Subject &subject ) {
      for( const VlanAndMac &pair : going ) {
         ( subject.*leave )( pair );
      }
   } );
   if( scene->waiting() != 0 ) {
      throw std::logic_error( "somebody waits still" );
   }
   return scene.round();
}

Pairs manyTimes( const Pairs &few, std::size_t count ) {
   Pairs many;
   while( many.size() < count ) {
      many.insert( many.end(), few.begin(), few.end() );
   }
   return many;
}

std::string caseName( const char *line, const std::string &order, const std::string &size ) {
   std::string name = line;
   for( const std::string &part : { order, size } ) {
      name += '/';
      name += part;
   }
   return name;
}

} // namespace

void registerLines() {
   const Macs all = macs( 255, MacKind::sequential );
   for( const std::size_t count : { std::size_t{ 10'000 }, std::size_t{ 1'000'000 } } ) {
      const std::string size = count == 10'000 ? "10k" : "1M";
      const int iterations = count == 10'000 ? 5 : 1;
      const Pairs once = pairs( 4094, all, count );
      const Pairs often = manyTimes( pairs( 10, macs( 10, MacKind::sequential ) ), count );
      for( const std::string order : kOrders ) {
         compare( caseName( "waiting", order, size ), iterations, count == 10'000,
                  [=, leave = inOrder( once, order )]<class Subject>() {
                     return leaving<Subject>( once, leave, &Subject::want, &Subject::unwant );
                  } );
         compare( caseName( "duplicates", order, size ), iterations, count == 10'000,
                  [=, leave = inOrder( often, order )]<class Subject>() {
                     return leaving<Subject>( often, leave, &Subject::wait, &Subject::handle );
                  } );
      }
   }
}

} // namespace OrloBench
