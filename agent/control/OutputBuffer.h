// Bytes on their way into a socket.
#ifndef ORLOAGENT_CONTROL_OUTPUTBUFFER_H
#define ORLOAGENT_CONTROL_OUTPUTBUFFER_H

#include <cstddef>
#include <string>
#include <string_view>

namespace OrloAgent {

/// Holds what the other end has not taken yet. The limit is its user's affair.
class OutputBuffer {
 public:
   bool empty() const noexcept { return bytes_.empty(); }
   std::size_t size() const noexcept { return bytes_.size(); }
   void add( std::string_view bytes ) { bytes_ += bytes; }
   /// Takes back what was added after it had this size; nothing may have been sent since.
   void shrinkTo( std::size_t size ) { bytes_.resize( size ); }

   /// Gives the socket what it takes without waiting. False: nobody will ever read it.
   bool sendTo( int socket );

 private:
   std::string bytes_;
};

} // namespace OrloAgent

#endif
