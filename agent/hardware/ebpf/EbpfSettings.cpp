#include "agent/hardware/ebpf/EbpfSettings.h"

#include "agent/Pair.h"
#include "agent/hardware/HardwareError.h"
#include "agent/hardware/ebpf/program/RouterMacTables.h"

#include <charconv>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>

namespace OrloAgent {

namespace {

using Quor::U32;

constexpr U32 kMostAtOnce = 65536;

std::optional<U32> number( std::string_view text, U32 least, U32 most ) {
   U32 value = 0;
   const auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), value );
   const bool isNumber = error == std::errc() && end == text.data() + text.size();
   return isNumber && value >= least && value <= most ? std::optional( value ) : std::nullopt;
}

EbpfSettings::Port port( const std::string &text ) {
   const std::size_t colon = text.find( ':' );
   EbpfSettings::Port port{ text.substr( 0, colon ) };
   if( colon != std::string::npos ) {
      const auto vlan =
            number( std::string_view( text ).substr( colon + 1 ), kFirstVlan, kLastVlan );
      if( !vlan ) {
         throw HardwareError( "the ebpf hardware: port " + text + ": must be NAME or NAME:VLAN, " +
                              "with a VLAN number 1 to 4094" );
      }
      port.accessVlan = *vlan;
   }
   return port;
}

} // namespace

EbpfSettings EbpfSettings::read( const std::map<std::string, std::string> &settings ) {
   EbpfSettings read;
   std::set<std::string> names;
   for( const auto &[name, text] : settings ) {
      if( name == "pins" ) {
         read.pins = text;
      } else if( name == "ports" ) {
         std::istringstream words( text );
         for( std::string word; words >> word; ) {
            read.ports.push_back( port( word ) );
            if( !names.insert( read.ports.back().name ).second ) {
               throw HardwareError( "the ebpf hardware: port " + read.ports.back().name +
                                    " stands twice" );
            }
         }
      } else if( name == "batch" ) {
         const std::optional<U32> batch = number( text, 1, kMostAtOnce );
         if( !batch ) {
            throw HardwareError( "the ebpf hardware: batch " + text + ": must be 1 to " +
                                 std::to_string( kMostAtOnce ) );
         }
         read.batch = *batch;
      }
   }
   if( read.pins.empty() || read.pins.front() != '/' ) {
      throw HardwareError( "the ebpf hardware needs a setting \"pins\": an absolute path" );
   }
   if( read.ports.size() > kMostPorts ) {
      throw HardwareError( "the ebpf hardware has at most " + std::to_string( kMostPorts ) +
                           " ports" );
   }
   return read;
}

} // namespace OrloAgent
