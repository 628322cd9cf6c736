#include "ctl/render/RenderShow.h"

#include "ctl/Fields.h"
#include "ctl/render/Table.h"
#include "ctl/render/Words.h"

#include <algorithm>
#include <optional>

namespace OrloCtl {

namespace {

using Json = nlohmann::json;
using Column = Table::Column;

std::string since( const Fields &row, const Look &look ) {
   const std::string moment = row.textIfAny( "since" );
   return moment.empty() ? "-" : age( moment, look.now );
}

std::string interfacesOf( const Fields &row ) {
   return texts( row.list( "interfaces" ) );
}

Table::Cell yesOrNo( bool value, Paint whenNot = Paint::plain ) {
   return value ? Table::Cell( "yes" ) : Table::Cell( "no", whenNot );
}

/// What the hardware says, if it can be asked.
Table::Cell heldText( const std::optional<bool> &held, bool wanted,
                      const std::string &other = {} ) {
   if( !held ) {
      return { "?", Paint::bad };
   }
   return { ( *held ? "yes" : "no" ) + other, *held != wanted ? Paint::bad : Paint::plain };
}

/// Why the hardware does not do what it was asked, if it has said so.
std::string refusalOf( const Fields &row ) {
   return row.has( "refusal" ) && !row.isNull( "refusal" )
                ? ": " + Fields( row.object( "refusal" ) ).text( "reason" )
                : std::string();
}

std::string unknownHint( bool isUnknown ) {
   return isUnknown ? "?: the hardware cannot be read\n" : "";
}

/// Of a row of pairs: `pending` has its index, and the hardware has not said no.
Table::Cell programmedText( const Fields &row ) {
   const auto held = row.flagOrNull( "programmed" );
   const std::string refusal = refusalOf( row );
   if( held && !*held && refusal.empty() && row.numberOrNull( "index" ) ) {
      return { "pending", Paint::bad };
   }
   return heldText( held, row.flag( "wanted" ), refusal );
}

std::string note( const Fields &result ) {
   const std::string text = result.textIfAny( "note" );
   return text.empty() ? text : hanging( "note: ", text );
}

std::string slotsText( const Fields &slots ) {
   return std::to_string( slots.number( "used" ) ) + " of " +
          counted( slots.number( "total" ), "slot", "slots" ) + " used, " +
          std::to_string( slots.number( "available" ) ) + " available";
}

/// The word and what it stands for, as a line of the short form.
std::string entry( std::string word, const std::string &text ) {
   constexpr std::size_t kWordWidth = 12;
   word.resize( kWordWidth, ' ' );
   return hanging( word, text );
}

} // namespace

std::string renderShow( const Json &result, const Look &look ) {
   const Fields fields( result );
   const bool isReady = fields.flag( "ready" );
   const Fields pairs( fields.object( "pairs" ) );
   const Fields slots( fields.object( "slots" ) );
   std::string adoption = "-";
   if( !fields.isNull( "lastAdoption" ) ) {
      const Fields last( fields.object( "lastAdoption" ) );
      adoption = std::to_string( last.number( "adopted" ) ) + " adopted, " +
                 std::to_string( last.number( "removed" ) ) + " removed, " +
                 age( last.text( "at" ), look.now ) + " ago";
   }
   const std::int64_t waiting = pairs.number( "waiting" );
   const auto refused = fields.numberOrNull( "refused" );
   std::string refusals = "?";
   if( refused ) {
      refusals = std::to_string( *refused ) + " now, " +
                 std::to_string( fields.number( "refusals" ) ) + " in all";
      if( !fields.isNull( "refusal" ) ) {
         const Fields first( fields.object( "refusal" ) );
         refusals += "; VLAN " + std::to_string( first.number( "vlan" ) ) + " " +
                     first.text( "mac" ) + " index " + std::to_string( first.number( "index" ) ) +
                     ( first.flag( "removal" ) ? " is kept" : "" ) + refusalOf( fields );
      }
   }
   return "orlo-agent " + fields.text( "version" ) + ", " +
          painted( isReady ? "ready" : "not ready yet", isReady ? Paint::good : Paint::bad,
                   look.isColored ) +
          ", up " + duration( fields.number( "uptimeSeconds" ) ) + "\n" +
          entry( "hardware", fields.text( "kind" ) ) +
          entry( "interfaces", std::to_string( fields.number( "interfaces" ) ) ) +
          entry( "MACs", std::to_string( fields.number( "macs" ) ) ) +
          entry( "pairs", std::to_string( pairs.number( "wanted" ) ) + " wanted, " +
                                std::to_string( pairs.number( "programmed" ) ) + " programmed, " +
                                std::to_string( waiting ) + " waiting" ) +
          entry( "slots", slotsText( slots ) ) + entry( "refusals", refusals ) +
          entry( "restarts", std::to_string( fields.number( "restarts" ) ) ) +
          entry( "adoption", adoption ) + note( fields );
}

std::string renderPairs( const Json &result, const Look &look ) {
   const Fields fields( result );
   Table table( { { "VLAN", Column::right },
                  { "MAC" },
                  { "INTERFACE", Column::flexible },
                  { "INDEX" },
                  { "WANTED" },
                  { "PROGRAMMED", Column::flexible },
                  { "SINCE", Column::right } } );
   std::int64_t shown = 0;
   std::int64_t wanted = 0;
   std::int64_t programmed = 0;
   std::int64_t waiting = 0;
   bool isUnknown = false;
   for( const Json &one : fields.list( "pairs" ) ) {
      const Fields row( one );
      const auto index = row.numberOrNull( "index" );
      const auto place = row.numberOrNull( "place" );
      const auto held = row.flagOrNull( "programmed" );
      const bool isWanted = row.flag( "wanted" );
      ++shown;
      wanted += isWanted ? 1 : 0;
      programmed += held.value_or( false ) ? 1 : 0;
      waiting += place ? 1 : 0;
      isUnknown = isUnknown || !held;
      table.add( { std::to_string( row.number( "vlan" ) ), row.text( "mac" ), interfacesOf( row ),
                   index   ? std::to_string( *index )
                   : place ? "line " + std::to_string( *place )
                           : "-",
                   yesOrNo( isWanted ), programmedText( row ), since( row, look ) } );
   }
   const std::int64_t total = fields.number( "total" );
   if( total == 0 && shown == 0 ) {
      return "no pairs\n";
   }
   return table.text( look.isColored ) +
          ( shown == total ? "" : std::to_string( shown ) + " of " ) +
          counted( total, "pair", "pairs" ) + ": " + std::to_string( wanted ) + " wanted, " +
          std::to_string( programmed ) + " programmed, " + std::to_string( waiting ) +
          " waiting\n" + unknownHint( isUnknown );
}

std::string renderWaiting( const Json &result, const Look &look ) {
   const Fields fields( result );
   Table table( { { "PLACE", Column::right },
                  { "VLAN", Column::right },
                  { "MAC" },
                  { "INTERFACE", Column::flexible },
                  { "SINCE", Column::right } } );
   const Json &rows = fields.list( "waiting" );
   for( const Json &one : rows ) {
      const Fields row( one );
      table.add( { std::to_string( row.number( "place" ) ), std::to_string( row.number( "vlan" ) ),
                   row.text( "mac" ), interfacesOf( row ), since( row, look ) } );
   }
   return ( table.empty() ? "no pair waits\n"
                          : table.text( look.isColored ) +
                                  counted( static_cast<std::int64_t>( rows.size() ), "pair waits",
                                           "pairs wait" ) +
                                  "\n" ) +
          note( fields );
}

std::string renderSlots( const Json &result, const Look &look ) {
   const Fields fields( result );
   Table table( { { "INDEX", Column::right },
                  { "VLAN", Column::right },
                  { "MAC" },
                  { "HARDWARE", Column::flexible },
                  { "FREE", Column::right } } );
   bool isUnknown = false;
   for( const Json &one : fields.list( "slots" ) ) {
      const Fields row( one );
      const std::string index = std::to_string( row.number( "index" ) );
      std::string other;
      if( row.has( "holds" ) ) {
         const Fields holds( row.object( "holds" ) );
         other = ": VLAN " + std::to_string( holds.number( "vlan" ) ) + "  " + holds.text( "mac" );
      }
      other += refusalOf( row );
      if( row.has( "free" ) ) {
         table.add( { index, "-", "-",
                      other.empty() ? Table::Cell( "-" ) : heldText( false, true, other ),
                      std::to_string( row.number( "free" ) ) } );
         continue;
      }
      const auto held = row.flagOrNull( "hardware" );
      isUnknown = isUnknown || !held;
      table.add( { index, std::to_string( row.number( "vlan" ) ), row.text( "mac" ),
                   heldText( held, true, other ), "-" } );
   }
   return ( table.empty() ? std::string() : table.text( look.isColored ) ) + slotsText( fields ) +
          "\n" + unknownHint( isUnknown );
}

std::string renderInterfaces( const Json &result, const Look &look ) {
   constexpr std::size_t kIndent = 3;
   std::string all;
   for( const Json &one : Fields( result ).list( "interfaces" ) ) {
      const Fields row( one );
      const bool isOurs = !row.isNull( "name" );
      all += all.empty() ? "" : "\n";
      if( isOurs ) {
         all += row.text( "name" ) + "\n" +
                hanging( "   VLANs  ", numbers( row.list( "vlans" ) ) ) +
                hanging( "   MACs   ", texts( row.list( "macs" ) ) );
      } else {
         all += "on none of the interfaces\n";
      }
      Table table( { { "DEVICE", Column::flexible },
                     { "MAC" },
                     { "PUBLISHED" },
                     { "REASON", Column::flexible } } );
      for( const Json &each : row.list( "devices" ) ) {
         const Fields device( each );
         const std::string reason = device.textIfAny( "reason" );
         table.add( { device.text( "device" ), device.text( "mac" ),
                      yesOrNo( device.flag( "published" ), Paint::bad ),
                      reason.empty() ? "-" : reason } );
      }
      all += table.empty() ? "   no VRRP devices\n" : table.text( look.isColored, kIndent );
   }
   return all.empty() ? "no interfaces\n" : all;
}

std::string renderExplain( const Json &result, const Look &look ) {
   const Fields fields( result );
   const std::string verdict = fields.text( "verdict" );
   std::string all =
         "VLAN " + std::to_string( fields.number( "vlan" ) ) + "  " + fields.text( "mac" ) + "  " +
         painted( verdict, verdict == "programmed" ? Paint::good : Paint::bad, look.isColored ) +
         "\n";
   const Json &steps = fields.list( "steps" );
   std::size_t nameWidth = 0;
   for( const Json &one : steps ) {
      nameWidth = std::max( nameWidth, Fields( one ).text( "step" ).size() );
   }
   std::size_t number = 0;
   for( const Json &one : steps ) {
      const Fields step( one );
      const bool isGood = step.flag( "ok" );
      std::string name = step.text( "step" );
      name.resize( nameWidth, ' ' );
      std::string lead = std::to_string( ++number ) + ". ";
      lead.insert( 0, lead.size() < 4 ? " " : "" );
      lead += name + "  " + ( isGood ? "ok" : "NO" ) + "  ";
      std::string lines = hanging( lead, step.text( "text" ) );
      const std::size_t mark = lead.size() - 4;
      lines.replace(
            mark, 2,
            painted( lines.substr( mark, 2 ), isGood ? Paint::good : Paint::bad, look.isColored ) );
      all += lines;
   }
   const std::string change = fields.textIfAny( "change" );
   return all + ( change.empty() ? "" : hanging( "to change that: ", change ) );
}

} // namespace OrloCtl
