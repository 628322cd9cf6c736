// The folder in a BPF file system where the program and its tables stay while no agent runs.
#ifndef ORLOAGENT_HARDWARE_EBPF_PINFOLDER_H
#define ORLOAGENT_HARDWARE_EBPF_PINFOLDER_H

#include "agent/FileDescriptor.h"

#include <string>

namespace OrloAgent {

/// Belongs to one process at a time (flock(2)), unless it is only looked at.
class PinFolder {
 public:
   /// Makes the folder and takes it for this process; does neither when `isReadOnly`. Throws
   /// HardwareError.
   PinFolder( std::string path, bool isReadOnly );

   const std::string &path() const noexcept { return path_; }
   /// The program or table of this name; -1, with errno, when it cannot be had.
   FileDescriptor open( const std::string &name ) const;
   /// Gives it this name, in one step when something else has it. Throws HardwareError.
   void pin( const std::string &name, int fd ) const;
   /// Nothing has this name any more. Throws HardwareError.
   void unpin( const std::string &name ) const;

 private:
   std::string pathOf( const std::string &name ) const { return path_ + "/" + name; }
   void needBpfFileSystem() const;
   void make() const;
   void lock();
   [[noreturn]] void fail( const std::string &doing, int error,
                           const std::string &advice = {} ) const;

   const std::string path_;
   FileDescriptor folder_; // locked
};

} // namespace OrloAgent

#endif
