#include "tests/model/Operation.h"

#include <sstream>

namespace ModelTests {

World::World( U32 intfCount, U32 macCount, const std::vector<U16> &vlanNumbers, U32 indexCount )
      : indexes( indexCount ) {
   for( U32 i = 0; i <= intfCount; ++i ) {
      intfs.emplace_back( "sw" + std::to_string( i ) );
   }
   for( U32 vrid = 1; vrid <= macCount; ++vrid ) {
      macs.emplace_back( U16{ 0x0000 }, U16{ 0x5e00 }, static_cast<U16>( 0x0100 | vrid ) );
   }
   for( const U16 number : vlanNumbers ) {
      vlans.emplace_back( number );
   }
}

namespace {

constexpr const char *kNames[Operation::kKinds] = { "publish",
                                                    "publish with false",
                                                    "withdraw",
                                                    "VLAN joins",
                                                    "VLAN with false",
                                                    "VLAN leaves",
                                                    "restart",
                                                    "restart with",
                                                    "foreign slot",
                                                    "cleanup",
                                                    "reflector goes",
                                                    "reflector goes, keys stay",
                                                    "reflector comes",
                                                    "watch no table",
                                                    "watch the output table",
                                                    "watch the other table",
                                                    "handle all",
                                                    "handle",
                                                    "key true",
                                                    "key false",
                                                    "key deleted",
                                                    "initialized := false",
                                                    "programmer without a helper",
                                                    "publish without a VLAN set" };

constexpr const char *kMoments[] = { "early watcher of the status",
                                     "late watcher of the status",
                                     "early watcher of the table",
                                     "late watcher of the table",
                                     "helper's add",
                                     "helper's delete" };

} // namespace

std::string shown( const Pair &pair ) {
   std::ostringstream text;
   text << pair.vlanId() << "/" << pair.mac();
   return text.str();
}

std::string shown( const Call &call ) {
   switch( call.kind ) {
   case Call::kAdd:
      return "add " + shown( call.pair ) + " at " + std::to_string( call.index );
   case Call::kDelete:
      return "delete " + shown( call.pair ) + " at " + std::to_string( call.index );
   case Call::kSync:
      return "sync";
   case Call::kFlagCleared:
      return "flag cleared";
   case Call::kComplete:
      return "complete";
   }
   return {};
}

std::string shown( const std::vector<Call> &calls ) {
   std::string text;
   for( const Call &call : calls ) {
      text += ( text.empty() ? "" : ", " ) + shown( call );
   }
   return "[" + text + "]";
}

std::string shown( const World &world, const Operation &operation ) {
   std::ostringstream text;
   text << kNames[operation.kind];
   switch( operation.kind ) {
   case Operation::kPublish:
   case Operation::kRefuse:
   case Operation::kWithdraw:
   case Operation::kPublishWithoutSet:
      text << " " << world.intfs.at( operation.intf ) << " " << world.macs.at( operation.mac );
      break;
   case Operation::kJoin:
   case Operation::kMute:
   case Operation::kLeave:
      text << " " << world.intfs.at( operation.intf ) << " " << world.vlans.at( operation.vlan );
      break;
   case Operation::kResize:
      text << " " << operation.intf << " indexes";
      break;
   case Operation::kForeignSlot:
      text << " " << operation.intf << " " << world.vlans.at( operation.vlan ) << "/"
           << world.macs.at( operation.mac );
      break;
   case Operation::kKeyTrue:
   case Operation::kKeyFalse:
   case Operation::kKeyDel:
      text << " in table " << operation.intf;
      [[fallthrough]];
   case Operation::kHandlePair:
      text << " " << world.vlans.at( operation.vlan ) << "/" << world.macs.at( operation.mac );
      break;
   default:
      break;
   }
   return text.str();
}

std::string shown( const World &world, const Disturbance &disturbance ) {
   return "(" + shown( world, disturbance.operation ) + ", inside call " +
          std::to_string( disturbance.nth + 1 ) + " of the " +
          kMoments[static_cast<int>( disturbance.moment )] + ")";
}

} // namespace ModelTests
