// The name under which an entity is known.
#ifndef QUOR_NAME_H
#define QUOR_NAME_H

#include "quor/Strep.h"
#include "quor/Types.h"

#include <compare>
#include <ostream>
#include <utility>

namespace Quor {

/// A text with a meaning of its own, so that a name is not mistaken for any other string. Plain
/// value.
class Name {
 public:
   Name() = default;
   Name( const char *text ) : text_( text ) {}
   Name( String text ) : text_( std::move( text ) ) {}

   const String &text() const noexcept { return text_; }
   auto operator<=>( const Name & ) const = default;

 private:
   String text_;
};

/// The quoted text.
inline String valueToStrep( const Name &name ) {
   return valueToStrep( name.text() );
}

inline void sequenceToValue( StringIterator &at, StringIterator end, Name &name ) {
   String text;
   sequenceToValue( at, end, text );
   name = Name( std::move( text ) );
}

inline std::ostream &operator<<( std::ostream &out, const Name &name ) {
   return out << name.text();
}

} // namespace Quor

#endif
