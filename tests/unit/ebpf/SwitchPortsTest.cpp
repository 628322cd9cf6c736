// The program is at every switch port that there is, and stays there.
#include "tests/unit/ebpf/HelperOnFakeSwitch.h"

namespace OrloAgent {
namespace {

class SwitchPortsTest : public HelperOnFakeSwitch {
 protected:
   using Ports = std::map<U32, U32>;
   using Filters = std::map<U32, U32>;

   /// When the filter of swp1 is back after somebody has taken it away, in milliseconds.
   int backAfter( int atMost ) {
      switch_.filterIs( "swp1", 0 );
      for( int waited = 1; waited <= atMost; ++waited ) {
         work();
         if( switch_.filters.contains( ifindex( "swp1" ) ) ) {
            return waited;
         }
      }
      return -1;
   }
};

TEST_F( SwitchPortsTest, ArePutIntoServiceAtStart ) {
   start();

   EXPECT_EQ( switch_.takeCalls(),
              ( Lines{ "port 3 vlan 0", "attach 3", "port 4 vlan 10", "attach 4" } ) );
   EXPECT_EQ( work(), Lines{} );
   EXPECT_EQ( next_, Time::max() );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( SwitchPortsTest, TheNextOneFindsThemInService ) {
   start();
   switch_.takeCalls();

   start();

   EXPECT_EQ( switch_.takeCalls(), Lines{} );
   EXPECT_EQ( work(), Lines{} );
}

TEST_F( SwitchPortsTest, AnotherProgramTakesThePlaceOfTheOneBefore ) {
   start();
   switch_.takeCalls();
   program_ = 2;

   start();

   EXPECT_EQ( switch_.takeCalls(), ( Lines{ "attach 3", "attach 4" } ) );
   EXPECT_EQ( switch_.filters, ( Filters{ { 3, 2 }, { 4, 2 } } ) );
}

TEST_F( SwitchPortsTest, WhoIsNoneAnyMoreIsLeft ) {
   own_.ports = { { "swp1", 0 }, { "swp2", 10 }, { "swp3", 20 }, { "swp4", 20 } };
   switch_.comes( "swp3" );
   switch_.comes( "swp4" );
   start();
   switch_.filterIs( "swp2", FakeSwitch::kForeign );
   switch_.filterIs( "swp3", 99 ); // an older one of ours
   switch_.goes( "swp4" );
   own_.ports = { { "swp1", 11 } };
   switch_.takeCalls();

   start();

   EXPECT_EQ( switch_.takeCalls(),
              ( Lines{ "no port 4", "detach 5", "no port 5", "no port 6", "port 3 vlan 11" } ) );
   EXPECT_EQ( switch_.ports, ( Ports{ { 3, 11 } } ) );
   EXPECT_EQ( switch_.filters, ( Filters{ { 3, 1 }, { 4, FakeSwitch::kForeign } } ) );
}

TEST_F( SwitchPortsTest, OneThatComesLaterIsPutIntoServiceThen ) {
   switch_.goes( "swp2" );
   start();
   EXPECT_EQ( told(), Lines{ "there is no port swp2: it is taken into service when it comes" } );
   EXPECT_EQ( work(), Lines{} );

   switch_.comes( "swp2" );

   EXPECT_EQ( work(), ( Lines{ "port 5 vlan 10", "attach 5" } ) );
   EXPECT_EQ( work(), Lines{} );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( SwitchPortsTest, OneThatIsMadeAgainIsPutIntoServiceAgain ) {
   start();
   switch_.goes( "swp1" );
   EXPECT_EQ( work(), Lines{ "no port 3" } );
   EXPECT_EQ( told(), Lines{ "there is no port swp1: it is taken into service when it comes" } );

   for( const U32 again : { 5u, 6u } ) {
      ASSERT_EQ( switch_.comes( "swp1" ), again );
      work();
      EXPECT_EQ( switch_.ports, ( Ports{ { again, 0 }, { 4, 10 } } ) );
      EXPECT_EQ( switch_.filters, ( Filters{ { again, 1 }, { 4, 1 } } ) );
      switch_.goes( "swp1" );
   }
}

TEST_F( SwitchPortsTest, OneThatIsMadeAgainAtOnce ) {
   start();
   switch_.goes( "swp1" );
   switch_.comes( "swp1" );

   EXPECT_EQ( work(), ( Lines{ "no port 3", "port 5 vlan 0", "attach 5" } ) );
}

TEST_F( SwitchPortsTest, OneWithAnotherNameIsLeft ) {
   start();
   switch_.renamed( "swp1", "spare" );

   EXPECT_EQ( work(), ( Lines{ "detach 3", "no port 3" } ) );
   EXPECT_EQ( switch_.filters, ( Filters{ { 4, 1 } } ) );
}

TEST_F( SwitchPortsTest, TwoThatChangeTheirNamesKeepTheirFilters ) {
   start();
   switch_.renamed( "swp1", "tmp" );
   switch_.renamed( "swp2", "swp1" );
   switch_.renamed( "tmp", "swp2" );

   EXPECT_EQ( work(), ( Lines{ "port 4 vlan 0", "port 3 vlan 10" } ) );
   EXPECT_EQ( switch_.filters, ( Filters{ { 3, 1 }, { 4, 1 } } ) );
}

TEST_F( SwitchPortsTest, AFilterThatSomebodyTakesAwayIsBackAtOnce ) {
   start();
   work();
   switch_.filterIs( "swp2", 0 );

   EXPECT_EQ( work(), Lines{ "attach 4" } );
   EXPECT_EQ( work(), Lines{} );
}

TEST_F( SwitchPortsTest, SomebodyWhoTakesItAwayAgainAndAgainIsAnsweredLessAndLessOften ) {
   start();
   now_ += std::chrono::minutes( 1 );
   std::vector<int> back;
   for( int times = 0; times < 6; ++times ) {
      back.push_back( backAfter( 10'000 ) );
   }
   EXPECT_EQ( back, ( std::vector<int>{ 1, 1, 100, 200, 400, 800 } ) );

   now_ += std::chrono::minutes( 1 );
   EXPECT_EQ( backAfter( 10'000 ), 1 ) << "after a time of peace";
}

TEST_F( SwitchPortsTest, SomebodyElsesFilterIsLeftAlone ) {
   start();
   switch_.filterIs( "swp1", FakeSwitch::kForeign );
   EXPECT_EQ( work(), Lines{} );
   EXPECT_EQ( work(), Lines{} );
   EXPECT_EQ( told(),
              Lines{ "port swp1 is not in service: at the place of our filter it has one that is "
                     "not ours (tc filter show dev swp1 ingress)" } );

   switch_.filterIs( "swp1", 0 );

   EXPECT_EQ( work(), Lines{ "attach 3" } );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( SwitchPortsTest, SomebodyElsesFilterOfAnotherKindIsLeftAloneAsWell ) {
   own_.ports = { { "swp1", 0 } };
   switch_.attachError = EEXIST; // it is not seen before
   start();
   EXPECT_EQ( told(),
              Lines{ "port swp1 is not in service: at the place of our filter it has one that is "
                     "not ours (tc filter show dev swp1 ingress)" } );
   EXPECT_EQ( work( 60'000 ), Lines{} );

   switch_.attachError = 0;
   switch_.filterIs( "swp1", 0 );

   EXPECT_EQ( work(), Lines{ "attach 3" } );
}

TEST_F( SwitchPortsTest, APortThatTheKernelRefusesIsTriedAgain ) {
   switch_.attachError = EPERM;
   start();
   EXPECT_EQ( told(), ( Lines{ "cannot take port swp1 into service: Operation not permitted; it is "
                               "tried again",
                               "cannot take port swp2 into service: Operation not permitted; it is "
                               "tried again" } ) );
   EXPECT_EQ( work(), ( Lines{ "attach 3", "attach 4" } ) );
   EXPECT_EQ( next_, now_ + std::chrono::milliseconds( 100 ) );
   EXPECT_EQ( work( 99 ), Lines{} );
   EXPECT_EQ( work( 1 ), ( Lines{ "attach 3", "attach 4" } ) );
   EXPECT_EQ( next_, now_ + std::chrono::milliseconds( 200 ) );

   switch_.attachError = 0;
   EXPECT_EQ( work( 200 ), ( Lines{ "attach 3", "attach 4" } ) );

   EXPECT_EQ( work( 60'000 ), Lines{} );
   EXPECT_EQ( told(), Lines{} );
}

TEST_F( SwitchPortsTest, AnAccessVlanThatTheKernelRefusesIsTriedAgain ) {
   switch_.portError = ENOMEM;
   own_.ports = { { "swp2", 10 } };
   start();
   EXPECT_EQ( told(), Lines{ "cannot take port swp2 into service: Cannot allocate memory; it is "
                             "tried again" } );
   EXPECT_EQ( switch_.filters, Filters{} );

   switch_.portError = 0;
   work( 60'000 );

   EXPECT_EQ( switch_.ports, ( Ports{ { 4, 10 } } ) );
   EXPECT_EQ( switch_.filters, ( Filters{ { 4, 1 } } ) );
}

TEST_F( SwitchPortsTest, WhatHappensToOtherDevicesIsNoConcern ) {
   start();
   work();
   switch_.comes( "eth0" );
   switch_.filterIs( "eth0", FakeSwitch::kForeign );

   EXPECT_EQ( work(), Lines{} );
}

} // namespace
} // namespace OrloAgent
