// What the redundancy protocol publishes: one virtual router MAC on one VLAN interface.
#ifndef PLATFORM_VIRTUALROUTERMAC_H
#define PLATFORM_VIRTUALROUTERMAC_H

#include "pelmo/EthAddr.h"
#include "pelmo/IntfId.h"

namespace Routing::Fhrp {

/// Plain value; the whole record is the key of the status table.
class VirtualRouterMac {
 public:
   VirtualRouterMac() = default;
   VirtualRouterMac( const Pelmo::IntfId &intf, const Pelmo::EthAddr &mac ) noexcept
         : intf_( intf ), mac_( mac ) {}

   const Pelmo::IntfId &intf() const noexcept { return intf_; }
   const Pelmo::EthAddr &mac() const noexcept { return mac_; }
   void intfIs( const Pelmo::IntfId &intf ) noexcept { intf_ = intf; }
   void macIs( const Pelmo::EthAddr &mac ) noexcept { mac_ = mac; }
   Quor::U32 hash() const noexcept { return intf_.hash() ^ mac_.hash(); }

   auto operator<=>( const VirtualRouterMac & ) const noexcept = default;

 private:
   Pelmo::IntfId intf_;
   Pelmo::EthAddr mac_;
};

/// The interface, a slash (no interface name has one) and the MAC: br10/00:00:5e:00:01:0a.
Quor::String valueToStrep( const VirtualRouterMac &record );
void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end,
                      VirtualRouterMac &record );
VirtualRouterMac strepToValue( Quor::Strep<VirtualRouterMac>, const Quor::String &text );

std::ostream &operator<<( std::ostream &out, const VirtualRouterMac &record );

inline Quor::U32 naturalHash( const VirtualRouterMac &record ) noexcept {
   return record.hash();
}

} // namespace Routing::Fhrp

#endif
