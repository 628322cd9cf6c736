// What can happen to the library, as values that can be listed, drawn, shrunk and shown.
#ifndef TESTS_MODEL_OPERATION_H
#define TESTS_MODEL_OPERATION_H

#include "tests/model/Model.h"

#include <ostream>
#include <string>
#include <utility>

namespace ModelTests {

/// The values that operations are about, by number. Interface 0 has no VLAN set.
struct World {
   std::vector<IntfId> intfs;
   std::vector<EthAddr> macs;
   std::vector<VlanId> vlans;
   U32 indexes = 0;

   /// Interfaces sw1, sw2, ... and virtual router MACs 1, 2, ...
   World( U32 intfCount, U32 macCount, const std::vector<U16> &vlanNumbers, U32 indexCount );
};

struct Operation {
   enum Kind {
      kPublish, ///< a record appears
      kRefuse,  ///< a record is present with false
      kWithdraw,
      kJoin, ///< a VLAN is in an interface's set
      kMute, ///< a VLAN is in an interface's set with false
      kLeave,
      kRestart,     ///< programmer and reflector go and come; the programmer adopts
      kResize,      ///< the same; the hardware's size is another one, and it keeps what fits
      kForeignSlot, ///< a pair gets into the hardware that nobody has asked for
      kCleanup,
      kStopReflector, ///< its keys go
      kAbandonKeys,   ///< it is stopped, its keys stay
      kStartReflector,
      kWatchNothing,
      kWatchOutput,
      kWatchOther,
      kHandleAll,
      kHandlePair,
      kKeyTrue, ///< a key of a table, by name
      kKeyFalse,
      kKeyDel,
      kForgetStart,        ///< `initialized` is set to false by name
      kStartWithoutHelper, ///< the programmer is made anew, without a helper
      kPublishWithoutSet   ///< a record appears on an interface that has no VLAN set
   };
   static constexpr int kKinds = kPublishWithoutSet + 1;

   Kind kind;
   U32 intf = 0; ///< of a resize, the new size; of a slot, its index; of a key, its table
   U32 mac = 0;
   U32 vlan = 0;

   bool operator==( const Operation & ) const = default;
};

/// An operation in the middle of another one: when something has happened for the nth time.
struct Disturbance {
   Moment moment;
   U32 nth;
   Operation operation;
};

std::string shown( const World &world, const Operation &operation );
std::string shown( const World &world, const Disturbance &disturbance );
std::string shown( const Pair &pair );
std::string shown( const Call &call );
std::string shown( const std::vector<Call> &calls );
inline std::ostream &operator<<( std::ostream &out, const Call &call ) {
   return out << shown( call );
}

/// Does it, to the model or to the library: both have the same names.
template <class System>
void perform( System &system, const World &world, const Operation &what ) {
   const auto intf = [&] { return world.intfs.at( what.intf ); };
   const auto record = [&] { return Record( intf(), world.macs.at( what.mac ) ); };
   const auto vlan = [&] { return world.vlans.at( what.vlan ); };
   const auto pair = [&] { return Pair( vlan(), world.macs.at( what.mac ) ); };
   const auto table = [&] { return static_cast<int>( what.intf ); };
   switch( what.kind ) {
   case Operation::kPublish:
   case Operation::kPublishWithoutSet:
      return system.recordIs( record(), true );
   case Operation::kRefuse:
      return system.recordIs( record(), false );
   case Operation::kWithdraw:
      return system.recordDel( record() );
   case Operation::kJoin:
      return system.vlanIs( intf(), vlan(), true );
   case Operation::kMute:
      return system.vlanIs( intf(), vlan(), false );
   case Operation::kLeave:
      return system.vlanDel( intf(), vlan() );
   case Operation::kResize:
   case Operation::kRestart:
      system.programmerStops();
      system.reflectorStops( false );
      if( what.kind == Operation::kResize ) {
         system.sizeIs( what.intf );
      }
      system.reflectorStarts();
      return system.programmerStarts( true );
   case Operation::kForeignSlot:
      return system.slotIs( what.intf, pair() );
   case Operation::kCleanup:
      return system.cleanup();
   case Operation::kStopReflector:
      return system.reflectorStops( false );
   case Operation::kAbandonKeys:
      return system.reflectorStops( true );
   case Operation::kStartReflector:
      return system.reflectorStarts();
   case Operation::kWatchNothing:
      return system.watches( Model::kNoTable );
   case Operation::kWatchOutput:
      return system.watches( Model::kOutput );
   case Operation::kWatchOther:
      return system.watches( Model::kOutput + 1 );
   case Operation::kHandleAll:
      return system.handleAll();
   case Operation::kHandlePair:
      return system.handlePair( pair() );
   case Operation::kKeyTrue:
      return system.keyIs( table(), pair(), true );
   case Operation::kKeyFalse:
      return system.keyIs( table(), pair(), false );
   case Operation::kKeyDel:
      return system.keyDel( table(), pair() );
   case Operation::kForgetStart:
      return system.initializedIs( false );
   case Operation::kStartWithoutHelper:
      return system.programmerStartsWithoutHelper();
   }
}

/// A disturbance that is armed: performs its operation once, when its time has come.
class Trap {
 public:
   void arm( const Disturbance &disturbance ) {
      disturbance_ = &disturbance;
      left_ = disturbance.nth;
   }
   void disarm() { disturbance_ = nullptr; }
   /// The operation that is to happen now; null when it is not its time.
   const Operation *at( Moment moment ) {
      if( !disturbance_ || disturbance_->moment != moment || left_-- != 0 ) {
         return nullptr;
      }
      return &std::exchange( disturbance_, nullptr )->operation;
   }

 private:
   const Disturbance *disturbance_ = nullptr;
   U32 left_ = 0;
};

} // namespace ModelTests

#endif
