// What the process says when it stops.
#ifndef TESTS_UNIT_SUPPORT_DEATHREPORT_H
#define TESTS_UNIT_SUPPORT_DEATHREPORT_H

#include "quor/Types.h"

namespace Support {

/// A regular expression that matches `text` and nothing else.
inline Quor::String literally( const Quor::String &text ) {
   Quor::String expression;
   for( const char c : text ) {
      if( Quor::String( "\\^$.|?*+()[]{}" ).find( c ) != Quor::String::npos ) {
         expression += '\\';
      }
      expression += c;
   }
   return expression;
}

/// For EXPECT_DEATH: the report of an assertion at a line that is fixed.
inline Quor::String assertionReport( const Quor::String &source, Quor::U32 line,
                                     const Quor::String &function,
                                     const Quor::String &expression ) {
   return literally( ": " + source + ":" + std::to_string( line ) + ": " + function +
                     ": Assertion `" + expression + "' failed." );
}

/// The same at whatever line it stands.
inline Quor::String assertionReport( const Quor::String &source, const Quor::String &function,
                                     const Quor::String &expression ) {
   return literally( ": " + source + ":" ) + "[1-9][0-9]*" +
          literally( ": " + function + ": Assertion `" + expression + "' failed." );
}

} // namespace Support

#endif
