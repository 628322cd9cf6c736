// How long the tests of this folder take: less under a sanitizer, more when somebody asks for it.
#ifndef TESTS_MODEL_ENVIRONMENT_H
#define TESTS_MODEL_ENVIRONMENT_H

#include "quor/Types.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace ModelTests {

#if defined( __SANITIZE_ADDRESS__ )
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

/// The number in an environment variable, or another one when it is not set.
inline Quor::U32 fromEnvironment( const char *name, Quor::U32 otherwise ) {
   const char *const text = std::getenv( name );
   if( !text ) {
      return otherwise;
   }
   std::size_t used = 0;
   const unsigned long number = std::stoul( text, &used );
   if( text[used] != '\0' || number > 0xffff'ffff ) {
      throw std::invalid_argument( std::string( name ) + ": " + text );
   }
   return static_cast<Quor::U32>( number );
}

} // namespace ModelTests

#endif
