// The traces of the programmer, each as one line.
#ifndef TESTS_UNIT_LIBRARY_PROGRAMMERLINES_H
#define TESTS_UNIT_LIBRARY_PROGRAMMERLINES_H

#include "tests/unit/library/Values.h"

namespace LibraryTests {

// handleVrrpMac
inline String handled( const VlanAndMac &pair ) {
   return "4 OrloVrrpSm:108 handleVrrpMac: void Orlo::VrrpSm::handleVrrpMac(const "
          "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&)( " +
          pairText( pair ) + " )";
}
inline String addingAt( U32 index ) {
   return "4 OrloVrrpSm:122 handleVrrpMac:  adding vrmac at index " + std::to_string( index );
}
inline constexpr char kWaits[] =
      "4 OrloVrrpSm:127 handleVrrpMac:  enq to macsNeedingVirtualRouterIndex ";
inline String deletingAt( const VlanAndMac &pair, U32 index ) {
   return "4 OrloVrrpSm:132 handleVrrpMac:  deleting vrmac " + pairText( pair ) + "at index " +
          std::to_string( index );
}
inline constexpr char kWaitsNoMore[] =
      "4 OrloVrrpSm:148 handleVrrpMac:  del from macsNeedingVirtualRouterIndex ";

// The calls of the helper
inline String doAdd( const VlanAndMac &pair, U32 index ) {
   return "5 OrloVrrpSm:160 doAddVirtualRouterMac: void Orlo::VrrpSm::doAddVirtualRouterMac(const "
          "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)( " +
          pairText( pair ) + " ), " + std::to_string( index );
}
inline constexpr char kAddIgnored[] = "4 OrloVrrpSm:164 doAddVirtualRouterMac: Ignoring "
                                      "VirtualRouterMac for invalid vlan";
inline String doDelete( const VlanAndMac &pair, U32 index ) {
   return "5 OrloVrrpSm:178 doDeleteVirtualRouterMac: void "
          "Orlo::VrrpSm::doDeleteVirtualRouterMac(const "
          "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac&, U32)( " +
          pairText( pair ) + " ), " + std::to_string( index );
}
inline constexpr char kDeleteIgnored[] = "4 OrloVrrpSm:182 doDeleteVirtualRouterMac: Ignoring "
                                         "VirtualRouterMac for invalid vlan";

// Start and cleanup
inline constexpr char kStart[] =
      "2 OrloVrrpSm:33 handleInitialized: void Orlo::VrrpSm::handleInitialized()";
inline String preparing( U32 indexes ) {
   return "3 OrloVrrpSm:39 handleInitialized: Preparing indexes for " + std::to_string( indexes ) +
          " Vrrp routers.";
}
inline constexpr char kSyncing[] = "3 OrloVrrpSm:49 handleInitialized: Syncing vrrp state";
inline String adopting( const VlanAndMac &pair, U32 index ) {
   return "3 OrloVrrpSm:54 handleInitialized: Index:" + std::to_string( index ) +
          " vrmac:" + pairText( pair );
}
inline constexpr char kCleanup[] = "2 OrloVrrpSm:75 doCleanup: void Orlo::VrrpSm::doCleanup()";

} // namespace LibraryTests

#endif
