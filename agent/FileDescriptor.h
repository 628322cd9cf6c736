// An open file that closes itself.
#ifndef ORLOAGENT_FILEDESCRIPTOR_H
#define ORLOAGENT_FILEDESCRIPTOR_H

#include <unistd.h>
#include <utility>

namespace OrloAgent {

/// Owns one file descriptor; -1 is none.
class FileDescriptor {
 public:
   explicit FileDescriptor( int fd = -1 ) noexcept : fd_( fd ) {}
   FileDescriptor( FileDescriptor &&other ) noexcept : fd_( std::exchange( other.fd_, -1 ) ) {}
   FileDescriptor &operator=( FileDescriptor &&other ) noexcept {
      std::swap( fd_, other.fd_ );
      return *this;
   }
   ~FileDescriptor() {
      if( fd_ >= 0 ) {
         ::close( fd_ );
      }
   }

   int get() const noexcept { return fd_; }

 private:
   int fd_;
};

} // namespace OrloAgent

#endif
