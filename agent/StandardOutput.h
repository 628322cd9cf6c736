// Output that never makes the agent wait for whoever reads it.
#ifndef ORLOAGENT_STANDARDOUTPUT_H
#define ORLOAGENT_STANDARDOUTPUT_H

#include "agent/EventLoop.h"

#include <cstddef>
#include <iosfwd>
#include <streambuf>
#include <string>

namespace OrloAgent {

/// Takes over what is written to a stream while it lives, and hands it on to a descriptor, whole
/// lines at a time, as fast as the reader takes it. What the reader leaves is kept up to a limit;
/// after that, whole lines are dropped and counted, and their number is said when there is room
/// again. A pipe or a socket is never waited for; a file is not either, and a terminal only in the
/// middle of a line. For the thread of the loop.
class StandardOutput : private std::streambuf {
 public:
   static constexpr std::size_t kMostKept = std::size_t{ 8 } << 20;

   /// The descriptor stays the caller's. Loop and stream must outlive this object.
   StandardOutput( EventLoop &loop, std::ostream &stream, int fd,
                   std::size_t mostKept = kMostKept );
   /// Gives the reader a second for the rest.
   ~StandardOutput() override;
   StandardOutput( const StandardOutput & ) = delete;
   StandardOutput &operator=( const StandardOutput & ) = delete;

   /// How many bytes wait for the reader.
   std::size_t kept() const noexcept { return kept_.size(); }

 private:
   // What std::ostream asks for.
   int_type overflow( int_type octet ) override;
   std::streamsize xsputn( const char *text, std::streamsize size ) override;
   int sync() override;

   void take( const char *text, std::size_t size );
   void endLine();
   void push();
   std::size_t pieceAt( std::size_t begin ) const noexcept;
   bool isWritable( int milliseconds ) const noexcept;
   void awaitRoom();

   EventLoop &loop_;
   std::ostream &stream_;
   std::streambuf *const before_;
   const int fd_;
   const std::size_t mostKept_;
   std::string line_; ///< not yet ended
   std::string kept_; ///< whole lines; but for the first, of which a part may be out
   std::size_t lost_ = 0;
   bool isAwaited_ = false;
   EventLoop::Subscription room_;
};

} // namespace OrloAgent

#endif
