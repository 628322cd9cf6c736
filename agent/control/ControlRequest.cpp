#include "agent/control/ControlRequest.h"

#include "agent/JsonText.h"
#include "agent/control/ControlError.h"

#include <utility>

namespace OrloAgent {

namespace {

[[noreturn]] void refuse( const std::string &what ) {
   throw ControlError( ControlError::Kind::usage, "bad request: " + what );
}

nlohmann::json parsed( std::string_view line ) {
   try {
      return readJson( line, Comments::refused );
   } catch( const JsonError &error ) {
      refuse( error.what() );
   }
}

} // namespace

void ControlRequest::read( std::string_view line ) {
   nlohmann::json document = parsed( line );
   if( !document.is_object() ) {
      refuse( "an object is wanted, this is " + shortJson( document ) );
   }
   const auto schema = document.find( "schema" );
   const auto given = document.find( "id" );
   if( given == document.end() || !given->is_number_integer() ) {
      refuse( "\"id\" must be an integer" );
   }
   id = *given;
   if( schema == document.end() || *schema != Protocol::schema ) {
      refuse( "\"schema\" must be " + std::to_string( Protocol::schema ) );
   }
   for( auto &[name, value] : document.items() ) {
      if( name == "command" ) {
         if( !value.is_string() || value.get_ref<const std::string &>().empty() ) {
            refuse( "\"command\" must be a text" );
         }
         command = value.get<std::string>();
      } else if( name == "arguments" ) {
         if( !value.is_object() ) {
            refuse( "\"arguments\" must be an object" );
         }
         arguments = std::move( value );
      } else if( name != "schema" && name != "id" ) {
         refuse( "unknown member " + shortJson( name ) +
                 "; there are schema, id, command and arguments" );
      }
   }
   if( command.empty() ) {
      refuse( "\"command\" is missing" );
   }
}

} // namespace OrloAgent
