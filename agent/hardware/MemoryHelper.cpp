#include "agent/hardware/MemoryHelper.h"

#include <utility>

namespace OrloAgent {

namespace {

using Quor::U32;

Pair pairOf( const Pelmo::EthAddr &mac, U32 vlanId ) {
   return { Bridging::VlanId( static_cast<Quor::U16>( vlanId ) ), mac };
}

} // namespace

MemoryHelper::MemoryHelper( const std::string &path, U32 indexes, Trouble trouble )
      : VrrpSmHelper( "memory" ), slots_( path, indexes, trouble ),
        trouble_( std::move( trouble ) ) {
   syncCurrentStateOnInitIs( true );
}

bool MemoryHelper::holds( const Pair &pair, U32 index ) const noexcept {
   return index < slots_.count() && slots_.slot( index ) == pair;
}

void MemoryHelper::tell( const std::string &what, const Pair &pair, U32 index,
                         const char *why ) const noexcept {
   try {
      trouble_( what + " VLAN " + valueToStrep( pair.vlanId() ) + "  " +
                valueToStrep( pair.mac() ) + "  index " + std::to_string( index ) + ": " + why );
   } catch( ... ) { // the hardware is as it is, only the telling failed
   }
}

void MemoryHelper::refused( const Pair &pair, U32 index, const char *doing,
                            const char *why ) noexcept {
   ++refusals_;
   tell( std::string( "cannot " ) + doing, pair, index, why );
}

void MemoryHelper::addVirtualRouterMac( const Pelmo::EthAddr &macAddr, U32 vlanId, U32 index ) {
   const Pair pair = pairOf( macAddr, vlanId );
   if( index >= slots_.count() ) {
      refused( pair, index, "program", "the table has no such slot" );
      return;
   }
   if( const std::optional<Pair> there = slots_.slot( index ) ) {
      if( *there != pair ) {
         refused( pair, index, "program", "the slot holds another pair" );
      }
      return;
   }
   slots_.slotIs( index, pair );
}

void MemoryHelper::deleteVirtualRouterMac( const Pelmo::EthAddr &macAddr, U32 vlanId, U32 index ) {
   const Pair pair = pairOf( macAddr, vlanId );
   if( !holds( pair, index ) ) {
      refused( pair, index, "remove", "the slot does not hold it" );
      return;
   }
   slots_.slotDel( index );
}

void MemoryHelper::syncVrrpStateOnInit(
      const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &currentStatePtr ) {
   for( U32 index = 0; index < slots_.count(); ++index ) {
      const std::optional<Pair> pair = slots_.slot( index );
      if( !pair ) {
         continue;
      }
      const Quor::U16 vlan = pair->vlanId().number();
      const bool isVlan = vlan >= kFirstVlan && vlan <= kLastVlan;
      if( !isVlan || currentStatePtr->virtualRouterIndex( *pair ) ) {
         slots_.slotDel( index );
         tell( "removed", *pair, index, isVlan ? "it stands twice" : "there is no such VLAN" );
         continue;
      }
      currentStatePtr->virtualRouterIndexIs( *pair, index );
   }
}

} // namespace OrloAgent
