#include "tests/simulator/World.h"

#include "tests/unit/agent/FakeKernel.h"

#include <array>
#include <utility>

namespace Simulator {

namespace {

using OrloAgent::address;

const std::array<std::string, 4> kNames{ "br10", "br20", "br30", "other" };
constexpr std::size_t kMostDevices = 9;

} // namespace

World::Links World::svis() const {
   Links all;
   for( const auto &[ifindex, link] : kernel_.links() ) {
      if( link.kind == "bridge" ) {
         all.push_back( link );
      }
   }
   return all;
}

/// Those that stand on a link, or all of them.
World::Links World::devices( IfIndex lower ) const {
   Links all;
   for( const auto &[ifindex, link] : kernel_.links() ) {
      if( link.kind == "macvlan" && ( lower == 0 || link.lower == lower ) ) {
         all.push_back( link );
      }
   }
   return all;
}

Instant World::next() const {
   return later_.empty() ? Instant::max() : later_.begin()->first;
}

void World::catchUp( Instant now ) {
   while( next() <= now ) {
      const auto what = later_.begin()->second;
      later_.erase( later_.begin() );
      what();
   }
}

void World::begins( Instant now ) {
   for( const std::string &name : kNames ) {
      if( name != "other" || random_.chance( 300 ) ) {
         sviComes( name, kernel_.newIndex(), now );
      }
   }
   for( U64 count = random_.below( 6 ); count != 0; --count ) {
      deviceComes( random_.pick( svis() ) );
      if( random_.chance( 700 ) ) {
         becomesMaster( random_.pick( devices() ) );
      }
   }
}

void World::happens( Instant now ) {
   ++happenings_;
   const Links svis = this->svis();
   const Links devices = this->devices();
   const U64 what = random_.below( 100 );
   if( svis.empty() || ( what < 4 && svis.size() < kNames.size() ) ) {
      const std::string &name = random_.pick( kNames );
      if( !kernel_.link( name ) ) {
         sviComes( name, kernel_.newIndex(), now );
      }
      return;
   }
   const Link &svi = random_.pick( svis );
   if( devices.empty() || ( what < 16 && devices.size() < kMostDevices ) ) {
      deviceComes( svi );
      return;
   }
   const Link &device = random_.pick( devices );
   if( what < 36 ) {
      becomesMaster( device );
   } else if( what < 52 ) {
      becomesBackup( device );
   } else if( what < 58 ) {
      peerTakesOver( now );
   } else if( what < 63 ) {
      deviceIsUp( device, !device.up );
   } else if( what < 69 ) {
      deviceProtoDown( device, !device.protoDown );
   } else if( what < 74 ) {
      deviceGoes( device );
   } else if( what < 77 ) {
      deviceIsMadeAgain( device );
   } else if( what < 80 ) {
      deviceChanges( device );
   } else if( what < 84 ) {
      sviIsUp( svi, !svi.up, now );
   } else if( what < 87 ) {
      sviCarrier( svi, !svi.lowerUp );
   } else if( what < 89 ) {
      sviGoes( svi );
   } else if( what < 91 ) {
      sviIsMadeAgain( svi, now );
   } else if( what < 94 ) {
      sviNames();
   } else if( what < 95 ) {
      storm();
   } else {
      kernel_.noise();
      kernel_.tellAgain( device.ifindex );
   }
}

/// Links nobody has to do with.
void World::storm() {
   trace_.line( "world: a storm" );
   std::vector<IfIndex> made;
   for( U64 count = random_.between( 5, 60 ); count != 0; --count ) {
      Link link;
      link.ifindex = kernel_.newIndex();
      link.name = "veth" + std::to_string( ++names_ );
      link.kind = "veth";
      link.up = random_.chance( 500 );
      kernel_.linkIs( link );
      made.push_back( link.ifindex );
   }
   for( const IfIndex ifindex : made ) {
      kernel_.linkDel( ifindex );
   }
}

// SVIs.

Address World::linkLocalOf( const Link &svi ) const {
   return address( svi.ifindex, "fe80::" + std::to_string( 1 + svi.mac->number() % 1000 ) );
}

void World::sviComes( const std::string &name, IfIndex ifindex, Instant now ) {
   trace_.line( "world: " + name + " comes, link " + std::to_string( ifindex ) );
   Link svi = OrloAgent::svi( ifindex, name );
   svi.mac = Pelmo::EthAddr( Pelmo::EthAddr::Octets{
         2, 0, 0, 0, 0, static_cast<Quor::U8>( random_.between( 1, 200 ) ) } );
   svi.up = false;
   svi.lowerUp = false;
   kernel_.linkIs( svi );
   kernel_.addressIs( address( ifindex, "10.9.0.2/24" ) );
   sviIsUp( svi, true, now );
}

/// What stands on it hears of its carrier.
void World::lowerIs( const Link &svi ) {
   for( Link device : devices( svi.ifindex ) ) {
      const bool lowerUp = device.up && svi.lowerUp && !device.protoDown;
      if( device.lowerUp != lowerUp ) {
         device.lowerUp = lowerUp;
         kernel_.linkIs( device );
      }
   }
}

void World::sviIsUp( Link svi, bool isUp, Instant now ) {
   trace_.line( "world: " + svi.name + ( isUp ? " is up" : " is down" ) );
   svi.up = isUp;
   svi.lowerUp = isUp;
   kernel_.linkIs( svi );
   lowerIs( svi );
   if( !isUp ) {
      for( const Address &one : kernel_.addressesOf( svi.ifindex ) ) {
         if( one.family == Address::Family::V6 ) {
            kernel_.addressDel( one );
         }
      }
      return;
   }
   later( now + std::chrono::milliseconds( random_.between( 0, 2000 ) ),
          [this, ifindex = svi.ifindex, mac = svi.mac] {
             const auto at = kernel_.links().find( ifindex );
             if( at != kernel_.links().end() && at->second.up && at->second.mac == mac &&
                 at->second.kind == "bridge" ) {
                kernel_.addressIs( linkLocalOf( at->second ) );
             }
          } );
}

void World::sviCarrier( Link svi, bool hasCarrier ) {
   if( !svi.up ) {
      return;
   }
   trace_.line( "world: " + svi.name + ( hasCarrier ? " has carrier" : " loses carrier" ) );
   svi.lowerUp = hasCarrier;
   kernel_.linkIs( svi );
   lowerIs( svi );
}

void World::sviGoes( const Link &svi ) {
   trace_.line( "world: " + svi.name + " goes" );
   Link down = svi;
   down.up = false;
   down.lowerUp = false;
   kernel_.linkIs( down );
   lowerIs( down );
   for( const Link &device : devices( svi.ifindex ) ) {
      kernel_.linkDel( device.ifindex );
   }
   kernel_.linkDel( svi.ifindex );
}

/// With the number that it had, or another.
void World::sviIsMadeAgain( const Link &svi, Instant now ) {
   const Links above = devices( svi.ifindex );
   sviGoes( svi );
   sviComes( svi.name, random_.chance( 300 ) ? svi.ifindex : kernel_.newIndex(), now );
   const Link *const again = kernel_.link( svi.name );
   for( const Link &device : above ) {
      if( random_.chance( 600 ) ) {
         Link next = device;
         next.lower = again->ifindex;
         next.ifindex = random_.chance( 500 ) ? device.ifindex : kernel_.newIndex();
         next.lowerUp = again->lowerUp && next.up && !next.protoDown;
         kernel_.linkIs( next );
         if( random_.chance( 600 ) ) {
            becomesMaster( next );
         }
      }
   }
}

/// Two swap their names, or one gets another.
void World::sviNames() {
   const Links all = svis();
   Link one = random_.pick( all );
   Link other = random_.pick( all );
   trace_.line( "world: names of " + one.name + " and " + other.name );
   if( one.ifindex != other.ifindex && random_.chance( 500 ) ) {
      const std::string first = std::exchange( one.name, "swap" );
      kernel_.linkIs( one );
      one.name = std::exchange( other.name, first );
      kernel_.linkIs( other );
      kernel_.linkIs( one );
      return;
   }
   const std::string &name = random_.pick( kNames );
   if( !kernel_.link( name ) ) {
      one.name = name;
      kernel_.linkIs( one );
   }
}

// Devices of virtual routers.

void World::copyLinkLocal( const Link &device ) {
   const auto svi = kernel_.links().find( device.lower );
   if( svi != kernel_.links().end() && svi->second.mac && device.mac->octets()[4] == 2 ) {
      Address copy = linkLocalOf( svi->second );
      copy.ifindex = device.ifindex;
      if( kernel_.addressesOf( device.lower ).contains( linkLocalOf( svi->second ) ) ) {
         kernel_.addressIs( copy );
      }
   }
}

void World::deviceComes( const Link &svi ) {
   const auto vrid = static_cast<Quor::U8>( random_.between( 51, 54 ) );
   const auto family = static_cast<Quor::U8>( random_.chance( 700 ) ? 1 : 2 );
   Link device = OrloAgent::macvlan( kernel_.newIndex(), "vrrp" + std::to_string( ++names_ ),
                                     svi.ifindex, OrloAgent::vrrpMac( vrid, family ) );
   if( random_.chance( 50 ) ) {
      device.mac = OrloAgent::mac( "02:00:00:00:00:51" ); // somebody's own
   }
   trace_.line( "world: " + device.name + " comes on " + svi.name );
   device.up = false;
   device.lowerUp = false;
   device.protoDown = random_.chance( 200 );
   kernel_.linkIs( device );
   if( random_.chance( 900 ) ) {
      deviceIsUp( device, true );
   }
}

void World::deviceIsUp( Link device, bool isUp ) {
   trace_.line( "world: " + device.name + ( isUp ? " is up" : " is down" ) );
   const auto svi = kernel_.links().find( device.lower );
   device.up = isUp;
   device.lowerUp =
         isUp && !device.protoDown && svi != kernel_.links().end() && svi->second.lowerUp;
   kernel_.linkIs( device );
   if( isUp ) {
      copyLinkLocal( device );
      return;
   }
   for( const Address &one : kernel_.addressesOf( device.ifindex ) ) {
      if( one.family == Address::Family::V6 ) {
         kernel_.addressDel( one );
      }
   }
}

/// FRR's way: in two messages, of which the first one is not consistent.
void World::deviceProtoDown( Link device, bool isDown ) {
   trace_.line( "world: " + device.name + " protodown " + ( isDown ? "on" : "off" ) );
   const auto svi = kernel_.links().find( device.lower );
   device.protoDown = isDown;
   kernel_.linkIs( device );
   device.lowerUp = device.up && !isDown && svi != kernel_.links().end() && svi->second.lowerUp;
   kernel_.linkIs( device );
}

void World::deviceGoes( const Link &device ) {
   trace_.line( "world: " + device.name + " goes" );
   if( device.up ) {
      deviceIsUp( device, false );
   }
   kernel_.linkDel( device.ifindex );
}

void World::deviceIsMadeAgain( const Link &device ) {
   const std::set<Address> addresses = kernel_.addressesOf( device.ifindex );
   deviceGoes( device );
   Link next = device;
   next.ifindex = random_.chance( 300 ) ? device.ifindex : kernel_.newIndex();
   kernel_.linkIs( next );
   for( Address one : addresses ) {
      one.ifindex = next.ifindex;
      kernel_.addressIs( one );
   }
}

/// Another name, another MAC, or another SVI (made again at once, as far as the news tell).
void World::deviceChanges( Link device ) {
   switch( random_.below( 3 ) ) {
   case 0:
      device.name = "vrrp" + std::to_string( ++names_ );
      break;
   case 1:
      device.mac = OrloAgent::vrrpMac( static_cast<Quor::U8>( random_.between( 50, 55 ) ),
                                       device.mac->octets()[4] == 2 ? 2 : 1 );
      break;
   default:
      device.kind = "macvlan";
      device.mac = random_.chance( 500 ) ? device.mac : OrloAgent::mac( "02:00:00:00:00:52" );
   }
   trace_.line( "world: " + device.name + " is another" );
   kernel_.linkIs( device );
}

void World::becomesMaster( const Link &device ) {
   trace_.line( "world: " + device.name + " becomes master" );
   for( U64 count = random_.between( 1, 2 ); count != 0; --count ) {
      const std::string number = std::to_string( random_.between( 1, 3 ) );
      const bool isV6 = device.mac->octets()[4] == 2;
      const Address virtualOne =
            address( device.ifindex, isV6 ? "2001:db8::" + number : "10.0.0." + number + "/24" );
      if( !kernel_.addresses().contains( virtualOne ) ) {
         kernel_.addressIs( virtualOne );
      }
   }
}

void World::becomesBackup( const Link &device ) {
   trace_.line( "world: " + device.name + " becomes backup" );
   for( const Address &one : kernel_.addressesOf( device.ifindex ) ) {
      if( !one.isLinkLocal() ) {
         kernel_.addressDel( one );
      }
   }
}

/// All devices of an SVI change sides at once, as at a fail-over.
void World::peerTakesOver( Instant now ) {
   const Link svi = random_.pick( svis() );
   const bool isMaster = random_.chance( 500 );
   for( const Link &device : devices( svi.ifindex ) ) {
      isMaster ? becomesMaster( device ) : becomesBackup( device );
   }
   if( random_.chance( 300 ) ) { // and back
      later( now + std::chrono::milliseconds( random_.below( 4000 ) ),
             [this, ifindex = svi.ifindex, isMaster] {
                for( const Link &device : devices( ifindex ) ) {
                   isMaster ? becomesBackup( device ) : becomesMaster( device );
                }
             } );
   }
}

} // namespace Simulator
