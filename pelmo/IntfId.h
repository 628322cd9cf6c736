// The identity of a network interface: its name.
#ifndef PELMO_INTFID_H
#define PELMO_INTFID_H

#include "quor/Strep.h"
#include "quor/Types.h"

#include <array>
#include <bit>
#include <compare>
#include <iosfwd>
#include <string_view>

namespace Pelmo {

/// An interface name, stored inline. The kernel allows 15 bytes (IFNAMSIZ - 1, linux/if.h) and
/// neither '/' nor white space in it; the empty name means none. Plain value, 16 bytes. Names
/// rather than kernel numbers, because a name survives a reboot.
class IntfId {
 public:
   static constexpr std::size_t kMaxLength = 15;

   constexpr IntfId() noexcept = default;
   /// Throws RangeException when `name` cannot be an interface name.
   explicit IntfId( std::string_view name );

   bool empty() const noexcept { return name_[0] == '\0'; }
   std::string_view name() const noexcept { return std::string_view( name_.data() ); }
   /// FNV-1a of the name.
   Quor::U32 hash() const noexcept {
      Quor::U32 h = 2166136261u;
      for( const char *c = name_.data(); *c != '\0'; ++c ) {
         h = ( h ^ static_cast<Quor::U8>( *c ) ) * 16777619u;
      }
      return h;
   }

   constexpr auto operator<=>( const IntfId & ) const noexcept = default;
   /// Two numbers are compared faster than 16 characters.
   constexpr bool operator==( const IntfId &other ) const noexcept {
      return std::bit_cast<Words>( name_ ) == std::bit_cast<Words>( other.name_ );
   }

 private:
   using Words = std::array<Quor::U64, 2>;
   std::array<char, kMaxLength + 1> name_{}; // zero bytes up to the end
};

/// The name.
Quor::String valueToStrep( const IntfId &intf );
/// Up to 15 characters that a name can have; ends before white space, '/', ',', ')' and '}'.
void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end, IntfId &intf );
IntfId strepToValue( Quor::Strep<IntfId>, const Quor::String &text );

std::ostream &operator<<( std::ostream &out, const IntfId &intf );

/// Buckets of maps keyed by interface.
inline Quor::U32 naturalHash( const IntfId &intf ) noexcept {
   return intf.hash();
}

} // namespace Pelmo

#endif
