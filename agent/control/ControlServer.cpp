#include "agent/control/ControlServer.h"

#include "agent/control/Credentials.h"

#include <algorithm>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace OrloAgent {

ControlServer::ControlServer( EventLoop &loop, ControlHandler &handler, const Settings &settings )
      : loop_( loop ), handler_( handler ), settings_( settings ),
        socket_( std::make_unique<ControlSocket>( settings.path, settings.group ) ) {
   listen();
   look();
}

ControlServer::~ControlServer() = default;

void ControlServer::listen() {
   listener_.emplace(
         loop_, socket_->take(), settings_.acceptPause,
         [this]( FileDescriptor connection ) { accept( std::move( connection ) ); },
         settings_.notice );
}

void ControlServer::look() {
   if( !socket_->isThere() ) {
      makeSocketAgain();
   }
   look_ = loop_.after( settings_.lookEvery, [this] { look(); } );
}

void ControlServer::makeSocketAgain() {
   socket_->forget();
   try {
      auto made = std::make_unique<ControlSocket>( settings_.path, settings_.group,
                                                   ControlSocket::Group::wished );
      socket_ = std::move( made );
      listen();
      told_.clear();
      settings_.notice( "somebody has removed the control socket " + settings_.path +
                        ": it is made again" +
                        ( socket_->isGroupsOwn()
                                ? ""
                                : ", without its group, whose members can connect again after a "
                                  "restart" ) );
   } catch( const std::exception &error ) {
      if( told_ != error.what() ) {
         told_ = error.what();
         settings_.notice( "somebody has removed the control socket " + settings_.path + ": " +
                           told_ + "; it is tried again and again" );
      }
   }
}

bool ControlServer::isFullFor( const Peer &peer ) const {
   const auto isOfGroup = []( const Peer &one ) { return one.uid != 0 && one.uid != geteuid(); };
   if( connections_.size() >= settings_.mostClients ) {
      return true;
   }
   const auto ofGroup = static_cast<std::size_t>(
         std::count_if( connections_.begin(), connections_.end(),
                        [&]( const ControlConnection &one ) { return isOfGroup( one.peer() ); } ) );
   return isOfGroup( peer ) && ofGroup + settings_.reservedClients >= settings_.mostClients;
}

Peer ControlServer::peerOf( int connection ) const {
   const Credentials found = Credentials::ofPeer( connection );
   return { found.uid, found.gid, found.pid, found.mayChange( geteuid(), socket_->group() ) };
}

void ControlServer::accept( FileDescriptor connection ) {
   const Peer peer = peerOf( connection.get() );
   if( isFullFor( peer ) ) {
      const std::string line = ControlConnection::errorLine(
            Protocol::ErrorKind::busy, "there are " + std::to_string( connections_.size() ) +
                                             " clients already; try again later" );
      // Fits an empty socket; if not, being closed is an answer as well.
      ::send( connection.get(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL );
      return;
   }
   // The entry is found by its place, which is known only once it is made.
   const auto place = std::make_shared<std::list<ControlConnection>::iterator>();
   *place = connections_.emplace( connections_.end(), loop_, handler_, std::move( connection ),
                                  peer, settings_.patience,
                                  [this, place] { connections_.erase( *place ); } );
}

} // namespace OrloAgent
