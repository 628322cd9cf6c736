#include "ctl/CommandLine.h"

#include "agent/control/Protocol.h"
#include "ctl/Failure.h"
#include "text/Nearest.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace OrloCtl {

namespace {

using Json = nlohmann::json;

constexpr const char *kSeeHelp = "; see orloctl --help";
constexpr unsigned kMostVlan = 4095;
// Stands before a word that CLI11 would take for a list, "[a,b]", and take apart.
constexpr char kGuard = '\x01';

std::string guarded( const std::string &word ) {
   return word.starts_with( '[' ) ? kGuard + word : word;
}

std::string unguarded( const std::string &word ) {
   return word.starts_with( kGuard ) ? word.substr( 1 ) : word;
}

/// The commands as CLI11 sees them, and where it puts what it reads.
class Grammar {
 public:
   Grammar() {
      app_.allow_extras(); // they are told in our words
      app_.require_subcommand( 0, 1 );
      app_.fallthrough();
      app_.footer( "Exit status: 0 fine, 1 the answer is no, 2 bad usage, 3 the agent cannot be "
                   "reached.\naudit: 1 there are differences, 4 there was no audit." );
      options();
      show();
      objects();
      others();
   }

   CommandLine read( int argc, const char *const *argv ) {
      std::vector<std::string> words; // the last one first, as it wants them
      for( int i = argc - 1; i > 0; --i ) {
         words.push_back( guarded( argv[i] ) );
      }
      try {
         app_.parse( std::move( words ) );
      } catch( const CLI::CallForHelp & ) {
         line_.help = app_.help();
         return std::move( line_ );
      } catch( const CLI::ParseError &error ) {
         refuseExtras();
         throw Failure( Failure::usage, error.what() + std::string( kSeeHelp ) );
      }
      refuseExtras();
      fill();
      return std::move( line_ );
   }

 private:
   using Fill = std::function<void( Json & )>;

   CLI::App *command( CLI::App &under, const std::string &name, const std::string &what,
                      Fill fill = {} ) {
      CLI::App *const made = under.add_subcommand( name, what );
      fills_[made] = std::move( fill );
      return made;
   }

   void options() {
      app_.add_option( "--socket", line_.socket, "The agent's control socket" )
            ->envname( "ORLO_SOCKET" )
            ->default_val( OrloAgent::Protocol::defaultPath );
      app_.add_flag( "--json", line_.json, "The answer as JSON" );
      app_.add_option( "--color", line_.color, "Colors: auto (on a terminal), always or never" )
            ->transform( CLI::CheckedTransformer( std::map<std::string, CommandLine::Color>{
                  { "auto", CommandLine::Color::automatic },
                  { "always", CommandLine::Color::always },
                  { "never", CommandLine::Color::never } } ) )
            ->option_text( "WHEN" );
      app_.add_option( "--timeout", line_.timeout, "Seconds to wait for the agent" )
            ->default_val( 30 )
            ->check( CLI::Range( 0.001, 86400.0 ) )
            ->option_text( "SECONDS [30]" );
   }

   void show() {
      CLI::App *const show = command( app_, "show", "The agent's state in short" );
      show->require_subcommand( 0, 1 );
      show->add_flag( "--watch", line_.watch, "Again every second" );
      CLI::App *const pairs =
            command( *show, "pairs", "Every pair of VLAN and MAC, wanted and programmed",
                     [this]( Json &arguments ) {
                        const auto add = [&]( const char *name, const auto &value ) {
                           if( value ) {
                              arguments[name] = *value;
                           }
                        };
                        add( "vlan", onlyVlan_ );
                        add( "mac", onlyMac_ );
                        add( "interface", onlyInterface_ );
                     } );
      pairs->add_option( "--vlan", onlyVlan_, "Only this VLAN" )
            ->check( CLI::Range( 0u, kMostVlan ) )
            ->option_text( "VLAN" );
      pairs->add_option( "--mac", onlyMac_, "Only this MAC" )->option_text( "MAC" );
      pairs->add_option( "--interface", onlyInterface_, "Only pairs of this interface" )
            ->option_text( "NAME" );
      command( *show, "waiting", "The line of those that wait for a slot" );
      command( *show, "slots", "The slots of the hardware, the free ones in their order" );
      command( *show, "interfaces", "The interfaces, their VLANs, MACs and VRRP devices" );
   }

   void objects() {
      const auto withPath = [this]( Json &arguments ) { arguments["path"] = path_; };
      const auto pathIfAny = [this]( Json &arguments ) {
         if( !path_.empty() ) {
            arguments["path"] = path_;
         }
      };
      CLI::App *const list =
            command( app_, "list", "What is below a path, or at the top", pathIfAny );
      list->add_option( "PATH", path_, "Where" );
      CLI::App *const get = command( app_, "get", "One value", withPath );
      get->add_option( "PATH", path_, "Which one" )->required();
      CLI::App *const set = command( app_, "set", "Changes a value", [this]( Json &arguments ) {
         arguments["path"] = path_;
         arguments["value"] = value_;
      } );
      set->add_option( "PATH", path_, "Which one" )->required();
      set->add_option( "VALUE", value_, "As get shows it" )->required();
      CLI::App *const remove =
            command( app_, "remove", "Removes a member of a collection", withPath );
      remove->add_option( "PATH", path_, "Which one" )->required();
      CLI::App *const call = command( app_, "call", "Calls a function", [this]( Json &arguments ) {
         arguments["path"] = path_;
         arguments["arguments"] = values_;
      } );
      call->add_option( "PATH", path_, "Which one" )->required();
      call->add_option( "ARG", values_, "Its arguments" );
      CLI::App *const watch = command( app_, "watch", "Prints changes as they happen", pathIfAny );
      watch->add_option( "PATH", path_, "Only those of this object, attribute or member" );
      CLI::App *const complete =
            command( app_, "complete", "The paths that begin like this one",
                     [this]( Json &arguments ) { arguments["prefix"] = path_; } );
      complete->add_option( "PREFIX", path_, "The beginning" );
      complete->group( "" ); // for the shell's completion
   }

   void others() {
      CLI::App *const explain = command( app_, "explain", "Why a pair is programmed, or is not",
                                         [this]( Json &arguments ) {
                                            arguments["vlan"] = vlan_;
                                            arguments["mac"] = mac_;
                                         } );
      explain->add_option( "VLAN", vlan_, "The pair's VLAN" )
            ->required()
            ->check( CLI::Range( 0u, kMostVlan ) );
      explain->add_option( "MAC", mac_, "The pair's MAC" )->required();
      CLI::App *const trace =
            command( app_, "trace", "Prints traces as they come", [this]( Json &arguments ) {
               arguments["facility"] = facility_;
               arguments["levels"] = levels_;
            } );
      trace->add_option( "FACILITY", facility_, "Whose" )->required();
      trace->add_option( "LEVELS", levels_, "Which" )->required();
      CLI::App *const audit =
            command( app_, "audit", "Compares what is wanted, assigned and in the hardware",
                     [this]( Json &arguments ) {
                        if( repair_ ) {
                           arguments["repair"] = true;
                        }
                     } );
      audit->add_flag( "--repair", repair_, "Puts the hardware right where it differs" );
      command( app_, "reload", "Reads the configuration again" );
      command( app_, "metrics", "The numbers that the agent counts" );
   }

   void refuseExtras() {
      const CLI::App *last = &app_;
      while( const CLI::App *const next = chosen( *last ) ) {
         last = next;
      }
      for( const std::string &word : app_.remaining( true ) ) {
         if( word != "--" ) {
            refuse( unguarded( word ), *last );
         }
      }
   }

   [[noreturn]] void refuse( const std::string &word, const CLI::App &app ) const {
      const std::string shown = "\"" + word.substr( 0, 60 ) + "\"";
      if( word.size() > 1 && word.front() == '-' ) {
         throw Failure( Failure::usage, "unknown option " + shown +
                                              " (a value that begins with - goes behind --)" +
                                              kSeeHelp );
      }
      std::vector<std::string> names;
      for( const CLI::App *one : app.get_subcommands( {} ) ) {
         if( !one->get_group().empty() ) {
            names.push_back( one->get_name() );
         }
      }
      if( names.empty() ) {
         throw Failure( Failure::usage,
                        shown + " is one word too many for " + app.get_name() + kSeeHelp );
      }
      const std::string meant( OrloText::nearest( word, { names.begin(), names.end() } ) );
      throw Failure( Failure::usage,
                     "unknown command " + shown +
                           ( meant.empty() ? std::string( kSeeHelp )
                                           : ": did you mean \"" + meant + "\"?" ) );
   }

   static const CLI::App *chosen( const CLI::App &app ) {
      const auto parsed = app.get_subcommands();
      return parsed.empty() ? nullptr : parsed.front();
   }

   void fill() {
      for( const CLI::App *app = chosen( app_ ); app; app = chosen( *app ) ) {
         line_.command += ( line_.command.empty() ? "" : " " ) + app->get_name();
         if( const Fill &fill = fills_.at( app ) ) {
            fill( line_.arguments );
         }
      }
      const auto unguard = []( Json &value ) {
         if( value.is_string() ) {
            value = unguarded( value.get<std::string>() );
         }
      };
      for( Json &value : line_.arguments ) {
         unguard( value );
         if( value.is_array() ) {
            std::for_each( value.begin(), value.end(), unguard );
         }
      }
      if( line_.command.empty() ) {
         throw Failure( Failure::usage, std::string( "a command is wanted" ) + kSeeHelp );
      }
      line_.follows = line_.command == "watch" || line_.command == "trace";
   }

   CommandLine line_;
   CLI::App app_{ "Asks the running orlo-agent, and changes it.", "orloctl" };
   std::map<const CLI::App *, Fill> fills_;
   std::optional<unsigned> onlyVlan_;
   std::optional<std::string> onlyMac_;
   std::optional<std::string> onlyInterface_;
   unsigned vlan_ = 0;
   std::string mac_;
   std::string path_;
   std::string value_;
   std::vector<std::string> values_;
   std::string facility_;
   std::string levels_;
   bool repair_ = false;
};

} // namespace

CommandLine CommandLine::read( int argc, const char *const *argv ) {
   return Grammar().read( argc, argv );
}

} // namespace OrloCtl
