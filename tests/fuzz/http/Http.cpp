// What who collects metrics sends. Any bytes are a request, good or bad, or the beginning of one.
//
//    - It is known as soon as its end has come, and what follows does not change it.
//    - A good one has a method and a path that can be shown, and one without its end is none.
#include "agent/control/HttpRequest.h"
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"

#include <algorithm>
#include <memory>

using Fuzz::check;
using OrloAgent::HttpRequest;

namespace {

std::optional<HttpRequest> read( std::string_view bytes ) {
   const auto own = std::make_unique<char[]>( bytes.size() ); // to the byte
   std::copy( bytes.begin(), bytes.end(), own.get() );
   return HttpRequest::read( { own.get(), bytes.size() } );
}

bool isPrintable( std::string_view text ) {
   return std::all_of( text.begin(), text.end(), []( char c ) { return c > ' ' && c <= '~'; } );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t *bytes, std::size_t size ) {
   const std::string_view all = Fuzz::Input( bytes, size ).rest();
   const std::optional<HttpRequest> request = read( all );
   std::optional<HttpRequest> first;
   for( std::size_t length = 0; length <= all.size() && !first; ++length ) {
      if( length == 0 || all[length - 1] == '\n' || length == all.size() ) {
         first = read( all.substr( 0, length ) );
      }
   }
   check( request.has_value() == first.has_value(), "known, and then not known any more" );
   if( !request ) {
      return 0;
   }
   check( request->method == first->method && request->path == first->path &&
                request->isGood == first->isGood,
          "what follows has changed it" );
   check( !request->isGood || ( !request->method.empty() && isPrintable( request->method ) &&
                                request->path.starts_with( '/' ) && isPrintable( request->path ) &&
                                request->path.find( '?' ) == std::string::npos ),
          "a good request that is none" );
   return 0;
}
