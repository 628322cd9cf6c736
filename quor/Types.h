// Names for the plain types that everything above shares.
#ifndef QUOR_TYPES_H
#define QUOR_TYPES_H

#include <cstdint>
#include <string>

namespace Quor {

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
using String = std::string;

/// Numbers the attributes of a type; lower numbers than these belong to the base types.
using AttrId = U32;
inline constexpr AttrId kFirstValueAttribute = 2;
inline constexpr AttrId kFirstEntityAttribute = 130;

} // namespace Quor

#endif
