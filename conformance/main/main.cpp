// orlo-conformance: the command line.
#include "agent/Configuration.h"
#include "agent/Library.h"
#include "conformance/Broken.h"
#include "conformance/Suite.h"
#include "conformance/main/Commands.h"
#include "text/Nearest.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <iostream>
#include <random>

namespace {

using namespace OrloConformance;

constexpr int kHolds = 0;
constexpr int kBroken = 1;
constexpr int kBadInput = 2;
constexpr Quor::U32 kLeastIndexes = 4;

/// What cannot be run as it was asked for.
class UsageError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

struct Wanted {
   std::string file;
   Commands commands;
   std::vector<std::string> rules;
   bool listOnly = false;
   bool empty = false;
   std::mt19937::result_type seed = std::random_device{}();
};

void list() {
   for( const Rule &rule : Suite::rules() ) {
      std::cout << rule.name << "\n   " << rule.text << '\n';
   }
}

std::vector<Rule> chosen( const std::vector<std::string> &names ) {
   const std::vector<Rule> &all = Suite::rules();
   std::vector<Rule> rules;
   for( const std::string &name : names ) {
      const auto at = std::find_if( all.begin(), all.end(),
                                    [&]( const Rule &rule ) { return rule.name == name; } );
      if( at == all.end() ) {
         std::vector<std::string_view> known;
         known.reserve( all.size() );
         for( const Rule &rule : all ) {
            known.emplace_back( rule.name );
         }
         throw UsageError( "there is no rule " + name + OrloText::didYouMean( name, known ) +
                           "; --list names them" );
      }
      rules.push_back( *at );
   }
   return names.empty() ? all : rules;
}

/// What stands in the way of a run, in the words of the configuration and the command line.
void check( const Wanted &wanted, const OrloAgent::Configuration &configuration ) {
   const Commands &commands = wanted.commands;
   if( commands.accept.empty() != ( commands.refuse.empty() && commands.refuseRemovals.empty() ) ) {
      throw UsageError( "--accept goes with --refuse or --refuse-removals" );
   }
   if( configuration.hardware.indexes < kLeastIndexes ) {
      throw UsageError( wanted.file +
                        ": /hardware/indexes: " + std::to_string( configuration.hardware.indexes ) +
                        ": must be " + std::to_string( kLeastIndexes ) + " or more here" );
   }
   if( configuration.interfaces.empty() ) {
      throw UsageError( wanted.file +
                        ": /interfaces: must name one at least here: the pairs are on its VLANs" );
   }
}

OrloHelper::HelperSettings settingsOf( const OrloAgent::Configuration &configuration ) {
   OrloHelper::HelperSettings settings{ .indexes = configuration.hardware.indexes,
                                        .settings = configuration.hardware.settings };
   for( const OrloAgent::InterfaceConfiguration &one : configuration.interfaces ) {
      settings.interfaces.push_back( { valueToStrep( one.name ), one.vlan, one.secondaryVlans } );
   }
   return settings;
}

void clear( const Suite &suite, bool isAllowed ) {
   const std::optional<std::size_t> held = suite.held();
   if( !isAllowed && held != 0u ) {
      throw UsageError( ( held ? "the hardware holds " + std::to_string( *held ) +
                                       ( *held == 1 ? " entry" : " entries" )
                               : std::string( "what the hardware holds cannot be read" ) ) +
                        ", and this run removes everything: say --empty if it may" );
   }
   suite.empty();
}

int run( const Wanted &wanted ) {
   const std::vector<Rule> rules = chosen( wanted.rules );
   const OrloAgent::Configuration configuration = OrloAgent::readConfigurationFile( wanted.file );
   check( wanted, configuration );
   const OrloAgent::PluginLibrary plugin( configuration.plugin );
   const OrloAgent::HelperLibrary module( configuration.hardware.module );
   const OrloHelper::HelperSettings settings = settingsOf( configuration );
   module.make( settings ); // what cannot be had at all is no broken rule
   const Suite suite( { .plugin = *plugin,
                        .make = [&]( const auto &all ) { return module.make( all ); },
                        .settings = settings,
                        .faults = wanted.commands.faults(),
                        .seed = wanted.seed } );
   clear( suite, wanted.empty );
   int counts[3] = {};
   for( const Rule &rule : rules ) {
      const Verdict verdict = suite.tried( rule );
      static constexpr const char *kWords[] = { "ok", "BROKEN", "not tried" };
      const auto kind = static_cast<int>( verdict.kind );
      ++counts[kind];
      std::cout << std::left << std::setw( 11 ) << kWords[kind] << rule.name
                << ( verdict.why.empty() ? "" : ": " ) << verdict.why << std::endl;
   }
   suite.empty();
   std::cout << rules.size() << ( rules.size() == 1 ? " rule: " : " rules: " ) << counts[0]
             << " ok, " << counts[1] << " broken, " << counts[2] << " not tried; seed "
             << wanted.seed << std::endl;
   return counts[1] == 0 ? kHolds : kBroken;
}

} // namespace

int main( int argc, char **argv ) {
   CLI::App app( "Tries whether the helper of a configuration's hardware keeps every rule that "
                 "the agent relies on.\nThe hardware has to be free for it: no agent runs, and "
                 "everything in it is removed.\nWhat the hardware does of itself is played by "
                 "commands, which are run with sh.",
                 "orlo-conformance" );
   Wanted wanted;
   Commands &commands = wanted.commands;
   app.add_option( "CONFIG.json", wanted.file, "The agent's configuration file" );
   app.add_option( "--refuse", commands.refuse, "Makes the hardware refuse what is added" );
   app.add_option( "--refuse-removals", commands.refuseRemovals,
                   "Makes the hardware refuse what is removed" );
   app.add_option( "--accept", commands.accept, "Makes it take everything again" );
   app.add_option( "--lose", commands.lose,
                   "Takes the entry of $VLAN, $MAC and $INDEX out, behind the helper's back" );
   app.add_option( "--plant", commands.plant,
                   "Puts one in, for $VLAN, $MAC and $INDEX; VLANs 0 and 4095 as well" );
   app.add_option( "--rule", wanted.rules, "Tries this rule only; may be given several times" )
         ->allow_extra_args( false );
   app.add_flag( "--list", wanted.listOnly, "Lists the rules and what they say" );
   app.add_flag( "--empty", wanted.empty, "What the hardware holds may be removed" );
   app.add_option( "--seed", wanted.seed, "Of what is random, as printed by an earlier run" );
   app.footer( "Exit status: 0 every rule that could be tried holds, 1 a rule is broken, 2 bad "
               "configuration or usage, or the hardware cannot be had." );
   const auto complain = []( const std::string &what ) {
      std::cerr << "orlo-conformance: " << what << std::endl;
      return kBadInput;
   };
   try {
      app.parse( argc, argv );
      if( wanted.listOnly ) {
         list();
         return kHolds;
      }
      if( wanted.file.empty() ) {
         throw UsageError( "CONFIG.json is required; try orlo-conformance --help" );
      }
      return run( wanted );
   } catch( const CLI::ParseError &error ) {
      return error.get_exit_code() == 0
                   ? app.exit( error ) // --help
                   : complain( std::string( error.what() ) + "; try orlo-conformance --help" );
   } catch( const Broken &broken ) {
      std::cerr << "orlo-conformance: the hardware cannot be emptied: " << broken.what()
                << std::endl;
      return kBroken;
   } catch( const std::exception &error ) {
      return complain( error.what() );
   }
}
