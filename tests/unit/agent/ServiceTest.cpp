// What the service manager hears, on a socket as it gives one.
#include "agent/Service.h"
#include "tests/unit/agent/AgentOnFakeKernel.h"

#include <array>
#include <ctime>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace OrloAgent {
namespace {

long long monotonic() {
   timespec now{};
   clock_gettime( CLOCK_MONOTONIC, &now );
   return now.tv_sec * 1'000'000LL + now.tv_nsec / 1000;
}

class ServiceTest : public AgentOnFakeKernel {
 protected:
   ServiceTest() {
      const std::string path = folder_.path( "notify" );
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      path.copy( static_cast<char *>( address.sun_path ), sizeof address.sun_path - 1 );
      manager_ = socket( AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0 );
      EXPECT_EQ( bind( manager_, reinterpret_cast<const sockaddr *>( &address ), sizeof address ),
                 0 );
      setenv( "NOTIFY_SOCKET", path.c_str(), 1 );
   }
   ~ServiceTest() override {
      unsetenv( "NOTIFY_SOCKET" );
      close( manager_ );
   }
   /// The next message; empty when there is none.
   std::string heard() const {
      std::array<char, 1024> text{};
      const ssize_t size = recv( manager_, text.data(), text.size(), 0 );
      return { text.data(), size < 0 ? 0 : static_cast<std::size_t>( size ) };
   }

   int manager_;
};

TEST_F( ServiceTest, IsReadyWhenTheStartUpPassIsOver ) {
   masters( { { kDevice51, 51 } } );
   start();
   agent_->onReady = [this] {
      Service::ready( std::to_string( agent_->programming().lastAdoption().adopted ) +
                      " adopted, " + std::to_string( writes() ) + " written" );
   };
   kernel_.quiet();
   EXPECT_EQ( heard(), "" ) << "the kernel is not known yet";
   kernel_.read();
   EXPECT_EQ( heard(), "READY=1\nSTATUS=0 adopted, 3 written" );
   kernel_.read();
   EXPECT_EQ( heard(), "" ) << "it becomes ready once";
}

TEST_F( ServiceTest, SaysSinceWhenItReloads ) {
   const long long before = monotonic();
   Service::reloading();
   const long long after = monotonic();
   const std::string said = heard();
   const std::string name = "RELOADING=1\nMONOTONIC_USEC=";
   ASSERT_TRUE( said.starts_with( name ) ) << said;
   const long long at = std::stoll( said.substr( name.size() ) );
   EXPECT_LE( before, at );
   EXPECT_LE( at, after );
   EXPECT_EQ( said, name + std::to_string( at ) );
}

TEST_F( ServiceTest, SaysThatItStops ) {
   Service::stopping();
   EXPECT_EQ( heard(), "STOPPING=1" );
}

TEST_F( ServiceTest, WithoutAManagerNobodyHearsAnything ) {
   unsetenv( "NOTIFY_SOCKET" );
   Service::ready( "good" );
   Service::reloading();
   Service::stopping();
   EXPECT_EQ( heard(), "" );
}

TEST_F( ServiceTest, LinesGoToTheJournalOnlyWhenStandardOutputDoes ) {
   unsetenv( "JOURNAL_STREAM" );
   EXPECT_FALSE( Service::journal() );
   setenv( "JOURNAL_STREAM", "1:2", 1 );
   EXPECT_FALSE( Service::journal() ) << "somebody else's output";
   unsetenv( "JOURNAL_STREAM" );
}

TEST( Clock, WritesTheTimeAsRfc3339Does ) {
   EXPECT_EQ( timeText( Time() ), "1970-01-01T00:00:00Z" );
   EXPECT_EQ( timeText( Time( std::chrono::seconds( 1000000000 ) ) ), "2001-09-09T01:46:40Z" );
   EXPECT_EQ( timeText( Time( std::chrono::seconds( -1 ) ) ), "1969-12-31T23:59:59Z" );
}

} // namespace
} // namespace OrloAgent
