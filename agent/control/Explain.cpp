#include "agent/control/Explain.h"

#include "agent/Text.h"
#include "agent/control/Refusals.h"

#include <algorithm>

namespace OrloAgent {

namespace {

using Json = nlohmann::json;
using Quor::U32;

/// Collects the chain of one pair, step by step.
class Explanation {
 public:
   Explanation( const Agent &agent, const Pair &pair )
         : agent_( agent ), programming_( agent.programming() ), pair_( pair ),
           mac_( valueToStrep( pair.mac() ) ), vlan_( valueToStrep( pair.vlanId() ) ) {}

   Json operator()() {
      vlan();
      kernel();
      table();
      programmer();
      hardware();
      return { { "vlan", pair_.vlanId().number() },
               { "mac", mac_ },
               { "verdict", verdict_ },
               { "steps", steps_ },
               { "change", change_ } };
   }

 private:
   void step( const char *name, bool ok, const std::string &text ) {
      steps_.push_back( { { "step", name }, { "ok", ok }, { "text", text } } );
   }
   /// The first reason is the cause; what follows from it is no other.
   void because( const char *verdict, const std::string &change ) {
      if( verdict_.empty() ) {
         verdict_ = verdict;
         change_ = change;
      }
   }

   /// What it has come to, whatever the cause.
   void settle( const char *verdict, const std::string &change ) {
      verdict_ = verdict;
      change_ = change;
   }

   void vlan() {
      for( const auto &entry : programming_.vlanSets()->sviVlanSets() ) {
         if( entry.value()->vlanId( pair_.vlanId() ) ) {
            serving_.push_back( entry.key() );
         }
      }
      std::string names;
      for( const Pelmo::IntfId &intf : serving_ ) {
         names += ( names.empty() ? "" : " and " ) + valueToStrep( intf );
      }
      if( serving_.empty() ) {
         step( "interface", false, "no configured interface serves VLAN " + vlan_ );
         because( "unknown", "put VLAN " + vlan_ +
                                   " into \"vlan\" or \"secondaryVlans\" of an interface in the "
                                   "configuration, and reload" );
      } else {
         step( "interface", true, "VLAN " + vlan_ + " is in the VLAN set of " + names );
      }
   }

   bool isServing( const Pelmo::IntfId &intf ) const {
      return std::find( serving_.begin(), serving_.end(), intf ) != serving_.end();
   }

   void kernel() {
      if( !programming_.isRunning() && isVrrpMac( pair_.mac() ) ) { // no verdict on half of it
         step( "kernel", false, "the kernel's devices are not known as a whole yet" );
         because( "starting", kWait );
         return;
      }
      bool anyPublished = false;
      std::vector<Verdict> here;
      for( const Verdict &device : agent_.devices().verdicts() ) {
         if( device.record.mac() != pair_.mac() ) {
            continue;
         }
         const bool counts = device.published && isServing( device.record.intf() );
         if( isServing( device.record.intf() ) ) {
            here.push_back( device );
         }
         anyPublished = anyPublished || counts;
         step( "kernel", counts,
               device.device +
                     ( device.record.intf().empty()
                             ? ""
                             : " on " + valueToStrep( device.record.intf() ) ) +
                     ( device.published ? " is published: " : " is not published: " ) +
                     device.reason );
      }
      if( !anyPublished ) {
         unpublished( here );
      }
   }

   void unpublished( const std::vector<Verdict> &here ) {
      if( !isVrrpMac( pair_.mac() ) ) {
         step( "kernel", false,
               mac_ + " is no MAC of VRRP: those are 00:00:5e:00:01:VRID and 00:00:5e:00:02:VRID" );
         because( "unknown", "ask for the MAC of a virtual router: only those are programmed" );
      } else if( !here.empty() ) {
         std::string names;
         for( const Verdict &device : here ) {
            names += ( names.empty() ? "" : " or " ) + device.device;
         }
         because( "unpublished", "the VRRP daemon has to become master on " + names +
                                       ": the device is then up, and has the virtual address" );
      } else {
         step( "kernel", false,
               "no device with this MAC stands on an interface that serves VLAN " + vlan_ );
         because( "unknown", "a VRRP daemon has to make a macvlan with this MAC on " +
                                   ( serving_.empty() ? "the VLAN's interface"
                                                      : valueToStrep( serving_.front() ) ) );
      }
   }

   void table() {
      bool isRecorded = false;
      for( const Pelmo::IntfId &intf : serving_ ) {
         if( programming_.status()->vrrpVirtualMac( { intf, pair_.mac() } ) ) {
            isRecorded = true;
            step( "status", true,
                  valueToStrep( intf ) + "/" + mac_ + " is in the table of virtual router MACs" );
         }
      }
      if( !isRecorded ) {
         step( "status", false,
               "no interface that serves VLAN " + vlan_ +
                     " has it in the table of virtual router "
                     "MACs" );
      }
      isWanted_ = programming_.table()->virtualRouterMacs().isMemberOf( pair_ );
      step( "wanted", isWanted_,
            isWanted_ ? "the reflector wants it programmed" : "the reflector does not want it" );
      if( !isWanted_ && isRecorded ) {
         because( programming_.isRunning() ? "unknown" : "starting",
                  "restart the agent, which makes all pairs anew: somebody has taken this one away "
                  "by hand" );
      }
   }

   void programmer() {
      if( !programming_.isRunning() ) {
         step( "programmer", false, "has not started: the kernel's state is not known as a whole" );
         because( "starting", kWait );
         return;
      }
      const Orlo::VrrpSm &vrrpSm = *programming_.vrrpSm();
      if( const auto entry = vrrpSm.virtualRouterIndexes().find( pair_ ) ) {
         index_ = entry->value();
         step( "programmer", true,
               "has given it index " + std::to_string( *index_ ) +
                     sinceText( programming_.assignments()->programmedSince( pair_ ) ) );
      } else if( !isWaiting( vrrpSm ) ) {
         step( "programmer", false, "has no index for it, and it does not wait for one" );
      }
   }

   bool isWaiting( const Orlo::VrrpSm &vrrpSm ) {
      U32 place = 0;
      const U32 count = vrrpSm.macsNeedingVirtualRouterIndexes().count();
      for( const auto &entry : vrrpSm.macsNeedingVirtualRouterIndexes() ) {
         ++place;
         if( entry.value() != pair_ ) {
            continue;
         }
         step( "programmer", false,
               "it waits at place " + std::to_string( place ) + " of " + std::to_string( count ) +
                     sinceText( programming_.assignments()->waitingSince( entry.key() ) ) + ": " +
                     counted( programming_.indexes(), "index is", "indexes are" ) +
                     " all that there are; a restart of the agent makes the line anew" );
         settle( "waiting", toGetASlot( place ) );
         return true;
      }
      return false;
   }

   std::string toGetASlot( U32 place ) const {
      const std::string raise =
            "raise \"indexes\" in the configuration and reload, if the hardware "
            "has more";
      return programming_.indexes() == 0 ? raise
             : place == 1
                   ? "the next pair that is withdrawn gives it its index; or " + raise
                   : std::to_string( place ) +
                           " pairs have to be withdrawn that have an index or stand before it in "
                           "the line; or " +
                           raise;
   }

   void hardware() {
      const OrloHelper::HardwareView *const view = programming_.view();
      if( !view ) {
         step( "hardware", index_.has_value(),
               index_ ? "was told to hold it; this hardware cannot be read back"
                      : "was not told to hold it" );
         if( index_ ) {
            settle( "programmed", "" );
         }
         return;
      }
      const std::string slot = index_ ? "slot " + std::to_string( *index_ ) : "";
      if( const auto refusal =
                index_ ? Refusals::at( programming_, *index_ ) : std::optional<Refusals::Refusal>();
          refusal && refusal->pair == pair_ ) {
         step( "hardware", false, slot + " does not hold it: " + Refusals::text( *refusal ) );
         settle( "refused", kTakeAway );
         return;
      }
      if( index_ && *index_ < programming_.indexes() && view->slot( *index_ ) == pair_ ) {
         step( "hardware", true, slot + " holds it, as read back" );
         settle( isWanted_ ? "programmed" : "leftover", isWanted_ ? "" : kClean );
         return;
      }
      if( index_ ) {
         const auto other = *index_ < programming_.indexes() ? view->slot( *index_ ) : std::nullopt;
         step( "hardware", false,
               slot +
                     ( other ? " holds VLAN " + valueToStrep( other->vlanId() ) + "  " +
                                     valueToStrep( other->mac() )
                             : std::string( " is empty" ) ) +
                     ", as read back" );
         settle( "differs", programming_.canRepair() ? "orloctl audit --repair programs it again"
                                                     : "a restart of the agent programs it again" );
         return;
      }
      for( U32 index = 0; index < programming_.indexes(); ++index ) {
         const auto refusal = Refusals::at( programming_, index );
         if( refusal && refusal->pair == pair_ ) {
            step( "hardware", false,
                  "slot " + std::to_string( index ) + " keeps it: " + Refusals::text( *refusal ) );
            leftBehind( kTakeAway );
            return;
         }
         if( view->slot( index ) == pair_ ) {
            step( "hardware", false,
                  "slot " + std::to_string( index ) +
                        ( programming_.isRunning()
                                ? " holds it, and the programmer does not know of that"
                                : " holds it, as it was left" ) );
            leftBehind( programming_.canRepair() ? kRepair : kClean );
            return;
         }
      }
      step( "hardware", false, "no slot holds it, as read back" );
   }

   /// A slot holds it that the programmer has not given to it.
   void leftBehind( const char *change ) {
      if( !programming_.isRunning() ) {
         settle( "starting", kWait );
      } else if( !isWanted_ ) {
         settle( "leftover", change );
      }
   }

   std::string sinceText( const std::optional<Time> &since ) const {
      return since ? " since " + timeText( *since ) : "";
   }

   static constexpr const char *kWait =
         "wait until the agent is ready: it is, as soon as the kernel has told it everything";
   static constexpr const char *kTakeAway =
         "take away the reason: the agent asks again by itself, and at once for orloctl audit "
         "--repair";
   static constexpr const char *kRepair =
         "orloctl audit --repair frees every slot that the programmer has not given to anybody";
   static constexpr const char *kClean =
         "restart the agent: when it starts, it frees every slot that nobody wants";

   const Agent &agent_;
   const Programming &programming_;
   const Pair pair_;
   const std::string mac_;
   const std::string vlan_;
   std::vector<Pelmo::IntfId> serving_; // the VLAN
   std::optional<U32> index_;
   bool isWanted_ = false;
   Json steps_ = Json::array();
   std::string verdict_;
   std::string change_;
};

} // namespace

Json explain( const Agent &agent, const Pair &pair ) {
   return Explanation( agent, pair )();
}

} // namespace OrloAgent
