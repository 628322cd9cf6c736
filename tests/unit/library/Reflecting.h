// A reflector with its inputs and its output table.
#ifndef TESTS_UNIT_LIBRARY_REFLECTING_H
#define TESTS_UNIT_LIBRARY_REFLECTING_H

#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "tests/unit/library/Story.h"
#include "tests/unit/library/Values.h"

namespace LibraryTests {

using IntfVlanIdSet::SviVlanSet;
using Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf;
using Orlo::VrrpPrivateVlanReflectorLib::LibSm;
using Orlo::VrrpPrivateVlanReflectorLib::libSmFactory;
using Orlo::VrrpPrivateVlanReflectorLib::LibSmIs;
using Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
using Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory;
using Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm;
using Routing::Fhrp::VirtualRouterMac;
using Routing::Fhrp::VirtualRouterMacStatus;

using Pairs = std::vector<VlanAndMac>;
using Vlans = std::vector<U16>;

/// Tells what is written to the output table.
class TableWatcher : public VirtualRouterMacTable::NotifieeConst {
 public:
   explicit TableWatcher( Story &story ) : story_( story ) {}
   void onVirtualRouterMac( const VlanAndMac &key ) override {
      const auto entry = notifier()->virtualRouterMacs().find( key );
      story_.tell( ( !entry ? "- " : entry->value() ? "+ " : "false " ) + pairText( key ) );
   }
   using NotifieeConst::onVirtualRouterMac;

 private:
   Story &story_;
};

inline String plus( const VlanAndMac &key ) {
   return "+ " + pairText( key );
}
inline String minus( const VlanAndMac &key ) {
   return "- " + pairText( key );
}

/// The scenario: no interface, no record, nothing started.
struct Reflecting {
   Story story;
   Ptr<VirtualRouterMacStatus> status = Quor::make<VirtualRouterMacStatus>();
   Ptr<IntfVlanIdSet::Table> vlanSets = Quor::make<IntfVlanIdSet::Table>();
   Ptr<VirtualRouterMacTable> table = virtualRouterMacTableFactory();
   Ptr<TableWatcher> watcher = Quor::make<TableWatcher>( story );
   Ptr<LibSm> sm;

   Reflecting() {
      watcher->notifierIs( table );
      watcher->isRegisteredNotifieeIs( true );
   }

   Ptr<SviVlanSet> serves( const char *intf, const Vlans &vlans ) {
      const auto set = vlanSets->sviVlanSetIs( IntfId( intf ) );
      for( const U16 number : vlans ) {
         set->vlanIdIs( vlan( number ), true );
      }
      return set;
   }
   void start() { sm = libSmFactory( status, vlanSets, table ); }
   void appears( const char *intf, U16 vrid ) {
      status->vrrpVirtualMacIs( VirtualRouterMac( IntfId( intf ), mac( vrid ) ), true );
   }
   void disappears( const char *intf, U16 vrid ) {
      status->vrrpVirtualMacDel( VirtualRouterMac( IntfId( intf ), mac( vrid ) ) );
   }

   /// What stands in the output table, in ascending order.
   Pairs keys() const {
      Pairs keys = keysOf( table->virtualRouterMacs() );
      std::sort( keys.begin(), keys.end() );
      return keys;
   }
   Ptr<VlanIntfSm> reactor( const char *intf ) const { return sm->vlanIntfSm( IntfId( intf ) ); }
   Ptr<EthAddrsForIntf> macs( const char *intf ) const {
      return sm->dmacsForIntf( IntfId( intf ) );
   }
};

/// One that runs, with br10 serving VLANs 10 and 20, and its past told already.
struct ReflectingBr10 : Reflecting {
   Ptr<SviVlanSet> br10 = serves( "br10", { 10, 20 } );

   explicit ReflectingBr10( const Vlans &vrids = {} ) {
      for( const U16 vrid : vrids ) {
         appears( "br10", vrid );
      }
      start();
      story.take();
   }
};

/// VLANs in the order in which a set visits them.
inline std::vector<VlanId> inSetOrder( const Vlans &numbers ) {
   std::vector<VlanId> vlans;
   for( const U16 number : numbers ) {
      vlans.push_back( vlan( number ) );
   }
   return inTableOrder( vlans );
}

// The traces, each as one line

inline String reflectorTrace( int level, const char *function, const String &message ) {
   return std::to_string( level ) + " OrloVrrpPrivateVlanReflectorLib " + function + ": " + message;
}
inline String recordHandled( const char *intf, U16 vrid ) {
   return reflectorTrace( 8, "handleVirtualRouterMac",
                          String( "LibSm::handleVirtualRouterMac(" ) + intf + "/" +
                                macText( mac( vrid ) ) + ")" );
}
inline String recordAppeared( const char *intf, U16 vrid ) {
   return reflectorTrace( 2, "handleVirtualRouterMac",
                          String( intf ) + "/" + macText( mac( vrid ) ) +
                                " appeared in input table" );
}
inline String recordDisappeared( const char *intf, U16 vrid ) {
   return reflectorTrace( 2, "handleVirtualRouterMac",
                          String( intf ) + "/" + macText( mac( vrid ) ) +
                                " disappeared from input table" );
}
inline String removingMacs( const char *intf ) {
   return reflectorTrace( 4, "handleVirtualRouterMac",
                          String( "Removing dmacs table for " ) + intf );
}
inline String intfHandled( const char *intf ) {
   return reflectorTrace( 8, "handleDmacsForIntf",
                          String( "LibSm::handleDmacsForIntf(" ) + intf + ")" );
}
inline String creating( const char *intf ) {
   return reflectorTrace( 0, "handleDmacsForIntf", String( "Creating vlan sm for " ) + intf );
}
inline String removing( const char *intf ) {
   return reflectorTrace( 0, "handleDmacsForIntf", String( "Removing vlan sm for " ) + intf );
}
inline const String kReflectorStarts =
      reflectorTrace( 8, "handleInitialized", "handleInitialized" );

inline String intfStarts( const char *intf ) {
   return reflectorTrace( 8, "handleInitialized",
                          String( "VlanIntfSm(" ) + intf + ")::handleInitialized" );
}
inline String vlanHandled( const char *intf, VlanId vlanId ) {
   return reflectorTrace( 8, "handleVlanId",
                          String( "VlanIntfSm(" ) + intf + ")::handleVlanId(" +
                                std::to_string( vlanId.number() ) + ")" );
}
inline String vlanJoins( const char *intf, VlanId vlanId ) {
   return reflectorTrace( 1, "handleVlanId",
                          String( "Intf " ) + intf + " adding VLAN " +
                                std::to_string( vlanId.number() ) );
}
inline String vlanLeaves( const char *intf, VlanId vlanId ) {
   return reflectorTrace( 1, "handleVlanId",
                          String( "Intf " ) + intf + " deleting VLAN " +
                                std::to_string( vlanId.number() ) );
}
inline String macHandled( const char *intf, U16 vrid ) {
   return reflectorTrace( 8, "handleDmac",
                          String( "VlanIntfSm(" ) + intf + ")::handleDmac(" +
                                macText( mac( vrid ) ) + ")" );
}
inline String cleanedUp( const char *intf ) {
   return reflectorTrace( 8, "doCleanup", String( "VlanIntfSm(" ) + intf + ")::doCleanup" );
}
/// A key that a function of the interface's reactor adds or removes.
inline String adds( const char *function, const char *intf, const VlanAndMac &key ) {
   return reflectorTrace( 2, function,
                          String( "VlanIntfSm(" ) + intf + ") adding " + pairText( key ) );
}
inline String removes( const char *function, const char *intf, const VlanAndMac &key ) {
   return reflectorTrace( 2, function,
                          String( "VlanIntfSm(" ) + intf + ") removing " + pairText( key ) );
}

} // namespace LibraryTests

#endif
