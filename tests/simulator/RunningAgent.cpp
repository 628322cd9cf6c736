#include "tests/simulator/RunningAgent.h"

namespace Simulator {

using OrloAgent::ControlError;

Json RunningAgent::answered( const std::function<Json()> &action ) {
   try {
      return action();
   } catch( const ControlError &error ) {
      return { { "error", OrloAgent::Protocol::nameOf( error.kind() ) },
               { "message", error.what() } };
   }
}

Json RunningAgent::ask( const std::string &command, const Json &arguments, bool mayChange ) {
   const OrloAgent::Peer peer{ .uid = 0, .gid = 0, .pid = 1, .mayChange = mayChange };
   return answered( [&] { return whole( control_.answer( command, arguments, peer ) ); } );
}

Json RunningAgent::follow( const std::string &command, const Json &arguments ) {
   const OrloAgent::Peer peer{ .uid = 0, .gid = 0, .pid = 2, .mayChange = true };
   return answered( [&] {
      auto following = control_.follow( command, arguments, peer,
                                        [this]( const Json &event ) { heard_ += event.size(); } );
      if( following ) {
         followings_.push_back( std::move( following ) );
      }
      return Json( followings_.size() );
   } );
}

/// As main() does for clients.
OrloAgent::Agent::Reloaded RunningAgent::reload() {
   try {
      return agent_.reload( read() );
   } catch( const std::exception &error ) {
      throw ControlError( ControlError::Kind::failed, error.what() );
   }
}

std::string RunningAgent::said() {
   std::string all = out_.str() + err_.str();
   out_.str( "" );
   err_.str( "" );
   return all;
}

} // namespace Simulator
