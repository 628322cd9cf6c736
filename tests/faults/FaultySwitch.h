// A whole system in memory, with everything that must hold in it at any time.
#ifndef TESTS_FAULTS_FAULTYSWITCH_H
#define TESTS_FAULTS_FAULTYSWITCH_H

#include "OrloVrrpPrivateVlanReflectorLib/LibSm.h"
#include "OrloVrrpSm/VrrpSm.h"
#include "tests/unit/library/Values.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <set>

namespace Faults {

using namespace LibraryTests;
using IntfVlanIdSet::SviVlanSet;
using Orlo::VrrpSm;
using Orlo::VrrpPrivateVlanReflectorLib::LibSm;
using Orlo::VrrpPrivateVlanReflectorLib::VirtualRouterMacTable;
using Routing::Fhrp::VirtualRouterMac;
using Routing::Fhrp::VirtualRouterMacStatus;
using Hardware = Routing::Fhrp::Hardware::Status;

/// Slots that need no memory of their own, and calls that a test may have fail.
class SlotHelper : public OrloHelper::VrrpSmHelper {
 public:
   static constexpr U32 kMost = 256;
   enum class Call { add, remove, sync, flag, complete };

   SlotHelper() : VrrpSmHelper( "slots" ) {}

   /// Called first in every call, and may throw, or change what it likes.
   std::function<void( Call )> onCall;
   /// The same at its end.
   std::function<void( Call )> afterCall;

   /// Is asked for adoption from now on, as after a restart.
   void isToBeAdopted() { VrrpSmHelper::syncCurrentStateOnInitIs( true ); }
   const std::array<VlanAndMac, kMost> &slots() const noexcept { return slots_; }
   static VlanAndMac noPair() { return VlanAndMac( VlanId( 0 ), EthAddr() ); }

   void addVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      happens( onCall, Call::add );
      EXPECT_EQ( slots_.at( index ), noPair() ) << "an index that is in use, or unknown";
      slots_.at( index ) = VlanAndMac( VlanId( static_cast<U16>( vlanId ) ), mac );
      happens( afterCall, Call::add );
   }
   void deleteVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      happens( onCall, Call::remove );
      EXPECT_EQ( slots_.at( index ), VlanAndMac( VlanId( static_cast<U16>( vlanId ) ), mac ) );
      slots_.at( index ) = noPair();
      happens( afterCall, Call::remove );
   }
   void syncVrrpStateOnInit( const Ptr<OrloHelper::CurrentVrrpStateForInit> &snapshot ) override {
      happens( onCall, Call::sync );
      for( U32 index = 0; index < kMost; ++index ) {
         if( !( slots_[index] == noPair() ) ) {
            snapshot->virtualRouterIndexIs( slots_[index], index );
         }
      }
      happens( afterCall, Call::sync );
   }
   void syncCurrentStateOnInitIs( bool on ) override {
      happens( onCall, Call::flag );
      VrrpSmHelper::syncCurrentStateOnInitIs( on );
      happens( afterCall, Call::flag );
   }
   void initializationComplete() override {
      happens( onCall, Call::complete );
      happens( afterCall, Call::complete );
   }

 private:
   static void happens( const std::function<void( Call )> &what, Call call ) {
      if( what ) {
         what( call );
      }
   }

   std::array<VlanAndMac, kMost> slots_ = [] {
      std::array<VlanAndMac, kMost> slots;
      slots.fill( noPair() );
      return slots;
   }();
};

/// Status, VLAN sets, reflector, table, programmer and hardware, all of one switch with `kIndexes`.
template <U32 kIndexes>
struct FaultySwitch {
   Ptr<VirtualRouterMacStatus> status = Quor::make<VirtualRouterMacStatus>();
   Ptr<IntfVlanIdSet::Table> vlanSets = Quor::make<IntfVlanIdSet::Table>();
   Ptr<VirtualRouterMacTable> table =
         Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory();
   Ptr<Hardware> hardware = Quor::make<Hardware>();
   Ptr<SlotHelper> helper = Quor::make<SlotHelper>();
   Ptr<LibSm> reflector;
   Ptr<VrrpSm> programmer;

   FaultySwitch() {
      hardware->virtualRouterCountIs( kIndexes );
      serves( "br10", { 10, 11, 12 } );
      serves( "br20", { 20, 21 } );
   }

   void serves( const char *intf, const std::vector<U16> &vlans ) {
      const auto set = vlanSets->sviVlanSetIs( IntfId( intf ) );
      for( const U16 number : vlans ) {
         set->vlanIdIs( vlan( number ), true );
      }
   }
   Ptr<SviVlanSet> vlans( const char *intf ) const {
      return vlanSets->sviVlanSet( IntfId( intf ) );
   }
   void starts() {
      programmer = Orlo::VrrpSmIs( table, hardware, helper );
      reflector = Orlo::VrrpPrivateVlanReflectorLib::LibSmIs( status, vlanSets, table );
   }
   /// As when the agent goes: the hardware keeps what it has.
   void stops() {
      programmer = nullptr;
      reflector = nullptr;
   }
   /// A new start of both on what the hardware holds, and the inputs.
   void startsAgain() {
      stops();
      table = Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory();
      reflector = Orlo::VrrpPrivateVlanReflectorLib::LibSmIs( status, vlanSets, table );
      helper->isToBeAdopted();
      programmer = Orlo::VrrpSmIs( table, hardware, helper );
   }
   void appears( const char *intf, U16 vrid ) {
      status->vrrpVirtualMacIs( VirtualRouterMac( IntfId( intf ), mac( vrid ) ), true );
   }
   void disappears( const char *intf, U16 vrid ) {
      status->vrrpVirtualMacDel( VirtualRouterMac( IntfId( intf ), mac( vrid ) ) );
   }

   /// What the inputs ask for.
   std::set<VlanAndMac> asked() const {
      std::set<VlanAndMac> pairs;
      for( const auto &record : status->vrrpVirtualMacs() ) {
         for( const auto &vlanId : vlanSets->sviVlanSet( record.key().intf() )->vlanIds() ) {
            pairs.insert( VlanAndMac( vlanId.key(), record.key().mac() ) );
         }
      }
      return pairs;
   }
   std::set<VlanAndMac> wanted() const {
      const auto keys = keysOf( table->virtualRouterMacs() );
      return { keys.begin(), keys.end() };
   }
   /// Pairs that are programmed or wait.
   std::set<VlanAndMac> served() const {
      const auto programmed = keysOf( programmer->virtualRouterIndexes() );
      const auto waiting = valuesOf( programmer->macsNeedingVirtualRouterIndexes() );
      std::set<VlanAndMac> pairs( programmed.begin(), programmed.end() );
      pairs.insert( waiting.begin(), waiting.end() );
      return pairs;
   }
   /// Indexes that are neither free nor held by a pair.
   U32 lost() const {
      return kIndexes - programmer->freeVirtualRouterIndexes().count() -
             programmer->virtualRouterIndexes().size();
   }

   /// What holds at any time, whatever was refused.
   void isSound() const {
      std::array<VlanAndMac, SlotHelper::kMost> slots;
      slots.fill( SlotHelper::noPair() );
      std::set<U32> indexes;
      for( const auto &entry : programmer->virtualRouterIndexes() ) {
         EXPECT_LT( entry.value(), kIndexes );
         EXPECT_TRUE( indexes.insert( entry.value() ).second ) << "held by two pairs";
         slots.at( entry.value() ) = entry.key();
      }
      for( const auto &entry : programmer->freeVirtualRouterIndexes() ) {
         EXPECT_LT( entry.value(), kIndexes );
         EXPECT_TRUE( indexes.insert( entry.value() ).second ) << "free and held";
      }
      EXPECT_EQ( slots, helper->slots() ) << "the hardware holds something else";
      for( const auto &entry : programmer->macsNeedingVirtualRouterIndexes() ) {
         EXPECT_FALSE( programmer->virtualRouterIndexes().isMemberOf( entry.value() ) );
      }
      const auto inputs = asked();
      const auto keys = wanted();
      EXPECT_TRUE( std::includes( inputs.begin(), inputs.end(), keys.begin(), keys.end() ) )
            << "a key that nobody asks for";
   }

   /// Everything is as if nothing had ever been refused, but for indexes that were lost.
   void isComplete() const {
      isSound();
      EXPECT_EQ( wanted(), asked() );
      EXPECT_EQ( served(), wanted() );
      EXPECT_TRUE( programmer->macsNeedingVirtualRouterIndexes().count() == 0 ||
                   programmer->freeVirtualRouterIndexes().count() == 0 )
            << "one waits although an index is free";
   }

   /// Takes all records away and gives them again: that mends what was left undone.
   void isMendedByComingAgain() {
      const auto records = keysOf( status->vrrpVirtualMacs() );
      status->vrrpVirtualMacDelAll();
      isComplete();
      EXPECT_EQ( wanted(), std::set<VlanAndMac>() );
      EXPECT_EQ( programmer->virtualRouterIndexes().size(), 0u );
      EXPECT_EQ( programmer->macsNeedingVirtualRouterIndexes().count(), 0u );
      for( const VirtualRouterMac &record : records ) {
         status->vrrpVirtualMacIs( record, true );
      }
      isComplete();
   }

   /// So does a new start, and it brings back the indexes that were lost.
   void isMendedByANewStart() {
      startsAgain();
      isComplete();
      EXPECT_EQ( lost(), 0u );
   }
};

} // namespace Faults

#endif
