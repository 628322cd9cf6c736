#include "ctl/Connection.h"

#include "agent/control/Protocol.h"
#include "ctl/Failure.h"
#include "ctl/Fields.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace OrloCtl {

namespace {

using Json = nlohmann::json;
using OrloAgent::Protocol;

constexpr int kId = 1;
// What the agent sends is much shorter and flatter. Something else may listen there.
constexpr std::size_t kLongestLine = std::size_t{ 4 } * 1024 * 1024;
constexpr int kDeepest = 100;

Json parsed( const std::string &line ) {
   const auto bounded = []( int depth, Json::parse_event_t, const Json & ) {
      if( depth > kDeepest ) {
         throw Failure( Failure::no, "the agent's answer is nested too deeply" );
      }
      return true;
   };
   try {
      return Json::parse( line, bounded );
   } catch( const Json::exception & ) {
      throw Failure( Failure::no, "the agent's answer is not JSON" );
   }
}

Failure failureOf( const Json &error ) {
   const Fields fields( error );
   const std::string kind = fields.text( "kind" );
   const std::string message = fields.text( "message" );
   const auto is = [&]( Protocol::ErrorKind one ) { return kind == Protocol::nameOf( one ); };
   return { is( Protocol::ErrorKind::usage )  ? Failure::usage
            : is( Protocol::ErrorKind::busy ) ? Failure::unreachable
                                              : Failure::no,
            message };
}

} // namespace

Connection::Connection( const std::string &path, double timeout )
      : path_( path ), socket_( ::socket( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0 ) ) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if( path.empty() || path.size() >= sizeof( address.sun_path ) ) {
      ::close( socket_ );
      throw Failure( Failure::usage, "\"" + path.substr( 0, 200 ) + "\" is no path of a socket" );
   }
   path.copy( address.sun_path, path.size() );
   waitAtMost( timeout );
   if( ::connect( socket_, reinterpret_cast<const sockaddr *>( &address ), sizeof( address ) ) <
       0 ) {
      const int error = errno;
      ::close( socket_ );
      const std::string what = "cannot reach the agent at " + path + ": " + std::strerror( error );
      if( error == EACCES ) {
         throw Failure( Failure::unreachable,
                        what + "; be root or a member of the socket's group" );
      }
      if( error == EAGAIN ) {
         throw Failure( Failure::unreachable, what + "; it does not answer" );
      }
      throw NoAgent( what + "; is orlo-agent running? (--socket or ORLO_SOCKET names another "
                            "socket)" );
   }
}

Connection::~Connection() {
   ::close( socket_ );
}

void Connection::waitAtMost( double seconds ) const {
   constexpr double kMicro = 1e6;
   timeval limit{};
   limit.tv_sec = static_cast<time_t>( seconds );
   limit.tv_usec = static_cast<suseconds_t>( ( seconds - std::floor( seconds ) ) * kMicro );
   setsockopt( socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof( limit ) );
   setsockopt( socket_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof( limit ) );
}

void Connection::send( const std::string &bytes ) const {
   std::size_t sent = 0;
   while( sent < bytes.size() ) {
      const ssize_t count =
            ::send( socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL );
      if( count >= 0 ) {
         sent += static_cast<std::size_t>( count );
      } else if( errno != EINTR ) {
         return; // it may have said why before it closed: reading tells
      }
   }
}

std::string Connection::line() {
   std::size_t searched = 0;
   std::size_t end = 0;
   while( ( end = input_.find( '\n', searched ) ) == std::string::npos ) {
      searched = input_.size();
      if( searched > kLongestLine ) {
         throw Failure( Failure::no, "the agent's answer has no end" );
      }
      std::array<char, 65536> bytes;
      const ssize_t count = recv( socket_, bytes.data(), bytes.size(), 0 );
      if( count > 0 ) {
         input_.append( bytes.data(), static_cast<std::size_t>( count ) );
      } else if( count == 0 || ( errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK ) ) {
         throw Failure( Failure::unreachable,
                        "the agent at " + path_ + " closed the connection; has it ended?" );
      } else if( errno != EINTR ) {
         throw Failure( Failure::unreachable,
                        "the agent at " + path_ +
                              " does not answer; --timeout SECONDS waits longer" );
      }
   }
   std::string found = input_.substr( 0, end );
   input_.erase( 0, end + 1 );
   return found;
}

Json Connection::answer() {
   Json answer = parsed( line() );
   const Fields fields( answer );
   if( fields.number( "schema" ) != Protocol::schema ) {
      throw Failure( Failure::no, "the agent speaks another version of the protocol" );
   }
   if( answer.contains( "error" ) ) {
      throw failureOf( answer["error"] );
   }
   if( fields.number( "id" ) != kId ) {
      throw Failure( Failure::no, "the agent answers another request" );
   }
   return answer;
}

Json Connection::ask( const std::string &command, const Json &arguments ) {
   const Json request{ { "schema", Protocol::schema },
                       { "id", kId },
                       { "command", command },
                       { "arguments", arguments } };
   // Other bytes than UTF-8 cannot be sent; what stands for them is not found, and said so.
   const std::string text = request.dump( -1, ' ', false, Json::error_handler_t::replace );
   if( text.size() > Protocol::longestRequest ) {
      throw Failure( Failure::usage, "that is too long to be asked" );
   }
   send( text + "\n" );
   Json rows = Json::array();
   for( ;; ) {
      Json part = answer();
      if( part.contains( "rows" ) ) {
         Fields( part ).list( "rows" );
         for( Json &row : part["rows"] ) {
            rows.push_back( std::move( row ) );
         }
         continue;
      }
      Fields( part ).object( "result" );
      Json result = std::move( part["result"] );
      if( result.contains( "rowsName" ) ) {
         const std::string name = Fields( result ).text( "rowsName" );
         result.erase( "rowsName" );
         result[name] = std::move( rows );
      }
      return result;
   }
}

Json Connection::nextEvent() {
   waitAtMost( 0 ); // for ever
   return answer();
}

} // namespace OrloCtl
