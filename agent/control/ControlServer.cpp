#include "agent/control/ControlServer.h"

#include "agent/control/Credentials.h"

#include <memory>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace OrloAgent {

ControlServer::ControlServer( EventLoop &loop, ControlHandler &handler, const Settings &settings )
      : loop_( loop ), handler_( handler ), mostClients_( settings.mostClients ),
        patience_( settings.patience ), socket_( settings.path, settings.group ),
        listener_( loop, socket_.take(), settings.acceptPause,
                   [this]( FileDescriptor connection ) { accept( std::move( connection ) ); } ) {}

ControlServer::~ControlServer() = default;

Peer ControlServer::peerOf( int connection ) const {
   const Credentials found = Credentials::ofPeer( connection );
   return { found.uid, found.gid, found.pid, found.mayChange( geteuid(), socket_.group() ) };
}

void ControlServer::accept( FileDescriptor connection ) {
   if( connections_.size() >= mostClients_ ) {
      const std::string line = ControlConnection::errorLine(
            Protocol::ErrorKind::busy,
            "there are " + std::to_string( mostClients_ ) + " clients already; try again later" );
      // Fits an empty socket; if not, being closed is an answer as well.
      ::send( connection.get(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL );
      return;
   }
   const Peer peer = peerOf( connection.get() );
   // The entry is found by its place, which is known only once it is made.
   const auto place = std::make_shared<std::list<ControlConnection>::iterator>();
   *place =
         connections_.emplace( connections_.end(), loop_, handler_, std::move( connection ), peer,
                               patience_, [this, place] { connections_.erase( *place ); } );
}

} // namespace OrloAgent
