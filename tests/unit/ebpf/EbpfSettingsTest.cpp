// The settings of the ebpf hardware, as its module is given them.
#include "agent/hardware/ebpf/EbpfSettings.h"
#include "agent/hardware/HardwareError.h"

#include <gtest/gtest.h>

namespace OrloAgent {
namespace {

using Settings = std::map<std::string, std::string>;
using Ports = std::vector<EbpfSettings::Port>;

std::string answer( const Settings &settings ) {
   try {
      EbpfSettings::read( settings );
      return {};
   } catch( const HardwareError &error ) {
      return error.what();
   }
}

Settings withPorts( const std::string &ports ) {
   return { { "pins", "/p" }, { "ports", ports } };
}

TEST( EbpfSettings, AreRead ) {
   const EbpfSettings settings = EbpfSettings::read( { { "pins", "/sys/fs/bpf/x" },
                                                       { "ports", "swp1 swp2:10  br0.7:4094" },
                                                       { "batch", "1" } } );
   EXPECT_EQ( settings.pins, "/sys/fs/bpf/x" );
   EXPECT_EQ( settings.ports, ( Ports{ { "swp1", 0 }, { "swp2", 10 }, { "br0.7", 4094 } } ) );
   EXPECT_EQ( settings.batch, 1u );
}

TEST( EbpfSettings, WhatIsLeftOut ) {
   const EbpfSettings settings = EbpfSettings::read( { { "pins", "/p" } } );
   EXPECT_EQ( settings.ports, Ports{} );
   EXPECT_EQ( settings.batch, 128u );
}

TEST( EbpfSettings, ThatCannotBe ) {
   const std::string pins = "the ebpf hardware needs a setting \"pins\": an absolute path";
   EXPECT_EQ( answer( {} ), pins );
   EXPECT_EQ( answer( { { "pins", "bpf" } } ), pins );
   for( const char *port : { "swp1:", "swp1:0", "swp1:4095", "swp1:x", "swp1:10x", "swp1:-1",
                             "swp1:99999999999", "a:1:2" } ) {
      EXPECT_EQ( answer( withPorts( port ) ),
                 "the ebpf hardware: port " + std::string( port ) +
                       ": must be NAME or NAME:VLAN, with a VLAN number 1 to 4094" );
   }
   EXPECT_EQ( answer( withPorts( "a b a:3" ) ), "the ebpf hardware: port a stands twice" );
   for( const char *batch : { "", "0", "-1", "65537", "many" } ) {
      EXPECT_EQ( answer( { { "pins", "/p" }, { "batch", batch } } ),
                 "the ebpf hardware: batch " + std::string( batch ) + ": must be 1 to 65536" );
   }
   std::string many;
   for( int i = 0; i < 4097; ++i ) {
      many += " p" + std::to_string( i );
   }
   EXPECT_EQ( answer( withPorts( many ) ), "the ebpf hardware has at most 4096 ports" );
}

} // namespace
} // namespace OrloAgent
