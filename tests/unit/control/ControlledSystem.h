// A running system that is reached by path, on hardware that checks what it is asked to do.
#ifndef TESTS_UNIT_CONTROL_CONTROLLEDSYSTEM_H
#define TESTS_UNIT_CONTROL_CONTROLLEDSYSTEM_H

#include "agent/control/PathAccess.h"
#include "agent/control/PathError.h"
#include "agent/control/Permissions.h"
#include "types/OrloVrrpSm.h"

#include <map>
#include <optional>

namespace OrloAgent {

using Bridging::VlanId;
using IntfVlanIdSet::SviVlanSet;
using Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
using Pelmo::EthAddr;
using Pelmo::IntfId;
using Quor::genericIf;
using Quor::make;
using Quor::Ptr;
using Quor::U16;
using Quor::U32;
using Routing::Fhrp::VirtualRouterMac;

using Lines = std::vector<std::string>;

inline EthAddr macOf( U16 vrid ) {
   return EthAddr( 0x0000, 0x5e00, static_cast<U16>( 0x0100 | vrid ) );
}
inline Pair pairOf( U16 vlan, U16 vrid ) {
   return { VlanId( vlan ), macOf( vrid ) };
}
inline VirtualRouterMac recordOf( const char *intf, U16 vrid ) {
   return { IntfId( intf ), macOf( vrid ) };
}

/// Indexes by number, each with its pair: an index is free when it is written, and holds the pair
/// that is deleted.
class MapHelper : public OrloHelper::VrrpSmHelper {
 public:
   explicit MapHelper( U32 indexes ) : VrrpSmHelper( "map" ), indexes_( indexes ) {}

   void addVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      const bool isNew = slots.emplace( index, pairIn( mac, vlanId ) ).second;
      isSound = isSound && isNew && index < indexes_ && vlanId != 0;
   }
   void deleteVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      const auto at = slots.find( index );
      if( at == slots.end() || at->second != pairIn( mac, vlanId ) ) {
         isSound = false;
         return;
      }
      slots.erase( at );
   }

   std::map<U32, Pair> slots;
   bool isSound = true;

 private:
   static Pair pairIn( const EthAddr &mac, U32 vlanId ) {
      return { VlanId( static_cast<U16>( vlanId ) ), mac };
   }
   const U32 indexes_;
};

/// br10 serves VLANs 10, 11 and 12, br20 serves VLAN 20, br30 none yet. br10 has the MACs of VRIDs
/// 1 and 2: six pairs for five indexes.
struct ControlledSystem {
   static constexpr U32 kIndexes = 5;

   Ptr<Routing::Fhrp::VirtualRouterMacStatus> status =
         make<Routing::Fhrp::VirtualRouterMacStatus>();
   Ptr<IntfVlanIdSet::Table> vlanSets = make<IntfVlanIdSet::Table>();
   Ptr<VirtualRouterMacTable> table =
         Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory();
   Ptr<Routing::Fhrp::Hardware::Status> hardware = make<Routing::Fhrp::Hardware::Status>();
   Ptr<MapHelper> helper = make<MapHelper>( kIndexes );
   Ptr<Orlo::VrrpPrivateVlanReflectorLib::LibSm> libSm;
   Ptr<Orlo::VrrpSm> vrrpSm;
   std::optional<Permissions> permissions;
   std::optional<PathAccess> access;

   ControlledSystem() {
      for( const U16 vlan : { U16{ 10 }, U16{ 11 }, U16{ 12 } } ) {
         vlanSets->sviVlanSetIs( IntfId( "br10" ) )->vlanIdIs( VlanId( vlan ), true );
      }
      vlanSets->sviVlanSetIs( IntfId( "br20" ) )->vlanIdIs( VlanId( 20 ), true );
      vlanSets->sviVlanSetIs( IntfId( "br30" ) );
      hardware->virtualRouterCountIs( kIndexes );
      status->vrrpVirtualMacIs( recordOf( "br10", 1 ), true );
      status->vrrpVirtualMacIs( recordOf( "br10", 2 ), true );
      libSm = Orlo::VrrpPrivateVlanReflectorLib::libSmFactory( status, vlanSets, table );
      vrrpSm = Orlo::VrrpSmIs( table, hardware, helper );
      permissions.emplace( Permissions::Objects{ status, vlanSets, table, libSm, vrrpSm, helper } );
      access.emplace( roots(), *permissions );
   }
   ~ControlledSystem() {
      access.reset();
      permissions.reset();
      vrrpSm = nullptr;
      libSm = nullptr;
   }
   ControlledSystem( const ControlledSystem & ) = delete;
   ControlledSystem &operator=( const ControlledSystem & ) = delete;

   Roots roots() const {
      return { { "virtualRouterMacStatus", genericIf( status ) },
               { "intfVlanIdSetTable", genericIf( vlanSets ) },
               { "virtualRouterMacTable", genericIf( table ) },
               { "libSm", genericIf( libSm ) },
               { "vrrpSm", genericIf( vrrpSm ) },
               { "vrrpHelper", genericIf( Ptr<OrloHelper::VrrpSmHelper>( helper ) ) },
               { "vrrpHwStatus", genericIf( hardware ) } };
   }
   Pair heldPair() const { return vrrpSm->virtualRouterIndexes().begin()->key(); }
   Pair waitingPair() const { return vrrpSm->macsNeedingVirtualRouterIndexes().head()->value(); }

   /// What is wrong with the whole; empty when nothing is.
   std::string flaw() const {
      std::map<U32, Pair> held;
      std::map<U32, int> places; // of every index
      std::map<Pair, int> known;
      for( const auto &entry : vrrpSm->virtualRouterIndexes() ) {
         held.emplace( entry.value(), entry.key() );
         ++places[entry.value()];
         ++known[entry.key()];
      }
      for( const auto &entry : vrrpSm->freeVirtualRouterIndexes() ) {
         ++places[entry.value()];
      }
      for( const auto &entry : vrrpSm->macsNeedingVirtualRouterIndexes() ) {
         ++known[entry.value()];
      }
      std::map<Pair, int> wanted;
      for( const auto &entry : table->virtualRouterMacs() ) {
         ++wanted[entry.key()];
      }
      std::map<U32, int> once;
      for( U32 index = 0; index < kIndexes; ++index ) {
         once[index] = 1;
      }
      return !helper->isSound        ? "the hardware was asked what it must not be asked"
             : held != helper->slots ? "the hardware holds something else than the programmer says"
             : places != once        ? "an index is nowhere, or twice somewhere"
             : wanted != known       ? "what is wanted is not what is held or waits"
                                     : "";
   }
};

} // namespace OrloAgent

#endif
