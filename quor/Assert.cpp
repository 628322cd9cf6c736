#include "quor/Assert.h"

// What <cassert> declares only when NDEBUG is not set.
extern "C" [[noreturn]] void __assert_fail( const char *expression, const char *file,
                                            unsigned int line, const char *function ) noexcept;

namespace Quor {

void assertionFailed( const AssertSite &site ) noexcept {
   __assert_fail( site.expression, site.source, site.line, site.function );
}

} // namespace Quor
