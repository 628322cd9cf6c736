// What must hold for every input. What does not is a find: the process stops and the input is kept.
#ifndef TESTS_FUZZ_CHECK_H
#define TESTS_FUZZ_CHECK_H

#include <cstdio>
#include <cstdlib>
#include <string>

namespace Fuzz {

[[noreturn]] inline void found( const std::string &what ) {
   std::fprintf( stderr, "fuzz: found: %s\n", what.c_str() );
   std::abort();
}

inline void check( bool holds, const std::string &what ) {
   if( !holds ) {
      found( what );
   }
}

} // namespace Fuzz

#endif
