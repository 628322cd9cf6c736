// What the whole system costs: bytes for a pair, and what an event asks for however large it is.
#include "OrloVrrpSm/VrrpSm.h"
#include "tests/unit/library/Reflecting.h"
#include "tests/unit/quor/AllocationCount.h"

#include <gtest/gtest.h>

namespace LibraryTests {
namespace {

using Hardware = Routing::Fhrp::Hardware::Status;
using Orlo::VrrpSm;
using Quor::allocatedBytes;
using Quor::allocations;

static_assert( sizeof( VirtualRouterMacTable::QuorVirtualRouterMac ) == 16 );
static_assert( sizeof( VrrpSm::QuorVirtualRouterIndex ) == 20 );

/// Counts what it is asked to do.
class CountingHelper : public OrloHelper::VrrpSmHelper {
 public:
   CountingHelper() : VrrpSmHelper( "counting" ) {}
   void addVirtualRouterMac( const EthAddr &, U32, U32 ) override { ++adds; }
   void deleteVirtualRouterMac( const EthAddr &, U32, U32 ) override { ++deletes; }

   U32 adds = 0;
   U32 deletes = 0;
};

/// A programmer with so many indexes.
struct System {
   Ptr<VirtualRouterMacTable> table = virtualRouterMacTableFactory();
   Ptr<Hardware> hardware = Quor::make<Hardware>();
   Ptr<CountingHelper> helper = Quor::make<CountingHelper>();
   Ptr<VrrpSm> sm;

   explicit System( U32 indexes ) { hardware->virtualRouterCountIs( indexes ); }
   void start() { sm = Orlo::VrrpSmIs( table, hardware, helper ); }
};

/// All VLANs of one MAC, then all of the next one.
VlanAndMac numbered( U32 i ) {
   return pair( static_cast<U16>( 1 + i % 4094 ), static_cast<U16>( 1 + i / 4094 ) );
}

class SystemOfSize : public testing::TestWithParam<U32> {};

TEST_P( SystemOfSize, TakesAtMost64BytesForAProgrammedPairWhenEveryIndexIsHandedOut ) {
   const std::size_t before = allocatedBytes();
   System system( GetParam() );
   system.start();
   for( U32 i = 0; i < GetParam(); ++i ) {
      system.table->virtualRouterMacIs( numbered( i ), true );
   }
   EXPECT_LE( allocatedBytes() - before, std::size_t{ 64 } * GetParam() );
   EXPECT_EQ( system.helper->adds, GetParam() );
   EXPECT_EQ( system.sm->freeVirtualRouterIndexes().count(), 0u );
}

TEST_P( SystemOfSize, NeedsNoMemoryForPairsThatGoAndComeAgain ) {
   System system( GetParam() );
   system.start();
   const auto allCome = [&] {
      for( U32 i = 0; i < GetParam(); ++i ) {
         system.table->virtualRouterMacIs( numbered( i ), true );
      }
   };
   allCome();
   U32 first = 0;
   const auto cycle = [&] {
      const std::size_t before = allocations();
      for( U32 i = 0; i < 10'000; ++i ) {
         system.table->virtualRouterMacDel( numbered( first ) );
         system.table->virtualRouterMacIs( numbered( first ), true );
         first = ( first + 1 ) % GetParam();
      }
      return allocations() - before;
   };
   cycle(); // whatever it keeps
   EXPECT_EQ( cycle(), 0u );
   EXPECT_EQ( system.helper->deletes, 20'000u );
   EXPECT_EQ( system.sm->virtualRouterIndexes().size(), GetParam() );
}

TEST_P( SystemOfSize, GivesAllOfItBack ) {
   const std::size_t before = allocatedBytes();
   {
      System system( GetParam() );
      system.start();
      for( U32 i = 0; i < GetParam(); ++i ) {
         system.table->virtualRouterMacIs( numbered( i ), true );
      }
      system.sm = nullptr;
   }
   EXPECT_EQ( allocatedBytes(), before );
}

// Also where the buckets have just been doubled.
INSTANTIATE_TEST_SUITE_P( Sizes, SystemOfSize,
                          testing::Values( 10'000, 65'536, 65'537, 131'073, 262'145, 1'000'000 ) );

/// What an event has asked for.
struct Cost {
   std::size_t allocations = 0;
   U32 adds = 0;
   U32 deletes = 0;

   bool operator==( const Cost & ) const = default;
   friend std::ostream &operator<<( std::ostream &out, const Cost &cost ) {
      return out << cost.allocations << " allocations, " << cost.adds << " adds, " << cost.deletes
                 << " deletes";
   }
};

/// Both halves: br10 serves 100 VLANs and has one MAC throughout; br20 has `others` pairs.
struct Switch : System {
   Ptr<VirtualRouterMacStatus> status = Quor::make<VirtualRouterMacStatus>();
   Ptr<IntfVlanIdSet::Table> vlanSets = Quor::make<IntfVlanIdSet::Table>();
   Ptr<LibSm> reflector;

   static constexpr U16 kVlans = 100;
   static constexpr U16 kOtherVlans = 250;

   Switch( U32 indexes, U32 others ) : System( indexes ) {
      serves( "br10", 1000, kVlans );
      serves( "br20", 2000, kOtherVlans );
      reflector = libSmFactory( status, vlanSets, table );
      start();
      for( U16 vrid = 1; vrid <= others / kOtherVlans; ++vrid ) {
         publish( "br20", vrid );
      }
      publish( "br10", 1 );
   }
   ~Switch() { sm = nullptr; }
   Switch( const Switch & ) = delete;
   Switch &operator=( const Switch & ) = delete;

   void serves( const char *intf, U16 from, U16 count ) const {
      const auto set = vlanSets->sviVlanSetIs( IntfId( intf ) );
      for( U16 number = from; number < from + count; ++number ) {
         set->vlanIdIs( vlan( number ), true );
      }
   }
   void publish( const char *intf, U16 vrid ) const {
      status->vrrpVirtualMacIs( VirtualRouterMac( IntfId( intf ), mac( vrid ) ), true );
   }
   void withdraw( const char *intf, U16 vrid ) const {
      status->vrrpVirtualMacDel( VirtualRouterMac( IntfId( intf ), mac( vrid ) ) );
   }

   template <class Do>
   Cost costOf( const Do &event ) const {
      const Cost before{ allocations(), helper->adds, helper->deletes };
      event();
      return { allocations() - before.allocations, helper->adds - before.adds,
               helper->deletes - before.deletes };
   }
   Cost costOfPublishing() const {
      return costOf( [&] { publish( "br10", 2 ); } );
   }
   Cost costOfWithdrawing() const {
      return costOf( [&] { withdraw( "br10", 2 ); } );
   }
};

class SwitchWithOtherPairs : public testing::TestWithParam<U32> {};

TEST_P( SwitchWithOtherPairs, PublishesAndWithdrawsAMacAtACostThatDoesNotDependOnThem ) {
   const Switch system( 1 << 17, GetParam() );
   ASSERT_EQ( system.table->virtualRouterMacs().size(), GetParam() + Switch::kVlans );
   system.costOfPublishing(); // whatever it keeps
   system.costOfWithdrawing();
   for( int round = 0; round < 10; ++round ) {
      ASSERT_EQ( system.costOfPublishing(), ( Cost{ 0, Switch::kVlans, 0 } ) );
      ASSERT_EQ( system.costOfWithdrawing(), ( Cost{ 0, 0, Switch::kVlans } ) );
   }
}

TEST_P( SwitchWithOtherPairs, PublishesAMacThatHasToWaitAtACostThatDoesNotDependOnThem ) {
   const Switch system( 50, GetParam() );
   ASSERT_EQ( system.sm->macsNeedingVirtualRouterIndexes().count(),
              GetParam() + Switch::kVlans - 50 );
   system.costOfPublishing();
   system.costOfWithdrawing();
   for( int round = 0; round < 10; ++round ) {
      ASSERT_EQ( system.costOfPublishing(), Cost() );
      ASSERT_EQ( system.costOfWithdrawing(), Cost() );
   }
   EXPECT_EQ( system.sm->virtualRouterIndexes().size(), 50u );
}

TEST_P( SwitchWithOtherPairs, HandsEachIndexOnAtACostThatDoesNotDependOnThem ) {
   const Switch system( 50, GetParam() );
   const auto first = [&] {
      return VlanAndMac( system.sm->virtualRouterIndexes().begin()->key() );
   };
   const auto handOn = [&] {
      return system.costOf( [&] {
         const VlanAndMac leaving = first();
         system.table->virtualRouterMacDel( leaving );
         system.table->virtualRouterMacIs( leaving, true ); // behind all that wait
      } );
   };
   for( int round = 0; round < 200; ++round ) {
      handOn(); // whatever it keeps
   }
   for( int round = 0; round < 200; ++round ) {
      ASSERT_EQ( handOn(), ( Cost{ 0, 1, 1 } ) );
   }
}

INSTANTIATE_TEST_SUITE_P( Others, SwitchWithOtherPairs, testing::Values( 0, 1000, 60'000 ) );

} // namespace
} // namespace LibraryTests
