// Where a server that only this machine may ask listens.
#ifndef ORLOAGENT_CONTROL_LOOPBACKADDRESS_H
#define ORLOAGENT_CONTROL_LOOPBACKADDRESS_H

#include "agent/FileDescriptor.h"

#include <cstdint>
#include <string>

namespace OrloAgent {

/// "127.0.0.1:9464" or "[::1]:9464".
class LoopbackAddress {
 public:
   /// Throws std::invalid_argument, with what is allowed, for everything that is not a loopback
   /// address with a port. Port 0 lets the system choose one.
   explicit LoopbackAddress( const std::string &text );

   const std::string &text() const noexcept { return text_; }
   /// A listening, non-blocking socket. Throws std::system_error.
   FileDescriptor listen() const;

 private:
   std::string text_;
   bool isV6_ = false;
   std::uint32_t v4_ = 0; ///< in the byte order of this machine
   std::uint16_t port_ = 0;
};

} // namespace OrloAgent

#endif
