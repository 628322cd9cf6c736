// Stops the process when something that the code proves to be true is not: a broken invariant, a
// missing required input. Never compiled out, whatever NDEBUG says. What comes from outside the
// process is answered with an exception (Exception.h), never with an assertion.
//
//    require( initialized(), { "initialized()", 107, "OrloVrrpSm", "void f()" } );
//
// The report takes the C library's own way: "<program>: OrloVrrpSm:107: void f(): Assertion
// `initialized()' failed." on standard error, then abort().
#ifndef QUOR_ASSERT_H
#define QUOR_ASSERT_H

#include "quor/Types.h"

namespace Quor {

/// What an assertion reports. All texts are literals: a stringised expression would change with the
/// formatting of the code.
struct AssertSite {
   const char *expression;
   U32 line;
   const char *source;
   const char *function;
};

[[noreturn]] void assertionFailed( const AssertSite &site ) noexcept;

inline void require( bool holds, const AssertSite &site ) noexcept {
   if( !holds ) {
      assertionFailed( site );
   }
}

} // namespace Quor

#endif
