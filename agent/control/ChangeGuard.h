// Who decides which changes may be made by path.
#ifndef ORLOAGENT_CONTROL_CHANGEGUARD_H
#define ORLOAGENT_CONTROL_CHANGEGUARD_H

#include "quor/GenericIf.h"

#include <string>

namespace OrloAgent {

/// What is about to be done to an attribute, as GenericIf::attributeOp() takes it.
struct Change {
   Quor::Ptr<Quor::GenericIf> object;
   const Quor::Attribute &attribute;
   Quor::AttrOp op;                  ///< Op::set, Op::remove; Op::get calls a function
   Quor::Ptr<Quor::GenericIf> key;   ///< of the member; of a call, the list of its arguments
   Quor::Ptr<Quor::GenericIf> value; ///< to be set
};

/// Asked before every change, with the object and the attribute that the path finally reaches.
class ChangeGuard {
 public:
   /// Empty when the change may be made, else what it would do: "would stop the process".
   virtual std::string harm( const Change &change ) const = 0;

 protected:
   ~ChangeGuard() = default;
};

} // namespace OrloAgent

#endif
