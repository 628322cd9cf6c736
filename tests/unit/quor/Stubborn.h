// A value that may refuse to be copied.
#ifndef TESTS_UNIT_QUOR_STUBBORN_H
#define TESTS_UNIT_QUOR_STUBBORN_H

#include "quor/Types.h"

#include <stdexcept>
#include <utility>

namespace Quor {

/// Cannot be copied as long as somebody forbids it; is 0 once it has been moved.
class Stubborn {
 public:
   explicit Stubborn( U32 what ) : number( what ) {}
   Stubborn( const Stubborn &other ) : number( other.copied() ) {}
   Stubborn( Stubborn &&other ) noexcept : number( std::exchange( other.number, 0 ) ) {}
   Stubborn &operator=( const Stubborn &other ) {
      number = other.copied();
      return *this;
   }
   Stubborn &operator=( Stubborn &&other ) noexcept {
      number = std::exchange( other.number, 0 );
      return *this;
   }
   ~Stubborn() = default;
   bool operator==( const Stubborn & ) const = default;

   static inline bool refuses = false;
   U32 number;

 private:
   U32 copied() const {
      if( refuses ) {
         throw std::runtime_error( "no" );
      }
      return number;
   }
};

} // namespace Quor

#endif
