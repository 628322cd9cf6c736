// The library itself, driven by the operations of the model.
#ifndef TESTS_MODEL_PRODUCT_H
#define TESTS_MODEL_PRODUCT_H

#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "OrloVrrpSm/VrrpSm.h"
#include "tests/model/Operation.h"

namespace ModelTests {

using Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
using Quor::Ptr;

/// Hardware in memory. Records every call, and can pass it on at once.
class RecordingHelper : public OrloHelper::VrrpSmHelper {
 public:
   RecordingHelper() : VrrpSmHelper( "recording" ) {}

   std::vector<Call> calls;
   std::map<U32, Pair> slots;
   int tellTo = -1; ///< a descriptor that gets a line for every call; none when negative
   std::function<void( Moment )> happens = []( Moment ) {};

   void addVirtualRouterMac( const EthAddr &mac, U32 vlan, U32 index ) override;
   void deleteVirtualRouterMac( const EthAddr &mac, U32 vlan, U32 index ) override;
   void syncVrrpStateOnInit( const Ptr<OrloHelper::CurrentVrrpStateForInit> &snapshot ) override;
   void syncCurrentStateOnInitIs( bool on ) override;
   void initializationComplete() override { record( { Call::kComplete } ); }

 private:
   void record( const Call &call );
};

/// The inputs, the two halves and the hardware, as an agent holds them.
class Product {
 public:
   /// Watchers beside the reactors tell `happens`, and so does the helper; nobody when it is empty.
   explicit Product( const World &world, std::function<void( Moment )> happens = {} );
   ~Product();
   Product( const Product & ) = delete;
   Product &operator=( const Product & ) = delete;
   void starts();

   void recordIs( const Record &record, bool flag ) { status->vrrpVirtualMacIs( record, flag ); }
   void recordDel( const Record &record ) { status->vrrpVirtualMacDel( record ); }
   void vlanIs( const IntfId &intf, VlanId vlan, bool flag ) {
      vlanSets->sviVlanSet( intf )->vlanIdIs( vlan, flag );
   }
   void vlanDel( const IntfId &intf, VlanId vlan ) {
      vlanSets->sviVlanSet( intf )->vlanIdDel( vlan );
   }
   void sizeIs( U32 count );
   void slotIs( U32 at, const Pair &pair ) { helper->slots[at] = pair; }
   void reflectorStarts();
   void reflectorStops( bool keepKeys );
   void programmerStarts( bool adopts );
   void programmerStartsWithoutHelper();
   void programmerStops() { programmer = nullptr; }
   void cleanup() { programmer->doCleanup(); }
   void watches( int table );
   void handleAll() { programmer->handleVrrpMac(); }
   void handlePair( const Pair &pair ) { programmer->handleVrrpMac( pair ); }
   void keyIs( int table, const Pair &pair, bool flag ) {
      tables[table]->virtualRouterMacIs( pair, flag );
   }
   void keyDel( int table, const Pair &pair ) { tables[table]->virtualRouterMacDel( pair ); }
   void initializedIs( bool value ) { programmer->initializedIs( value ); }

   Ptr<RecordingHelper> helper = Quor::make<RecordingHelper>();
   Ptr<Routing::Fhrp::Hardware::Status> hardware = Quor::make<Routing::Fhrp::Hardware::Status>();
   Ptr<Routing::Fhrp::VirtualRouterMacStatus> status =
         Quor::make<Routing::Fhrp::VirtualRouterMacStatus>();
   Ptr<IntfVlanIdSet::Table> vlanSets = Quor::make<IntfVlanIdSet::Table>();
   Ptr<VirtualRouterMacTable> tables[Model::kTables];
   Ptr<Orlo::VrrpPrivateVlanReflectorLib::LibSm> reflector;
   Ptr<Orlo::VrrpSm> programmer;

 private:
   class StatusWatcher;
   class TableWatcher;

   void watchersNew( Moment ofStatus, Moment ofTable );

   const std::function<void( Moment )> happens_;
   std::vector<Ptr<StatusWatcher>> statusWatchers_;
   std::vector<Ptr<TableWatcher>> tableWatchers_;
};

/// What the product shows and the model does not say, in words; empty when there is nothing.
std::string difference( const Product &product, const Model &model );
/// The rules that hold for every state that inputs alone can lead to: every index is in exactly
/// one place, the hardware holds what is assigned, nobody waits while an index is free, a wanted
/// pair is in exactly one place, and what is wanted is what the inputs ask for. Says what is
/// broken. `sharesVlans` and `mutesVlans`: an interface may have removed what another one stands
/// for, or what it stands for itself, so that some of it may be missing.
std::string broken( const Product &product, bool sharesVlans, bool mutesVlans );

} // namespace ModelTests

#endif
