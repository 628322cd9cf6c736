// The status table gets the differences, each once, withdrawals first.
#include "agent/input/Publisher.h"
#include "tests/unit/agent/FakeKernel.h"

#include <gtest/gtest.h>

namespace OrloAgent {
namespace {

using Routing::Fhrp::VirtualRouterMac;
using Routing::Fhrp::VirtualRouterMacStatus;
using Lines = std::vector<std::string>;

/// Writes down what is told, and between that what is changed in the table.
class Journal : public PublisherWatcher, public VirtualRouterMacStatus::NotifieeConst {
 public:
   Lines written() { return std::exchange( lines_, {} ); }

   void onPublished( const VirtualRouterMac &record, const std::string &device ) override {
      lines_.push_back( "published " + valueToStrep( record ) + " from " + device );
   }
   void onWithdrawn( const VirtualRouterMac &record, const std::string &device,
                     const std::string &reason ) override {
      lines_.push_back( "withdrawn " + valueToStrep( record ) + " " + device + ": " + reason );
   }
   void onVrrpVirtualMac( const VirtualRouterMac &record ) override {
      const bool isThere = notifier()->vrrpVirtualMacs().isMemberOf( record );
      EXPECT_EQ( notifier()->vrrpVirtualMac( record ), isThere ) << "a key with the value false";
      lines_.push_back( ( isThere ? "+ " : "- " ) + valueToStrep( record ) );
   }

 private:
   Lines lines_;
};

class PublisherTest : public testing::Test {
 protected:
   PublisherTest() {
      journal_->notifierIs( status_ );
      journal_->isRegisteredNotifieeIs( true );
   }

   static Verdict verdict( const std::string &device, Quor::U8 vrid, bool published,
                           const std::string &intf = "br10" ) {
      return { device,
               { Pelmo::IntfId( intf ), vrrpMac( vrid ) },
               published,
               published ? "has 10.0.0.1" : "has no address" };
   }
   Lines after( const std::vector<Verdict> &verdicts ) {
      publisher_.verdictsAre( verdicts );
      return journal_->written();
   }

   Quor::Ptr<VirtualRouterMacStatus> status_ = Quor::make<VirtualRouterMacStatus>();
   Quor::Ptr<Journal> journal_ = Quor::make<Journal>();
   Publisher publisher_{ status_, *journal_ };
};

TEST_F( PublisherTest, OnlyDifferencesAreWritten ) {
   EXPECT_EQ( after( {} ), Lines{} );
   EXPECT_EQ( after( { verdict( "vrrp.51", 51, false ) } ), Lines{} );
   EXPECT_EQ(
         after( { verdict( "vrrp.51", 51, true ) } ),
         ( Lines{ "published br10/00:00:5e:00:01:33 from vrrp.51", "+ br10/00:00:5e:00:01:33" } ) );
   EXPECT_EQ( after( { verdict( "vrrp.51", 51, true ) } ), Lines{} );
   EXPECT_EQ( after( { verdict( "vrrp.51", 51, false ) } ),
              ( Lines{ "withdrawn br10/00:00:5e:00:01:33 vrrp.51: has no address",
                       "- br10/00:00:5e:00:01:33" } ) );
   EXPECT_EQ( status_->vrrpVirtualMacs().size(), 0u );
   EXPECT_EQ( after( {} ), Lines{} );
}

TEST_F( PublisherTest, WithdrawalsComeFirst ) {
   after( { verdict( "vrrp.52", 52, true ) } );
   EXPECT_EQ( after( { verdict( "vrrp.51", 51, true ), verdict( "vrrp.52", 52, false ) } ),
              ( Lines{ "withdrawn br10/00:00:5e:00:01:34 vrrp.52: has no address",
                       "- br10/00:00:5e:00:01:34", "published br10/00:00:5e:00:01:33 from vrrp.51",
                       "+ br10/00:00:5e:00:01:33" } ) );
}

TEST_F( PublisherTest, TwoDevicesWithOneMacAreOneRecord ) {
   EXPECT_EQ( after( { verdict( "a", 51, true ), verdict( "b", 51, true ) } ),
              ( Lines{ "published br10/00:00:5e:00:01:33 from a", "+ br10/00:00:5e:00:01:33" } ) );
   EXPECT_EQ( after( { verdict( "a", 51, false ), verdict( "b", 51, true ) } ), Lines{} );
   EXPECT_EQ( after( { verdict( "a", 51, true ), verdict( "b", 51, true ) } ), Lines{} );
   EXPECT_EQ( after( { verdict( "a", 51, true ) } ), Lines{} );
   EXPECT_EQ( after( {} ), ( Lines{ "withdrawn br10/00:00:5e:00:01:33 a: the device is gone",
                                    "- br10/00:00:5e:00:01:33" } ) );
}

TEST_F( PublisherTest, OneMacOnTwoInterfacesIsTwoRecords ) {
   EXPECT_EQ( after( { verdict( "a", 51, true ), verdict( "b", 51, true, "br20" ) } ).size(), 4u );
   EXPECT_EQ( status_->vrrpVirtualMacs().size(), 2u );
   EXPECT_EQ( after( { verdict( "a", 51, true ) } ),
              ( Lines{ "withdrawn br20/00:00:5e:00:01:33 b: the device is gone",
                       "- br20/00:00:5e:00:01:33" } ) );
}

TEST_F( PublisherTest, ARenamedDeviceChangesNothing ) {
   after( { verdict( "old", 51, true ) } );
   EXPECT_EQ( after( { verdict( "new", 51, true ) } ), Lines{} );
   EXPECT_EQ( after( { verdict( "new", 51, false ) } ),
              ( Lines{ "withdrawn br10/00:00:5e:00:01:33 new: has no address",
                       "- br10/00:00:5e:00:01:33" } ) );
}

TEST_F( PublisherTest, ADeviceWithAnotherMacStandsForAnotherRecord ) {
   after( { verdict( "vrrp", 51, true ) } );
   EXPECT_EQ(
         after( { verdict( "vrrp", 52, true ) } ),
         ( Lines{ "withdrawn br10/00:00:5e:00:01:33 vrrp: stands for 00:00:5e:00:01:34 on br10 "
                  "now",
                  "- br10/00:00:5e:00:01:33", "published br10/00:00:5e:00:01:34 from vrrp",
                  "+ br10/00:00:5e:00:01:34" } ) );
}

TEST_F( PublisherTest, ADeviceThatLostItsInterfaceTellsWhy ) {
   after( { verdict( "vrrp", 51, true ) } );
   const Verdict lost{ "vrrp",
                       { Pelmo::IntfId(), vrrpMac( 51 ) },
                       false,
                       "stands on br30, which is "
                       "not configured" };
   EXPECT_EQ( after( { lost } ), ( Lines{ "withdrawn br10/00:00:5e:00:01:33 vrrp: stands on br30, "
                                          "which is not configured",
                                          "- br10/00:00:5e:00:01:33" } ) );
}

} // namespace
} // namespace OrloAgent
