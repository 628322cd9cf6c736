#include "ctl/render/RenderAudit.h"

#include "ctl/Fields.h"
#include "ctl/render/Table.h"
#include "ctl/render/Words.h"

namespace OrloCtl {

namespace {

using Json = nlohmann::json;
using Column = Table::Column;

std::string indexText( const Fields &row, const char *name ) {
   const auto index = row.numberOrNull( name );
   return index ? std::to_string( *index ) : "-";
}

std::string differencesText( std::int64_t count ) {
   return count == 0 ? "no difference" : counted( count, "difference", "differences" );
}

} // namespace

std::string renderAudit( const Json &result, const Look &look ) {
   const Fields fields( result );
   Table table( { { "WHAT" },
                  { "VLAN", Column::right },
                  { "MAC" },
                  { "INDEX", Column::right },
                  { "HARDWARE", Column::right },
                  { "WHY", Column::flexible } } );
   for( const Json &one : fields.list( "differences" ) ) {
      const Fields row( one );
      const bool isRepaired = row.flag( "repaired" );
      table.add( { { row.text( "what" ), isRepaired ? Paint::faint : Paint::bad },
                   std::to_string( row.number( "vlan" ) ),
                   row.text( "mac" ),
                   indexText( row, "assigned" ),
                   indexText( row, "held" ),
                   ( isRepaired ? "repaired: " : "" ) + row.text( "why" ) } );
   }
   const auto assigned = fields.numberOrNull( "assigned" );
   const auto repaired = fields.numberOrNull( "repaired" );
   const std::int64_t left = fields.number( "left" );
   return ( table.empty() ? std::string() : table.text( look.isColored ) ) +
          counted( fields.number( "wanted" ), "pair", "pairs" ) + " wanted, " +
          ( assigned ? std::to_string( *assigned ) + " assigned, " : std::string() ) +
          std::to_string( fields.number( "held" ) ) + " in the hardware: " +
          ( repaired && *repaired != 0
                  ? std::to_string( *repaired ) + " repaired by " +
                          counted( fields.number( "writes" ), "write", "writes" ) + ", "
                  : std::string() ) +
          differencesText( left ) + ( repaired && left != 0 ? " left" : "" ) + "\n";
}

int statusOfAudit( const Json &result ) {
   return Fields( result ).number( "left" ) == 0 ? 0 : 1;
}

Failure failureOfAudit( const Failure &failure ) {
   return { failure.status() == Failure::no ? Failure::noAudit : failure.status(), failure.what() };
}

} // namespace OrloCtl
