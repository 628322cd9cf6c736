// Completion in bash: what Tab offers.
#include "tests/unit/ctl/FakeAgent.h"

namespace OrloCtl {
namespace {

using Json = nlohmann::json;

class CompletionTest : public ProgramTest {
 protected:
   /// What is offered behind `line`, one a line.
   std::string offered( const std::string &line ) {
      return run( { "/bin/bash", "-c",
                    "source \"$0\"; COMP_LINE=$1; "
                    "COMP_POINT=${#1}; _orloctl; printf '%s\\n' \"${COMPREPLY[@]}\"",
                    ORLOCTL_COMPLETION, line } )
            .out;
   }
   std::string program() const { return std::string( ORLOCTL ) + " --socket " + path_ + " "; }
};

TEST_F( CompletionTest, CommandsAndOptionsAreOffered ) {
   EXPECT_EQ( offered( "orloctl sh" ), "show\n" );
   EXPECT_EQ( offered( "orloctl re" ), "remove\nreload\n" );
   EXPECT_EQ( offered( "orloctl show " ), "pairs\nwaiting\nslots\ninterfaces\n" );
   EXPECT_EQ( offered( "orloctl --json --color never show w" ), "waiting\n" );
   EXPECT_EQ( offered( "orloctl a" ), "audit\n" );
   EXPECT_EQ( offered( "orloctl audit --r" ), "--repair\n" );
   EXPECT_EQ( offered( "orloctl show --w" ), "--watch\n" );
   EXPECT_EQ( offered( "orloctl get --w" ), "\n" );
   EXPECT_EQ( offered( "orloctl show pairs --v" ), "--vlan\n" );
   EXPECT_EQ( offered( "orloctl --color a" ), "auto\nalways\n" );
   EXPECT_EQ( offered( "orloctl show pairs --vlan " ), "\n" );
   EXPECT_EQ( offered( "orloctl reload " ), "\n" );
}

TEST_F( CompletionTest, PathsComeFromTheAgent ) {
   FakeAgent agent( path_, []( const Json &request ) {
      const std::string prefix = request["arguments"]["prefix"];
      return FakeAgent::result( { { "completions", { prefix + "able/a b", prefix + "able/c" } } } );
   } );
   EXPECT_EQ( offered( program() + "get /t" ), "/table/a b\n/table/c\n" );
   EXPECT_EQ( agent.requests().at( 0 )["command"], "complete" );
   // bash puts behind the last colon what is offered.
   EXPECT_EQ( offered( program() + "set /pair[10/00:00:5e" ), "5eable/a b\n5eable/c\n" );
}

TEST_F( CompletionTest, WithoutAnAgentNothingIsOfferedOrSaid ) {
   EXPECT_EQ( offered( program() + "get /t" ), "\n" );
}

} // namespace
} // namespace OrloCtl
