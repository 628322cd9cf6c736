// The whole system, from the published records to the helper's calls, with everybody's watchers:
// what happens is told as lines of text.
#ifndef TESTS_UNIT_INTROSPECTION_PIPELINE_H
#define TESTS_UNIT_INTROSPECTION_PIPELINE_H

#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "tests/unit/introspection/Access.h"
#include "types/OrloVrrpSm.h"

namespace IntrospectionTests {

using IntfVlanIdSet::SviVlanSet;
using Orlo::VrrpSm;
using Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf;
using Orlo::VrrpPrivateVlanReflectorLib::LibSm;
using Orlo::VrrpPrivateVlanReflectorLib::libSmFactory;
using Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
using Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory;
using Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm;
using OrloHelper::CurrentVrrpStateForInit;
using OrloHelper::VrrpSmHelper;
using Routing::Fhrp::VirtualRouterMac;
using Routing::Fhrp::VirtualRouterMacStatus;
using Hardware = Routing::Fhrp::Hardware::Status;

/// Tells what it is asked to do.
class TellingHelper : public VrrpSmHelper {
 public:
   explicit TellingHelper( Lines &story ) : VrrpSmHelper( "telling" ), story_( story ) {}

   void addVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      tell( "add", mac, vlanId, index );
   }
   void deleteVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      tell( "delete", mac, vlanId, index );
   }
   void syncVrrpStateOnInit( const Ptr<CurrentVrrpStateForInit> &snapshot ) override {
      story_.push_back( "sync of " + std::to_string( snapshot->virtualRouterIndexes().size() ) );
   }
   void initializationComplete() override { story_.push_back( "complete" ); }

 private:
   void tell( const char *what, const EthAddr &mac, U32 vlanId, U32 index ) {
      story_.push_back( what + ( " " + valueToStrep( mac ) ) + " on " + std::to_string( vlanId ) +
                        " at " + std::to_string( index ) );
   }
   Lines &story_;
};

/// br10 serves VLANs 10 and 20 and has the MACs of VRIDs 1 and 2: four pairs for three indexes, so
/// that one of them waits.
struct Pipeline {
   Lines story;
   Ptr<VirtualRouterMacStatus> status = make<VirtualRouterMacStatus>();
   Ptr<IntfVlanIdSet::Table> vlanSets = make<IntfVlanIdSet::Table>();
   Ptr<SviVlanSet> br10 = vlanSets->sviVlanSetIs( IntfId( "br10" ) );
   Ptr<VirtualRouterMacTable> table = virtualRouterMacTableFactory();
   Ptr<Hardware> hardware = make<Hardware>();
   Ptr<VrrpSmHelper> helper = make<TellingHelper>( story );
   Ptr<LibSm> reflector;
   Ptr<VrrpSm> programmer;

   Pipeline() {
      br10->vlanIdIs( VlanId( 10 ), true );
      br10->vlanIdIs( VlanId( 20 ), true );
      for( const U16 vrid : { U16{ 1 }, U16{ 2 } } ) {
         status->vrrpVirtualMacIs( VirtualRouterMac( IntfId( "br10" ), mac( vrid ) ), true );
      }
      hardware->virtualRouterCountIs( 3 );
      reflector = libSmFactory( status, vlanSets, table );
      programmer = Orlo::VrrpSmIs( table, hardware, helper );
      story.clear();
   }

   Ptr<VlanIntfSm> interface() const { return reflector->vlanIntfSm( IntfId( "br10" ) ); }
   Ptr<EthAddrsForIntf> macs() const { return reflector->dmacsForIntf( IntfId( "br10" ) ); }
   Lines takeStory() { return std::exchange( story, {} ); }
};

/// A programmer without a table, with `indexes` in its hardware.
struct Programmer {
   Lines story;
   Ptr<Hardware> hardware = make<Hardware>();
   Ptr<VrrpSmHelper> helper = make<TellingHelper>( story );
   Ptr<VrrpSm> sm;

   explicit Programmer( U32 indexes ) {
      hardware->virtualRouterCountIs( indexes );
      sm = Orlo::VrrpSmIs( nullptr, hardware, helper );
      story.clear();
   }
};

} // namespace IntrospectionTests

#endif
