// What a module knows of an attribute that its code uses, found by name when the module is loaded.
#ifndef TYPES_DESCRIPTOR_H
#define TYPES_DESCRIPTOR_H

#include "quor/Introspection.h"

namespace Orlo {

/// A module keeps a table of them. `found` belongs to the registry: it is there from the look-up
/// until the type is taken out of the registry.
struct Descriptor {
   std::string_view type;
   std::string_view attribute;
   const Quor::QuorAttr *found = nullptr;
};

/// Finds all of them. NoSuchTypeException or NoSuchAttributeException for the first that is
/// missing, with the names of type and attribute.
void lookUp( std::span<Descriptor> descriptors );

} // namespace Orlo

#endif
