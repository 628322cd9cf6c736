// Who answers what comes over the control socket.
#ifndef ORLOAGENT_CONTROL_CONTROLHANDLER_H
#define ORLOAGENT_CONTROL_CONTROLHANDLER_H

#include "agent/control/ControlError.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <string>

#include <sys/types.h>

namespace OrloAgent {

/// The process at the other end, as it was when it connected.
struct Peer {
   uid_t uid = 0;
   gid_t gid = 0;
   pid_t pid = 0;
   bool mayChange = false; ///< root, the agent's own user, or a member of the socket's group
};

/// What a command answers: the result, an object, and possibly rows before it.
struct Answer {
   nlohmann::json result = nlohmann::json::object();
   std::string rowsName; ///< where the rows belong in the result; empty: there are none
   /// Fills in the next row; false: there is none. Called as fast as the client reads, between
   /// other events and other clients' requests, so it must not rely on what may change meanwhile.
   /// May throw as ControlHandler::answer does. Empty: no rows. Goes when the client goes.
   std::function<bool( nlohmann::json &row )> nextRow;
};

/// The result with its rows in their place.
inline nlohmann::json whole( const Answer &answer ) {
   nlohmann::json all = answer.result;
   if( answer.nextRow ) {
      all[answer.rowsName] = nlohmann::json::array();
      for( nlohmann::json row; answer.nextRow( row ); row = nlohmann::json() ) {
         all[answer.rowsName].push_back( row );
      }
   }
   return all;
}

/// Something that goes on until it is destroyed.
class Following {
 public:
   Following() = default;
   virtual ~Following() = default;
   Following( const Following & ) = delete;
   Following &operator=( const Following & ) = delete;
};

/// Answers on the thread of the event loop, one call at a time. A call must be short, since
/// everything else waits, and must not destroy the server.
class ControlHandler {
 public:
   using Emit = std::function<void( nlohmann::json event )>;

   virtual ~ControlHandler() = default;

   /// ControlError is the client's answer; every other exception is answered as a failure.
   virtual Answer answer( const std::string &command, const nlohmann::json &arguments,
                          const Peer &peer ) = 0;
   /// Asked first, of every request. Null: the command is not one that follows. `emit` may be
   /// called at any time from here on, also inside this call and after the Following has gone; it
   /// does not throw, never waits, and drops what does not fit. Throws as answer() does.
   virtual std::unique_ptr<Following> follow( const std::string &command,
                                              const nlohmann::json &arguments, const Peer &peer,
                                              Emit emit ) = 0;
};

} // namespace OrloAgent

#endif
