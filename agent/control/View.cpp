#include "agent/control/View.h"

#include "agent/control/Refusals.h"
#include "agent/control/Rows.h"

#include <algorithm>
#include <map>
#include <unordered_map>

namespace OrloAgent {

namespace {

using Json = nlohmann::json;
using Quor::U32;

std::vector<U32> vlansOf( const IntfVlanIdSet::SviVlanSet &set ) {
   std::vector<U32> vlans;
   for( const auto &entry : set.vlanIds() ) {
      vlans.push_back( entry.key().number() );
   }
   std::sort( vlans.begin(), vlans.end() );
   return vlans;
}

/// Which interfaces serve a VLAN, and have a MAC: looked up once for all pairs of an answer.
class Standing {
 public:
   explicit Standing( const Programming &programming ) {
      for( const auto &entry : programming.vlanSets()->sviVlanSets() ) {
         for( const U32 vlan : vlansOf( *entry.value() ) ) {
            interfacesOf_[vlan].push_back( entry.key() );
         }
      }
      for( const auto &entry : programming.status()->vrrpVirtualMacs() ) {
         records_.push_back( entry.key() );
      }
      std::sort( records_.begin(), records_.end() );
   }

   std::vector<std::string> of( const Pair &pair ) const {
      std::vector<std::string> names;
      const auto serving = interfacesOf_.find( pair.vlanId().number() );
      if( serving != interfacesOf_.end() ) {
         for( const Pelmo::IntfId &intf : serving->second ) {
            const Routing::Fhrp::VirtualRouterMac record( intf, pair.mac() );
            if( std::binary_search( records_.begin(), records_.end(), record ) ) {
               names.push_back( valueToStrep( intf ) );
            }
         }
      }
      std::sort( names.begin(), names.end() );
      return names;
   }

 private:
   std::map<U32, std::vector<Pelmo::IntfId>> interfacesOf_;
   std::vector<Routing::Fhrp::VirtualRouterMac> records_;
};

} // namespace

bool View::holds( const Pair &pair, U32 index ) const {
   const OrloHelper::HardwareView *const view = agent_.programming().view();
   return !view || ( index < agent_.programming().indexes() &&
                     view->slot( index ) == std::optional( pair ) );
}

std::vector<View::Row> View::rows( const Refusals &refusals ) const {
   const Programming &programming = agent_.programming();
   const OrloHelper::HardwareView *const view = programming.view();
   const auto none = view ? std::optional( false ) : std::nullopt;
   std::unordered_map<Pair, Row, decltype( []( const Pair &pair ) { return pair.hash(); } )> rows;
   const auto row = [&]( const Pair &pair ) -> Row & {
      const auto [at, isNew] = rows.try_emplace( pair );
      if( isNew ) {
         at->second = { pair, {}, {}, {}, false, none };
      }
      return at->second;
   };
   for( const auto &entry : programming.table()->virtualRouterMacs() ) {
      row( entry.key() ).isWanted = true;
   }
   if( programming.isRunning() ) {
      U32 place = 0;
      for( const auto &entry : programming.vrrpSm()->macsNeedingVirtualRouterIndexes() ) {
         Row &one = row( entry.value() );
         one.place = ++place;
         one.since = programming.assignments()->waitingSince( entry.key() );
      }
      for( const auto &entry : programming.vrrpSm()->virtualRouterIndexes() ) {
         Row &one = row( entry.key() );
         one.index = entry.value();
         one.since = programming.assignments()->programmedSince( entry.key() );
         one.isProgrammed = view ? std::optional( holds( entry.key(), entry.value() ) ) : none;
      }
   }
   for( U32 index = 0; view && index < programming.indexes(); ++index ) {
      if( const std::optional<Pair> pair = view->slot( index ) ) {
         Row &one = row( *pair );
         one.isProgrammed = true;
         one.index = one.index.value_or( index ); // left behind, or not adopted yet
      }
   }
   for( const auto &[index, refusal] : refusals.all() ) { // perhaps it is there in part
      Row &one = row( refusal.pair );
      one.index = one.index.value_or( index );
   }
   std::vector<Row> sorted;
   sorted.reserve( rows.size() );
   for( const auto &[pair, one] : rows ) {
      sorted.push_back( one );
   }
   std::sort( sorted.begin(), sorted.end(),
              []( const Row &a, const Row &b ) { return a.pair < b.pair; } );
   return sorted;
}

Answer View::pairs( const PairFilter &filter ) const {
   const Standing standing( agent_.programming() );
   const Refusals refusals( agent_.programming() );
   std::vector<Row> shown = rows( refusals );
   std::erase_if( shown, [&]( const Row &row ) {
      const auto isOn = [&]( const Pelmo::IntfId &intf ) {
         const auto set = agent_.programming().vlanSets()->sviVlanSet( intf );
         return set && set->vlanId( row.pair.vlanId() );
      };
      return ( filter.vlan && *filter.vlan != row.pair.vlanId() ) ||
             ( filter.mac && *filter.mac != row.pair.mac() ) ||
             ( filter.interface && !isOn( *filter.interface ) );
   } );
   return answerOf( "pairs", std::move( shown ), [standing, refusals]( Json &row, const Row &one ) {
      put( row, one.pair );
      row["interfaces"] = standing.of( one.pair );
      row["index"] = valueOrNull( one.index );
      row["place"] = valueOrNull( one.place );
      row["wanted"] = one.isWanted;
      row["programmed"] = valueOrNull( one.isProgrammed );
      row["refusal"] = Refusals::json( refusals.of( one.pair ) );
      row["since"] = timeOrNull( one.since );
   } );
}

Answer View::waiting() const {
   const Programming &programming = agent_.programming();
   std::vector<Row> line;
   if( programming.isRunning() ) {
      for( const auto &entry : programming.vrrpSm()->macsNeedingVirtualRouterIndexes() ) {
         Row row;
         row.pair = entry.value();
         row.place = static_cast<U32>( line.size() + 1 );
         row.since = programming.assignments()->waitingSince( entry.key() );
         line.push_back( row );
      }
   }
   Answer answer = answerOf( "waiting", std::move( line ),
                             [standing = Standing( programming )]( Json &row, const Row &one ) {
                                put( row, one.pair );
                                row["place"] = valueOrNull( one.place );
                                row["interfaces"] = standing.of( one.pair );
                                row["since"] = timeOrNull( one.since );
                             } );
   if( programming.isRunning() ) {
      answer.result["note"] = "a start of the programmer makes the line anew, in the order of the "
                              "table; the last one was at " +
                              timeText( programming.lastAdoption().at );
   }
   return answer;
}

Answer View::slots() const {
   struct Slot {
      U32 index;
      std::optional<Pair> pair;
      U32 turn = 0; ///< when it is handed out; 1 is next
      std::optional<bool> isInHardware;
      std::optional<Pair> other; ///< in the hardware instead
   };
   const Programming &programming = agent_.programming();
   const OrloHelper::HardwareView *const view = programming.view();
   std::vector<Slot> slots;
   if( programming.isRunning() ) {
      for( const auto &entry : programming.vrrpSm()->virtualRouterIndexes() ) {
         slots.push_back(
               { entry.value(),
                 entry.key(),
                 0,
                 view ? std::optional( holds( entry.key(), entry.value() ) ) : std::nullopt,
                 {} } );
      }
      std::sort( slots.begin(), slots.end(),
                 []( const Slot &a, const Slot &b ) { return a.index < b.index; } );
      U32 turn = 0;
      for( const auto &entry : programming.vrrpSm()->freeVirtualRouterIndexes() ) {
         slots.push_back( { entry.value(), {}, ++turn, {}, {} } );
      }
   }
   for( Slot &slot : slots ) {
      if( view && slot.index < programming.indexes() && !slot.isInHardware.value_or( false ) ) {
         slot.other = view->slot( slot.index );
      }
   }
   const Refusals refusals( programming );
   const auto fill = [refusals]( Json &row, const Slot &slot ) {
      row["index"] = slot.index;
      if( slot.pair ) {
         put( row, *slot.pair );
         row["hardware"] = valueOrNull( slot.isInHardware );
      } else {
         row["free"] = slot.turn;
      }
      if( slot.other ) {
         put( row["holds"], *slot.other );
      }
      const auto refusal = refusals.all().find( slot.index );
      row["refusal"] =
            Refusals::json( refusal == refusals.all().end() ? nullptr : &refusal->second );
   };
   Answer answer = answerOf( "slots", std::move( slots ), fill );
   answer.result = summary()["slots"];
   return answer;
}

Answer View::interfaces() const {
   struct Interface {
      std::string name; // none: of the devices that stand on no interface of ours
      std::vector<U32> vlans;
      std::vector<std::string> macs;
      std::vector<Verdict> devices;
   };
   std::map<std::string, Interface> byName;
   for( const auto &entry : agent_.programming().vlanSets()->sviVlanSets() ) {
      const std::string name = valueToStrep( entry.key() );
      byName[name] = { name, vlansOf( *entry.value() ), {}, {} };
   }
   for( const auto &entry : agent_.programming().status()->vrrpVirtualMacs() ) {
      byName[valueToStrep( entry.key().intf() )].macs.push_back(
            valueToStrep( entry.key().mac() ) );
   }
   for( const Verdict &verdict : agent_.devices().verdicts() ) {
      byName[valueToStrep( verdict.record.intf() )].devices.push_back( verdict );
   }
   std::vector<Interface> rows;
   for( auto &[name, row] : byName ) {
      std::sort( row.macs.begin(), row.macs.end() );
      rows.push_back( std::move( row ) );
   }
   std::rotate( rows.begin(),
                std::find_if( rows.begin(), rows.end(),
                              []( const Interface &row ) { return !row.name.empty(); } ),
                rows.end() ); // those without a name to the end
   return answerOf( "interfaces", std::move( rows ), []( Json &row, const Interface &one ) {
      row["name"] = one.name.empty() ? Json() : Json( one.name );
      row["vlans"] = one.vlans;
      row["macs"] = one.macs;
      row["devices"] = Json::array();
      for( const Verdict &device : one.devices ) {
         row["devices"].push_back( { { "device", device.device },
                                     { "mac", valueToStrep( device.record.mac() ) },
                                     { "published", device.published },
                                     { "reason", device.reason } } );
      }
   } );
}

View::Counts View::counts() const {
   const Programming &programming = agent_.programming();
   const OrloHelper::HardwareView *const view = programming.view();
   Counts counts;
   U32 assigned = 0;
   U32 assignedUsed = 0; // slots of assigned indexes that hold anything
   if( programming.isRunning() ) {
      for( const auto &entry : programming.vrrpSm()->virtualRouterIndexes() ) {
         ++assigned;
         const bool isHeld = holds( entry.key(), entry.value() );
         ++( isHeld ? counts.programmed : counts.mismatches );
         assignedUsed +=
               view && entry.value() < programming.indexes() && view->slot( entry.value() ) ? 1 : 0;
      }
   }
   if( !view ) {
      counts.used = assigned;
      return counts;
   }
   for( U32 index = 0; index < programming.indexes(); ++index ) {
      counts.used += view->slot( index ) ? 1 : 0;
   }
   if( programming.isRunning() ) { // before, what is left from the last one is to be adopted
      counts.mismatches += counts.used - assignedUsed;
   }
   return counts;
}

Json View::summary() const {
   const Programming &programming = agent_.programming();
   const OrloHelper::HardwareView *const view = programming.view();
   const Counts counts = this->counts();
   const U32 waiting = programming.isRunning()
                             ? programming.vrrpSm()->macsNeedingVirtualRouterIndexes().count()
                             : 0;
   const U32 available =
         programming.isRunning() ? programming.vrrpSm()->freeVirtualRouterIndexes().count() : 0;
   const Refusals refusals( programming );
   Json refusal;
   if( refusals.count() != 0 ) {
      const Refusals::Refusal &first = refusals.all().begin()->second;
      refusal = Refusals::json( &first );
      put( refusal, first.pair );
      refusal["index"] = first.index;
   }
   Json adoption;
   if( programming.isRunning() ) {
      adoption = { { "adopted", programming.lastAdoption().adopted },
                   { "removed", programming.lastAdoption().removed },
                   { "at", timeText( programming.lastAdoption().at ) } };
   }
   return {
         { "version", programming.pluginVersion() },
         { "kind", agent_.configuration().hardware.kind },
         { "helper", programming.helper() ? programming.helper()->name().text() : std::string() },
         { "ready", agent_.isReady() },
         { "uptimeSeconds", ( agent_.clock()() - agent_.startedAt() ).count() },
         { "interfaces", programming.vlanSets()->sviVlanSets().size() },
         { "macs", programming.status()->vrrpVirtualMacs().size() },
         { "pairs",
           { { "wanted", programming.table()->virtualRouterMacs().size() },
             { "programmed", counts.programmed },
             { "waiting", waiting } } },
         { "slots",
           { { "total", programming.indexes() },
             { "used", counts.used },
             { "available", available } } },
         { "mismatches", counts.mismatches },
         { "refused", view ? Json( refusals.count() ) : Json() },
         { "refusal", refusal },
         { "refusals", view ? Json( view->refusals() ) : Json() },
         { "restarts", programming.restarts() },
         { "lastAdoption", adoption } };
}

std::string View::metrics() const {
   const Json all = summary();
   const Programming &programming = agent_.programming();
   Json oldest = 0;
   if( programming.isRunning() ) {
      const auto &line = programming.vrrpSm()->macsNeedingVirtualRouterIndexes();
      if( const auto first = line.begin(); first != line.end() ) {
         const auto since = programming.assignments()->waitingSince( first->key() );
         oldest = since ? ( agent_.clock()() - *since ).count() : 0;
      }
   }
   std::string text;
   const auto metric = [&text]( const char *name, const char *type, const char *help,
                                const Json &value ) {
      text += std::string( "# HELP " ) + name + " " + help + "\n# TYPE " + name + " " + type +
              "\n" + name + " " + value.dump() + "\n";
   };
   metric( "orlo_slots", "gauge", "Slots of the hardware table.", all["slots"]["total"] );
   metric( "orlo_slots_used", "gauge", "Slots that hold a pair.", all["slots"]["used"] );
   metric( "orlo_wanted", "gauge", "Pairs of VLAN and MAC that are to be routed.",
           all["pairs"]["wanted"] );
   metric( "orlo_waiting", "gauge", "Pairs that wait for a slot.", all["pairs"]["waiting"] );
   metric( "orlo_waiting_oldest_seconds", "gauge", "How long the first in the line has waited.",
           oldest );
   metric( "orlo_audit_mismatches", "gauge",
           "Slots in which the hardware holds something else than was assigned.",
           all["mismatches"] );
   const auto orZero = []( const Json &number ) { return number.is_null() ? Json( 0 ) : number; };
   metric( "orlo_refused", "gauge", "Pairs that the hardware refuses to take or to give up.",
           orZero( all["refused"] ) );
   metric( "orlo_program_failures_total", "counter", "What the hardware has refused.",
           orZero( all["refusals"] ) );
   metric( "orlo_hardware_writes_total", "counter",
           "Entries that were added to or removed from the hardware, or were to be.",
           programming.view() ? Json( programming.view()->writes() ) : Json( 0 ) );
   metric( "orlo_adopted_total", "counter", "Pairs that were adopted from the hardware at a start.",
           all["lastAdoption"].is_null() ? Json( 0 ) : Json( programming.adoptedInAll() ) );
   return text;
}

} // namespace OrloAgent
