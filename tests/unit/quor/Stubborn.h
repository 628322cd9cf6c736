// A value that may refuse to be copied.
#ifndef TESTS_UNIT_QUOR_STUBBORN_H
#define TESTS_UNIT_QUOR_STUBBORN_H

#include "quor/Types.h"

#include <stdexcept>

namespace Quor {

/// Cannot be copied as long as somebody forbids it.
class Stubborn {
 public:
   explicit Stubborn( U32 what ) : number( what ) {}
   Stubborn( const Stubborn &other ) : number( other.number ) {
      if( refuses ) {
         throw std::runtime_error( "no" );
      }
   }
   Stubborn &operator=( const Stubborn & ) = default;
   bool operator==( const Stubborn & ) const = default;

   static inline bool refuses = false;
   U32 number;
};

} // namespace Quor

#endif
