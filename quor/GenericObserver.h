// Who hears of an entity's changes without compiled knowledge of its type.
#ifndef QUOR_GENERICOBSERVER_H
#define QUOR_GENERICOBSERVER_H

#include "quor/GenericIf.h"

namespace Quor {

/// Told inside the call that makes the change, on the thread of that call. What it throws goes
/// nowhere.
class GenericObserver {
 public:
   /// An attribute has changed: the member under `key` of a collection (it is there with its new
   /// value, or not any more), or, with a null key, the attribute as a whole.
   virtual void onAttribute( const Attribute &attribute, const Ptr<GenericIf> &key ) = 0;
   /// The last reference to the entity has gone: nothing more will be told.
   virtual void onZeroReferences() {}

 protected:
   ~GenericObserver() = default;
};

} // namespace Quor

#endif
