// The agent's control socket: lets people and programs ask the running agent, and change it.
#ifndef ORLOAGENT_CONTROL_CONTROLSERVER_H
#define ORLOAGENT_CONTROL_CONTROLSERVER_H

#include "agent/EventLoop.h"
#include "agent/control/ControlConnection.h"
#include "agent/control/ControlHandler.h"
#include "agent/control/ControlSocket.h"
#include "agent/control/Listener.h"

#include <chrono>
#include <list>
#include <string>

namespace OrloAgent {

/// Serves the protocol of Protocol.h on the thread of the event loop until it is destroyed, which
/// ends every connection and removes the socket. Whatever clients do, nothing is thrown into the
/// loop, nobody waits for anybody, and each client costs a bounded amount of memory.
class ControlServer {
 public:
   struct Settings {
      std::string path = Protocol::defaultPath;
      std::string group; ///< name or number; may connect and change. Empty: only root and the agent
      std::size_t mostClients = Protocol::mostClients;
      std::chrono::microseconds patience = Protocol::patience;
      std::chrono::microseconds acceptPause = std::chrono::seconds( 1 ); ///< see Listener
   };

   /// Clients can connect when this returns. Throws ControlSocketError, or std::system_error. Loop
   /// and handler must outlive the server.
   ControlServer( EventLoop &loop, ControlHandler &handler, const Settings &settings );
   ~ControlServer();
   ControlServer( const ControlServer & ) = delete;
   ControlServer &operator=( const ControlServer & ) = delete;

   std::size_t clients() const noexcept { return connections_.size(); }
   bool isPaused() const noexcept { return listener_.isPaused(); }

 private:
   void accept( FileDescriptor connection );
   Peer peerOf( int connection ) const;

   EventLoop &loop_;
   ControlHandler &handler_;
   std::size_t mostClients_;
   std::chrono::microseconds patience_;
   ControlSocket socket_;
   std::list<ControlConnection> connections_;
   Listener listener_;
};

} // namespace OrloAgent

#endif
