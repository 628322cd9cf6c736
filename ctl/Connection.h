// orloctl's end of the control socket.
#ifndef ORLOCTL_CONNECTION_H
#define ORLOCTL_CONNECTION_H

#include <nlohmann/json.hpp>

#include <string>

namespace OrloCtl {

/// One request on one connection. Waits for the agent. Everything throws Failure: unreachable when
/// nobody answers (in time), otherwise what the agent's error says.
class Connection {
 public:
   /// Throws NoAgent when there is none.
   Connection( const std::string &path, double timeout );
   ~Connection();
   Connection( const Connection & ) = delete;
   Connection &operator=( const Connection & ) = delete;

   /// Sends the request and gives the result, its rows in their place.
   nlohmann::json ask( const std::string &command, const nlohmann::json &arguments );
   /// After ask() of a command that follows: the next event's line, for which it waits as long as
   /// it takes.
   nlohmann::json nextEvent();

 private:
   void waitAtMost( double seconds ) const;
   void send( const std::string &bytes ) const;
   std::string line();
   nlohmann::json answer();

   std::string path_;
   int socket_;
   std::string input_;
};

} // namespace OrloCtl

#endif
