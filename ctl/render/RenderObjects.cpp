#include "ctl/render/RenderObjects.h"

#include "ctl/Fields.h"
#include "ctl/render/Table.h"
#include "ctl/render/Words.h"

#include <utility>
#include <vector>

namespace OrloCtl {

namespace {

using Json = nlohmann::json;
using Column = Table::Column;

enum class Member { root, attribute, entry };

Member kindOf( const Fields &row ) {
   return row.has( "kind" ) ? Member::attribute : row.has( "name" ) ? Member::root : Member::entry;
}

Table tableOf( Member kind ) {
   switch( kind ) {
   case Member::root:
      return Table( { { "NAME", Column::flexible }, { "TYPE", Column::flexible } } );
   case Member::attribute:
      return Table( { { "NAME" },
                      { "ID", Column::right },
                      { "TYPE", Column::flexible },
                      { "SET" },
                      { "VALUE", Column::flexible } } );
   case Member::entry:
      break;
   }
   return Table( { { "MEMBER", Column::flexible }, { "VALUE", Column::flexible } } );
}

/// An object by its text, unless that only says of which type it is.
std::string objectText( const Json &object ) {
   return object["text"] == object.value( "type", Json() ) ? "an object"
                                                           : valueText( object["text"] );
}

/// As the system writes it, and reads it in a set.
std::string systemText( const Json &value ) {
   return value.is_boolean()                              ? ( value.get<bool>() ? "true" : "false" )
          : value.is_object() && value.contains( "text" ) ? objectText( value )
                                                          : valueText( value );
}

/// Without its namespaces: a table has no room for them.
std::string shortType( const std::string &type ) {
   const std::size_t colon = type.rfind( ':' );
   return colon == std::string::npos ? type : type.substr( colon + 1 );
}

std::string typeText( const Fields &row ) {
   // A function that returns nothing has the type null.
   std::string text =
         shortType( row.has( "arguments" ) ? row.textIfAny( "type" ) : row.text( "type" ) );
   if( const std::string key = row.textIfAny( "key" ); !key.empty() ) {
      text += "[" + shortType( key ) + "]";
   }
   if( row.has( "arguments" ) ) {
      std::string arguments;
      for( const Json &one : row.list( "arguments" ) ) {
         const Fields argument( one );
         arguments += ( arguments.empty() ? "" : ", " ) + argument.text( "name" ) + ": " +
                      shortType( argument.text( "type" ) );
      }
      text += "(" + arguments + ")";
   }
   return text;
}

std::vector<Table::Cell> cellsOf( Member kind, const Fields &row ) {
   switch( kind ) {
   case Member::root:
      return { row.text( "name" ), row.text( "type" ) };
   case Member::attribute:
      return { row.text( "name" ), std::to_string( row.number( "id" ) ), typeText( row ),
               row.flag( "writable" ) ? "yes" : "no",
               row.has( "value" )  ? systemText( row.any( "value" ) )
               : row.has( "size" ) ? counted( row.number( "size" ), "member", "members" )
                                   : "-" };
   case Member::entry:
      break;
   }
   // The path is shorter than the key, and can be typed.
   return { row.has( "path" ) ? row.text( "path" ) : valueText( row.any( "key" ) ),
            systemText( row.any( "value" ) ) };
}

/// The lost ones' line; empty when this is an event.
std::string lostText( const Fields &line ) {
   return line.has( "lost" )
                ? counted( line.number( "lost" ), "event was lost", "events were lost" ) + "\n"
                : "";
}

} // namespace

std::string renderList( const Json &result, const Look &look ) {
   const Json &rows = Fields( result ).list( "members" );
   std::string all;
   for( std::size_t i = 0; i < rows.size(); ) {
      const Member kind = kindOf( Fields( rows[i] ) );
      Table table = tableOf( kind );
      for( ; i < rows.size() && kindOf( Fields( rows[i] ) ) == kind; ++i ) {
         table.add( cellsOf( kind, Fields( rows[i] ) ) );
      }
      all += ( all.empty() ? "" : "\n" ) + table.text( look.isColored );
   }
   return all.empty() ? "nothing\n" : all;
}

std::string renderValue( const Json &result, const Look & ) {
   const Fields fields( result );
   if( !fields.has( "value" ) ) {
      return {};
   }
   const Json &value = fields.any( "value" );
   if( !value.is_structured() ) {
      return systemText( value ) + "\n";
   }
   // Only the ends of its lines are left of what ASCII has beyond the printable.
   return value.dump( 3, ' ', true, Json::error_handler_t::replace ) + "\n";
}

std::string renderReload( const Json &result, const Look & ) {
   const Fields fields( result );
   std::string all = "reloaded: " + counted( fields.number( "calls" ), "call", "calls" ) + "\n";
   for( const Json &change : fields.list( "changes" ) ) {
      all += hanging( "   ", valueText( change ) );
   }
   return fields.list( "changes" ).empty() ? "reloaded: nothing changes\n" : all;
}

std::string renderMetrics( const Json &result, const Look & ) {
   Fields( result ).text( "text" ); // is it one?
   std::string text = result["text"].get<std::string>();
   std::string all;
   for( std::size_t start = 0; start < text.size(); ) {
      const std::size_t end = text.find( '\n', start );
      all += tamed( text.substr( start, end - start ) ) + "\n";
      start = end == std::string::npos ? text.size() : end + 1;
   }
   return all;
}

std::string renderCompletions( const Json &result, const Look & ) {
   std::string all;
   for( const Json &one : Fields( result ).list( "completions" ) ) {
      all += valueText( one ) + "\n";
   }
   return all;
}

std::string renderChange( const Json &line, const Look &look ) {
   const Fields fields( line );
   if( std::string lost = lostText( fields ); !lost.empty() ) {
      return painted( lost.substr( 0, lost.size() - 1 ), Paint::bad, look.isColored ) + "\n";
   }
   const Fields event( fields.object( "event" ) );
   std::string all =
         event.text( "at" ) + "  " + event.text( "path" ) + "  " + event.text( "attribute" );
   if( event.has( "key" ) ) {
      all += "[" + valueText( event.any( "key" ) ) + "]";
   }
   if( event.has( "gone" ) && event.flag( "gone" ) ) {
      all += " gone";
   } else if( event.has( "value" ) ) {
      all += " = " + systemText( event.any( "value" ) );
   }
   return all + "\n";
}

std::string renderTrace( const Json &line, const Look &look ) {
   const Fields fields( line );
   if( std::string lost = lostText( fields ); !lost.empty() ) {
      return painted( lost.substr( 0, lost.size() - 1 ), Paint::bad, look.isColored ) + "\n";
   }
   const Fields event( fields.object( "event" ) );
   return event.text( "at" ) + "  " + event.text( "facility" ) + " " +
          valueText( event.any( "level" ) ) + "  " +
          painted( event.text( "source" ) + ":" + std::to_string( event.number( "line" ) ) + " " +
                         event.text( "function" ),
                   Paint::faint, look.isColored ) +
          "  " + event.text( "message" ) + "\n";
}

} // namespace OrloCtl
