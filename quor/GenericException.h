// What goes wrong in access by name. Each leaves the object as it was.
#ifndef QUOR_GENERICEXCEPTION_H
#define QUOR_GENERICEXCEPTION_H

#include "quor/Exception.h"
#include "quor/Strep.h"

#include <string_view>

namespace Quor {

/// The type (or one of its bases) has no attribute of this name or number.
class NoSuchAttributeException : public Exception {
 public:
   NoSuchAttributeException( std::string_view type, const String &attribute )
         : Exception( String( type ) + " has no such attribute: " + attribute ) {}
};

/// No type is registered under this name.
class NoSuchTypeException : public Exception {
 public:
   explicit NoSuchTypeException( const String &type ) : Exception( "no such type: " + type ) {}
};

/// A change through an interface that was made const.
class ConstException : public Exception {
 public:
   ConstException() : Exception( "attempting to modify a const instance" ) {}
};

/// A key was given for an attribute that has none.
class BadIndexException : public Exception {
 public:
   explicit BadIndexException( std::string_view attribute )
         : Exception( "bad index for attribute " + String( attribute ) ) {}
};

/// A value is missing or of another type than `what`, an attribute, argument or type, asks for.
class TypeException : public Exception {
 public:
   explicit TypeException( std::string_view what )
         : Exception( "missing value or value of another type: " + String( what ) ) {}
};

/// The attribute does not know the operation.
class OperationNotSupportedException : public Exception {
 public:
   OperationNotSupportedException( std::string_view attribute, U32 operation )
         : Exception( "operation " + valueToStrep( operation ) + " not supported by attribute " +
                      String( attribute ) ) {}
};

/// An object of this type tells nobody of its changes.
class NotWatchableException : public Exception {
 public:
   explicit NotWatchableException( std::string_view type )
         : Exception( "nothing to watch in a " + String( type ) ) {}
};

/// A function or constructor was given an argument that it does not have.
class UnknownArgumentException : public Exception {
 public:
   explicit UnknownArgumentException( std::string_view function )
         : Exception( "unknown argument of " + String( function ) ) {}
};

} // namespace Quor

#endif
