#include "tests/simulator/Plan.h"

#include <algorithm>
#include <array>

namespace Simulator {

namespace {

const std::array<std::string, 4> kNames{ "br10", "br20", "br30", "other" };

std::string list( const std::set<Plan::Vlan> &vlans ) {
   std::string all;
   for( const Plan::Vlan vlan : vlans ) {
      all += ( all.empty() ? "" : ", " ) + std::to_string( vlan );
   }
   return "[ " + all + " ]";
}

bool isOfVrrp( const Link &link ) {
   if( !link.mac ) {
      return false;
   }
   const auto octets = link.mac->octets();
   return octets[0] == 0 && octets[1] == 0 && octets[2] == 0x5e && octets[3] == 0 &&
          ( octets[4] == 1 || octets[4] == 2 ) && octets[5] != 0;
}

} // namespace

std::string Plan::sviOf( Bridging::VlanId vlan ) const {
   for( const auto &[name, svi] : svis ) {
      if( svi.vlan == vlan.number() || svi.secondaries.contains( vlan.number() ) ) {
         return name;
      }
   }
   return {};
}

std::string Plan::text() const {
   std::string interfaces;
   for( const auto &[name, svi] : svis ) {
      interfaces += interfaces.empty() ? "" : ",\n";
      interfaces += "      { \"name\": \"" + name + "\", \"vlan\": " + std::to_string( svi.vlan ) +
                    ", \"secondaryVlans\": " + list( svi.secondaries ) + " }";
   }
   return "{ // of a simulated switch\n   \"hardware\": { \"kind\": \"module\", \"indexes\": " +
          std::to_string( indexes ) +
          ", \"module\": \"" SIMULATED_HARDWARE
          "\", \"settings\": { \"device\": \"chip\" } },\n   \"interfaces\": [\n" +
          interfaces + "\n   ]\n}\n";
}

Plan Plan::first( Random &random ) {
   Plan plan;
   plan.indexes =
         static_cast<U32>( random.below( 3 ) == 0 ? random.below( 4 ) : random.below( 20 ) );
   for( Vlan number = 0; number < 3; ++number ) {
      const auto vlan = static_cast<Vlan>( 10 * ( number + 1 ) );
      Svi svi{ vlan, {} };
      for( Vlan secondary = 1; secondary <= 3; ++secondary ) {
         if( random.chance( 300 ) ) {
            svi.secondaries.insert( static_cast<Vlan>( vlan + secondary ) );
         }
      }
      plan.svis.emplace( kNames[number], svi );
   }
   return plan;
}

Plan Plan::next( Random &random ) const {
   Plan plan = *this;
   for( U64 steps = random.between( 1, 3 ); steps != 0; --steps ) {
      const std::string &name = random.pick( kNames );
      switch( random.below( 4 ) ) {
      case 0:
         plan.indexes = static_cast<U32>( random.below( 20 ) );
         break;
      case 1:
         if( plan.svis.erase( name ) == 0 ) {
            std::set<Vlan> taken;
            for( const auto &[other, svi] : plan.svis ) {
               taken.insert( svi.vlan );
               taken.insert( svi.secondaries.begin(), svi.secondaries.end() );
            }
            const auto vlan = static_cast<Vlan>( 10 * random.between( 1, 5 ) );
            if( !taken.contains( vlan ) ) {
               plan.svis.emplace( name, Svi{ vlan, {} } );
            }
         }
         break;
      default: { // a secondary VLAN comes, goes, or moves
         const auto vlan =
               static_cast<Vlan>( 10 * random.between( 1, 3 ) + random.between( 1, 3 ) );
         const auto at = plan.svis.find( name );
         const bool goes = random.chance( 300 );
         for( auto &[other, svi] : plan.svis ) {
            svi.secondaries.erase( vlan );
         }
         if( at != plan.svis.end() && !goes ) {
            at->second.secondaries.insert( vlan );
         }
      }
      }
   }
   return plan;
}

Wanted wanted( const SimulatedKernel &kernel, const Plan &plan ) {
   Wanted wanted;
   for( const auto &[ifindex, device] : kernel.links() ) {
      const auto lower = kernel.links().find( device.lower );
      if( device.kind != "macvlan" || !isOfVrrp( device ) || lower == kernel.links().end() ||
          !device.up || !device.lowerUp || device.protoDown || !lower->second.up ) {
         continue;
      }
      const auto svi = plan.svis.find( lower->second.name );
      if( svi == plan.svis.end() ) {
         continue;
      }
      bool hasVirtual = false; // an address that can be nobody's but the virtual router's
      bool hasFormer = false;  // one that the SVI had last
      std::set<Address::Octets> linkLocals;
      for( const Address &one : kernel.addressesOf( device.lower ) ) {
         if( one.isLinkLocal() ) {
            linkLocals.insert( one.local );
         }
      }
      const auto last = kernel.lastLinkLocals().find( device.lower );
      for( const Address &one : kernel.addressesOf( ifindex ) ) {
         const bool isSvis = one.isLinkLocal() && linkLocals.contains( one.local );
         const bool wasSvis = one.isLinkLocal() && linkLocals.empty() &&
                              last != kernel.lastLinkLocals().end() && last->second == one.local;
         hasFormer = hasFormer || wasSvis;
         hasVirtual = hasVirtual || ( !isSvis && !wasSvis );
      }
      if( !hasVirtual && !hasFormer ) {
         continue;
      }
      std::set<Plan::Vlan> vlans = svi->second.secondaries;
      vlans.insert( svi->second.vlan );
      for( const Plan::Vlan vlan : vlans ) {
         const Pair pair( Bridging::VlanId( vlan ), *device.mac );
         wanted.possible.insert( pair );
         if( hasVirtual ) {
            wanted.certain.insert( pair );
         }
      }
   }
   return wanted;
}

} // namespace Simulator
