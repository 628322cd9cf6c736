#include "agent/input/Devices.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>

namespace OrloAgent {

namespace {

constexpr Quor::U64 kVrrpIpv4 = 0x00005e000100;
constexpr Quor::U64 kVrrpIpv6 = 0x00005e000200;

bool isVrrpDevice( const Link &link ) {
   return link.mac && isVrrpMac( *link.mac );
}

} // namespace

bool isVrrpMac( const Pelmo::EthAddr &mac ) noexcept {
   const Quor::U64 vrid = mac.number() & 0xff;
   const Quor::U64 family = mac.number() - vrid;
   return vrid != 0 && ( family == kVrrpIpv4 || family == kVrrpIpv6 );
}

std::string addressText( const Address &address ) {
   std::array<char, INET6_ADDRSTRLEN> text{};
   inet_ntop( address.family == Address::Family::V4 ? AF_INET : AF_INET6, address.local.data(),
              text.data(), text.size() );
   return text.data();
}

void Devices::svisAre( const std::set<Pelmo::IntfId> &svis ) {
   svis_.clear();
   for( const Pelmo::IntfId &svi : svis ) {
      svis_.emplace( svi.name(), svi );
   }
}

void Devices::linkIs( const Link &link ) {
   links_[link.ifindex] = { link, reading_ };
}

void Devices::linkDel( IfIndex ifindex ) {
   links_.erase( ifindex );
   addresses_.erase( ifindex );
}

void Devices::addressIs( const Address &address ) {
   AddressesOf &addresses = addresses_[address.ifindex];
   addresses.present[address] = reading_;
   if( address.isLinkLocal() ) {
      addresses.lastLinkLocals.clear();
   }
}

void Devices::addressDel( const Address &address ) {
   const auto of = addresses_.find( address.ifindex );
   if( of == addresses_.end() ) {
      return;
   }
   const auto at = of->second.present.find( address );
   if( at != of->second.present.end() ) {
      forget( of->second, at );
   }
}

void Devices::forget( AddressesOf &addresses, std::map<Address, Quor::U64>::iterator at ) {
   const Address address = at->first;
   addresses.present.erase( at );
   const bool hasAnother =
         std::any_of( addresses.present.begin(), addresses.present.end(),
                      []( const auto &other ) { return other.first.isLinkLocal(); } );
   if( address.isLinkLocal() && !hasAnother ) {
      addresses.lastLinkLocals.insert( address.local );
   }
}

void Devices::readingBegins() {
   ++reading_;
}

void Devices::readingEnds() {
   std::erase_if( links_, [this]( const auto &link ) { return link.second.reading != reading_; } );
   std::erase_if( addresses_, [this]( const auto &of ) { return !find( of.first ); } );
   for( auto &[ifindex, addresses] : addresses_ ) {
      for( auto at = addresses.present.begin(); at != addresses.present.end(); ) {
         const auto here = at++;
         if( here->second != reading_ ) {
            forget( addresses, here );
         }
      }
   }
}

std::vector<Verdict> Devices::verdicts() const {
   std::vector<Verdict> verdicts;
   for( const auto &[ifindex, known] : links_ ) {
      if( isVrrpDevice( known.link ) ) {
         verdicts.push_back( judge( known.link ) );
      }
   }
   return verdicts;
}

const Link *Devices::find( IfIndex ifindex ) const {
   const auto at = links_.find( ifindex );
   return at == links_.end() ? nullptr : &at->second.link;
}

Verdict Devices::judge( const Link &device ) const {
   Verdict verdict;
   verdict.device = device.name;
   verdict.record = { Pelmo::IntfId(), *device.mac };
   const auto because = [&verdict]( std::string reason ) {
      verdict.reason = std::move( reason );
      return verdict;
   };
   if( device.kind != "macvlan" ) {
      return because( "is not a macvlan" );
   }
   const Link *const lower = find( device.lower );
   if( !lower ) {
      return because( "stands on no interface of this network namespace" );
   }
   const auto svi = svis_.find( lower->name );
   if( svi == svis_.end() ) {
      return because( "stands on " + lower->name + ", which is not configured" );
   }
   verdict.record = { svi->second, *device.mac };
   if( !device.up ) {
      return because( "is down" );
   }
   if( device.protoDown ) {
      return because( "is held down by its protocol daemon" );
   }
   if( !lower->up ) {
      return because( lower->name + " is down" );
   }
   if( !device.lowerUp ) {
      return because( "has no carrier" );
   }
   const auto addresses = addresses_.find( device.ifindex );
   if( addresses == addresses_.end() || addresses->second.present.empty() ) {
      return because( "has no address" );
   }
   for( const auto &[address, reading] : addresses->second.present ) {
      if( !isLinkLocalOf( lower->ifindex, address ) ) {
         verdict.published = true;
         return because( "has " + addressText( address ) );
      }
   }
   return because( "has no address but the link-local one of " + lower->name );
}

bool Devices::isLinkLocalOf( IfIndex lower, const Address &address ) const {
   const auto of = addresses_.find( lower );
   if( of == addresses_.end() || !address.isLinkLocal() ) {
      return false;
   }
   if( of->second.lastLinkLocals.contains( address.local ) ) {
      return true;
   }
   return std::any_of( of->second.present.begin(), of->second.present.end(),
                       [&]( const auto &other ) {
                          return other.first.isLinkLocal() && other.first.local == address.local;
                       } );
}

} // namespace OrloAgent
