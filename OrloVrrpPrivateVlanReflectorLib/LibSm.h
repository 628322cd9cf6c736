// The reflector: virtual router MACs of VLAN interfaces become (VLAN, MAC) pairs to be programmed.
#ifndef ORLOVRRPPRIVATEVLANREFLECTORLIB_LIBSM_H
#define ORLOVRRPPRIVATEVLANREFLECTORLIB_LIBSM_H

#include "OrloVrrpPrivateVlanReflectorLib/EthAddrsForIntf.h"
#include "OrloVrrpPrivateVlanReflectorLib/VirtualRouterMacTable.h"
#include "OrloVrrpPrivateVlanReflectorLib/VlanIntfSm.h"
#include "platform/IntfVlanIdSetTable.h"
#include "platform/VirtualRouterMacStatus.h"
#include "quor/Reactor.h"

namespace Orlo::VrrpPrivateVlanReflectorLib {

class QuorVirtualRouterMacStatusIn;

/// The top reactor. Watches the status table; for every interface that has a virtual router MAC it
/// keeps the set of its MACs and one VlanIntfSm, which writes the keys. Empties the output table
/// when it starts, and rebuilds it from its inputs.
///
/// The agent holds it. It runs on the agent's one thread, inside the calls that change its inputs.
/// Every interface that has a MAC must have a VLAN set in the table before, and keep that same
/// object, or the process stops or NameInUseException is thrown. When it goes it removes its keys,
/// unless disableCleanupOnRestart is set.
class LibSm : public Quor::PtrInterface {
 public:
   using GenericIf_ = Quor::EntityGenericIf<LibSm>;
   using _Type = Quor::TypeObject<LibSm>;
   using VirtualRouterMacStatus = Routing::Fhrp::VirtualRouterMacStatus;
   using DmacsForIntf = Quor::HashMap<Pelmo::IntfId, Quor::Ptr<EthAddrsForIntf>>;
   using VlanIntfSms = Quor::HashMap<Pelmo::IntfId, Quor::Ptr<VlanIntfSm>>;

   /// Replays the status table at once; watches it only when hasNotificationActiveIs( true ) has
   /// been called.
   LibSm( const Quor::Ptr<const VirtualRouterMacStatus> &virtualRouterMacStatus,
          const Quor::Ptr<const IntfVlanIdSet::Table> &intfVlanIdSetTable,
          const Quor::Ptr<VirtualRouterMacTable> &virtualRouterMacTable );
   ~LibSm() override;

   /// Null when there is none.
   Quor::Ptr<const VirtualRouterMacStatus> virtualRouterMacStatusIn() const;
   const Quor::Ptr<const IntfVlanIdSet::Table> &intfVlanIdSetTable() const noexcept {
      return intfVlanIdSetTable_;
   }
   const Quor::Ptr<VirtualRouterMacTable> &virtualRouterMacTableOut() const noexcept {
      return virtualRouterMacTableOut_;
   }

   // The MACs of every interface that has some.
   const DmacsForIntf &dmacsForIntfs() const noexcept { return dmacsForIntf_; }
   /// Null when the interface has none.
   Quor::Ptr<EthAddrsForIntf> dmacsForIntf( const Pelmo::IntfId &intf ) const {
      return dmacsForIntf_.value( intf );
   }
   /// The interface's set; makes an empty one and brings the interface's reactor in line when there
   /// is none.
   Quor::ValidPtr<EthAddrsForIntf> dmacsForIntfIs( const Pelmo::IntfId &intf );
   /// Makes a set, nothing more; NameInUseException when the interface has one.
   Quor::Ptr<EthAddrsForIntf> newDmacsForIntf( const Pelmo::IntfId &intf );
   /// Removes and gives the interface's set, if any, and brings the interface's reactor in line.
   Quor::Ptr<EthAddrsForIntf> dmacsForIntfDel( const Pelmo::IntfId &intf );
   void dmacsForIntfDelAll();

   // The reactor of every interface that has MACs.
   const VlanIntfSms &vlanIntfSms() const noexcept { return vlanIntfSm_; }
   /// Null when the interface has none.
   Quor::Ptr<VlanIntfSm> vlanIntfSm( const Pelmo::IntfId &intf ) const {
      return vlanIntfSm_.value( intf );
   }
   /// The reactor of the MAC set's interface; makes one and switches it on when there is none.
   /// NameInUseException when there is one that was made from something else.
   Quor::Ptr<VlanIntfSm> vlanIntfSmIs( LibSm *libSm,
                                       const Quor::Ptr<const IntfVlanIdSet::SviVlanSet> &sviVlanSet,
                                       const Quor::Ptr<const EthAddrsForIntf> &dmacList );
   Quor::Ptr<VlanIntfSm>
   newVlanIntfSm( LibSm *libSm, const Quor::Ptr<const IntfVlanIdSet::SviVlanSet> &sviVlanSet,
                  const Quor::Ptr<const EthAddrsForIntf> &dmacList );
   /// Removes and gives the reactor, if any. It reacts no more; the keys that it wrote stay.
   Quor::Ptr<VlanIntfSm> vlanIntfSmDel( const Pelmo::IntfId &intf );
   void vlanIntfSmDelAll();

   /// When true, a reactor that goes away leaves its keys in the output table.
   bool disableCleanupOnRestart() const noexcept { return disableCleanupOnRestart_; }
   void disableCleanupOnRestartIs( bool value ) { disableCleanupOnRestart_ = value; }
   bool initialized() const noexcept { return initialized_; }
   void initializedIs( bool value ) { initialized_ = value; }

   /// Empties the output table and replays the status table.
   void handleInitialized();
   /// A record appeared (it is there with the value true) or disappeared.
   void handleVirtualRouterMac( const Routing::Fhrp::VirtualRouterMac &vrMac );
   /// Brings the interface's reactor in line with the interface's MAC set.
   void handleDmacsForIntf( Pelmo::IntfId intf );

   const Quor::Name &quorFwkActivity() const noexcept { return Quor::kEventLoopActivity; }
   bool hasNotificationActive() const noexcept { return hasNotificationActive_; }
   /// Switches the watching of the status table, and every VlanIntfSm.
   void hasNotificationActiveIs( bool on ) override;
   static const Quor::Type *_fwkType() noexcept;
   const Quor::Type *fwkType() const override;
   virtual void quorDoZombieReactors( bool on );

 private:
   void appeared( const Routing::Fhrp::VirtualRouterMac &vrMac );
   void disappeared( const Routing::Fhrp::VirtualRouterMac &vrMac );

   Quor::Ptr<QuorVirtualRouterMacStatusIn> virtualRouterMacStatusIn_;
   const Quor::Ptr<const IntfVlanIdSet::Table> intfVlanIdSetTable_;
   const Quor::Ptr<VirtualRouterMacTable> virtualRouterMacTableOut_;
   DmacsForIntf dmacsForIntf_{ this };
   VlanIntfSms vlanIntfSm_{ this };
   bool disableCleanupOnRestart_ = false;
   bool initialized_ = false;
   bool hasNotificationActive_ = false;
};

/// LibSm
std::ostream &operator<<( std::ostream &out, const LibSm &sm );

/// Makes a LibSm and switches it on.
Quor::Ptr<LibSm>
LibSmIs( const Quor::Ptr<const LibSm::VirtualRouterMacStatus> &virtualRouterMacStatus,
         const Quor::Ptr<const IntfVlanIdSet::Table> &intfVlanIdSetTable,
         const Quor::Ptr<VirtualRouterMacTable> &virtualRouterMacTable );
/// The same, as the agent's entry point.
Quor::Ptr<LibSm>
libSmFactory( const Quor::Ptr<const LibSm::VirtualRouterMacStatus> &virtualRouterMacStatus,
              const Quor::Ptr<const IntfVlanIdSet::Table> &intfVlanIdSetTable,
              const Quor::Ptr<VirtualRouterMacTable> &virtualRouterMacTable );

} // namespace Orlo::VrrpPrivateVlanReflectorLib

#endif
