#include "agent/Privileges.h"

#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

namespace OrloAgent {
namespace {

using Use = Privileges::Use;
using Plan = Privileges::Plan;

const Capabilities kRoots = Capabilities::all();

Configuration of( const std::string &kind ) {
   Configuration configuration;
   configuration.hardware.kind = kind;
   return configuration;
}

/// The lines of /proc/self/status by name.
std::map<std::string, std::string> status() {
   std::map<std::string, std::string> found;
   std::ifstream file( "/proc/self/status" );
   for( std::string line; std::getline( file, line ); ) {
      const std::size_t colon = line.find( ":\t" );
      if( colon != std::string::npos ) {
         found[line.substr( 0, colon )] = line.substr( colon + 2 );
      }
   }
   return found;
}

/// Whether `what`, done by a process of its own, ends well: what a process gives up is gone.
bool holdsInAChild( const std::function<bool()> &what ) {
   const pid_t child = fork();
   if( child == 0 ) {
      bool isGood = false;
      try {
         isGood = what();
      } catch( const std::exception & ) { // as bad
      }
      _exit( isGood ? 0 : 1 );
   }
   int ended = -1;
   EXPECT_EQ( waitpid( child, &ended, 0 ), child );
   return ended == 0;
}

TEST( Capabilities, HaveNames ) {
   EXPECT_EQ( Capabilities().text(), "none" );
   EXPECT_EQ( ( Capabilities{ CAP_BPF, CAP_NET_ADMIN } ).text(), "CAP_NET_ADMIN CAP_BPF" );
   EXPECT_EQ( Capabilities::named( "CAP_NET_ADMIN" ), Capabilities{ CAP_NET_ADMIN } );
   for( const char *other : { "", "CAP_FLY", "NET_ADMIN", "12", "63" } ) {
      EXPECT_EQ( Capabilities::named( other ), std::nullopt ) << other;
   }
}

TEST( Privileges, RootKeepsWhatTheHardwareNeeds ) {
   const Capabilities forBridge{ CAP_NET_ADMIN };
   const Capabilities forEbpf{ CAP_NET_ADMIN, CAP_BPF };
   EXPECT_EQ( Privileges::plan( of( "memory" ), Use::run, kRoots ), Plan() );
   EXPECT_EQ( Privileges::plan( of( "bridge" ), Use::run, kRoots ),
              ( Plan{ forBridge, forBridge, {}, false } ) );
   EXPECT_EQ( Privileges::plan( of( "ebpf" ), Use::run, kRoots ),
              ( Plan{ forEbpf, forEbpf, {}, false } ) );
}

TEST( Privileges, AModuleKeepsAllUnlessTheConfigurationSaysWhat ) {
   Configuration module = of( "module" );
   EXPECT_EQ( Privileges::plan( module, Use::run, kRoots ), ( Plan{ kRoots, kRoots, {}, true } ) );
   module.hardware.capabilities = Capabilities{ CAP_SYS_RAWIO };
   const Capabilities named{ CAP_SYS_RAWIO };
   EXPECT_EQ( Privileges::plan( module, Use::run, kRoots ), ( Plan{ named, named, {}, false } ) );
   module.hardware.capabilities = Capabilities();
   EXPECT_EQ( Privileges::plan( module, Use::run, kRoots ), Plan() );
}

TEST( Privileges, WhatOnlyTheStartNeedsIsKeptUntilThen ) {
   Configuration configuration = of( "memory" );
   configuration.control.group = "noc";
   configuration.control.metricsPort = 99;
   const Plan plan{ { CAP_CHOWN, CAP_NET_BIND_SERVICE }, {}, {}, false };
   EXPECT_EQ( Privileges::plan( configuration, Use::run, kRoots ), plan );
   configuration.control.metricsPort = 1024;
   EXPECT_EQ( Privileges::plan( configuration, Use::run, kRoots ).atStart,
              Capabilities{ CAP_CHOWN } );
   // It can do without.
   EXPECT_EQ( Privileges::plan( configuration, Use::run, {} ), Plan() );
}

TEST( Privileges, WhatIsMissingIsKnown ) {
   const Capabilities forEbpf{ CAP_NET_ADMIN, CAP_BPF };
   EXPECT_EQ( Privileges::plan( of( "memory" ), Use::run, {} ).missing, Capabilities() );
   EXPECT_EQ( Privileges::plan( of( "bridge" ), Use::run, {} ).missing,
              Capabilities{ CAP_NET_ADMIN } );
   EXPECT_EQ( Privileges::plan( of( "ebpf" ), Use::run, {} ).missing, forEbpf );
   EXPECT_EQ( Privileges::plan( of( "ebpf" ), Use::change, { CAP_NET_ADMIN } ).missing,
              Capabilities{ CAP_BPF } );
   EXPECT_EQ( Privileges::plan( of( "ebpf" ), Use::look, {} ).missing, Capabilities() );
}

TEST( Privileges, WhoeverComesForOneThingMayReachTheFilesOfTheAgent ) {
   const Capabilities toFlush{ CAP_NET_ADMIN, CAP_DAC_OVERRIDE };
   EXPECT_EQ( Privileges::plan( of( "bridge" ), Use::change, kRoots ),
              ( Plan{ toFlush, toFlush, {}, false } ) );
   EXPECT_EQ( Privileges::plan( of( "memory" ), Use::look, kRoots ).kept,
              Capabilities{ CAP_DAC_OVERRIDE } );
}

TEST( Privileges, AreGivenUpForGood ) {
   EXPECT_TRUE( holdsInAChild( [] {
      Configuration configuration = of( "memory" );
      configuration.control.group = "noc";
      Privileges privileges( configuration, Use::run );
      const bool isThereAtStart =
            Capabilities::held().has( CAP_CHOWN ) == ( geteuid() == 0 ); // of others: none
      privileges.startIsOver();
      auto all = status();
      return isThereAtStart && privileges.text() == "none" && Capabilities::held().isEmpty() &&
             all["CapEff"] == "0000000000000000" && all["CapPrm"] == all["CapEff"] &&
             all["CapInh"] == all["CapEff"] && all["CapAmb"] == all["CapEff"] &&
             ( geteuid() != 0 || all["CapBnd"] == all["CapEff"] ) && all["NoNewPrivs"] == "1";
   } ) );
}

TEST( Privileges, AreEffectiveAsFarAsTheyAreKept ) {
   if( !Capabilities::held().has( CAP_NET_ADMIN ) ) {
      GTEST_SKIP() << "needs CAP_NET_ADMIN: run it as root";
   }
   EXPECT_TRUE( holdsInAChild( [] {
      const Privileges privileges( of( "bridge" ), Use::run );
      auto all = status();
      return privileges.text() == "CAP_NET_ADMIN" && all["CapEff"] == "0000000000001000" &&
             all["CapPrm"] == all["CapEff"] && all["CapInh"] == "0000000000000000";
   } ) );
}

TEST( Privileges, ThatAreMissingAreAnErrorThatSaysWhatToDo ) {
   EXPECT_TRUE( holdsInAChild( [] {
      Capabilities::keepOnly( { CAP_NET_ADMIN }, {} );
      try {
         const Privileges privileges( of( "ebpf" ), Use::run );
      } catch( const PrivilegesError &error ) {
         return std::string( error.what() ) ==
                "the ebpf hardware needs CAP_BPF, and this process does not have it: start it as "
                "root, or add it to CapabilityBoundingSet= and AmbientCapabilities= of the service";
      }
      return false;
   } ) );
}

} // namespace
} // namespace OrloAgent
