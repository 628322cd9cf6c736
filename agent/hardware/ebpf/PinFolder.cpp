#include "agent/hardware/ebpf/PinFolder.h"

#include "agent/hardware/Failpoint.h"
#include "agent/hardware/HardwareError.h"

#include <bpf/bpf.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <utility>

namespace OrloAgent {

PinFolder::PinFolder( std::string path, bool isReadOnly ) : path_( std::move( path ) ) {
   if( !isReadOnly ) {
      needBpfFileSystem();
      make();
      lock();
   }
}

void PinFolder::fail( const std::string &doing, int error, const std::string &advice ) const {
   throw HardwareError( "cannot " + doing + " " + path_ + ": " + std::strerror( error ) +
                        ( advice.empty() ? "" : "; " + advice ) );
}

void PinFolder::needBpfFileSystem() const {
   std::filesystem::path existing = path_;
   struct statfs about {};
   while( statfs( existing.c_str(), &about ) < 0 ) {
      if( errno != ENOENT || existing == existing.parent_path() ) {
         fail( "look at", errno );
      }
      existing = existing.parent_path();
   }
   if( about.f_type != static_cast<decltype( about.f_type )>( BPF_FS_MAGIC ) ) {
      throw HardwareError( existing.string() + " is not in a BPF file system, and nothing can be " +
                           "pinned at " + path_ + ": mount one (mount -t bpf bpf " +
                           existing.string() + "), or choose another path in \"pins\"" );
   }
}

void PinFolder::make() const {
   for( std::size_t end = path_.find( '/', 1 );; end = path_.find( '/', end + 1 ) ) {
      const std::string part = path_.substr( 0, end );
      if( !part.empty() && mkdir( part.c_str(), 0700 ) < 0 && errno != EEXIST ) {
         fail( "make", errno );
      }
      if( end == std::string::npos ) {
         return;
      }
   }
}

void PinFolder::lock() {
   folder_ = FileDescriptor( ::open( path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC ) );
   if( folder_.get() < 0 ) {
      fail( "open", errno );
   }
   if( flock( folder_.get(), LOCK_EX | LOCK_NB ) < 0 ) {
      const int error = errno;
      fail( "lock", error,
            error == EWOULDBLOCK
                  ? "another orlo-agent uses it: stop that one, or choose another path in \"pins\""
                  : "" );
   }
}

FileDescriptor PinFolder::open( const std::string &name ) const {
   return FileDescriptor( bpf_obj_get( pathOf( name ).c_str() ) );
}

void PinFolder::unpin( const std::string &name ) const {
   Failpoint::hit( "pin" );
   if( unlink( pathOf( name ).c_str() ) < 0 && errno != ENOENT ) {
      fail( "remove " + name + " from", errno );
   }
}

void PinFolder::pin( const std::string &name, int fd ) const {
   const std::string made = pathOf( "new_" + name ); // a dot is not allowed there
   unpin( "new_" + name );
   Failpoint::hit( "pin" );
   if( bpf_obj_pin( fd, made.c_str() ) < 0 ) {
      fail( "pin " + name + " in", errno );
   }
   Failpoint::hit( "pin" );
   if( std::rename( made.c_str(), pathOf( name ).c_str() ) < 0 ) {
      fail( "rename " + name + " in", errno );
   }
}

} // namespace OrloAgent
