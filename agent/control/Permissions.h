// Which changes an administrator may make to the running system by hand, and what the others would
// do.
#ifndef ORLOAGENT_CONTROL_PERMISSIONS_H
#define ORLOAGENT_CONTROL_PERMISSIONS_H

#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "OrloVrrpSm/VrrpSm.h"
#include "agent/Pair.h"
#include "agent/control/ChangeGuard.h"
#include "platform/IntfVlanIdSetTable.h"
#include "platform/VirtualRouterMacStatus.h"

namespace OrloAgent {

/// Decides by the object and attribute that are reached, whatever the path to them. What no rule
/// allows is refused.
///
/// Allowed is what the system's own inputs may do as well (records and VLANs, as long as what they
/// rely on is there), the switch for the cleanup, and calls that bring something in line that is in
/// line already. Looks at the state before every change: a call costs a look-up, a few walk over
/// the interfaces or over the pairs that wait. One thread, that of the objects, which it holds:
/// goes before they are taken down.
class Permissions final : public ChangeGuard {
 public:
   /// The running system's own; none is null.
   struct Objects {
      Quor::Ptr<Routing::Fhrp::VirtualRouterMacStatus> status;
      Quor::Ptr<IntfVlanIdSet::Table> vlanSets;
      Quor::Ptr<Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable> table;
      Quor::Ptr<Orlo::VrrpPrivateVlanReflectorLib::LibSm> libSm;
      Quor::Ptr<Orlo::VrrpSm> vrrpSm;
      Quor::Ptr<OrloHelper::VrrpSmHelper> helper;
   };

   explicit Permissions( Objects objects ) : live_( std::move( objects ) ) {}

   std::string harm( const Change &change ) const override;

 private:
   struct Rule;
   static const Rule *find( const Change &change );

   // One a rule: empty when the change may be made.
   std::string allowed( const Change & ) const { return {}; }
   std::string ofRecord( const Change &change ) const;
   std::string ofVlan( const Change &change ) const;
   std::string ofVlanSet( const Change &change ) const;
   std::string ofWantedPair( const Change &change ) const;
   std::string ofInputTable( const Change &change ) const;
   std::string ofStarted( const Change &change ) const;
   std::string ofHearing( const Change &change ) const;
   std::string ofZombies( const Change &change ) const;
   std::string ofHandlingRecord( const Change &change ) const;
   std::string ofHandlingInterface( const Change &change ) const;
   std::string ofHandlingVlan( const Change &change ) const;
   std::string ofHandlingMac( const Change &change ) const;
   std::string ofHandlingPair( const Change &change ) const;

   bool hasVlanSet( const Pelmo::IntfId &intf ) const;
   bool isHeld( const Pair &pair ) const;
   bool isWaiting( const Pair &pair ) const;
   /// Why a reactor of an interface must not be called at all.
   std::string ofReactor( const Change &change ) const;
   /// Another interface with the VLAN in its set; null when there is none.
   Quor::Ptr<const IntfVlanIdSet::SviVlanSet> otherWith( Bridging::VlanId vlan,
                                                         const Pelmo::IntfId &intf ) const;

   const Objects live_;
};

} // namespace OrloAgent

#endif
