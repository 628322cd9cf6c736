#include "agent/hardware/Failpoint.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace OrloAgent {

namespace {

unsigned long fromEnvironment( const char *name ) noexcept {
   const char *const text = std::getenv( name );
   return text ? std::strtoul( text, nullptr, 10 ) : 0;
}

} // namespace

void Failpoint::hit( const char *what ) noexcept {
   static unsigned long left = fromEnvironment( "ORLO_FAILPOINT" );
   static const unsigned long delay = fromEnvironment( "ORLO_WRITE_DELAY" );
   if( delay != 0 ) {
      std::this_thread::sleep_for( std::chrono::microseconds( delay ) );
   }
   if( left == 0 || --left != 0 ) {
      return;
   }
   std::fprintf( stderr, "failpoint: killed before %s\n", what );
   std::raise( SIGKILL );
}

} // namespace OrloAgent
