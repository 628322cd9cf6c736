#include "tests/model/Model.h"

#include <algorithm>
#include <utility>

namespace ModelTests {

namespace {

constexpr char kProgrammer[] = "OrloVrrpSm";

void need( bool holds, const char *expression, U32 line ) {
   if( !holds ) {
      throw Stop{ expression, kProgrammer, line };
   }
}

/// Every key in order. Whatever comes and goes meanwhile: the next is the first one behind.
template <class Map, class Function>
void walk( const Map &map, const Function &visit ) {
   for( auto at = map.begin(); at != map.end(); ) {
      const auto key = at->first;
      visit( key );
      at = map.upper_bound( key );
   }
}

template <class Map, class Key>
bool isTrue( const Map &map, const Key &key ) {
   const auto at = map.find( key );
   return at != map.end() && at->second;
}

/// Stores the flag; did that change anything?
template <class Map, class Key>
bool changes( Map &map, const Key &key, bool flag ) {
   const auto [at, isNew] = map.try_emplace( key, flag );
   return std::exchange( at->second, flag ) != flag || isNew;
}

} // namespace

template <class Value>
void Queue<Value>::enq( const Value &value ) {
   if( !entries.empty() ) {
      nextKey = std::max( nextKey, entries.back().first + 1 );
   }
   entries.emplace_back( nextKey, value );
}

template <class Value>
Value Queue<Value>::deq() {
   const Value value = entries.front().second;
   entries.pop_front();
   return value;
}

template <class Value>
void Queue<Value>::del( typename std::deque<std::pair<U32, Value>>::iterator at ) {
   const bool isTail = at + 1 == entries.end();
   entries.erase( at );
   if( isTail && !entries.empty() ) {
      nextKey = entries.back().first + 1;
   }
}

// Input

void Model::recordIs( const Record &record, bool flag ) {
   if( changes( status, record, flag ) ) {
      statusChanged( record );
   }
}

void Model::recordDel( const Record &record ) {
   if( status.erase( record ) != 0 ) {
      statusChanged( record );
   }
}

void Model::statusChanged( const Record &record ) {
   for( const Watcher watcher : std::vector( statusWatchers ) ) {
      if( watcher != kReactor ) {
         happens( watcher == kEarly ? Moment::kStatusEarly : Moment::kStatusLate );
      } else if( reflecting ) {
         try {
            handleRecord( record );
         } catch( const NameInUse & ) { // goes to the watcher itself
         }
      }
   }
}

void Model::vlanIs( const IntfId &intf, VlanId vlan, bool flag ) {
   if( changes( vlanSets.at( intf ), vlan, flag ) ) {
      vlanChanged( intf, vlan );
   }
}

void Model::vlanDel( const IntfId &intf, VlanId vlan ) {
   if( vlanSets.at( intf ).erase( vlan ) != 0 ) {
      vlanChanged( intf, vlan );
   }
}

void Model::sizeIs( U32 count ) {
   indexCount = count;
   slots.erase( slots.lower_bound( count ), slots.end() );
}

// Reflector

void Model::reflectorStarts() {
   if( reflecting ) {
      return;
   }
   walk( tables[kOutput].keys, [this]( const Pair &key ) { keyDel( kOutput, key ); } );
   walk( status, [this]( const Record &record ) { handleRecord( record ); } );
   statusWatchers.push_back( kReactor );
   reflecting = true;
}

void Model::reflectorStops( bool keepKeys ) {
   if( !reflecting ) {
      return;
   }
   keepsKeys = keepKeys;
   reflecting = false;
   walk( macsOf, [this]( const IntfId &intf ) { macsDel( intf ); } );
   reactors.clear();
   keepsKeys = false;
   std::erase( statusWatchers, kReactor );
}

void Model::handleRecord( const Record &record ) {
   const IntfId intf = record.intf();
   if( isTrue( status, record ) ) {
      if( macsOf.find( intf ) == macsOf.end() ) {
         macsOf[intf] = std::make_shared<Collection<EthAddr, bool>>();
         bringInLine( intf );
      }
      const Macs macs = macsOf.at( intf );
      if( changes( *macs, record.mac(), true ) ) {
         macChanged( intf, macs, record.mac() );
      }
   } else if( macsOf.find( intf ) != macsOf.end() ) {
      const Macs macs = macsOf.at( intf );
      if( macs->erase( record.mac() ) != 0 ) {
         macChanged( intf, macs, record.mac() );
      }
      if( macs->empty() ) {
         macsDel( intf );
         bringInLine( intf );
      }
   }
}

void Model::macsDel( const IntfId &intf ) {
   macsOf.erase( intf );
   bringInLine( intf );
}

void Model::bringInLine( const IntfId &intf ) {
   const auto existing = reactors.find( intf );
   const Macs writesFor = existing == reactors.end() ? nullptr : existing->second;
   if( const auto at = macsOf.find( intf ); at != macsOf.end() ) {
      if( !writesFor ) {
         if( vlanSets.find( intf ) == vlanSets.end() ) {
            throw Stop{ "object_ != nullptr", "QuorPtr", 0 };
         }
         reactors[intf] = at->second; // the set is empty as yet: there is nothing to write
      } else if( writesFor != at->second ) {
         throw NameInUse{};
      }
   } else if( writesFor ) {
      if( !keepsKeys ) {
         walk( vlanSets.at( intf ), [&]( VlanId vlan ) {
            walk( *writesFor, [&]( const EthAddr &mac ) { write( Pair( vlan, mac ), false ); } );
         } );
      }
      reactors.erase( intf );
   }
}

void Model::macChanged( const IntfId &intf, const Macs &macs, const EthAddr &mac ) {
   if( const auto at = reactors.find( intf ); at != reactors.end() && at->second == macs ) {
      const bool isPresent = isTrue( *macs, mac );
      walk( vlanSets.at( intf ), [&]( VlanId vlan ) { write( Pair( vlan, mac ), isPresent ); } );
   }
}

void Model::vlanChanged( const IntfId &intf, VlanId vlan ) {
   if( const auto at = reactors.find( intf ); at != reactors.end() ) {
      const Macs macs = at->second;
      const bool isPresent = isTrue( vlanSets.at( intf ), vlan );
      walk( *macs, [&]( const EthAddr &mac ) { write( Pair( vlan, mac ), isPresent ); } );
   }
}

void Model::write( const Pair &pair, bool isPresent ) {
   if( isPresent ) {
      keyIs( kOutput, pair, true );
   } else {
      keyDel( kOutput, pair );
   }
}

// Tables

void Model::keyIs( int table, const Pair &pair, bool flag ) {
   if( changes( tables[table].keys, pair, flag ) ) {
      tableChanged( table, pair );
   }
}

void Model::keyDel( int table, const Pair &pair ) {
   if( tables[table].keys.erase( pair ) != 0 ) {
      tableChanged( table, pair );
   }
}

void Model::tableChanged( int table, const Pair &pair ) {
   for( const Watcher watcher : std::vector( tables[table].watchers ) ) {
      if( watcher == kReactor ) {
         handlePair( pair );
      } else if( table == kOutput ) {
         happens( watcher == kEarly ? Moment::kTableEarly : Moment::kTableLate );
      }
   }
}

// Programmer

void Model::starts() {
   reflectorStarts();
   programmerStarts( false );
   statusWatchers.push_back( kLate );
   tables[kOutput].watchers.push_back( kLate );
}

void Model::programmerStarts( bool adopts ) {
   initialized = true;
   adopting = adopts;
   watched = kOutput;
   for( U32 i = 0; i < indexCount; ++i ) {
      free.enq( i );
   }
   if( adopts ) {
      Collection<Pair, U32> snapshot;
      for( const auto &[at, pair] : slots ) {
         snapshot[pair] = at;
      }
      calls.push_back( { Call::kSync } );
      for( const auto &[pair, at] : snapshot ) {
         adopt( pair, at );
      }
   }
   handleAll();
   adopting = false;
   calls.push_back( { Call::kFlagCleared } );
   calls.push_back( { Call::kComplete } );
   tables[watched].watchers.push_back( kReactor );
}

void Model::programmerStartsWithoutHelper() {
   need( false, "vrrpHelper()", 46 );
}

void Model::programmerStops() {
   watches( kNoTable );
   initialized = false;
   free = {};
   index.clear();
   waiting = {};
}

void Model::adopt( const Pair &pair, U32 at ) {
   index[pair] = at;
   const auto entry = std::find_if( free.entries.begin(), free.entries.end(),
                                    [&]( const auto &each ) { return each.first == at; } );
   if( entry != free.entries.end() ) {
      free.del( entry );
   }
   if( tables[watched].keys.count( pair ) == 0 ) {
      handlePair( pair );
   }
}

void Model::cleanup() {
   for( ; !index.empty(); index.erase( index.begin() ) ) {
      free.enq( index.begin()->second );
   }
   waiting.entries.clear();
}

void Model::watches( int table ) {
   if( table == watched ) {
      return;
   }
   if( watched != kNoTable ) {
      std::erase( tables[watched].watchers, kReactor );
   }
   watched = table;
   if( table != kNoTable ) {
      tables[table].watchers.push_back( kReactor );
      handleAll();
   }
}

void Model::handleAll() {
   need( initialized, "initialized()", 96 );
   if( watched != kNoTable ) {
      walk( tables[watched].keys, [this]( const Pair &key ) { handlePair( key ); } );
   }
}

void Model::handlePair( const Pair &pair ) {
   need( initialized, "initialized()", 107 );
   if( watched != kNoTable && tables[watched].keys.count( pair ) != 0 ) {
      if( adopting && index.count( pair ) != 0 ) {
         return;
      }
      if( free.entries.empty() ) {
         waiting.enq( pair );
         return;
      }
      const U32 at = free.deq();
      add( pair, at );
      need( index.count( pair ) == 0, "!virtualRouterIndexIteratorConst().isMemberOf( vrMac )",
            124 );
      index[pair] = at;
   } else if( const auto held = index.find( pair ); held != index.end() ) {
      const U32 at = held->second;
      index.erase( held );
      remove( pair, at );
      if( waiting.entries.empty() ) {
         free.enq( at );
         return;
      }
      const Pair oldest = waiting.deq();
      add( oldest, at );
      need( index.count( oldest ) == 0, "!virtualRouterIndexIteratorConst().isMemberOf( vrMacNew )",
            140 );
      index[oldest] = at;
   } else {
      const auto entry = std::find_if( waiting.entries.begin(), waiting.entries.end(),
                                       [&]( const auto &each ) { return each.second == pair; } );
      if( entry != waiting.entries.end() ) {
         waiting.del( entry );
      }
   }
}

void Model::add( const Pair &pair, U32 at ) {
   if( pair.vlanId().number() != 0 ) {
      calls.push_back( { Call::kAdd, pair, at } );
      slots[at] = pair;
      happens( Moment::kHelperAdd );
   }
}

void Model::remove( const Pair &pair, U32 at ) {
   if( pair.vlanId().number() != 0 ) {
      calls.push_back( { Call::kDelete, pair, at } );
      slots.erase( at );
      happens( Moment::kHelperDelete );
   }
}

// Copies

Model::Model( const Model &other )
      : indexCount( other.indexCount ), status( other.status ), vlanSets( other.vlanSets ),
        slots( other.slots ), calls( other.calls ), statusWatchers( other.statusWatchers ),
        reflecting( other.reflecting ),
        keepsKeys( other.keepsKeys ), tables{ other.tables[0], other.tables[1] },
        initialized( other.initialized ), adopting( other.adopting ), watched( other.watched ),
        free( other.free ), index( other.index ), waiting( other.waiting ) {
   for( const auto &[intf, macs] : other.macsOf ) { // at rest a reactor writes for each, no more
      macsOf[intf] = reactors[intf] = std::make_shared<Collection<EthAddr, bool>>( *macs );
   }
}

bool Model::sameAs( const Model &other ) const {
   const auto sameMacs = []( const auto &left, const auto &right ) {
      return left.first == right.first && *left.second == *right.second;
   };
   return indexCount == other.indexCount && status == other.status && vlanSets == other.vlanSets &&
          slots == other.slots && reflecting == other.reflecting && keepsKeys == other.keepsKeys &&
          std::equal( macsOf.begin(), macsOf.end(), other.macsOf.begin(), other.macsOf.end(),
                      sameMacs ) &&
          tables[0].keys == other.tables[0].keys && tables[1].keys == other.tables[1].keys &&
          tables[0].watchers == other.tables[0].watchers &&
          tables[1].watchers == other.tables[1].watchers && initialized == other.initialized &&
          watched == other.watched && free == other.free && index == other.index &&
          waiting == other.waiting;
}

} // namespace ModelTests
