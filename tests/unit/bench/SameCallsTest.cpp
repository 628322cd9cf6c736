// Figures about two programs say something only while both do the same.
#include "bench/subjects/SameCalls.h"
#include "bench/subjects/Floor.h"
#include "bench/subjects/RecordingHelper.h"

#include <gtest/gtest.h>

namespace {

using namespace OrloBench;

// That the programmer has started, and how many pairs there are at the end.
constexpr std::size_t kOtherLines = 2;

class SameCallsTest : public testing::TestWithParam<History> {};

TEST_P( SameCallsTest, productFloorAndNaiveCodeAskTheHardwareForTheSame ) {
   const SameCalls same( GetParam() );

   EXPECT_EQ( same.difference(), "" );
   EXPECT_EQ( same.calls() > kOtherLines, GetParam().indexes > 0 );
}

std::string nameOf( const testing::TestParamInfo<History> &info ) {
   std::string name;
   for( const char c : info.param.name ) {
      name += std::isalnum( static_cast<unsigned char>( c ) ) != 0 ? c : '_';
   }
   return name;
}

INSTANTIATE_TEST_SUITE_P( Histories, SameCallsTest, testing::ValuesIn( histories() ), nameOf );

TEST( BenchHelperTest, theSameCallsInAnotherOrderHaveAnotherDigest ) {
   const auto one = Quor::make<BenchHelper>();
   const auto other = Quor::make<BenchHelper>();
   const EthAddr routers[] = { mac( 0x00005E000101 ), mac( 0x00005E000102 ) };

   one->addVirtualRouterMac( routers[0], 10, 0 );
   one->addVirtualRouterMac( routers[1], 10, 1 );
   other->addVirtualRouterMac( routers[1], 10, 1 );
   other->addVirtualRouterMac( routers[0], 10, 0 );

   EXPECT_NE( one->digest(), other->digest() );
   EXPECT_EQ( one->adds(), other->adds() );
}

TEST( FloorTest, thePairThatWaitsLongestGetsTheIndex ) {
   const auto helper = Quor::make<RecordingHelper>();
   Floor floor( helper, 1 );
   floor.startReflector();
   floor.startProgrammer();
   const EthAddr router = mac( 0x00005E000101 );

   for( const std::size_t number : { 30u, 10u, 20u } ) {
      floor.want( { vlan( number ), router } );
   }
   floor.unwant( { vlan( 30 ), router } );

   EXPECT_EQ( helper->calls(),
              ( std::vector<std::string>{ "add 00:00:5e:00:01:01 on VLAN 30 at 0",
                                          "delete 00:00:5e:00:01:01 on VLAN 30 at 0",
                                          "add 00:00:5e:00:01:01 on VLAN 10 at 0" } ) );
   EXPECT_EQ( floor.waiting(), 1u );
}

} // namespace
