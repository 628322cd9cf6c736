#include "agent/Report.h"

#include "agent/Text.h"

#include <algorithm>
#include <ostream>

namespace OrloAgent {

namespace {

using Quor::U32;
using Quor::U64;

std::string leftAligned( std::string text, std::size_t width ) {
   text.resize( std::max( text.size(), width ), ' ' );
   return text;
}

std::string rightAligned( const std::string &text, std::size_t width ) {
   return std::string( width - std::min( width, text.size() ), ' ' ) + text;
}

std::string indexText( const TableRow &row ) {
   if( row.index ) {
      return std::to_string( *row.index );
   }
   return row.place ? "line " + std::to_string( *row.place ) : "-";
}

std::string intfText( const TableRow &row ) {
   return row.intf.empty() ? "-" : std::string( row.intf.name() );
}

const char *yesOrNo( bool value ) {
   return value ? "yes" : "no";
}

} // namespace

void Report::line( const char *what, const std::string &rest, Fields fields ) {
   const std::string text = leftAligned( what, 12 ) + rest;
   if( journal_ ) {
      fields.emplace_back( "EVENT", what );
      journal_( text, fields );
   } else {
      out_ << text + "\n";
   }
}

void Report::pairLine( const char *what, const Pair &pair, const std::string &rest,
                       Fields fields ) {
   const std::string vlan = valueToStrep( pair.vlanId() );
   const std::string mac = valueToStrep( pair.mac() );
   fields.emplace_back( "VLAN", vlan );
   fields.emplace_back( "MAC", mac );
   line( what, "VLAN " + vlan + "  " + mac + "  " + rest, std::move( fields ) );
}

void Report::recordLine( const char *what, const Record &record, const std::string &rest,
                         const std::string &device ) {
   const std::string intf = valueToStrep( record.intf() );
   const std::string mac = valueToStrep( record.mac() );
   line( what, intf + "  " + mac + "  " + rest,
         { { "INTERFACE", intf }, { "MAC", mac }, { "DEVICE", device } } );
}

void Report::ready( U32 indexes, U64 adopted, U64 programmed, U64 waiting ) {
   const std::string text = "ready: " + counted( indexes, "index", "indexes" ) + ", " +
                            std::to_string( adopted ) + " adopted, " +
                            counted( programmed, "pair", "pairs" ) + " programmed, " +
                            std::to_string( waiting ) + " waiting";
   if( journal_ ) {
      journal_( text, { { "EVENT", "ready" } } );
   } else {
      out_ << text + "\n";
   }
}

void Report::published( const Record &record, const std::string &device ) {
   recordLine( "published", record, "from " + device, device );
}

void Report::withdrawn( const Record &record, const std::string &device,
                        const std::string &reason ) {
   recordLine( "withdrawn", record, device + ": " + reason, device );
}

void Report::changed( const PairChange &change ) {
   const std::string number = std::to_string( change.number );
   const auto indexed = [&]( const char *what ) {
      pairLine( what, change.pair, "index " + number, { { "INDEX", number } } );
   };
   switch( change.what ) {
   case PairChange::What::adopted:
      return indexed( "adopted" );
   case PairChange::What::programmed:
      return indexed( "programmed" );
   case PairChange::What::removed:
      return indexed( "removed" );
   case PairChange::What::waiting:
      return pairLine( "waiting", change.pair, "place " + number, { { "PLACE", number } } );
   case PairChange::What::left:
      return pairLine( "left", change.pair, "no longer waits" );
   }
}

void Report::refused( const PairChange &change, const std::string &reason ) {
   const std::string number = std::to_string( change.number );
   pairLine( "refused", change.pair,
             "index " + number +
                   ( change.what == PairChange::What::removed ? ": cannot be removed: " : ": " ) +
                   reason,
             { { "INDEX", number }, { "REASON", reason } } );
}

void Report::full( U32 indexes ) {
   const std::string all = std::to_string( indexes );
   line( "full", all + " of " + all + " indexes in use: what comes now waits" );
}

void Report::relieved() {
   line( "relieved", "nobody waits any more" );
}

void Report::reloaded( const std::vector<std::string> &changes ) {
   std::string text;
   for( const std::string &change : changes ) {
      text += ( text.empty() ? "" : "; " ) + change;
   }
   line( "reloaded", text.empty() ? "the configuration is the same" : text );
}

void Report::overrun() {
   line( "overrun", "the kernel dropped messages; reading everything again" );
}

void Report::table( TableOfPairs table ) {
   std::sort( table.rows.begin(), table.rows.end(), []( const TableRow &a, const TableRow &b ) {
      return a.pair != b.pair ? a.pair < b.pair : a.index < b.index;
   } );
   std::size_t intfWidth = 9;
   std::size_t indexWidth = 7;
   std::size_t wanted = 0;
   std::size_t programmed = 0;
   for( const TableRow &row : table.rows ) {
      intfWidth = std::max( intfWidth, intfText( row ).size() );
      indexWidth = std::max( indexWidth, indexText( row ).size() );
      wanted += row.wanted ? 1 : 0;
      programmed += row.programmed ? 1 : 0;
   }
   const auto row = [&]( const std::string &vlan, const std::string &mac, const std::string &intf,
                         const std::string &index, const std::string &isWanted,
                         const std::string &isProgrammed ) {
      out_ << rightAligned( vlan, 4 ) + "  " + leftAligned( mac, 17 ) + "  " +
                    leftAligned( intf, intfWidth ) + "  " + leftAligned( index, indexWidth ) +
                    "  " + leftAligned( isWanted, 6 ) + "  " + isProgrammed + "\n";
   };
   row( "VLAN", "MAC", "INTERFACE", "INDEX", "WANTED", "PROGRAMMED" );
   for( const TableRow &one : table.rows ) {
      row( valueToStrep( one.pair.vlanId() ), valueToStrep( one.pair.mac() ), intfText( one ),
           indexText( one ), yesOrNo( one.wanted ), yesOrNo( one.programmed ) );
   }
   out_ << counted( wanted, "pair", "pairs" ) + " wanted, " + std::to_string( programmed ) +
                 " programmed, " + std::to_string( table.waiting ) + " waiting; " +
                 std::to_string( table.indexesUsed ) + " of " + std::to_string( table.indexes ) +
                 " indexes used\n";
}

} // namespace OrloAgent
