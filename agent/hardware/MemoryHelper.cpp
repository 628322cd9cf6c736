#include "agent/hardware/MemoryHelper.h"

#include <utility>

namespace OrloAgent {

namespace {

using Quor::U32;

Pair pairOf( const Pelmo::EthAddr &mac, U32 vlanId ) {
   return { Bridging::VlanId( static_cast<Quor::U16>( vlanId ) ), mac };
}

template <class Call>
void tell( const Call &call ) noexcept {
   try {
      call();
   } catch( ... ) { // the hardware is right, only the telling failed
   }
}

} // namespace

MemoryHelper::MemoryHelper( const std::string &path, U32 indexes, HardwareWatcher &watcher )
      : VrrpSmHelper( "memory" ),
        slots_( path, indexes,
                [&watcher]( const std::string &what ) { watcher.onTrouble( what ); } ),
        watcher_( watcher ) {
   syncCurrentStateOnInitIs( true );
}

bool MemoryHelper::holds( const Pair &pair, U32 index ) const noexcept {
   return index < slots_.count() && slots_.slot( index ) == pair;
}

void MemoryHelper::refused( const Pair &pair, U32 index, const char *doing,
                            const char *why ) noexcept {
   ++refusals_;
   tell( [&] {
      watcher_.onTrouble( std::string( "cannot " ) + doing + " VLAN " +
                          valueToStrep( pair.vlanId() ) + "  " + valueToStrep( pair.mac() ) +
                          "  index " + std::to_string( index ) + ": " + why );
   } );
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
   tell( [&] { watcher_.onProgrammed( pair, index ); } );
}

void MemoryHelper::deleteVirtualRouterMac( const Pelmo::EthAddr &macAddr, U32 vlanId, U32 index ) {
   const Pair pair = pairOf( macAddr, vlanId );
   if( !holds( pair, index ) ) {
      refused( pair, index, "remove", "the slot does not hold it" );
      return;
   }
   slots_.slotDel( index );
   tell( [&] { watcher_.onRemoved( pair, index ); } );
}

void MemoryHelper::syncVrrpStateOnInit(
      const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &currentStatePtr ) {
   for( U32 index = 0; index < slots_.count(); ++index ) {
      const std::optional<Pair> pair = slots_.slot( index );
      if( !pair ) {
         continue;
      }
      const Quor::U16 vlan = pair->vlanId().number();
      if( vlan < kFirstVlan || vlan > kLastVlan || currentStatePtr->virtualRouterIndex( *pair ) ) {
         slots_.slotDel( index );
         tell( [&] { watcher_.onRemoved( *pair, index ); } );
         continue;
      }
      currentStatePtr->virtualRouterIndexIs( *pair, index );
      tell( [&] { watcher_.onFound( *pair, index ); } );
   }
}

} // namespace OrloAgent
