#include "bench/subjects/SameCalls.h"

#include "bench/subjects/Floor.h"
#include "bench/subjects/Naive.h"
#include "bench/subjects/Product.h"
#include "bench/subjects/RecordingHelper.h"

namespace OrloBench {

namespace {

using Calls = std::vector<std::string>;

template <class Subject>
Calls callsOf( const History &history ) {
   const auto helper = Quor::make<RecordingHelper>();
   if( !history.held.empty() ) {
      helper->holds( history.held );
   }
   Subject subject( helper, history.indexes );
   subject.startReflector();
   for( const Step &step : history.before ) {
      step.doTo( subject );
   }
   subject.startProgrammer();
   helper->tell( "started" );
   for( const Step &step : history.after ) {
      step.doTo( subject );
   }
   helper->tell( std::to_string( subject.wanted() ) + " wanted, " +
                 std::to_string( subject.programmed() ) + " programmed, " +
                 std::to_string( subject.waiting() ) + " waiting" );
   return helper->calls();
}

std::string differenceOf( const Calls &expected, const Calls &calls, const char *name ) {
   const auto [at, other] =
         std::mismatch( expected.begin(), expected.end(), calls.begin(), calls.end() );
   if( at == expected.end() && other == calls.end() ) {
      return {};
   }
   const auto text = []( auto here, auto end ) {
      return here == end ? std::string( "nothing more" ) : *here;
   };
   return "call " + std::to_string( at - expected.begin() ) + ": the product does \"" +
          text( at, expected.end() ) + "\", " + name + " does \"" + text( other, calls.end() ) +
          "\"";
}

} // namespace

SameCalls::SameCalls( const History &history ) {
   const Calls expected = callsOf<Product>( history );
   calls_ = expected.size();
   difference_ = differenceOf( expected, callsOf<Floor>( history ), Floor::kName );
   if( difference_.empty() ) {
      difference_ = differenceOf( expected, callsOf<Naive>( history ), Naive::kName );
   }
   if( !difference_.empty() ) {
      difference_ = history.name + ": " + difference_;
   }
}

} // namespace OrloBench
