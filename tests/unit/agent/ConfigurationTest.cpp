// The configuration file: what is taken, and how everything else is answered.
#include "agent/Configuration.h"
#include "agent/JsonText.h"
#include "tests/unit/agent/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <linux/capability.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include <sys/stat.h>

namespace OrloAgent {
namespace {

using Json = nlohmann::json;
using Pointer = Json::json_pointer;

const std::string kFile = "agent.json";

Json rows() {
   std::ifstream file( AGENT_TEST_DATA "/configurations.json" );
   std::stringstream text;
   text << file.rdbuf();
   return readJson( text.str() );
}

Json with( Json document, const std::string &pointer, const Json &value ) {
   document[Pointer( pointer )] = value;
   return document;
}

Json without( Json document, const std::string &pointer ) {
   const Pointer at( pointer );
   document[at.parent_pointer()].erase( at.back() );
   return document;
}

/// What the reader answers; empty when it takes the text.
std::string answer( const std::string &text ) {
   try {
      readConfiguration( text, kFile );
      return {};
   } catch( const ConfigurationError &error ) {
      return error.what();
   }
}

/// The error about what stands at `place`.
std::string error( const std::string &place, const std::string &shown, const std::string &says ) {
   return kFile + ": " + place + ": " + shown + ": " + says;
}

std::string shown( const Json &value ) {
   return value.is_object()   ? "an object"
          : value.is_array()  ? "an array"
          : value == "br\x7f" ? "\"br\\u007f\""
          : value == "/\x7f"  ? "\"/\\u007f\""
                              : value.dump( -1, ' ', true );
}

TEST( Configuration, HasWhatTheFileSays ) {
   const Configuration configuration = readConfiguration( R"( {
      // The slot table survives the agent.
      "hardware": { "kind": "memory", "indexes": 5, "path": "/run/x/slots" },
      "interfaces": [ { "name": "br10", "vlan": 10, "secondaryVlans": [ 12, 11 ] },
                      { "name": "vlan20", "vlan": 20 } ] /* two */
   } )",
                                                          kFile );

   EXPECT_EQ( configuration.hardware.kind, "memory" );
   EXPECT_EQ( configuration.hardware.indexes, 5u );
   EXPECT_EQ( configuration.hardware.settings,
              ( std::map<std::string, std::string>{ { "path", "/run/x/slots" } } ) );
   ASSERT_EQ( configuration.interfaces.size(), 2u );
   EXPECT_EQ( configuration.interfaces[0].name, Pelmo::IntfId( "br10" ) );
   EXPECT_EQ( configuration.interfaces[0].vlan, Bridging::VlanId( 10 ) );
   const std::vector<Bridging::VlanId> secondaries{ Bridging::VlanId( 12 ),
                                                    Bridging::VlanId( 11 ) };
   EXPECT_EQ( configuration.interfaces[0].secondaryVlans, secondaries );
   EXPECT_EQ( configuration.interfaces[1].name, Pelmo::IntfId( "vlan20" ) );
   EXPECT_TRUE( configuration.interfaces[1].secondaryVlans.empty() );
   EXPECT_EQ( summary( configuration ), "2 interfaces, 4 VLANs, 5 memory indexes" );
}

TEST( Configuration, WhatMayBeLeftOutHasItsDefault ) {
   const Configuration configuration = readConfiguration( R"( {
      "hardware": { "kind": "memory", "indexes": 5, "path": "/run/x/slots" }, "interfaces": [] } )",
                                                          kFile );
   EXPECT_EQ( configuration.plugin, "liborlovrrp.so.1" );
   EXPECT_EQ( configuration.hardware.module, "orlo-helper-memory.so" );
   EXPECT_EQ( configuration.control, ControlConfiguration() );
   EXPECT_EQ( configuration.control.path, "/run/orlo/control" );
   EXPECT_EQ( configuration.control.metricsPort, 0 );
}

TEST( Configuration, HardwareCanBeABridge ) {
   const Configuration configuration = readConfiguration( R"( {
      "hardware": { "kind": "bridge", "indexes": 512, "bridge": "br0", "path": "/run/orlo/bridge-slots" },
      "interfaces": [] } )",
                                                          kFile );
   const HardwareConfiguration hardware{
         "bridge",
         512,
         "orlo-helper-bridge.so",
         { { "bridge", "br0" }, { "path", "/run/orlo/bridge-slots" } } };
   EXPECT_EQ( configuration.hardware, hardware );
   EXPECT_EQ( summary( configuration ), "0 interfaces, 0 VLANs, 512 bridge indexes" );
}

TEST( Configuration, HardwareCanBeTheKernelOfTheSwitch ) {
   const Configuration configuration = readConfiguration( R"( {
      "hardware": { "kind": "ebpf", "indexes": 4,
                    "ports": [ "swp1", { "name": "swp2", "vlan": 10 }, "swp3" ] },
      "interfaces": [] } )",
                                                          kFile );
   const HardwareConfiguration hardware{
         "ebpf",
         4,
         "orlo-helper-ebpf.so",
         { { "ports", "swp1 swp2:10 swp3" }, { "pins", "/sys/fs/bpf/orlo" } } };
   EXPECT_EQ( configuration.hardware, hardware );
   EXPECT_EQ( summary( configuration ), "0 interfaces, 0 VLANs, 4 ebpf indexes" );
}

TEST( Configuration, HardwareCanBeSomebodyElsesModule ) {
   const Configuration configuration = readConfiguration( R"( {
      "plugin": "/opt/orlo/liborlovrrp.so.1",
      "hardware": { "kind": "module", "indexes": 4, "module": "/usr/lib/chip.so",
                    "settings": { "device": "/dev/chip0", "mode": "" },
                    "capabilities": [ "CAP_SYS_RAWIO", "CAP_NET_ADMIN" ] },
      "control": { "path": "/run/c", "group": "noc", "metrics": { "address": "::1", "port": 9742 } },
      "interfaces": [] } )",
                                                          kFile );
   EXPECT_EQ( configuration.plugin, "/opt/orlo/liborlovrrp.so.1" );
   const HardwareConfiguration hardware{ "module",
                                         4,
                                         "/usr/lib/chip.so",
                                         { { "device", "/dev/chip0" }, { "mode", "" } },
                                         Capabilities{ CAP_SYS_RAWIO, CAP_NET_ADMIN } };
   EXPECT_EQ( configuration.hardware, hardware );
   const ControlConfiguration control{ "/run/c", "noc", "::1", 9742 };
   EXPECT_EQ( configuration.control, control );
   EXPECT_EQ( summary( configuration ), "0 interfaces, 0 VLANs, 4 module indexes" );
}

TEST( Configuration, TakesEveryGoodRow ) {
   const Json all = rows();
   EXPECT_EQ( answer( all["base"].dump() ), "" );
   for( const Json &row : all["good"] ) {
      for( const Json &value : row["values"] ) {
         const Json document = with( all["base"], row["at"], value );
         EXPECT_EQ( answer( document.dump() ), "" ) << document;
      }
   }
}

TEST( Configuration, AnswersABadValueWithItsPlaceAndWhatIsAllowed ) {
   const Json all = rows();
   for( const Json &row : all["bad"] ) {
      for( const std::string place : row["at"] ) {
         for( const Json &value : row["values"] ) {
            const Json document = with( all["base"], place, value );
            EXPECT_EQ( answer( document.dump() ), error( place, shown( value ), row["says"] ) )
                  << document;
         }
      }
   }
   for( const Json &row : all["documents"] ) {
      EXPECT_EQ( answer( row["put"].dump() ),
                 error( "the document", row["shown"],
                        "must be an object with \"hardware\", \"interfaces\", \"control\", "
                        "\"plugin\"" ) );
   }
}

TEST( Configuration, NamesWhatIsMissing ) {
   const Json all = rows();
   for( const Json &row : all["missing"] ) {
      const Json document = without( all["base"], row["at"] );
      EXPECT_EQ( answer( document.dump() ), error( row["at"], "missing", row["says"] ) )
            << document;
   }
}

TEST( Configuration, AnswersAnUnknownMemberWithTheKnownOnes ) {
   const Json all = rows();
   for( const Json &row : all["unknown"] ) {
      const Json document = with( all["base"], row["at"], 1 );
      EXPECT_EQ( answer( document.dump() ),
                 error( row.value( "shown", row["at"].get<std::string>() ), "1",
                        "unknown member; " + row["says"].get<std::string>() ) )
            << document;
   }
}

TEST( Configuration, AVlanBelongsToOneInterfaceAndAnInterfaceStandsOnce ) {
   const Json all = rows();
   for( const char *group : { "twice", "beyondSchema" } ) {
      for( const Json &row : all[group] ) {
         const Json document = with( all["base"], row["at"], row["put"] );
         EXPECT_EQ( answer( document.dump() ), error( row["fault"], row["shown"], row["says"] ) )
               << document;
      }
   }
}

TEST( Configuration, TellsWhereTextIsNoJson ) {
   const Json all = rows();
   for( const Json &row : all["notJson"] ) {
      const std::string said = answer( row["text"] );
      const std::string expected = kFile + ": " + row["says"].get<std::string>();
      EXPECT_EQ( said.substr( 0, expected.size() ), expected ) << row;
   }
}

TEST( Configuration, SchemaAndReaderAgree ) {
   const std::string command = "python3 " AGENT_TEST_DATA "/check_schema.py " AGENT_SCHEMA
                               " " AGENT_TEST_DATA "/configurations.json 2>&1";
   std::string output;
   FILE *const pipe = popen( command.c_str(), "r" );
   ASSERT_NE( pipe, nullptr );
   for( int c = std::fgetc( pipe ); c != EOF; c = std::fgetc( pipe ) ) {
      output += static_cast<char>( c );
   }
   EXPECT_EQ( pclose( pipe ), 0 ) << output << "\n(python3-jsonschema is needed)";
}

TEST( Configuration, AnErrorIsOneShortLineWhateverTheInputIs ) {
   const Json base = rows()["base"];
   const std::string endless( 1000000, 'x' );
   const std::vector<std::string> texts{
         with( base, "/interfaces/0/name", endless ).dump(),
         with( base, "/" + endless, 1 ).dump(),
         with( base, "/interfaces/0/name", "\n\x1b[31m" ).dump(),
         "{ \"" + endless,
         "{ \"hardware\": " + endless,
         "{ \"\xff\xfe\": 1 }",
         std::string( 1000, '\0' ),
         std::string( 100000, '[' ),
         [] {
            std::string nested;
            for( int i = 0; i < 100000; ++i ) {
               nested += "{\"a\":";
            }
            return nested;
         }(),
         std::string( 100000, '[' ) + std::string( 100000, ']' ),
   };
   for( const std::string &text : texts ) {
      const std::string said = answer( text );
      EXPECT_FALSE( said.empty() ) << text.substr( 0, 80 );
      EXPECT_LT( said.size(), 500u ) << text.substr( 0, 80 );
      for( const char c : said ) {
         EXPECT_TRUE( c >= ' ' && c <= '~' ) << text.substr( 0, 80 ) << " gives " << said;
      }
   }
}

TEST( Configuration, NoBytesDoMoreThanRaiseAConfigurationError ) {
   const std::string good = rows()["base"].dump( 3 );
   std::mt19937 random( 1 );
   for( int i = 0; i < 20000; ++i ) {
      std::string text = good;
      for( auto changes = random() % 4 + 1; changes > 0; --changes ) {
         const std::size_t at = random() % text.size();
         switch( random() % 3 ) {
         case 0:
            text[at] = static_cast<char>( random() );
            break;
         case 1:
            text.erase( at, random() % 8 );
            break;
         default:
            text.insert( at, text.substr( random() % text.size(), random() % 12 ) );
         }
         if( text.empty() ) {
            text = " ";
         }
      }
      EXPECT_NO_THROW( answer( text ) ) << text;
   }
}

class ConfigurationFile : public testing::Test {
 protected:
   std::string path( const std::string &name ) const { return folder_.path( name ); }
   static std::string answerTo( const std::string &path ) {
      try {
         readConfigurationFile( path );
         return {};
      } catch( const ConfigurationError &error ) {
         return error.what();
      }
   }

 private:
   TemporaryFolder folder_;
};

TEST_F( ConfigurationFile, IsRead ) {
   std::ofstream( path( "good" ) ) << rows()["base"];
   EXPECT_EQ( answerTo( path( "good" ) ), "" );
}

TEST_F( ConfigurationFile, MayBeAPipe ) {
   ASSERT_EQ( mkfifo( path( "pipe" ).c_str(), 0600 ), 0 );
   std::jthread writer( [this] { std::ofstream( path( "pipe" ) ) << rows()["base"]; } );
   EXPECT_EQ( answerTo( path( "pipe" ) ), "" );
}

TEST_F( ConfigurationFile, ThatIsNotThere ) {
   EXPECT_EQ( answerTo( path( "none" ) ),
              path( "none" ) + ": cannot open: No such file or directory" );
}

TEST_F( ConfigurationFile, ThatIsADirectory ) {
   EXPECT_EQ( answerTo( path( "" ) ), path( "" ) + ": cannot read: Is a directory" );
}

TEST_F( ConfigurationFile, ThatIsTooLong ) {
   std::ofstream( path( "long" ) ) << std::string( ( 4 << 20 ) + 1, ' ' );
   EXPECT_EQ( answerTo( path( "long" ) ),
              path( "long" ) + ": larger than 4 MiB: no configuration is that long" );
}

TEST_F( ConfigurationFile, ThatNeverEnds ) {
   EXPECT_EQ( answerTo( "/dev/zero" ),
              "/dev/zero: larger than 4 MiB: no configuration is that long" );
}

TEST_F( ConfigurationFile, AsLargeAsItCanGetIsTaken ) {
   Json document = rows()["base"];
   document["interfaces"] = Json::array();
   for( int vlan = 1; vlan <= 4094; ++vlan ) {
      document["interfaces"].push_back(
            { { "name", "interface" + std::to_string( vlan ) }, { "vlan", vlan } } );
   }
   std::ofstream( path( "large" ) ) << document.dump( 8 );
   EXPECT_EQ( answerTo( path( "large" ) ), "" );
   EXPECT_EQ( summary( readConfigurationFile( path( "large" ) ) ),
              "4094 interfaces, 4094 VLANs, 5 memory indexes" );
}

} // namespace
} // namespace OrloAgent
