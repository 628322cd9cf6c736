// The control socket's file.
#ifndef ORLOAGENT_CONTROL_CONTROLSOCKET_H
#define ORLOAGENT_CONTROL_CONTROLSOCKET_H

#include "agent/FileDescriptor.h"

#include <optional>
#include <stdexcept>
#include <string>

#include <sys/types.h>

namespace OrloAgent {

/// The socket cannot be made. what() is one line that says why and what to do.
class ControlSocketError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// Makes a listening Unix stream socket with mode 0660 at a path, and removes it at its end unless
/// somebody else's stands there by then. A socket that nobody answers on any more is replaced;
/// anything else at the path is left alone and an error. Makes the folder when it is missing.
/// Somebody may remove the file while it is used: nobody can connect any more then, and isThere()
/// tells.
class ControlSocket {
 public:
   enum class Group {
      needed,
      wished ///< without the privilege to give the file to the group it keeps the one that it has
   };

   /// `group` is a name or a number; empty leaves the file's group as it is. Throws
   /// ControlSocketError.
   ControlSocket( const std::string &path, const std::string &group, Group need = Group::needed );
   ~ControlSocket();
   ControlSocket( const ControlSocket & ) = delete;
   ControlSocket &operator=( const ControlSocket & ) = delete;

   /// The socket, given away once.
   FileDescriptor take() noexcept;
   /// The configured group.
   std::optional<gid_t> group() const noexcept { return group_; }
   /// May the members of that group connect? True when none is configured.
   bool isGroupsOwn() const noexcept { return isGroupsOwn_; }
   /// Does the file still stand at its path? Costs a look at the file system.
   bool isThere() const noexcept;
   /// The file is gone for good: what stands at the path from now on is another one's, even if it
   /// is given the same number.
   void forget() noexcept { isBound_ = false; }

 private:
   void makeFolder() const;
   void makeWay() const;
   void bindAndListen( Group need );
   [[noreturn]] void fail( const std::string &doing, int error ) const;

   std::string path_;
   std::optional<gid_t> group_;
   FileDescriptor socket_;
   bool isBound_ = false;
   bool isGroupsOwn_ = true;
   dev_t device_ = 0; // of the file that was made here
   ino_t inode_ = 0;
};

} // namespace OrloAgent

#endif
