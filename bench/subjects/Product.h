// The product under the names that all subjects share.
#ifndef ORLOBENCH_SUBJECTS_PRODUCT_H
#define ORLOBENCH_SUBJECTS_PRODUCT_H

#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "OrloVrrpSm/VrrpSm.h"
#include "bench/subjects/BenchHelper.h"

#include <string>

namespace OrloBench {

/// One VLAN interface, from the record in the status table to the helper. The floor and the naive
/// code have the same operations; what they do is said here:
///
/// - startReflector() and startProgrammer() are called once each, in this order; the first one
///   comes with the set of VLANs empty or full, the second one adopts what the helper holds;
/// - publish() and withdraw() are about a MAC on all VLANs, vlanJoins() and vlanLeaves() about a
///   VLAN with all MACs, want() and unwant() about one pair;
/// - wait() puts a pair in line, once more if it is there; handle() brings a pair in line with what
///   is wanted: if it is not and has no index, its oldest place in the line goes;
/// - tearDown() stops the reflector, which removes everything VLAN by VLAN.
class Product {
 public:
   static constexpr char kName[] = "product";

   Product( Quor::Ptr<BenchHelper> helper, U32 indexes ) : helper_( std::move( helper ) ) {
      hardware_->virtualRouterCountIs( indexes );
   }

   void startReflector() {
      reflector_ = Orlo::VrrpPrivateVlanReflectorLib::LibSmIs( status_, vlanSets_, table_ );
   }
   void startProgrammer() { programmer_ = Orlo::VrrpSmIs( table_, hardware_, helper_ ); }

   void vlanJoins( VlanId vlan ) { vlans_->vlanIdIs( vlan, true ); }
   void vlanLeaves( VlanId vlan ) { vlans_->vlanIdDel( vlan ); }
   void publish( const EthAddr &mac ) { status_->vrrpVirtualMacIs( { intf_, mac }, true ); }
   void withdraw( const EthAddr &mac ) { status_->vrrpVirtualMacDel( { intf_, mac } ); }
   void want( const VlanAndMac &pair ) { table_->virtualRouterMacIs( pair, true ); }
   void unwant( const VlanAndMac &pair ) { table_->virtualRouterMacDel( pair ); }
   void wait( const VlanAndMac &pair ) { programmer_->macsNeedingVirtualRouterIndexEnq( pair ); }
   void handle( const VlanAndMac &pair ) { programmer_->handleVrrpMac( pair ); }
   void tearDown() { reflector_ = nullptr; }

   std::size_t wanted() const { return table_->virtualRouterMacs().size(); }
   std::size_t programmed() const { return programmer_->virtualRouterIndexes().size(); }
   std::size_t waiting() const { return programmer_->macsNeedingVirtualRouterIndexes().count(); }

   /// Everything is dropped as it is: nobody is told, nothing is removed one by one.
   ~Product() {
      programmer_ = nullptr;
      if( reflector_ ) {
         reflector_->disableCleanupOnRestartIs( true );
      }
   }
   Product( const Product & ) = delete;
   Product &operator=( const Product & ) = delete;

 private:
   const Pelmo::IntfId intf_{ "br0" };
   const Quor::Ptr<BenchHelper> helper_;
   const Quor::Ptr<Routing::Fhrp::Hardware::Status> hardware_ =
         Quor::make<Routing::Fhrp::Hardware::Status>();
   const Quor::Ptr<Routing::Fhrp::VirtualRouterMacStatus> status_ =
         Quor::make<Routing::Fhrp::VirtualRouterMacStatus>();
   const Quor::Ptr<IntfVlanIdSet::Table> vlanSets_ = Quor::make<IntfVlanIdSet::Table>();
   const Quor::Ptr<IntfVlanIdSet::SviVlanSet> vlans_ = vlanSets_->sviVlanSetIs( intf_ );
   const Quor::Ptr<Orlo::VrrpSm::VirtualRouterMacTable> table_ =
         Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory();
   Quor::Ptr<Orlo::VrrpPrivateVlanReflectorLib::LibSm> reflector_;
   Quor::Ptr<Orlo::VrrpSm> programmer_;
};

} // namespace OrloBench

#endif
