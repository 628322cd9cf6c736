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
#include <memory>
#include <optional>
#include <string>

namespace OrloAgent {

/// Serves the protocol of Protocol.h on the thread of the event loop until it is destroyed, which
/// ends every connection and removes the socket. Whatever clients do, nothing is thrown into the
/// loop, nobody waits for anybody, and each client costs a bounded amount of memory. A socket that
/// somebody removes is made again; who is connected stays so.
class ControlServer {
 public:
   struct Settings {
      std::string path = Protocol::defaultPath;
      std::string group; ///< name or number; may connect and change. Empty: only root and the agent
      std::size_t mostClients = Protocol::mostClients;
      std::size_t reservedClients = Protocol::reservedClients;
      std::chrono::microseconds patience = Protocol::patience;
      std::chrono::microseconds acceptPause = std::chrono::seconds( 1 ); ///< see Listener
      /// How often it is looked whether the socket is still there.
      std::chrono::microseconds lookEvery = std::chrono::seconds( 1 );
      /// Hears what the administrator has to know.
      Listener::Notice notice = []( const std::string & ) {};
   };

   /// Clients can connect when this returns. Throws ControlSocketError, or std::system_error. Loop
   /// and handler must outlive the server.
   ControlServer( EventLoop &loop, ControlHandler &handler, const Settings &settings );
   ~ControlServer();
   ControlServer( const ControlServer & ) = delete;
   ControlServer &operator=( const ControlServer & ) = delete;

   std::size_t clients() const noexcept { return connections_.size(); }
   bool isPaused() const noexcept { return listener_->isPaused(); }

 private:
   void accept( FileDescriptor connection );
   void listen();
   void look();
   void makeSocketAgain();
   bool isFullFor( const Peer &peer ) const;
   Peer peerOf( int connection ) const;

   EventLoop &loop_;
   ControlHandler &handler_;
   const Settings settings_;
   std::unique_ptr<ControlSocket> socket_;
   std::string told_; // why the socket cannot be made again
   std::list<ControlConnection> connections_;
   std::optional<Listener> listener_;
   EventLoop::Subscription look_;
};

} // namespace OrloAgent

#endif
