#include "agent/StandardOutput.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <exception>
#include <ostream>
#include <poll.h>
#include <unistd.h>

namespace OrloAgent {

namespace {

constexpr std::chrono::seconds kLastPatience{ 1 };
constexpr std::size_t kLongestLine = std::size_t{ 64 } << 10; // a longer one goes out in pieces

} // namespace

StandardOutput::StandardOutput( EventLoop &loop, std::ostream &stream, int fd,
                                std::size_t mostKept )
      : loop_( loop ), stream_( stream ), before_( stream.rdbuf() ), fd_( fd ),
        mostKept_( mostKept ) {
   stream_.flush();
   stream_.rdbuf( this );
}

StandardOutput::~StandardOutput() {
   stream_.rdbuf( before_ );
   try {
      endLine();
      room_ = {};
      const auto end = std::chrono::steady_clock::now() + kLastPatience;
      for( push(); !kept_.empty(); push() ) {
         const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
               end - std::chrono::steady_clock::now() );
         if( left.count() <= 0 || !isWritable( static_cast<int>( left.count() ) ) ) {
            break;
         }
      }
   } catch( const std::exception & ) { // no memory for the last words
   }
}

StandardOutput::int_type StandardOutput::overflow( int_type octet ) {
   if( !traits_type::eq_int_type( octet, traits_type::eof() ) ) {
      const char one = traits_type::to_char_type( octet );
      take( &one, 1 );
   }
   return traits_type::not_eof( octet );
}

std::streamsize StandardOutput::xsputn( const char *text, std::streamsize size ) {
   take( text, static_cast<std::size_t>( size ) );
   return size;
}

/// Every line goes out at its end: there is nothing to be done for a part of one.
int StandardOutput::sync() {
   return 0;
}

void StandardOutput::take( const char *text, std::size_t size ) {
   const char *const end = text + size;
   while( text != end ) {
      const char *const lineEnd = std::find( text, end, '\n' );
      line_.append( text, lineEnd );
      text = lineEnd;
      if( text != end ) {
         line_ += '\n';
         ++text;
         endLine();
      } else if( line_.size() > kLongestLine ) {
         endLine();
      }
   }
}

void StandardOutput::endLine() {
   if( kept_.size() + line_.size() > mostKept_ ) {
      ++lost_;
   } else {
      kept_ += line_;
   }
   line_.clear();
   push();
}

/// A pipe or socket that is writable takes this much without a wait; it ends with a line where it
/// can, so that another stream to the same reader does not get in between.
std::size_t StandardOutput::pieceAt( std::size_t begin ) const noexcept {
   if( kept_.size() - begin <= PIPE_BUF ) {
      return kept_.size() - begin;
   }
   const std::size_t lineEnd = kept_.rfind( '\n', begin + PIPE_BUF - 1 );
   return lineEnd == std::string::npos || lineEnd < begin ? PIPE_BUF : lineEnd + 1 - begin;
}

bool StandardOutput::isWritable( int milliseconds ) const noexcept {
   pollfd asked{ fd_, POLLOUT, 0 };
   return poll( &asked, 1, milliseconds ) > 0;
}

void StandardOutput::push() {
   std::size_t done = 0;
   while( done < kept_.size() && isWritable( 0 ) ) {
      const ssize_t out = ::write( fd_, kept_.data() + done, pieceAt( done ) );
      if( out >= 0 ) {
         done += static_cast<std::size_t>( out );
      } else if( errno != EINTR ) {
         if( errno != EAGAIN && errno != EWOULDBLOCK ) {
            done = kept_.size(); // nobody will ever read it
         }
         break;
      }
   }
   kept_.erase( 0, done );
   if( kept_.empty() && lost_ != 0 ) {
      kept_ = "orlo-agent: " + std::to_string( lost_ ) +
              ( lost_ == 1 ? " line is" : " lines are" ) + " lost: nobody was reading\n";
      lost_ = 0;
      push();
      return;
   }
   if( kept_.empty() ) {
      room_ = {};
      isAwaited_ = false;
   } else {
      awaitRoom();
   }
}

void StandardOutput::awaitRoom() {
   if( isAwaited_ ) {
      return;
   }
   try {
      room_ = loop_.onWritable( fd_, [this] { push(); } );
      isAwaited_ = true;
   } catch( const std::exception & ) { // then the next line tries again
   }
}

} // namespace OrloAgent
