// The base of all hardware helpers of the agent.
#ifndef PLATFORM_ORLOBASEHELPER_H
#define PLATFORM_ORLOBASEHELPER_H

#include "quor/Entity.h"
#include "quor/Name.h"

namespace Orlo {

/// A named entity. A helper is the seam between a reactor and the hardware: the reactor calls it, a
/// platform derives from it.
class OrloBaseHelper : public Quor::Entity {
 public:
   class NotifieeConst;
   class Notifiee;
   enum Attr : Quor::AttrId { kName = Quor::kFirstEntityAttribute };

   explicit OrloBaseHelper( Quor::Name name ) : name_( std::move( name ) ) {}

   const Quor::Name &name() const noexcept { return name_; }
   /// The name of an attribute; empty for an identifier that is none.
   virtual Quor::String attributeString( Quor::AttrId id ) const;

   /// Stops the process after writing `message` to standard error: for operations that a platform
   /// should have overridden. Does nothing while the environment variable ORLO_NOOP_AGENT is
   /// present, whatever its value; it is looked up at every call.
   void orloAssert( Quor::String message ) const;

 private:
   const Quor::Name name_;
};

class OrloBaseHelper::NotifieeConst : public Quor::NotifieeConstOf<OrloBaseHelper> {};

class OrloBaseHelper::Notifiee : public Quor::NotifieeOf<OrloBaseHelper, NotifieeConst> {};

} // namespace Orlo

#endif
