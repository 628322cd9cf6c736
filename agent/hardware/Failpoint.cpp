#include "agent/hardware/Failpoint.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace OrloAgent {

namespace {

unsigned long hitsFromEnvironment() noexcept {
   const char *const text = std::getenv( "ORLO_FAILPOINT" );
   return text ? std::strtoul( text, nullptr, 10 ) : 0;
}

} // namespace

void Failpoint::hit( const char *what ) noexcept {
   static unsigned long left = hitsFromEnvironment();
   if( left == 0 || --left != 0 ) {
      return;
   }
   std::fprintf( stderr, "failpoint: killed before %s\n", what );
   std::raise( SIGKILL );
}

} // namespace OrloAgent
