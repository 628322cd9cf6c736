// What is understood of a command line, and what is said against the rest.
#include "ctl/CommandLine.h"
#include "ctl/Failure.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace OrloCtl {
namespace {

using Json = nlohmann::json;
using Words = std::vector<const char *>;

CommandLine read( Words words ) {
   words.insert( words.begin(), "orloctl" );
   return CommandLine::read( static_cast<int>( words.size() ), words.data() );
}

std::string reasonAgainst( const Words &words ) {
   try {
      read( words );
   } catch( const Failure &failure ) {
      EXPECT_EQ( failure.status(), Failure::usage );
      return failure.what();
   }
   return {};
}

TEST( CommandLine, EachCommandBecomesARequest ) {
   const struct {
      Words words;
      std::string command;
      Json arguments;
   } rows[] = {
         { { "show" }, "show", Json::object() },
         { { "show", "pairs" }, "show pairs", Json::object() },
         { { "show", "pairs", "--vlan", "10", "--mac", "00:00:5e:00:01:33", "--interface", "br10" },
           "show pairs",
           { { "vlan", 10 }, { "mac", "00:00:5e:00:01:33" }, { "interface", "br10" } } },
         { { "show", "pairs", "--vlan", "0" }, "show pairs", { { "vlan", 0 } } },
         { { "show", "waiting" }, "show waiting", Json::object() },
         { { "show", "slots" }, "show slots", Json::object() },
         { { "show", "interfaces" }, "show interfaces", Json::object() },
         { { "explain", "10", "00:00:5e:00:01:33" },
           "explain",
           { { "vlan", 10 }, { "mac", "00:00:5e:00:01:33" } } },
         { { "audit" }, "audit", Json::object() },
         { { "audit", "--repair" }, "audit", { { "repair", true } } },
         { { "list" }, "list", Json::object() },
         { { "list", "/table" }, "list", { { "path", "/table" } } },
         { { "get", "/a" }, "get", { { "path", "/a" } } },
         { { "get", "show" }, "get", { { "path", "show" } } },
         { { "set", "/a", "true" }, "set", { { "path", "/a" }, { "value", "true" } } },
         { { "set", "/a", "--", "-1" }, "set", { { "path", "/a" }, { "value", "-1" } } },
         { { "set", "/a", "" }, "set", { { "path", "/a" }, { "value", "" } } },
         { { "set", "[a]", "[1,2]" }, "set", { { "path", "[a]" }, { "value", "[1,2]" } } },
         { { "remove", "/a" }, "remove", { { "path", "/a" } } },
         { { "call", "/a" }, "call", { { "path", "/a" }, { "arguments", Json::array() } } },
         { { "call", "/a", "1", "get", "[x,y]", "" },
           "call",
           { { "path", "/a" }, { "arguments", { "1", "get", "[x,y]", "" } } } },
         { { "watch" }, "watch", Json::object() },
         { { "watch", "/a" }, "watch", { { "path", "/a" } } },
         { { "trace", "Orlo", "1-5" }, "trace", { { "facility", "Orlo" }, { "levels", "1-5" } } },
         { { "reload" }, "reload", Json::object() },
         { { "metrics" }, "metrics", Json::object() },
         { { "complete", "" }, "complete", { { "prefix", "" } } },
         { { "complete", "/ta" }, "complete", { { "prefix", "/ta" } } },
   };
   for( const auto &row : rows ) {
      const CommandLine line = read( row.words );
      EXPECT_EQ( line.command, row.command );
      EXPECT_EQ( line.arguments, row.arguments ) << row.command;
      EXPECT_EQ( line.follows, row.command == "watch" || row.command == "trace" );
   }
}

TEST( CommandLine, OptionsStandBeforeAndBehindTheCommand ) {
   for( const Words &words : { Words{ "--json", "--color", "never", "--socket", "/s", "--timeout",
                                      "0.5", "show", "pairs", "--watch" },
                               Words{ "show", "--watch", "pairs", "--json", "--color=never",
                                      "--socket=/s", "--timeout=0.5" } } ) {
      const CommandLine line = read( words );
      EXPECT_EQ( line.command, "show pairs" );
      EXPECT_TRUE( line.json );
      EXPECT_TRUE( line.watch );
      EXPECT_EQ( line.color, CommandLine::Color::never );
      EXPECT_EQ( line.socket, "/s" );
      EXPECT_EQ( line.timeout, 0.5 );
   }
}

TEST( CommandLine, TheSocketIsTheOptionsThenTheEnvironmentsThenTheUsualOne ) {
   unsetenv( "ORLO_SOCKET" );
   const CommandLine usual = read( { "show" } );
   EXPECT_EQ( usual.socket, "/run/orlo/control" );
   EXPECT_EQ( usual.timeout, 30 );
   EXPECT_EQ( usual.color, CommandLine::Color::automatic );
   EXPECT_FALSE( usual.json );
   EXPECT_FALSE( usual.watch );
   setenv( "ORLO_SOCKET", "/elsewhere", 1 );
   EXPECT_EQ( read( { "show" } ).socket, "/elsewhere" );
   EXPECT_EQ( read( { "--socket", "/s", "show" } ).socket, "/s" );
   unsetenv( "ORLO_SOCKET" );
}

TEST( CommandLine, AWordThatIsNoCommandIsAnsweredWithTheNearest ) {
   EXPECT_EQ( reasonAgainst( { "shwo" } ), "unknown command \"shwo\": did you mean \"show\"?" );
   EXPECT_EQ( reasonAgainst( { "gett", "/a" } ),
              "unknown command \"gett\": did you mean \"get\"?" );
   EXPECT_EQ( reasonAgainst( { "show", "piars" } ),
              "unknown command \"piars\": did you mean \"pairs\"?" );
   EXPECT_EQ( reasonAgainst( { "banana" } ), "unknown command \"banana\"; see orloctl --help" );
   EXPECT_EQ( reasonAgainst( {} ), "a command is wanted; see orloctl --help" );
}

TEST( CommandLine, WhatIsMissingOrTooMuchIsToldInOneLine ) {
   EXPECT_EQ( reasonAgainst( { "reload", "now" } ),
              "\"now\" is one word too many for reload; see orloctl --help" );
   EXPECT_EQ( reasonAgainst( { "get", "/a", "/b" } ),
              "\"/b\" is one word too many for get; see orloctl --help" );
   EXPECT_EQ( reasonAgainst( { "show", "--jsno" } ),
              "unknown option \"--jsno\" (a value that begins with - goes behind --); see orloctl "
              "--help" );
   for( const Words &words :
        { Words{ "get" }, Words{ "set", "/a" }, Words{ "explain", "10" }, Words{ "trace", "x" },
          Words{ "explain", "ten", "00:00:5e:00:01:33" },
          Words{ "explain", "4096", "00:00:5e:00:01:33" }, Words{ "show", "pairs", "--vlan", "-1" },
          Words{ "show", "pairs", "--vlan" }, Words{ "--color", "blue", "show" },
          Words{ "--timeout", "0", "show" }, Words{ "get", "/a", "--watch" },
          Words{ "show", "waiting", "--vlan", "10" } } ) {
      const std::string reason = reasonAgainst( words );
      EXPECT_NE( reason, "" ) << words.back();
      EXPECT_EQ( reason.find( '\n' ), std::string::npos ) << reason;
   }
}

TEST( CommandLine, HelpListsTheCommandsThatAreForPeople ) {
   const CommandLine line = read( { "--help" } );
   EXPECT_EQ( line.command, "" );
   for( const char *word : { "show", "explain", "list", "get", "set", "remove", "call", "watch",
                             "trace", "reload", "metrics", "--socket", "--json", "Exit status" } ) {
      EXPECT_NE( line.help.find( word ), std::string::npos ) << word;
   }
   EXPECT_EQ( line.help.find( "complete" ), std::string::npos );
   EXPECT_NE( read( { "show", "pairs", "--help" } ).help.find( "--vlan" ), std::string::npos );
}

} // namespace
} // namespace OrloCtl
