#include "tests/model/Child.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <system_error>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ModelTests {

namespace {

constexpr int kThrown = 99;

void need( bool works, const char *what ) {
   if( !works ) {
      throw std::system_error( errno, std::generic_category(), what );
   }
}

} // namespace

Child::Child( const std::function<int( int )> &work ) {
   std::array<int, 2> ends{};
   need( pipe( ends.data() ) == 0, "pipe" );
   std::fflush( nullptr ); // or the child would write it once more
   pid_ = fork();
   need( pid_ >= 0, "fork" );
   if( pid_ == 0 ) {
      close( ends[0] );
      dup2( ends[1], STDERR_FILENO );
      const rlimit noCore{ 0, 0 };
      setrlimit( RLIMIT_CORE, &noCore );
      std::signal( SIGABRT, SIG_DFL );
      try {
         _exit( work( ends[1] ) );
      } catch( const std::exception &thrown ) { // two processes must not go on from here
         std::fprintf( stderr, "thrown: %s\n", thrown.what() );
      }
      _exit( kThrown );
   }
   close( ends[1] );
   from_ = ends[0];
}

Child::~Child() {
   wait();
}

void Child::wait() {
   if( pid_ < 0 ) {
      return;
   }
   std::array<char, 4096> buffer{};
   for( ssize_t got = 0; ( got = read( from_, buffer.data(), buffer.size() ) ) != 0; ) {
      if( got > 0 ) {
         output_.append( buffer.data(), static_cast<std::size_t>( got ) );
      } else if( errno != EINTR ) {
         break;
      }
   }
   close( from_ );
   while( waitpid( pid_, &status_, 0 ) < 0 && errno == EINTR ) {
   }
   pid_ = -1;
}

bool Child::ended( int status ) const noexcept {
   return WIFEXITED( status_ ) && WEXITSTATUS( status_ ) == status;
}

bool Child::aborted() const noexcept {
   return WIFSIGNALED( status_ ) && WTERMSIG( status_ ) == SIGABRT;
}

} // namespace ModelTests
