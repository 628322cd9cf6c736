#include "bench/pipeline/Cycles.h"

#include "bench/pipeline/Cases.h"

namespace OrloBench {

void registerCycles() {
   const auto add = []( const Size &size, MacKind kind, bool isNaiveBearable ) {
      compare( "cycle/" + size.text() +
                     ( kind == MacKind::sequential ? "/sequential" : "/random" ) +
                     ( size.isHalf ? "/half" : "/enough" ),
               size.iterations(), isNaiveBearable,
               [=]<class Subject>() { return cycle<Subject>( size, kind ); } );
   };
   for( const Size size :
        { Size{ 10, 10 }, Size{ 4094, 16 }, Size{ 4094, 150 }, Size{ 4094, 255 } } ) {
      add( size, MacKind::sequential, true );
      add( size, MacKind::random, false );
      // Those that wait go first: the naive code finds each at the head of its line.
      add( { size.vlans, size.macs, true }, MacKind::sequential, false );
   }
   for( const Size size : { Size{ 100, 10 }, Size{ 1000, 10 }, Size{ 4094, 64 } } ) {
      add( size, MacKind::sequential, true ); // for the plot
   }
}

} // namespace OrloBench
