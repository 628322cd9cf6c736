#include "tests/model/StopReport.h"

#include "tests/model/Child.h"
#include "tests/model/Operation.h"

namespace ModelTests {

std::string stopDiffers( const Stop &stop, const Model &model,
                         const std::function<void( int )> &work ) {
   Child child( [&]( int to ) {
      work( to );
      return 0;
   } );
   child.wait();
   std::string calls;
   for( const Call &call : model.calls ) {
      calls += shown( call ) + "\n";
   }
   const std::string where = std::string( ": " ) + stop.source + ":" +
                             ( stop.line != 0 ? std::to_string( stop.line ) + ": " : "" );
   const std::string what = std::string( ": Assertion `" ) + stop.expression + "' failed.\n";
   const std::string &output = child.output();
   const std::size_t report = output.find( where );
   if( child.aborted() && output.starts_with( calls ) && report != std::string::npos &&
       output.find( '\n', calls.size() ) == output.size() - 1 && output.ends_with( what ) ) {
      return {};
   }
   return "must stop with" + where + " ..." + what + "   after " + shown( model.calls ) +
          "\n   but " + ( child.aborted() ? "stopped" : "went on" ) + ", and wrote:\n" + output;
}

} // namespace ModelTests
