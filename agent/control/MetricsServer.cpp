#include "agent/control/MetricsServer.h"

#include "agent/control/HttpRequest.h"
#include "agent/control/OutputBuffer.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <memory>
#include <netinet/in.h>
#include <sys/socket.h>
#include <utility>

namespace OrloAgent {

namespace {

std::uint16_t portOf( int socket ) {
   sockaddr_storage address{};
   socklen_t length = sizeof( address );
   getsockname( socket, reinterpret_cast<sockaddr *>( &address ), &length );
   return ntohs( address.ss_family == AF_INET6
                       ? reinterpret_cast<const sockaddr_in6 &>( address ).sin6_port
                       : reinterpret_cast<const sockaddr_in &>( address ).sin_port );
}

std::string response( const std::string &status, const std::string &type, const std::string &body,
                      const std::string &fields = "" ) {
   return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
          "\r\nContent-Length: " + std::to_string( body.size() ) + "\r\nConnection: close\r\n" +
          fields + "\r\n" + body;
}

std::string refusal( const std::string &status, const std::string &fields = "" ) {
   return response( status, "text/plain", status + "\n", fields );
}

std::string answerTo( const HttpRequest &request, const MetricsServer::Text &text ) {
   if( !request.isGood ) {
      return refusal( "400 Bad Request" );
   }
   if( request.path != "/metrics" ) {
      return refusal( "404 Not Found" );
   }
   if( request.method != "GET" ) {
      return refusal( "405 Method Not Allowed", "Allow: GET\r\n" );
   }
   try {
      return response( "200 OK", "text/plain; version=0.0.4", text() );
   } catch( const std::exception & ) {
      return refusal( "500 Internal Server Error" );
   }
}

} // namespace

/// Reads a request, sends the answer, then waits for the other end to close: closing first, with
/// bytes unread, would make the system drop the answer.
class MetricsServer::Connection {
 public:
   Connection( MetricsServer &server, FileDescriptor socket, std::function<void()> ended )
         : server_( server ), socket_( std::move( socket ) ), ended_( std::move( ended ) ) {
      await( false );
      beginToWait();
   }

 private:
   static constexpr std::size_t kMostIgnored = std::size_t{ 64 } * 1024;

   void turn() noexcept {
      bool goesOn = false;
      try {
         goesOn = isAnswered_ ? answered() : asked();
      } catch( const std::exception & ) {
         // Nothing to wait with: this client is sent away.
      }
      if( !goesOn ) {
         end();
      }
   }

   void end() noexcept {
      const auto ended = std::move( ended_ );
      ended();
   }

   bool asked() {
      if( !receive() ) {
         return false;
      }
      if( const auto request = HttpRequest::read( input_ ) ) {
         output_.add( answerTo( *request, server_.text_ ) );
      } else if( input_.size() >= server_.settings_.longestRequest ) {
         output_.add( refusal( "400 Bad Request" ) );
      } else {
         return true;
      }
      isAnswered_ = true;
      return send();
   }

   bool answered() {
      if( !output_.empty() ) {
         return send();
      }
      const std::size_t before = ignored_;
      input_.clear();
      const bool goesOn = receive();
      ignored_ = before + input_.size();
      return goesOn && ignored_ < kMostIgnored;
   }

   bool send() {
      beginToWait();
      if( !output_.sendTo( socket_.get() ) ) {
         return false;
      }
      if( output_.empty() ) {
         shutdown( socket_.get(), SHUT_WR );
      }
      await( !output_.empty() );
      return true;
   }

   /// False: there will be no more.
   bool receive() {
      std::array<char, 4096> bytes;
      const std::size_t room = server_.settings_.longestRequest - input_.size();
      const ssize_t count =
            recv( socket_.get(), bytes.data(), std::min( room, bytes.size() ), MSG_DONTWAIT );
      if( count > 0 ) {
         input_.append( bytes.data(), static_cast<std::size_t>( count ) );
      }
      return count > 0 ||
             ( count < 0 && ( errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ) );
   }

   void await( bool writable ) {
      subscription_ = EventLoop::Subscription(); // one at a time
      subscription_ = writable ? server_.loop_.onWritable( socket_.get(), [this] { turn(); } )
                               : server_.loop_.onReadable( socket_.get(), [this] { turn(); } );
   }

   void beginToWait() {
      patience_ = server_.loop_.after( server_.settings_.patience, [this] { end(); } );
   }

   MetricsServer &server_;
   FileDescriptor socket_;
   std::function<void()> ended_;
   std::string input_;
   OutputBuffer output_;
   bool isAnswered_ = false;
   std::size_t ignored_ = 0; // bytes that came after the request
   EventLoop::Subscription subscription_;
   EventLoop::Subscription patience_;
};

MetricsServer::MetricsServer( EventLoop &loop, const LoopbackAddress &address, Text text )
      : MetricsServer( loop, address, std::move( text ), Settings() ) {}

MetricsServer::MetricsServer( EventLoop &loop, const LoopbackAddress &address, Text text,
                              const Settings &settings )
      : MetricsServer( loop, address.listen(), std::move( text ), settings ) {}

MetricsServer::MetricsServer( EventLoop &loop, FileDescriptor listening, Text text,
                              const Settings &settings )
      : loop_( loop ), text_( std::move( text ) ), settings_( settings ),
        port_( portOf( listening.get() ) ),
        listener_( loop, std::move( listening ), settings.acceptPause,
                   [this]( FileDescriptor socket ) { accept( std::move( socket ) ); } ) {}

MetricsServer::~MetricsServer() = default;

void MetricsServer::accept( FileDescriptor socket ) {
   if( connections_.size() >= settings_.mostConnections ) {
      return; // closed
   }
   // The entry is found by its place, which is known only once it is made.
   const auto place = std::make_shared<std::list<Connection>::iterator>();
   *place = connections_.emplace( connections_.end(), *this, std::move( socket ),
                                  [this, place] { connections_.erase( *place ); } );
}

} // namespace OrloAgent
