// Macs, pairs and interfaces as the stories below name them, and what is known of them without
// asking the code under test.
#ifndef TESTS_UNIT_LIBRARY_VALUES_H
#define TESTS_UNIT_LIBRARY_VALUES_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"
#include "pelmo/IntfId.h"
#include "quor/Ptr.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace LibraryTests {

using Bridging::VlanId;
using Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;
using Pelmo::EthAddr;
using Pelmo::IntfId;
using Quor::Ptr;
using Quor::String;
using Quor::U16;
using Quor::U32;
using Quor::U64;

/// The virtual router MAC of a VRID.
inline EthAddr mac( U16 vrid ) {
   return EthAddr( 0x0000, 0x5e00, static_cast<U16>( 0x0100 | vrid ) );
}

inline VlanId vlan( U16 number ) {
   return VlanId( number );
}

inline VlanAndMac pair( U16 vlanNumber, U16 vrid ) {
   return VlanAndMac( VlanId( vlanNumber ), mac( vrid ) );
}

inline String macText( const EthAddr &mac ) {
   const auto o = mac.octets();
   char text[18];
   std::snprintf( text, sizeof( text ), "%02x:%02x:%02x:%02x:%02x:%02x", o[0], o[1], o[2], o[3],
                  o[4], o[5] );
   return text;
}

inline String pairText( const VlanAndMac &pair ) {
   return "Value('Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac', ** {'vlanId': " +
          std::to_string( pair.vlanId().number() ) + ", 'mac': " + macText( pair.mac() ) + "})";
}

/// Bit by bit: bit i becomes bit 31 - i.
inline U32 mirrored( U32 bits ) {
   U32 result = 0;
   for( U32 i = 0; i < 32; ++i ) {
      if( ( bits >> i & 1u ) != 0 ) {
         result |= 1u << ( 31 - i );
      }
   }
   return result;
}

inline U32 tableHash( const VlanAndMac &pair ) {
   return mirrored( pair.mac().hash() ^ U32{ pair.vlanId().number() } );
}
inline U32 tableHash( const EthAddr &mac ) {
   return mirrored( mac.hash() );
}
inline U32 tableHash( const IntfId &intf ) {
   return mirrored( intf.hash() );
}
inline U32 tableHash( const VlanId &vlanId ) {
   return mirrored( vlanId.number() );
}

/// In the order in which a collection visits them, whatever the number of its buckets.
template <class Key>
std::vector<Key> inTableOrder( std::vector<Key> keys ) {
   std::sort( keys.begin(), keys.end(), []( const Key &left, const Key &right ) {
      return tableHash( left ) < tableHash( right );
   } );
   return keys;
}

/// The keys of a collection, in its order.
template <class Collection>
auto keysOf( const Collection &collection ) {
   std::vector<std::decay_t<decltype( collection.begin()->key() )>> keys;
   for( const auto &entry : collection ) {
      keys.push_back( entry.key() );
   }
   return keys;
}

/// The values of a queue, from head to tail.
template <class Queue>
auto valuesOf( const Queue &queue ) {
   std::vector<std::decay_t<decltype( queue.begin()->value() )>> values;
   for( const auto &entry : queue ) {
      values.push_back( entry.value() );
   }
   return values;
}

} // namespace LibraryTests

#endif
