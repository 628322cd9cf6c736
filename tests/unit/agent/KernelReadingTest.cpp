// What the kernel shows at one moment.
#include "agent/input/KernelReading.h"
#include "tests/unit/agent/AgentOnFakeKernel.h"

namespace OrloAgent {
namespace {

class KernelReadingTest : public AgentOnFakeKernel {
 protected:
   std::vector<Verdict> read( std::chrono::milliseconds limit = std::chrono::minutes( 1 ) ) {
      return readKernel( loop_, kernel_, { Pelmo::IntfId( "br10" ) }, limit );
   }

   EventLoop loop_;
};

TEST_F( KernelReadingTest, GivesWhatTheRuleSaysOfEachDevice ) {
   masters( { { kDevice51, 51 } } );
   deviceIs( kDevice52, 52 );
   const auto tells = loop_.after( {}, [this] { kernel_.read(); } );
   const Pelmo::IntfId br10( "br10" );
   EXPECT_EQ( read(), ( std::vector<Verdict>{
                            { "vrrp.51", { br10, vrrpMac( 51 ) }, true, "has 10.0.0.1" },
                            { "vrrp.52", { br10, vrrpMac( 52 ) }, false, "has no address" } } ) );
}

TEST_F( KernelReadingTest, AKernelThatIsQuietTooEarlyIsNotReadYet ) {
   masters( { { kDevice51, 51 } } );
   const auto isQuiet = loop_.after( {}, [this] { kernel_.quiet(); } );
   const auto tells = loop_.after( std::chrono::milliseconds( 1 ), [this] { kernel_.read(); } );
   EXPECT_EQ( read().size(), 1u );
}

TEST_F( KernelReadingTest, HasAnEnd ) {
   try {
      read( {} );
      ADD_FAILURE() << "the kernel has told nothing";
   } catch( const std::runtime_error &error ) {
      EXPECT_STREQ( error.what(), "the kernel has not told all its links and addresses in time" );
   }
}

} // namespace
} // namespace OrloAgent
