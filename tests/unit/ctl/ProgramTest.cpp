// orloctl as a program: exit status, standard output and standard error.
#include "tests/unit/ctl/FakeAgent.h"

#include <atomic>

#include <unistd.h>

namespace OrloCtl {
namespace {

using Json = nlohmann::json;

FakeAgent::Answer always( const std::string &bytes ) {
   return [bytes]( const Json & ) { return bytes; };
}

std::string slots() {
   return FakeAgent::rows( { { { "index", 0 }, { "free", 1 } } } ) +
          FakeAgent::result(
                { { "total", 1 }, { "used", 0 }, { "available", 1 }, { "rowsName", "slots" } } );
}

TEST_F( ProgramTest, AnAnswerIsShownAndTheStatusIsZero ) {
   FakeAgent agent( path_, always( slots() ) );
   const Ran ran = orloctl( { "show", "slots" } );
   EXPECT_EQ( ran.out, "INDEX  VLAN  MAC  HARDWARE  FREE\n"
                       "    0     -  -    -            1\n"
                       "0 of 1 slot used, 1 available\n" );
   EXPECT_EQ( ran.err, "" );
   EXPECT_EQ( ran.status, 0 );
   EXPECT_EQ( agent.requests(), std::vector<Json>( { { { "schema", 1 },
                                                       { "id", 1 },
                                                       { "command", "show slots" },
                                                       { "arguments", Json::object() } } } ) );
}

TEST_F( ProgramTest, JsonIsTheResultWithItsRowsAndItsSchemaFirst ) {
   const FakeAgent agent( path_, always( slots() ) );
   const Ran ran = orloctl( { "show", "slots", "--json" } );
   EXPECT_EQ( ran.out, "{\n"
                       "   \"schema\": 1,\n"
                       "   \"available\": 1,\n"
                       "   \"slots\": [\n"
                       "      {\n"
                       "         \"free\": 1,\n"
                       "         \"index\": 0\n"
                       "      }\n"
                       "   ],\n"
                       "   \"total\": 1,\n"
                       "   \"used\": 0\n"
                       "}\n" );
   EXPECT_EQ( ran.status, 0 );
}

TEST_F( ProgramTest, RowsOfSeveralLinesAreOneList ) {
   const FakeAgent agent( path_, always( FakeAgent::rows( { 1, 2 } ) + FakeAgent::rows( { 3 } ) +
                                         FakeAgent::result( { { "rowsName", "all" } } ) ) );
   EXPECT_EQ( Json::parse( orloctl( { "list", "--json" } ).out ),
              Json( { { "schema", 1 }, { "all", { 1, 2, 3 } } } ) );
}

TEST_F( ProgramTest, AnErrorIsOneLineAndTheStatusSaysItsKind ) {
   const struct {
      std::string kind;
      Json id;
      int status;
   } rows[] = { { "no", 1, 1 },    { "refused", 1, 1 },    { "failed", 1, 1 },
                { "usage", 1, 2 }, { "busy", nullptr, 3 }, { "unheard of", 1, 1 } };
   for( const auto &row : rows ) {
      const FakeAgent agent( path_, always( FakeAgent::error( row.kind, "line\nbreak", row.id ) ) );
      const Ran ran = orloctl( { "show" } );
      EXPECT_EQ( ran.status, row.status ) << row.kind;
      EXPECT_EQ( ran.err, "orloctl: line?break\n" );
      EXPECT_EQ( ran.out, "" );
      unlink( path_.c_str() );
   }
}

TEST_F( ProgramTest, BadUsageIsStatusTwoAndAsksNobody ) {
   const Ran ran = orloctl( { "shwo" } );
   EXPECT_EQ( ran.status, 2 );
   EXPECT_EQ( ran.err, "orloctl: unknown command \"shwo\": did you mean \"show\"?\n" );
   EXPECT_EQ( orloctl( { "get", std::string( 70000, 'x' ) } ).status, 3 );
   const FakeAgent agent( path_, always( "" ) );
   EXPECT_EQ( orloctl( { "get", std::string( 70000, 'x' ) } ).err,
              "orloctl: that is too long to be asked\n" );
   EXPECT_EQ( run( { ORLOCTL, "--socket", std::string( 200, 'x' ), "show" } ).status, 2 );
}

TEST_F( ProgramTest, HelpIsStatusZero ) {
   const Ran ran = orloctl( { "--help" } );
   EXPECT_EQ( ran.status, 0 );
   EXPECT_NE( ran.out.find( "explain" ), std::string::npos );
   EXPECT_EQ( ran.err, "" );
}

TEST_F( ProgramTest, WithoutAnAgentTheStatusIsThreeAndTheMessageHelps ) {
   Ran ran = orloctl( { "show" } );
   EXPECT_EQ( ran.status, 3 );
   EXPECT_EQ( ran.err, "orloctl: cannot reach the agent at " + path_ +
                             ": No such file or directory; is orlo-agent running? (--socket or "
                             "ORLO_SOCKET names another socket)\n" );
   { const FakeAgent dead( path_, always( "" ) ); }
   ran = orloctl( { "show" } );
   EXPECT_EQ( ran.status, 3 );
   EXPECT_NE( ran.err.find( path_ + ": Connection refused; is orlo-agent running?" ),
              std::string::npos );
}

TEST_F( ProgramTest, AnAgentThatClosesInTheMiddleIsOneThatCannotBeReached ) {
   for( const std::string &bytes :
        { std::string(), std::string( "{\"schema\":1," ), FakeAgent::rows( { 1 } ) } ) {
      const FakeAgent agent( path_, always( bytes ) );
      const Ran ran = orloctl( { "show" } );
      EXPECT_EQ( ran.status, 3 );
      EXPECT_EQ( ran.err,
                 "orloctl: the agent at " + path_ + " closed the connection; has it ended?\n" );
      EXPECT_EQ( ran.out, "" );
      unlink( path_.c_str() );
   }
}

TEST_F( ProgramTest, AnAgentThatDoesNotAnswerIsNotWaitedForForEver ) {
   const FakeAgent agent( path_, always( "" ), true );
   const Ran ran = orloctl( { "--timeout", "0.05", "show" } );
   EXPECT_EQ( ran.status, 3 );
   EXPECT_EQ( ran.err, "orloctl: the agent at " + path_ +
                             " does not answer; --timeout SECONDS waits longer\n" );
}

TEST_F( ProgramTest, AnAnswerThatIsNoneIsAnErrorAndNotACrash ) {
   const std::string head = "{\"schema\":1,\"id\":1,";
   for( const std::string &bytes :
        { std::string( "garbage\n" ),
          std::string( "\n" ),
          std::string( "\xff\xfe\n" ),
          std::string( "7\n" ),
          std::string( "{}\n" ),
          std::string( "{\"schema\":2,\"id\":1}\n" ),
          std::string( "{\"schema\":1,\"id\":2,\"result\":{}}\n" ),
          head + "\"other\":1}\n",
          head + "\"result\":[]}\n",
          head + "\"result\":null}\n",
          head + "\"result\":{}}\n",
          head + "\"result\":{\"rowsName\":7}}\n",
          head + "\"rows\":7}\n",
          head + "\"rows\":{\"a\":1}}\n",
          head + "\"error\":\"no\"}\n",
          head + "\"error\":{}}\n",
          head + "\"error\":{\"kind\":1,\"message\":2}}\n",
          std::string( 1000000, '[' ) + "\n",
          head + "\"result\":" + std::string( 1000000, '[' ) + std::string( 1000000, ']' ) + "}\n",
          std::string( 5000000, 'x' ) } ) {
      const FakeAgent agent( path_, always( bytes ) );
      const Ran ran = orloctl( { "show" } );
      EXPECT_EQ( ran.status, 1 ) << bytes.substr( 0, 80 );
      EXPECT_EQ( ran.err.find( "orloctl: the agent" ), 0u ) << ran.err;
      EXPECT_EQ( ran.err.find( '\n' ), ran.err.size() - 1 );
      unlink( path_.c_str() );
   }
}

TEST_F( ProgramTest, EventsAreShownUntilTheAgentGoes ) {
   const std::string head = "{\"schema\":1,\"id\":1,\"sequence\":";
   const std::string events =
         FakeAgent::result( { { "following", true } } ) + head +
         "1,\"event\":{\"at\":\"2026-11-21T11:02:24Z\",\"path\":\"/table\",\"attribute\":"
         "\"pair\",\"key\":\"10/a\",\"value\":true}}\n" +
         head + "4,\"lost\":3}\n";
   const FakeAgent agent( path_, always( events ) );
   Ran ran = orloctl( { "watch", "/table" } );
   EXPECT_EQ( ran.out, "2026-11-21T11:02:24Z  /table  pair[10/a] = true\n"
                       "3 events were lost\n" );
   EXPECT_EQ( ran.status, 3 );
   ran = orloctl( { "watch", "--json" } );
   EXPECT_EQ( ran.out, "{\"schema\":1,\"event\":{\"at\":\"2026-11-21T11:02:24Z\",\"attribute\":"
                       "\"pair\",\"key\":\"10/a\",\"path\":\"/table\",\"value\":true},"
                       "\"sequence\":1}\n"
                       "{\"schema\":1,\"lost\":3,\"sequence\":4}\n" );
}

TEST_F( ProgramTest, WatchingShowsTheAnswerAgainAndClearsNoFile ) {
   std::atomic<int> answers = 0;
   const FakeAgent agent( path_, [&]( const Json & ) {
      return ++answers <= 2 ? slots() : FakeAgent::error( "no", "enough" );
   } );
   const Ran ran = orloctl( { "show", "slots", "--watch" } );
   const std::string once = "INDEX  VLAN  MAC  HARDWARE  FREE\n"
                            "    0     -  -    -            1\n"
                            "0 of 1 slot used, 1 available\n";
   EXPECT_EQ( ran.out, once + once );
   EXPECT_EQ( ran.err, "orloctl: enough\n" );
   EXPECT_EQ( ran.status, 1 );
}

TEST_F( ProgramTest, OnATerminalThereAreColorsAndWatchingClearsIt ) {
   std::atomic<int> answers = 0;
   const std::string unread =
         FakeAgent::rows(
               { { { "index", 0 }, { "vlan", 1 }, { "mac", "m" }, { "hardware", false } } } ) +
         FakeAgent::result(
               { { "total", 1 }, { "used", 1 }, { "available", 0 }, { "rowsName", "slots" } } );
   const FakeAgent agent( path_, [&]( const Json & ) {
      return ++answers % 2 == 1 ? unread : FakeAgent::error( "no", "enough" );
   } );
   const OrloAgent::FileDescriptor terminal( posix_openpt( O_RDWR | O_NOCTTY ) );
   ASSERT_EQ( grantpt( terminal.get() ), 0 );
   ASSERT_EQ( unlockpt( terminal.get() ), 0 );
   const std::string name = ptsname( terminal.get() );
   const OrloAgent::FileDescriptor keepsIt( open( name.c_str(), O_RDWR | O_NOCTTY ) );
   EXPECT_EQ( orloctl( { "show", "slots", "--watch" }, name ).status, 1 );
   std::string shown( 4096, ' ' );
   shown.resize( static_cast<std::size_t>( read( terminal.get(), shown.data(), shown.size() ) ) );
   EXPECT_EQ( shown.find( "\033[H\033[2JINDEX" ), 0u ) << shown;
   EXPECT_NE( shown.find( "\033[31mno\033[0m" ), std::string::npos ) << shown;

   EXPECT_EQ( orloctl( { "show", "slots", "--color", "always" } ).out.find( '\033' ),
              std::string( "INDEX  VLAN  MAC  HARDWARE  FREE\n    0     1  m    " ).size() );
   orloctl( { "show", "slots" } ); // the other answer
   EXPECT_EQ( orloctl( { "show", "slots" } ).out.find( '\033' ), std::string::npos );
}

TEST_F( ProgramTest, AReaderThatHasEnoughEndsItQuietly ) {
   Json rows = Json::array();
   for( int i = 0; i < 10000; ++i ) {
      rows.push_back( { { "index", i }, { "free", i + 1 } } );
   }
   const FakeAgent agent( path_, always( FakeAgent::rows( rows ) +
                                         FakeAgent::result( { { "total", 10000 },
                                                              { "used", 0 },
                                                              { "available", 10000 },
                                                              { "rowsName", "slots" } } ) ) );
   const Ran ran = run( { "/bin/bash", "-c",
                          "trap '' PIPE; \"$0\" --socket \"$1\" show slots | head -n 1\n"
                          "echo ${PIPESTATUS[0]}",
                          ORLOCTL, path_ } );
   EXPECT_EQ( ran.out, "INDEX  VLAN  MAC  HARDWARE   FREE\n141\n" ); // by SIGPIPE
   EXPECT_EQ( ran.err, "" );
}

TEST_F( ProgramTest, WhatCannotBeWrittenIsAnError ) {
   const FakeAgent agent( path_, always( slots() ) );
   const Ran ran = orloctl( { "show", "slots" }, "/dev/full" );
   EXPECT_EQ( ran.status, 1 );
   EXPECT_EQ( ran.err, "orloctl: cannot write: No space left on device\n" );
}

} // namespace
} // namespace OrloCtl
