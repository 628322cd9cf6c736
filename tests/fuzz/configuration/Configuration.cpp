// The configuration: any bytes are a configuration or an error, never anything else.
//
//    - What is wrong is told in one printable line: the file, then the place (a line and a column
//      inside the text, or the pointer to a value that is there), then what is wrong with it.
//    - The text is refused as no JSON exactly when another reader of JSON refuses it.
//    - A configuration that was read has nothing in it but what its header promises, and is the
//      same without the comments and blanks of its text.
#include "agent/Configuration.h"

#include "agent/Pair.h"
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"

#include <nlohmann/json.hpp>

#include <algorithm>

using Fuzz::check;
using Json = nlohmann::json;
using namespace OrloAgent;

namespace {

const std::string kFile = "orlo.json";
constexpr std::size_t kLongestError = 32768;

/// The number behind `word`.
std::size_t numberBehind( const std::string &text, const std::string &word ) {
   const std::size_t at = text.find( word );
   check( at != std::string::npos, "no" + word + "in: " + text );
   return std::stoul( text.substr( at + word.size() ) );
}

void checkLineAndColumn( const std::string &place, std::string_view text ) {
   const std::size_t line = numberBehind( place, "line " );
   const std::size_t column = numberBehind( place, ", column " );
   check( line >= 1 && column >= 1, "lines and columns count from 1: " + place );
   for( std::size_t i = 1; i < line; ++i ) {
      const std::size_t end = text.find( '\n' );
      check( end != std::string_view::npos, "there is no such line: " + place );
      text.remove_prefix( end + 1 );
   }
   const std::size_t length = std::min( text.find( '\n' ), text.size() );
   check( column <= length + 1, "there is no such column: " + place );
}

/// Does it lead to something: to a value or, if that is missing, to where it belongs? What is not
/// shown as it is cannot be followed.
bool leadsSomewhere( std::string pointer, bool isMissing, const Json &document ) {
   if( pointer.find_first_of( "\\~" ) != std::string::npos ||
       pointer.find( "..." ) != std::string::npos ) {
      return true;
   }
   if( isMissing ) {
      if( document.contains( Json::json_pointer( pointer ) ) ) {
         return false;
      }
      pointer.resize( pointer.rfind( '/' ) );
   }
   return pointer.empty() || document.contains( Json::json_pointer( pointer ) );
}

/// A place ends at the first colon behind which it leads somewhere: a name may have colons, too.
void checkPointer( const std::string &place, const Json &document ) {
   if( place.starts_with( "the document: " ) ) {
      return;
   }
   check( place.starts_with( "/" ), "no place: " + place );
   for( std::size_t at = place.find( ": " ); at != place.npos; at = place.find( ": ", at + 1 ) ) {
      if( leadsSomewhere( place.substr( 0, at ), place.substr( at ).starts_with( ": missing: " ),
                          document ) ) {
         return;
      }
   }
   Fuzz::found( "there is no such place: " + place );
}

void checkError( const std::string &error, std::string_view text, const Json &document ) {
   check( error.starts_with( kFile + ": " ), "an error without the file: " + error );
   check( error.size() < kLongestError, "a very long error" );
   check( std::all_of( error.begin(), error.end(), []( char c ) { return c >= ' ' && c <= '~'; } ),
          "an error that is not printable" );
   const std::string place = error.substr( kFile.size() + 2 );
   if( place.starts_with( "line " ) ) {
      check( document.is_discarded(), "this is JSON: " + error );
      checkLineAndColumn( place, text );
   } else if( !document.is_discarded() && place.find( ": nested more than" ) == place.npos ) {
      checkPointer( place, document );
   }
}

void checkText( const std::string &text, std::size_t most ) {
   check( text.size() <= most &&
                std::none_of( text.begin(), text.end(),
                              []( char c ) { return static_cast<unsigned char>( c ) < ' '; } ),
          "a text that may not be in a configuration" );
}

void checkPromises( const Configuration &read ) {
   std::set<Pelmo::IntfId> names;
   std::set<Bridging::VlanId> vlans;
   for( const InterfaceConfiguration &interface : read.interfaces ) {
      check( !interface.name.empty() && names.insert( interface.name ).second,
             "an interface without a name, or twice" );
      for( const Bridging::VlanId vlan : vlansOf( interface ) ) {
         check( vlan.number() >= kFirstVlan && vlan.number() <= kLastVlan, "no VLAN" );
         check( vlans.insert( vlan ).second, "a VLAN of two interfaces" );
      }
      check( vlansOf( interface ).size() == 1 + interface.secondaryVlans.size(), "a VLAN twice" );
   }
   check( namesOf( read ) == names, "other names" );
   check( routed( read.interfaces ).size() == names.size(), "other interfaces" );
   check( read.hardware.indexes <= Limits::indexes, "too many indexes" );
   for( const auto &[name, value] : read.hardware.settings ) {
      // The list of ports is made of as many names as there may be.
      checkText( value, name == "ports" ? Limits::ports * 32 : Limits::pathBytes );
   }
   checkText( read.plugin, Limits::pathBytes );
   checkText( read.hardware.module, Limits::pathBytes );
   checkText( read.control.path, Limits::socketBytes );
   checkText( read.control.group, Limits::pathBytes );
   check( !read.plugin.empty() && !read.hardware.module.empty() &&
                read.control.path.starts_with( '/' ),
          "a path is missing" );
   check( read.control.metricsAddress.empty() == ( read.control.metricsPort == 0 ),
          "half an address" );
   checkText( summary( read ), 200 );
}

void checkSame( const Configuration &one, const Configuration &other ) {
   check( one.plugin == other.plugin && one.hardware == other.hardware &&
                one.control == other.control && one.interfaces == other.interfaces,
          "comments or blanks make another configuration" );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t *bytes, std::size_t size ) {
   const std::string_view text = Fuzz::Input( bytes, size ).rest();
   const Json document = Json::parse( text, nullptr, false, true );
   try {
      const Configuration read = readConfiguration( text, kFile );
      check( !document.is_discarded(), "this is no JSON" );
      checkPromises( read );
      checkSame( read, readConfiguration( document.dump(), kFile ) );
   } catch( const ConfigurationError &error ) {
      checkError( error.what(), text, document );
   }
   return 0;
}
