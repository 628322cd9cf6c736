// orlo-agent: the command line.
#include "agent/Agent.h"
#include "agent/Configuration.h"
#include "agent/EventLoop.h"
#include "agent/input/Rtnetlink.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

namespace {

constexpr int kClean = 0;
constexpr int kCannotRun = 1;
constexpr int kBadInput = 2;

void complain( const std::string &what ) {
   std::cerr << "orlo-agent: " << what << std::endl;
}

/// Reads the configuration again and changes to it. Only a hardware that is lost ends the agent.
void reload( OrloAgent::Agent &agent, const std::string &file ) {
   try {
      agent.reload( OrloAgent::readConfigurationFile( file ) );
   } catch( const OrloAgent::ConfigurationError &error ) {
      complain( std::string( error.what() ) + "; nothing has been changed" );
   } catch( const OrloAgent::ReloadError &error ) {
      complain( file + ": " + error.what() );
   } catch( const OrloAgent::LibraryError &error ) {
      if( !agent.isReady() ) {
         throw;
      }
      complain( std::string( error.what() ) + "; going on with the number of indexes before" );
   }
}

int run( const OrloAgent::Configuration &configuration, const std::string &file ) {
   OrloAgent::EventLoop loop;
   OrloAgent::Rtnetlink kernel( loop );
   OrloAgent::Agent agent( configuration, kernel, std::cout, std::cerr );
   const auto onTerminate = loop.onSignal( SIGTERM, [&] { loop.stop(); } );
   const auto onInterrupt = loop.onSignal( SIGINT, [&] { loop.stop(); } );
   const auto onUser1 = loop.onSignal( SIGUSR1, [&] { agent.printTable(); } );
   const auto onHangUp = loop.onSignal( SIGHUP, [&] { reload( agent, file ); } );
   agent.start();
   loop.run();
   agent.printTable();
   agent.stop();
   return kClean;
}

} // namespace

int main( int argc, char **argv ) {
   CLI::App app( "Programs the virtual router MACs of the VRRP daemons on this switch into its "
                 "hardware table.\nPrints every change; SIGUSR1 prints the table, SIGHUP "
                 "reads the configuration\nagain. What is programmed stays when it ends.",
                 "orlo-agent" );
   std::string file;
   bool checkOnly = false;
   app.add_option( "CONFIG.json", file, "The configuration file" )->required();
   app.add_flag( "--check", checkOnly, "Only check the configuration, start nothing" );
   app.footer( "Exit status: 0 clean stop, 1 cannot run, 2 bad configuration or usage." );
   try {
      app.parse( argc, argv );
   } catch( const CLI::ParseError &error ) {
      if( error.get_exit_code() == 0 ) { // --help
         return app.exit( error );
      }
      complain( std::string( error.what() ) + "; try orlo-agent --help" );
      return kBadInput;
   }

   // A line at a time also into a pipe; a reader that goes away does not take the agent with it.
   std::setvbuf( stdout, nullptr, _IOLBF, BUFSIZ );
   std::signal( SIGPIPE, SIG_IGN );
   try {
      const OrloAgent::Configuration configuration = OrloAgent::readConfigurationFile( file );
      if( checkOnly ) {
         std::cout << file << ": good: " << OrloAgent::summary( configuration ) << '\n';
         return kClean;
      }
      return run( configuration, file );
   } catch( const OrloAgent::ConfigurationError &error ) {
      complain( error.what() );
      return kBadInput;
   } catch( const std::exception &error ) {
      complain( error.what() );
      return kCannotRun;
   }
}
