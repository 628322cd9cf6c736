// What the forwarding hardware offers to the redundancy protocol.
#ifndef PLATFORM_HARDWARESTATUS_H
#define PLATFORM_HARDWARESTATUS_H

#include "quor/Entity.h"

namespace Routing::Fhrp::Hardware {

/// Written by the platform before the programmer starts; read by the programmer.
class Status : public Quor::Entity {
 public:
   class NotifieeConst;
   class Notifiee;
   enum Attr : Quor::AttrId { kVirtualRouterCount = Quor::kFirstEntityAttribute };

   /// How many virtual router MACs the hardware holds; their indexes are 0 to one less.
   Quor::U32 virtualRouterCount() const noexcept { return virtualRouterCount_; }
   /// Notifies when the number changes.
   void virtualRouterCountIs( Quor::U32 count );

 private:
   Quor::U32 virtualRouterCount_ = 0;
};

class Status::NotifieeConst : public Quor::NotifieeConstOf<Status> {
 public:
   virtual void onVirtualRouterCount() {}
};

class Status::Notifiee : public Quor::NotifieeOf<Status, NotifieeConst> {};

inline void Status::virtualRouterCountIs( Quor::U32 count ) {
   if( count != virtualRouterCount_ ) {
      virtualRouterCount_ = count;
      notify<NotifieeConst, &NotifieeConst::onVirtualRouterCount>( kVirtualRouterCount );
   }
}

} // namespace Routing::Fhrp::Hardware

#endif
