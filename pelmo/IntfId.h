// The identity of a network interface: its name.
#ifndef PELMO_INTFID_H
#define PELMO_INTFID_H

#include "quor/Strep.h"
#include "quor/Types.h"

#include <array>
#include <compare>
#include <iosfwd>
#include <string_view>

namespace Pelmo {

/// An interface name, stored inline. The kernel allows 15 bytes (IFNAMSIZ - 1, linux/if.h) and
/// neither
/// '/' nor white space in it; the empty name means none. Plain value, 16 bytes. Names rather than
/// kernel numbers, because a name survives a reboot.
class IntfId {
 public:
   static constexpr std::size_t kMaxLength = 15;

   constexpr IntfId() noexcept = default;
   /// Throws RangeException when `name` cannot be an interface name.
   explicit IntfId( std::string_view name );

   bool empty() const noexcept { return name_[0] == '\0'; }
   std::string_view name() const noexcept { return std::string_view( name_.data() ); }
   Quor::U32 hash() const noexcept;

   constexpr auto operator<=>( const IntfId & ) const noexcept = default;

 private:
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
