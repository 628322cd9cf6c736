#include "agent/control/ControlSocket.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <utility>
#include <vector>

namespace OrloAgent {

namespace {

constexpr int kBacklog = 64;

FileDescriptor newSocket() {
   return FileDescriptor( ::socket( AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 ) );
}

sockaddr_un addressOf( const std::string &path ) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if( path.empty() || path.size() >= sizeof( address.sun_path ) ||
       path.find( '\0' ) != std::string::npos ) {
      throw ControlSocketError( "the path of the control socket must have 1 to " +
                                std::to_string( sizeof( address.sun_path ) - 1 ) +
                                " bytes: " + path.substr( 0, 200 ) );
   }
   path.copy( address.sun_path, path.size() );
   return address;
}

const sockaddr *generic( const sockaddr_un &address ) {
   return reinterpret_cast<const sockaddr *>( &address );
}

std::optional<gid_t> groupNamed( const std::string &name ) {
   if( name.empty() ) {
      return std::nullopt;
   }
   gid_t number = 0;
   const char *const end = name.data() + name.size();
   const auto [stopped, error] = std::from_chars( name.data(), end, number );
   if( error == std::errc() && stopped == end ) {
      return number;
   }
   constexpr std::size_t kMostBytes = std::size_t{ 1 } << 20;
   for( std::vector<char> bytes( 1024 ); bytes.size() <= kMostBytes;
        bytes.resize( 2 * bytes.size() ) ) {
      group entry{};
      group *found = nullptr;
      const int result = getgrnam_r( name.c_str(), &entry, bytes.data(), bytes.size(), &found );
      if( found ) {
         return found->gr_gid;
      }
      if( result != ERANGE ) {
         break;
      }
   }
   throw ControlSocketError( "there is no group \"" + name +
                             "\" for the control socket: make it, or name another one" );
}

} // namespace

ControlSocket::ControlSocket( const std::string &path, const std::string &group, Group need )
      : path_( path ), group_( groupNamed( group ) ) {
   addressOf( path_ ); // is it one?
   makeFolder();
   makeWay();
   try {
      bindAndListen( need );
   } catch( ... ) {
      if( isBound_ ) {
         ::unlink( path_.c_str() );
      }
      throw;
   }
}

ControlSocket::~ControlSocket() {
   if( isThere() ) {
      ::unlink( path_.c_str() );
   }
}

bool ControlSocket::isThere() const noexcept {
   struct stat there {};
   return isBound_ && lstat( path_.c_str(), &there ) == 0 && there.st_dev == device_ &&
          there.st_ino == inode_;
}

FileDescriptor ControlSocket::take() noexcept {
   return std::exchange( socket_, FileDescriptor() );
}

void ControlSocket::fail( const std::string &doing, int error ) const {
   throw ControlSocketError( "cannot " + doing + " the control socket " + path_ + ": " +
                             std::strerror( error ) );
}

void ControlSocket::makeFolder() const {
   const std::size_t slash = path_.rfind( '/' );
   if( slash == std::string::npos || slash == 0 ) {
      return;
   }
   const std::string folder = path_.substr( 0, slash );
   constexpr mode_t kMode = 0755;
   if( mkdir( folder.c_str(), kMode ) == 0 ) {
      chmod( folder.c_str(), kMode ); // whatever the umask says
   } else if( errno != EEXIST ) {
      const int error = errno;
      throw ControlSocketError( "cannot make the folder of the control socket " + path_ + ": " +
                                std::strerror( error ) );
   }
}

void ControlSocket::makeWay() const {
   struct stat there {};
   if( lstat( path_.c_str(), &there ) < 0 ) {
      if( errno != ENOENT ) {
         fail( "look at", errno );
      }
      return;
   }
   if( !S_ISSOCK( there.st_mode ) ) {
      throw ControlSocketError( path_ +
                                " is not a socket; choose another path for the control socket" );
   }
   const FileDescriptor trial = newSocket();
   const sockaddr_un address = addressOf( path_ );
   const int error =
         ::connect( trial.get(), generic( address ), sizeof( address ) ) == 0 ? 0 : errno;
   // No room in its queue and another type of socket: somebody has it open.
   if( error == 0 || error == EAGAIN || error == EPROTOTYPE ) {
      throw ControlSocketError( "somebody answers on the control socket " + path_ +
                                ": stop the other orlo-agent, or choose another path" );
   }
   if( error != ECONNREFUSED && error != ENOENT ) {
      fail( "try", error );
   }
   if( ::unlink( path_.c_str() ) < 0 && errno != ENOENT ) {
      fail( "replace", errno );
   }
}

void ControlSocket::bindAndListen( Group need ) {
   socket_ = newSocket();
   if( socket_.get() < 0 ) {
      fail( "make", errno );
   }
   const sockaddr_un address = addressOf( path_ );
   if( ::bind( socket_.get(), generic( address ), sizeof( address ) ) < 0 ) {
      fail( "make", errno );
   }
   isBound_ = true;
   // Nobody can connect before it listens, so nobody slips in with the wrong permissions.
   if( group_ && ::lchown( path_.c_str(), static_cast<uid_t>( -1 ), *group_ ) < 0 ) {
      if( errno != EPERM || need == Group::needed ) {
         fail( "set the group of", errno );
      }
      isGroupsOwn_ = false;
   }
   if( ::chmod( path_.c_str(), 0660 ) < 0 ) {
      fail( "set the mode of", errno );
   }
   struct stat made {};
   if( lstat( path_.c_str(), &made ) < 0 ) {
      fail( "look at", errno );
   }
   device_ = made.st_dev;
   inode_ = made.st_ino;
   if( ::listen( socket_.get(), kBacklog ) < 0 ) {
      fail( "listen on", errno );
   }
}

} // namespace OrloAgent
