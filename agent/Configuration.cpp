#include "agent/Configuration.h"

#include "agent/FileDescriptor.h"
#include "agent/JsonText.h"
#include "agent/Library.h"
#include "agent/Pair.h"
#include "agent/Text.h"
#include "text/Nearest.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <utility>

namespace OrloAgent {

namespace {

using Json = nlohmann::json;
using Quor::U16;
using Quor::U32;
using Quor::U64;

constexpr char kKinds[] = "\"memory\", \"bridge\", \"ebpf\" or \"module\"";
constexpr char kDefaultPins[] = "/sys/fs/bpf/orlo";

using Names = std::initializer_list<const char *>;

std::string listed( Names names ) {
   std::string text;
   for( const char *name : names ) {
      text += ( text.empty() ? "\"" : ", \"" ) + std::string( name ) + "\"";
   }
   return text;
}

std::string suggestion( std::string_view word, Names names ) {
   const std::string_view meant = OrloText::nearest( word, { names.begin(), names.end() } );
   return meant.empty() ? std::string() : "did you mean \"" + std::string( meant ) + "\"? ";
}

/// One value of the document, and where it stands. Everything it cannot give it answers with an
/// error that says what is allowed there.
class Place {
 public:
   Place( const std::string &file, const Json &value, std::string pointer = {} )
         : file_( file ), value_( value ), pointer_( std::move( pointer ) ) {}

   const std::string &pointer() const { return pointer_; }

   [[noreturn]] void refuse( const std::string &why ) const {
      throw ConfigurationError( file_ + ": " + ( pointer_.empty() ? "the document" : pointer_ ) +
                                ": " + shortJson( value_ ) + ": " + why );
   }

   /// This is an object that has no other members than these.
   void needObject( Names allowed ) const {
      if( !value_.is_object() ) {
         refuse( "must be an object with " + listed( allowed ) );
      }
      for( const auto &[name, value] : value_.items() ) {
         if( std::find( allowed.begin(), allowed.end(), name ) == allowed.end() ) {
            Place( file_, value, memberPointer( pointer_, name ) )
                  .refuse( "unknown member; " + suggestion( name, allowed ) + "allowed are " +
                           listed( allowed ) );
         }
      }
   }

   Place need( const char *name, const std::string &allowed ) const {
      if( const std::optional<Place> member = find( name ) ) {
         return *member;
      }
      throw ConfigurationError( file_ + ": " + memberPointer( pointer_, name ) +
                                ": missing: must be " + allowed );
   }

   std::optional<Place> find( const char *name ) const {
      const auto at = value_.find( name ); // the end in what is no object
      return at == value_.end() ? std::nullopt
                                : std::optional<Place>( std::in_place, file_, *at,
                                                        memberPointer( pointer_, name ) );
   }

   std::vector<Place> items( const std::string &allowed ) const {
      if( !value_.is_array() ) {
         refuse( "must be " + allowed );
      }
      std::vector<Place> places;
      for( const Json &item : value_ ) {
         places.emplace_back( file_, item, pointer_ + "/" + std::to_string( places.size() ) );
      }
      return places;
   }

   /// A whole number, however it is written: 10, 10.0 and 1e1 are the same number in JSON.
   U64 number( U64 least, U64 most, const std::string &allowed ) const {
      std::optional<U64> number;
      if( value_.is_number_unsigned() ) {
         number = value_.get<U64>();
      } else if( value_.is_number_integer() ) { // has a minus sign, also "-0"
         number = value_.get<std::int64_t>() == 0 ? std::optional<U64>( 0 ) : std::nullopt;
      } else if( value_.is_number_float() ) {
         const double wide = value_.get<double>();
         if( wide >= 0 && wide <= static_cast<double>( most ) && std::floor( wide ) == wide ) {
            number = static_cast<U64>( wide );
         }
      }
      if( !number || *number < least || *number > most ) {
         refuse( "must be " + allowed );
      }
      return *number;
   }

   bool is( std::string_view text ) const { return value_ == text; }
   bool isObject() const { return value_.is_object(); }

   std::vector<std::pair<std::string, Place>> members( const std::string &allowed ) const {
      if( !value_.is_object() ) {
         refuse( "must be " + allowed );
      }
      std::vector<std::pair<std::string, Place>> places;
      for( const auto &[name, value] : value_.items() ) {
         places.emplace_back( name, Place( file_, value, memberPointer( pointer_, name ) ) );
      }
      return places;
   }

   const std::string &text( const std::string &allowed ) const {
      if( !value_.is_string() ) {
         refuse( "must be " + allowed );
      }
      return value_.get_ref<const std::string &>();
   }

 private:
   const std::string &file_;
   const Json &value_;
   std::string pointer_;
};

/// Who has which VLAN and which name so far.
class Taken {
 public:
   Bridging::VlanId vlan( const Place &place ) {
      const Bridging::VlanId vlan(
            static_cast<U16>( place.number( kFirstVlan, kLastVlan, "a VLAN number, 1 to 4094" ) ) );
      const auto [other, isNew] = vlans_.emplace( vlan, place.pointer() );
      if( !isNew ) {
         place.refuse( "this VLAN stands at " + other->second +
                       " already; must be a VLAN of its own: a VLAN belongs to one interface" );
      }
      return vlan;
   }

   Pelmo::IntfId name( const Place &place ) {
      const char *const allowed =
            "an interface name: 1 to 15 printable ASCII characters other than "
            "blank, '/' and ':', neither \".\" nor \"..\"";
      const std::string &name = place.text( allowed );
      const bool printable = std::all_of( name.begin(), name.end(), []( char c ) {
         return c > ' ' && c < '\x7f' && c != '/' && c != ':';
      } );
      if( name.empty() || name.size() > Pelmo::IntfId::kMaxLength || !printable || name == "." ||
          name == ".." ) {
         place.refuse( std::string( "must be " ) + allowed );
      }
      const Pelmo::IntfId intf( name );
      const auto [other, isNew] = names_.emplace( intf, place.pointer() );
      if( !isNew ) {
         place.refuse( "this interface stands at " + other->second +
                       " already; must be an interface of its own" );
      }
      return intf;
   }

 private:
   std::map<Bridging::VlanId, std::string> vlans_; // and the place of the first
   std::map<Pelmo::IntfId, std::string> names_;
};

/// A text for the system: a path, or a setting of a module.
std::string cleanText( const Place &place, const std::string &allowed,
                       const std::function<bool( const std::string & )> &isGood ) {
   const std::string &text = place.text( allowed );
   const bool clean = std::none_of( text.begin(), text.end(), []( char c ) {
      return static_cast<unsigned char>( c ) < ' ' || c == '\x7f';
   } );
   if( !clean || text.size() > Limits::pathBytes || !isGood( text ) ) {
      place.refuse( "must be " + allowed );
   }
   return text;
}

bool isAbsolute( const std::string &path ) {
   return path.starts_with( '/' );
}

constexpr char kPaths[] =
      "an absolute path: begins with '/', has at most 4095 bytes and no control "
      "characters";

std::string readPath( const Place &place ) {
   return cleanText( place, kPaths, isAbsolute );
}

/// An absolute path, or the name of a library that is looked up where the agent's own are.
std::string readLibrary( const Place &place ) {
   return cleanText( place, "an absolute path of a library, or the name of one without '/'",
                     []( const std::string &text ) {
                        return isAbsolute( text ) ||
                               ( !text.empty() && text.find( '/' ) == std::string::npos );
                     } );
}

void readModule( const Place &place, HardwareConfiguration &hardware ) {
   hardware.module = readLibrary( place.need( "module", "the helper module's library" ) );
   if( const std::optional<Place> settings = place.find( "settings" ) ) {
      const char *const allowed = "an object of texts of at most 4095 bytes without control "
                                  "characters: what the module is given";
      for( const auto &[name, value] : settings->members( allowed ) ) {
         hardware.settings.emplace(
               name, cleanText( value, "a text of at most 4095 bytes without control characters",
                                []( const std::string & ) { return true; } ) );
      }
   }
   if( const std::optional<Place> list = place.find( "capabilities" ) ) {
      const char *const allowed =
            "an array of capabilities, such as \"CAP_NET_ADMIN\": what the module needs";
      hardware.capabilities.emplace();
      for( const Place &item : list->items( allowed ) ) {
         const std::string &name = item.text( allowed );
         const std::optional<Capabilities> known = Capabilities::named( name );
         if( !known || known->text() != name ) {
            item.refuse( "must be a capability that this system knows, such as \"CAP_NET_ADMIN\"" );
         }
         hardware.capabilities = hardware.capabilities->with( *known );
      }
   }
}

/// "swp1", or { "name": "swp2", "vlan": 10 }; as the helper's settings have it.
std::string readPort( const Place &place, Taken &taken ) {
   if( !place.isObject() ) {
      return valueToStrep( taken.name( place ) );
   }
   place.needObject( { "name", "vlan" } );
   const std::string name = valueToStrep( taken.name( place.need( "name", "an interface name" ) ) );
   const char *const vlans = "a VLAN number, 1 to 4094";
   const U64 vlan = place.need( "vlan", vlans ).number( kFirstVlan, kLastVlan, vlans );
   return name + ":" + std::to_string( vlan );
}

void readEbpf( const Place &place, HardwareConfiguration &hardware ) {
   const std::string allowed = "an array of at most " + std::to_string( Limits::ports ) +
                               " ports: interface names, or objects with \"name\" and \"vlan\"";
   const Place list = place.need( "ports", allowed );
   const std::vector<Place> items = list.items( allowed );
   if( items.size() > Limits::ports ) {
      list.refuse( "must be " + allowed );
   }
   std::string ports;
   Taken taken;
   for( const Place &port : items ) {
      ports += ( ports.empty() ? "" : " " ) + readPort( port, taken );
   }
   const std::optional<Place> pins = place.find( "pins" );
   hardware.settings = { { "ports", ports }, { "pins", pins ? readPath( *pins ) : kDefaultPins } };
}

void readTable( const Place &place, HardwareConfiguration &hardware ) {
   hardware.settings.emplace( "path", readPath( place.need( "path", kPaths ) ) );
}

void readBridge( const Place &place, HardwareConfiguration &hardware ) {
   const Pelmo::IntfId bridge = Taken().name( place.need( "bridge", "an interface name" ) );
   hardware.settings.emplace( "bridge", valueToStrep( bridge ) );
   readTable( place, hardware );
}

/// What there is beside of "kind" and "indexes", by kind.
struct Kind {
   const char *name;
   Names members;
   void ( *read )( const Place &place, HardwareConfiguration &hardware );
};

HardwareConfiguration readHardware( const Place &place ) {
   const Kind known[] = {
         { "memory", { "kind", "indexes", "path" }, readTable },
         { "bridge", { "kind", "indexes", "bridge", "path" }, readBridge },
         { "ebpf", { "kind", "indexes", "ports", "pins" }, readEbpf },
         { "module", { "kind", "indexes", "module", "settings", "capabilities" }, readModule } };
   const std::optional<Place> maybe = place.find( "kind" );
   const auto *const named =
         std::find_if( std::begin( known ), std::end( known ),
                       [&]( const Kind &kind ) { return maybe && maybe->is( kind.name ); } );
   const Kind &kind = named == std::end( known ) ? known[0] : *named;
   place.needObject( kind.members );
   const Place said = place.need( "kind", kKinds );
   if( said.text( kKinds ) != kind.name ) {
      said.refuse( std::string( "must be " ) + kKinds );
   }
   HardwareConfiguration hardware;
   hardware.kind = kind.name;
   const std::string indexes = "a number of indexes, 0 to " + std::to_string( Limits::indexes );
   hardware.indexes =
         static_cast<U32>( place.need( "indexes", indexes ).number( 0, Limits::indexes, indexes ) );
   hardware.module = "orlo-helper-" + hardware.kind + ".so"; // what comes with the agent
   kind.read( place, hardware );
   return hardware;
}

ControlConfiguration readControl( const Place &place ) {
   place.needObject( { "path", "group", "metrics" } );
   ControlConfiguration control;
   if( const std::optional<Place> path = place.find( "path" ) ) {
      control.path = cleanText( *path,
                                "an absolute path of at most 107 bytes without control "
                                "characters",
                                []( const std::string &text ) {
                                   return isAbsolute( text ) && text.size() <= Limits::socketBytes;
                                } );
   }
   if( const std::optional<Place> group = place.find( "group" ) ) {
      control.group = cleanText( *group, "the name of a group",
                                 []( const std::string &text ) { return !text.empty(); } );
   }
   if( const std::optional<Place> metrics = place.find( "metrics" ) ) {
      metrics->needObject( { "address", "port" } );
      const char *const loopback = "a loopback address: \"127.0.0.1\" or \"::1\"";
      control.metricsAddress = "127.0.0.1";
      if( const std::optional<Place> address = metrics->find( "address" ) ) {
         control.metricsAddress = cleanText( *address, loopback, []( const std::string &text ) {
            return text == "127.0.0.1" || text == "::1";
         } );
      }
      const char *const ports = "a TCP port, 1 to 65535";
      control.metricsPort =
            static_cast<U16>( metrics->need( "port", ports ).number( 1, 65535, ports ) );
   }
   return control;
}

InterfaceConfiguration readInterface( const Place &place, Taken &taken ) {
   place.needObject( { "name", "vlan", "secondaryVlans" } );
   InterfaceConfiguration interface;
   interface.name = taken.name( place.need( "name", "an interface name" ) );
   interface.vlan = taken.vlan( place.need( "vlan", "a VLAN number, 1 to 4094" ) );
   if( const std::optional<Place> secondaries = place.find( "secondaryVlans" ) ) {
      for( const Place &vlan : secondaries->items( "an array of VLAN numbers, 1 to 4094" ) ) {
         interface.secondaryVlans.push_back( taken.vlan( vlan ) );
      }
   }
   return interface;
}

} // namespace

Configuration readConfiguration( std::string_view text, const std::string &file ) {
   Json document;
   try {
      document = readJson( text );
   } catch( const JsonError &error ) {
      throw ConfigurationError( file + ": " + error.what() );
   }
   const Place top( file, document );
   top.needObject( { "hardware", "interfaces", "control", "plugin" } );
   Configuration configuration;
   configuration.plugin = PluginLibrary::kDefaultPath;
   if( const std::optional<Place> plugin = top.find( "plugin" ) ) {
      configuration.plugin = readLibrary( *plugin );
   }
   if( const std::optional<Place> control = top.find( "control" ) ) {
      configuration.control = readControl( *control );
   }
   configuration.hardware =
         readHardware( top.need( "hardware", "an object with \"kind\", \"indexes\", \"path\"" ) );
   const char *const interfaces = "an array of interfaces";
   Taken taken;
   for( const Place &place : top.need( "interfaces", interfaces ).items( interfaces ) ) {
      configuration.interfaces.push_back( readInterface( place, taken ) );
   }
   return configuration;
}

Configuration readConfigurationFile( const std::string &path ) {
   const auto fail = [&path]( const std::string &doing ) {
      throw ConfigurationError( path + ": cannot " + doing + ": " + std::strerror( errno ) );
   };
   const FileDescriptor fd( ::open( path.c_str(), O_RDONLY | O_CLOEXEC ) );
   if( fd.get() < 0 ) {
      fail( "open" );
   }
   std::string text;
   std::array<char, 65536> part;
   for( ;; ) {
      const ssize_t count = ::read( fd.get(), part.data(), part.size() );
      if( count < 0 && errno == EINTR ) {
         continue;
      }
      if( count < 0 ) {
         fail( "read" );
      }
      if( count == 0 ) {
         return readConfiguration( text, path );
      }
      text.append( part.data(), static_cast<std::size_t>( count ) );
      if( text.size() > Limits::configurationBytes ) {
         throw ConfigurationError( path + ": larger than 4 MiB: no configuration is that long" );
      }
   }
}

std::string summary( const Configuration &configuration ) {
   std::size_t vlans = 0;
   for( const InterfaceConfiguration &interface : configuration.interfaces ) {
      vlans += 1 + interface.secondaryVlans.size();
   }
   return counted( configuration.interfaces.size(), "interface", "interfaces" ) + ", " +
          counted( vlans, "VLAN", "VLANs" ) + ", " +
          counted( configuration.hardware.indexes,
                   ( configuration.hardware.kind + " index" ).c_str(),
                   ( configuration.hardware.kind + " indexes" ).c_str() );
}

std::vector<OrloHelper::RoutedInterface>
routed( const std::vector<InterfaceConfiguration> &interfaces ) {
   std::vector<OrloHelper::RoutedInterface> all;
   all.reserve( interfaces.size() );
   for( const InterfaceConfiguration &one : interfaces ) {
      all.push_back( { valueToStrep( one.name ), one.vlan, one.secondaryVlans } );
   }
   return all;
}

std::set<Pelmo::IntfId> namesOf( const Configuration &configuration ) {
   std::set<Pelmo::IntfId> names;
   for( const InterfaceConfiguration &interface : configuration.interfaces ) {
      names.insert( interface.name );
   }
   return names;
}

std::set<Bridging::VlanId> vlansOf( const InterfaceConfiguration &interface ) {
   std::set<Bridging::VlanId> vlans( interface.secondaryVlans.begin(),
                                     interface.secondaryVlans.end() );
   vlans.insert( interface.vlan );
   return vlans;
}

} // namespace OrloAgent
