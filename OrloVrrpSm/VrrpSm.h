// The programmer: gives every wanted pair a virtual router index and gets it into the hardware.
#ifndef ORLOVRRPSM_VRRPSM_H
#define ORLOVRRPSM_VRRPSM_H

#include "OrloVrrpHelper/VrrpSmHelper.h"
#include "OrloVrrpPrivateVlanReflectorLib/VirtualRouterMacTable.h"
#include "OrloVrrpSm/WaitingLine.h"
#include "platform/HardwareStatus.h"
#include "quor/NotifiedQueue.h"
#include "quor/Reactor.h"

namespace Orlo {

class QuorVrrpMacStatus;

/// The state of a queue beside its entries.
struct QueueMetadata {
   Quor::U32 nextKey = 0; ///< the position key that the next Enq starts from
   Quor::U32 count = 0;

   bool operator==( const QueueMetadata & ) const = default;
};

/// "nextKey 7, count 3"
Quor::String valueToStrep( const QueueMetadata &metadata );
void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end, QueueMetadata &metadata );

/// Watches a table of (VLAN, MAC) pairs, draws an index for each from a pool of N (the hardware's
/// count), and calls the helper. Pairs that find the pool empty wait, first come, first served; a
/// freed index goes at once to the oldest that waits. When it starts it adopts what the helper says
/// the hardware holds; when it is cleaned up or destroyed the hardware stays as it is.
///
/// The agent holds it. It runs on the agent's one thread, inside the calls that change the table;
/// an event costs the same however many pairs are programmed or wait. A broken invariant stops the
/// process; what the helper throws is not caught.
class VrrpSm : public Quor::Entity {
 public:
   using GenericIf_ = Quor::EntityGenericIf<VrrpSm>;
   using _Type = Quor::TypeObject<VrrpSm>;
   class NotifieeConst;
   class Notifiee;
   using VlanAndMac = VrrpPrivateVlanReflectorLib::VlanAndMac;
   using VirtualRouterMacTable = VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
   using U32 = Quor::U32;
   enum Attr : Quor::AttrId {
      kVrrpMacStatus = Quor::kFirstEntityAttribute,
      kVrrpHwStatus,
      kVrrpHelper,
      kFreeVirtualRouterIndex,
      kVirtualRouterIndex,
      kMacsNeedingVirtualRouterIndex,
      kCurrentVrrpStateForInit,
      kInitialized
   };

   using FreeVirtualRouterIndexes = Quor::LinkQueue<U32>;
   using QuorFreeVirtualRouterIndex = FreeVirtualRouterIndexes::Entry;
   using FreeVirtualRouterIndexMetadata = QueueMetadata;
   using VirtualRouterIndexes = Quor::HashMap<VlanAndMac, U32>;
   using QuorVirtualRouterIndex = VirtualRouterIndexes::Entry;
   using MacsNeedingVirtualRouterIndexes = WaitingLine::Queue;
   using MacsNeedingVirtualRouterIndexMetadata = QueueMetadata;

   /// Starts at once: the pool is filled, the hardware's entries are adopted, the table is
   /// programmed and watched when it returns. The table may be null; status and helper must not be.
   VrrpSm( const Quor::Ptr<VirtualRouterMacTable> &vrrpMacStatus,
           const Quor::Ptr<const Routing::Fhrp::Hardware::Status> &vrrpHwStatus,
           const Quor::Ptr<OrloHelper::VrrpSmHelper> &vrrpHelper );
   ~VrrpSm() override;

   // The inputs.
   Quor::Ptr<const VirtualRouterMacTable> vrrpMacStatus() const;
   /// Watches another table and handles every key in it; null watches none. Keys that only the
   /// table before held are not deleted.
   void vrrpMacStatusIs( const Quor::Ptr<VirtualRouterMacTable> &table );
   void newVrrpMacStatus( const Quor::Ptr<VirtualRouterMacTable> &table );
   void vrrpMacStatusDel();
   const Quor::Ptr<const Routing::Fhrp::Hardware::Status> &vrrpHwStatus() const noexcept {
      return vrrpHwStatus_;
   }
   const Quor::Ptr<OrloHelper::VrrpSmHelper> &vrrpHelper() const noexcept { return vrrpHelper_; }

   // The free indexes, in the order in which they are handed out. Reading or removing what is not
   // there gives 0. Here and below: xIs adds or overwrites, newX adds only and does not notify
   // (NameInUseException when taken).
   const FreeVirtualRouterIndexes &freeVirtualRouterIndexes() const noexcept {
      return freeVirtualRouterIndex_;
   }
   U32 freeVirtualRouterIndex( U32 key ) const;
   void freeVirtualRouterIndexEnq( U32 index );
   U32 freeVirtualRouterIndexDeq();
   void freeVirtualRouterIndexIs( U32 key, U32 index );
   Quor::Ptr<QuorFreeVirtualRouterIndex> newFreeVirtualRouterIndex( U32 key, U32 index );
   U32 freeVirtualRouterIndexDel( U32 key );
   U32 freeVirtualRouterIndexDel( const FreeVirtualRouterIndexes::Iterator &at );
   void freeVirtualRouterIndexDelAll();
   [[gnu::cold]] void freeVirtualRouterIndexNotify( U32 key ) const;
   FreeVirtualRouterIndexMetadata freeVirtualRouterIndexMetadata() const;
   /// Sets the next position key; the count follows from the entries.
   void freeVirtualRouterIndexMetadataIs( const FreeVirtualRouterIndexMetadata &metadata );

   // The index of every programmed pair. Reading or removing an absent pair gives 0.
   const VirtualRouterIndexes &virtualRouterIndexes() const noexcept { return virtualRouterIndex_; }
   VirtualRouterIndexes::Iterator virtualRouterIndexIteratorConst() const {
      return virtualRouterIndex_.begin();
   }
   U32 virtualRouterIndex( const VlanAndMac &vrMac ) const {
      return virtualRouterIndex_.value( vrMac );
   }
   void virtualRouterIndexIs( const VlanAndMac &vrMac, U32 index ) {
      virtualRouterIndex_.is( vrMac, index );
   }
   Quor::Ptr<QuorVirtualRouterIndex> newVirtualRouterIndex( const VlanAndMac &vrMac, U32 index ) {
      return virtualRouterIndex_.insert( vrMac, index );
   }
   U32 virtualRouterIndexDel( const VlanAndMac &vrMac ) { return virtualRouterIndex_.del( vrMac ); }
   U32 virtualRouterIndexDel( const VirtualRouterIndexes::Iterator &at ) {
      return virtualRouterIndex_.del( at );
   }
   void virtualRouterIndexDelAll() { virtualRouterIndex_.delAll(); }
   [[gnu::cold]] void virtualRouterIndexNotify( const VlanAndMac &vrMac ) const;

   // The pairs that wait, oldest first. The same pair may stand there more than once. Reading or
   // removing what is not there gives the default pair.
   const MacsNeedingVirtualRouterIndexes &macsNeedingVirtualRouterIndexes() const noexcept {
      return macsNeedingVirtualRouterIndex_.queue();
   }
   VlanAndMac macsNeedingVirtualRouterIndex( U32 key ) const;
   void macsNeedingVirtualRouterIndexEnq( const VlanAndMac &vrMac );
   VlanAndMac macsNeedingVirtualRouterIndexDeq();
   void macsNeedingVirtualRouterIndexIs( U32 key, const VlanAndMac &vrMac );
   Quor::Ptr<QuorMacsNeedingVirtualRouterIndex>
   newMacsNeedingVirtualRouterIndex( U32 key, const VlanAndMac &vrMac );
   VlanAndMac macsNeedingVirtualRouterIndexDel( U32 key );
   VlanAndMac
   macsNeedingVirtualRouterIndexDel( const MacsNeedingVirtualRouterIndexes::Iterator &at );
   void macsNeedingVirtualRouterIndexDelAll();
   [[gnu::cold]] void macsNeedingVirtualRouterIndexNotify( U32 key ) const;
   MacsNeedingVirtualRouterIndexMetadata macsNeedingVirtualRouterIndexMetadata() const;
   void
   macsNeedingVirtualRouterIndexMetadataIs( const MacsNeedingVirtualRouterIndexMetadata &metadata );

   // The hardware snapshot of the start-up pass.
   const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &currentVrrpStateForInit() const noexcept {
      return currentVrrpStateForInit_;
   }
   /// The snapshot; makes an empty one when there is none.
   Quor::ValidPtr<OrloHelper::CurrentVrrpStateForInit> currentVrrpStateForInitIs();
   void currentVrrpStateForInitDel();

   bool initialized() const noexcept { return initialized_; }
   void initializedIs( bool value ) { initialized_ = value; }

   /// Fills the pool, adopts, programs the table, tells the helper. Once: a second call only
   /// traces.
   void handleInitialized();
   /// Programs every key of the table that is not programmed yet.
   void handleVrrpMac();
   /// Brings one pair in line with the table.
   void handleVrrpMac( const VlanAndMac &vrMac );
   void doAddVirtualRouterMac( const VlanAndMac &vr, U32 index );
   void doDeleteVirtualRouterMac( const VlanAndMac &vr, U32 index );
   /// Gives all indexes back and empties the waiting line; the hardware keeps its entries.
   void doCleanup();

   const Quor::Name &quorFwkActivity() const noexcept { return Quor::kEventLoopActivity; }
   bool hasNotificationActive() const noexcept { return hasNotificationActive_; }
   void hasNotificationActiveIs( bool on ) override;
   static const Quor::Type *_fwkType() noexcept;
   const Quor::Type *fwkType() const override;
   virtual void quorDoZombieReactors( bool on );

 private:
   friend class QuorVrrpMacStatus;
   /// handleVrrpMac() for somebody who holds the VrrpSm.
   void reconcile( VlanAndMac vrMac );
   bool isWanted( const VlanAndMac &vrMac, U32 hash ) const;
   void adopt( const VlanAndMac &vrMac, U32 index );
   void programNew( const VlanAndMac &vrMac, U32 hash );
   void handOn( U32 index );

   Quor::Ptr<QuorVrrpMacStatus> vrrpMacStatus_;
   Quor::Ptr<const Routing::Fhrp::Hardware::Status> vrrpHwStatus_;
   Quor::Ptr<OrloHelper::VrrpSmHelper> vrrpHelper_;
   Quor::NotifiedQueue<FreeVirtualRouterIndexes, &VrrpSm::freeVirtualRouterIndexNotify>
         freeVirtualRouterIndex_{ this };
   Quor::NotifiedMap<VlanAndMac, U32, &VrrpSm::virtualRouterIndexNotify> virtualRouterIndex_{
         this };
   Quor::NotifiedQueue<WaitingLine, &VrrpSm::macsNeedingVirtualRouterIndexNotify>
         macsNeedingVirtualRouterIndex_{ this };
   Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> currentVrrpStateForInit_;
   bool initialized_ = false;
   bool hasNotificationActive_ = false;
};

/// Watches the programmer itself. Each is told after the change, inside the programmer's handling
/// of an event.
class VrrpSm::NotifieeConst : public Quor::NotifieeConstOf<VrrpSm> {
 public:
   /// The free index at a position was added, changed or taken.
   virtual void onFreeVirtualRouterIndex( U32 ) {}
   /// A pair was given an index, or gave it back.
   virtual void onVirtualRouterIndex( const VlanAndMac & ) {}
   /// The waiting pair at a position was added, changed or taken.
   virtual void onMacsNeedingVirtualRouterIndex( U32 ) {}
};

class VrrpSm::Notifiee : public Quor::NotifieeOf<VrrpSm, NotifieeConst> {};

/// Makes a running programmer.
Quor::Ptr<VrrpSm> VrrpSmIs( const Quor::Ptr<VrrpSm::VirtualRouterMacTable> &vrrpMacStatus,
                            const Quor::Ptr<const Routing::Fhrp::Hardware::Status> &vrrpHwStatus,
                            const Quor::Ptr<OrloHelper::VrrpSmHelper> &vrrpHelper );

} // namespace Orlo

#endif
