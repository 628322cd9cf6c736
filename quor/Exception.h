// Errors that a caller can handle: bad text, bad range, a name that is taken. The text of an error
// is its what(). Broken invariants are assertions instead (Assert.h).
#ifndef QUOR_EXCEPTION_H
#define QUOR_EXCEPTION_H

#include "quor/Types.h"

#include <stdexcept>

namespace Quor {

class Exception : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// A value, a text or a number that is not in the range of what is accepted.
class RangeException : public Exception {
 public:
   using Exception::Exception;
};

/// An object under this name (or key) exists already, and differs from the one that was asked for.
class NameInUseException : public Exception {
 public:
   using Exception::Exception;
};

/// Raises `error` again with the attribute whose value could not be read put in front of its text.
[[noreturn]] void rethrowFromDeserializeAttr( const RangeException &error,
                                              const String &attributeName );

} // namespace Quor

#endif
