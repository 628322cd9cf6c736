#include "agent/control/HttpRequest.h"

#include <algorithm>

namespace OrloAgent {

namespace {

/// Takes one line, with either end, off the front.
std::string_view takeLine( std::string_view &bytes ) {
   const std::size_t end = bytes.find( '\n' );
   std::string_view line = bytes.substr( 0, end );
   bytes.remove_prefix( end + 1 );
   if( !line.empty() && line.back() == '\r' ) {
      line.remove_suffix( 1 );
   }
   return line;
}

bool isPrintable( std::string_view text ) {
   return std::all_of( text.begin(), text.end(), []( char c ) { return c >= ' ' && c <= '~'; } );
}

bool isToken( std::string_view text ) {
   return !text.empty() && isPrintable( text ) &&
          text.find_first_of( " :,;\"()/<=>?@[\\]{}" ) == std::string_view::npos;
}

bool isField( std::string_view line ) {
   const std::size_t colon = line.find( ':' );
   return colon != std::string_view::npos && isToken( line.substr( 0, colon ) ) &&
          std::none_of( line.begin(), line.end(), []( char c ) { return c == '\0' || c == '\r'; } );
}

} // namespace

std::optional<HttpRequest> HttpRequest::read( std::string_view bytes ) {
   const std::size_t ends[] = { bytes.find( "\n\r\n" ), bytes.find( "\n\n" ) };
   if( *std::min_element( std::begin( ends ), std::end( ends ) ) == std::string_view::npos ) {
      return std::nullopt;
   }
   HttpRequest request;
   const std::string_view line = takeLine( bytes );
   const std::size_t first = line.find( ' ' );
   const std::size_t second = first == std::string_view::npos ? first : line.find( ' ', first + 1 );
   if( second == std::string_view::npos ) {
      return request;
   }
   const std::string_view target = line.substr( first + 1, second - first - 1 );
   const std::string_view version = line.substr( second + 1 );
   request.method = line.substr( 0, first );
   request.path = target.substr( 0, target.find( '?' ) );
   request.isGood = isToken( request.method ) && isPrintable( target ) &&
                    target.starts_with( '/' ) && ( version == "HTTP/1.0" || version == "HTTP/1.1" );
   for( std::string_view field = takeLine( bytes ); !field.empty(); field = takeLine( bytes ) ) {
      request.isGood = request.isGood && isField( field );
   }
   return request;
}

} // namespace OrloAgent
