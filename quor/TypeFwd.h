// Names of what makes a type known, for headers that only mention it.
#ifndef QUOR_TYPEFWD_H
#define QUOR_TYPEFWD_H

namespace Quor {

struct Type;
/// The type object of T: makes interfaces to instances (GenericInstance.h).
template <class T>
struct TypeObject;
/// The interface to a value, and to an entity (GenericInstance.h).
template <class T>
class ValueGenericIf;
template <class T>
class EntityGenericIf;

} // namespace Quor

#endif
