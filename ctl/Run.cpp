#include "ctl/Run.h"

#include "agent/control/Protocol.h"
#include "ctl/Connection.h"
#include "ctl/Failure.h"
#include "ctl/render/RenderAudit.h"
#include "ctl/render/RenderObjects.h"
#include "ctl/render/RenderShow.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <map>
#include <string>
#include <string_view>
#include <unistd.h>

namespace OrloCtl {

namespace {

using Json = nlohmann::json;
using Renderer = std::string ( * )( const Json &, const Look & );

constexpr int kIndent = 3;

Renderer rendererOf( const std::string &command ) {
   static const std::map<std::string_view, Renderer> renderers{
         { "show", renderShow },
         { "show pairs", renderPairs },
         { "show waiting", renderWaiting },
         { "show slots", renderSlots },
         { "show interfaces", renderInterfaces },
         { "explain", renderExplain },
         { "audit", renderAudit },
         { "list", renderList },
         { "get", renderValue },
         { "set", renderValue },
         { "remove", renderValue },
         { "call", renderValue },
         { "watch", renderChange },
         { "trace", renderTrace },
         { "reload", renderReload },
         { "metrics", renderMetrics },
         { "complete", renderCompletions },
   };
   return renderers.at( command );
}

bool isTerminal() {
   return isatty( STDOUT_FILENO ) == 1;
}

Look lookOf( CommandLine::Color color ) {
   return { color == CommandLine::Color::always ||
                  ( color == CommandLine::Color::automatic && isTerminal() ),
            std::time( nullptr ) };
}

void print( const std::string &text ) {
   if( std::fwrite( text.data(), 1, text.size(), stdout ) < text.size() ||
       std::fflush( stdout ) != 0 ) {
      throw Failure( Failure::no, std::string( "cannot write: " ) + std::strerror( errno ) );
   }
}

/// The answer as JSON, its schema before everything else.
std::string jsonText( const Json &result, int indent ) {
   nlohmann::ordered_json shown{ { "schema", OrloAgent::Protocol::schema } };
   for( const auto &[name, value] : result.items() ) {
      shown[name] = value;
   }
   return shown.dump( indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace ) + "\n";
}

/// Gives the exit status.
int answered( const CommandLine &line ) {
   Connection connection( line.socket, line.timeout );
   const Json result = connection.ask( line.command, line.arguments );
   const std::string text = line.json ? jsonText( result, kIndent )
                                      : rendererOf( line.command )( result, lookOf( line.color ) );
   const char *const clear = line.watch && isTerminal() ? "\033[H\033[2J" : "";
   print( clear + text );
   return line.command == "audit" ? statusOfAudit( result ) : 0;
}

int once( const CommandLine &line ) {
   if( line.command != "audit" ) {
      return answered( line );
   }
   try {
      return answered( line );
   } catch( const Failure &failure ) {
      throw failureOfAudit( failure );
   } catch( const std::exception &error ) {
      throw Failure( Failure::noAudit, error.what() );
   }
}

[[noreturn]] void again( const CommandLine &line ) {
   for( ;; ) {
      once( line );
      ::sleep( 1 );
   }
}

[[noreturn]] void follow( const CommandLine &line ) {
   Connection connection( line.socket, line.timeout );
   connection.ask( line.command, line.arguments );
   const Renderer renderer = rendererOf( line.command );
   for( ;; ) {
      Json event = connection.nextEvent();
      event.erase( "id" );
      event.erase( "schema" ); // comes first again
      print( line.json ? jsonText( event, -1 ) : renderer( event, lookOf( line.color ) ) );
   }
}

} // namespace

int run( const CommandLine &line ) {
   if( line.command.empty() ) {
      print( line.help );
   } else if( line.follows ) {
      follow( line );
   } else if( line.watch ) {
      again( line );
   } else {
      return once( line );
   }
   return 0;
}

} // namespace OrloCtl
