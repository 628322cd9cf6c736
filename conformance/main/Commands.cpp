#include "conformance/main/Commands.h"

#include <cstdlib>
#include <iostream>
#include <sys/wait.h>

namespace OrloConformance {

namespace {

void run( const std::string &option, const std::string &command ) {
   std::cout.flush(); // they write to the same place
   const int status = std::system( command.c_str() );
   if( status != 0 ) {
      throw CommandError( "the command of " + option + " ended with " +
                          ( WIFEXITED( status ) ? std::to_string( WEXITSTATUS( status ) )
                                                : std::string( "a signal" ) ) +
                          ": " + command );
   }
}

std::function<void()> played( const std::string &option, const std::string &command ) {
   if( command.empty() ) {
      return {};
   }
   return [option, command] { run( option, command ); };
}

std::function<void( const Pair &, Quor::U32 )> playedFor( const std::string &option,
                                                          const std::string &command ) {
   if( command.empty() ) {
      return {};
   }
   return [option, command]( const Pair &pair, Quor::U32 index ) {
      setenv( "VLAN", valueToStrep( pair.vlanId() ).c_str(), 1 );
      setenv( "MAC", valueToStrep( pair.mac() ).c_str(), 1 );
      setenv( "INDEX", std::to_string( index ).c_str(), 1 );
      run( option, command );
   };
}

} // namespace

Faults Commands::faults() const {
   Faults faults;
   faults.refuse = played( "--refuse", refuse );
   faults.refuseRemovals = played( "--refuse-removals", refuseRemovals );
   faults.accept = played( "--accept", accept );
   faults.lose = playedFor( "--lose", lose );
   faults.plant = playedFor( "--plant", plant );
   return faults;
}

} // namespace OrloConformance
