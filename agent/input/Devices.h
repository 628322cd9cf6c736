// What the agent knows of the kernel's links and addresses, and the rule that says which of them
// stand for a virtual router MAC that this switch has to route.
//
// The redundancy daemons tell nobody who is master; what they do to their devices tells. A device
// is a macvlan with a MAC of VRRP (RFC 9568: 00:00:5e:00:01:VRID for IPv4, 00:00:5e:00:02:VRID for
// IPv6) on top of a VLAN interface. It is published while
//
//    - it is up, has carrier and is not held down by a protocol daemon (FRR's vrrpd holds the
//    devices of
//      a backup down), and its VLAN interface is up, and
//    - it has an address that is not its VLAN interface's own link-local one (keepalived gives the
//    virtual
//      addresses to a master's device only, and every device of IPv6 a copy of that link-local
//      address).
#ifndef ORLOAGENT_INPUT_DEVICES_H
#define ORLOAGENT_INPUT_DEVICES_H

#include "agent/input/Kernel.h"
#include "pelmo/IntfId.h"
#include "platform/VirtualRouterMac.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace OrloAgent {

/// What the rule says about one device.
struct Verdict {
   std::string device;
   /// The record that the device stands for; its interface is empty when the device is on no VLAN
   /// interface of ours.
   Routing::Fhrp::VirtualRouterMac record;
   bool published = false;
   /// In plain words, why it is or is not published: "has 192.0.2.1", "br10 is down".
   std::string reason;

   bool operator==( const Verdict & ) const = default;
};

/// Plain state: whoever hears the kernel writes it, and judges it when the kernel is quiet.
class Devices {
 public:
   /// `svis` are the VLAN interfaces on which virtual router MACs count.
   explicit Devices( const std::set<Pelmo::IntfId> &svis ) { svisAre( svis ); }
   void svisAre( const std::set<Pelmo::IntfId> &svis );

   /// Adds or replaces.
   void linkIs( const Link &link );
   /// Removes the link and its addresses; an unknown one does nothing.
   void linkDel( IfIndex ifindex );
   /// Adds; an address that is there does nothing.
   void addressIs( const Address &address );
   /// Removes; an unknown one does nothing.
   void addressDel( const Address &address );

   /// From here on everything that exists is told again.
   void readingBegins();
   /// Forgets what has not been told since readingBegins().
   void readingEnds();

   /// One for every device with a MAC of VRRP, in the order of their numbers.
   std::vector<Verdict> verdicts() const;

 private:
   struct Known {
      Link link;
      Quor::U64 reading = 0; // the last one in which it was told
   };
   struct AddressesOf {
      std::map<Address, Quor::U64> present; // and the last reading in which it was told
      /// The link-local addresses that a link had last, while it has none: they go when the link
      /// goes down, return a second or two after it is up again (duplicate address detection), and
      /// all that time the devices on top of it keep their copies.
      std::set<Address::Octets> lastLinkLocals;
   };

   const Link *find( IfIndex ifindex ) const;
   Verdict judge( const Link &device ) const;
   bool isLinkLocalOf( IfIndex lower, const Address &address ) const;
   void forget( AddressesOf &addresses, std::map<Address, Quor::U64>::iterator at );

   std::map<std::string, Pelmo::IntfId> svis_; // by name: the kernel's names are only compared
   std::map<IfIndex, Known> links_;
   std::map<IfIndex, AddressesOf> addresses_;
   Quor::U64 reading_ = 0;
};

/// Is it 00:00:5e:00:01:VRID or 00:00:5e:00:02:VRID with a VRID of 1 to 255?
bool isVrrpMac( const Pelmo::EthAddr &mac ) noexcept;

/// "192.0.2.1", "2001:db8::1".
std::string addressText( const Address &address );

} // namespace OrloAgent

#endif
