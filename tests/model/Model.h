// The library as its rules say it is, written down a second time with nothing but standard
// containers: what the helper must see for a sequence of inputs, and the state that must follow.
#ifndef TESTS_MODEL_MODEL_H
#define TESTS_MODEL_MODEL_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"
#include "platform/VirtualRouterMac.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace ModelTests {

using Bridging::VlanId;
using Pair = Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;
using Pelmo::EthAddr;
using Pelmo::IntfId;
using Quor::U16;
using Quor::U32;
using Record = Routing::Fhrp::VirtualRouterMac;

/// The order of every keyed collection: by the bits of the hash read from the lowest to the
/// highest, ties by the key.
struct CollectionOrder {
   static U32 hash( VlanId vlan ) { return vlan.number(); }
   static U32 hash( const EthAddr &mac ) { return mac.hash(); }
   static U32 hash( const IntfId &intf ) { return intf.hash(); }
   static U32 hash( const Record &record ) { return record.intf().hash() ^ record.mac().hash(); }
   static U32 hash( const Pair &pair ) { return pair.mac().hash() ^ pair.vlanId().number(); }

   template <class Key>
   bool operator()( const Key &left, const Key &right ) const {
      const U32 differing = hash( left ) ^ hash( right );
      const U32 lowest = differing & ( ~differing + 1 );
      return differing == 0 ? left < right : ( hash( right ) & lowest ) != 0;
   }
};
template <class Key, class Value>
using Collection = std::map<Key, Value, CollectionOrder>;

/// A queue whose entries stand under position keys.
template <class Value>
struct Queue {
   std::deque<std::pair<U32, Value>> entries;
   U32 nextKey = 0;

   void enq( const Value &value );
   Value deq();
   void del( typename std::deque<std::pair<U32, Value>>::iterator at );
   bool operator==( const Queue & ) const = default;
};

/// What the helper sees.
struct Call {
   enum Kind { kAdd, kDelete, kSync, kFlagCleared, kComplete };
   Kind kind;
   Pair pair{};
   U32 index = 0;

   bool operator==( const Call & ) const = default;
};

/// Thrown where the rules say that the process stops. The line 0 stands for any.
struct Stop {
   const char *expression;
   const char *source;
   U32 line;
};

/// Who else is called in the middle: watchers that were registered before the reactors or behind
/// them (a reactor that is made anew registers anew), and the helper.
enum class Moment { kStatusEarly, kStatusLate, kTableEarly, kTableLate, kHelperAdd, kHelperDelete };

/// Reflector, programmer and a hardware that does what it is told. An operation has the name that
/// it has in `Product`, which does the same to the library. Everything is open to who compares.
class Model {
 public:
   static constexpr int kNoTable = -1;
   static constexpr int kOutput = 0; ///< the table that the reflector writes
   static constexpr int kTables = 2; ///< and one that only tests write

   explicit Model( U32 count ) : indexCount( count ) {}
   /// Of a model at rest.
   Model( const Model &other );
   Model &operator=( const Model & ) = delete;
   ~Model() = default;
   /// Reflector and programmer are made, between the early watchers and the late ones.
   void starts();

   // The inputs.
   void vlanSetNew( const IntfId &intf ) { vlanSets[intf]; }
   void sizeIs( U32 count );
   void slotIs( U32 at, const Pair &pair ) { slots[at] = pair; }
   void recordIs( const Record &record, bool flag );
   void recordDel( const Record &record );
   void vlanIs( const IntfId &intf, VlanId vlan, bool flag );
   void vlanDel( const IntfId &intf, VlanId vlan );
   // The two halves are made and destroyed. There is one reflector at most.
   void reflectorStarts();
   void reflectorStops( bool keepKeys );
   void programmerStarts( bool adopts );
   void programmerStartsWithoutHelper();
   void programmerStops();
   // What can be done by name.
   void cleanup();
   void watches( int table );
   void handleAll();
   void handlePair( const Pair &pair );
   void keyIs( int table, const Pair &pair, bool flag );
   void keyDel( int table, const Pair &pair );
   void initializedIs( bool value ) { initialized = value; }

   /// The same state, whatever has been called.
   bool sameAs( const Model &other ) const;

   U32 indexCount;
   Collection<Record, bool> status;
   Collection<IntfId, Collection<VlanId, bool>> vlanSets;
   std::map<U32, Pair> slots; ///< the hardware
   std::vector<Call> calls;
   std::function<void( Moment )> happens = []( Moment ) {};

   // The reflector: the MACs of each interface, and the reactors that write for them.
   enum Watcher { kEarly, kReactor, kLate };
   using Macs = std::shared_ptr<Collection<EthAddr, bool>>;
   std::vector<Watcher> statusWatchers{ kEarly };
   bool reflecting = false;
   bool keepsKeys = false;
   Collection<IntfId, Macs> macsOf, reactors;
   struct Table {
      Collection<Pair, bool> keys;
      std::vector<Watcher> watchers{ kEarly };
   } tables[kTables];

   // The programmer.
   bool initialized = false;
   bool adopting = false; ///< the helper's flag
   int watched = kNoTable;
   Queue<U32> free;
   Collection<Pair, U32> index;
   Queue<Pair> waiting;

 private:
   struct NameInUse {};

   void statusChanged( const Record &record );
   void handleRecord( const Record &record );
   void macsDel( const IntfId &intf );
   void bringInLine( const IntfId &intf );
   void macChanged( const IntfId &intf, const Macs &macs, const EthAddr &mac );
   void vlanChanged( const IntfId &intf, VlanId vlan );
   void write( const Pair &pair, bool isPresent );
   void tableChanged( int table, const Pair &pair );
   void adopt( const Pair &pair, U32 at );
   void add( const Pair &pair, U32 at );
   void remove( const Pair &pair, U32 at );
};

} // namespace ModelTests

#endif
