#include "agent/control/Refusals.h"

#include "agent/Text.h"

namespace OrloAgent {

using Quor::U32;

std::optional<Refusals::Refusal> Refusals::at( const Programming &programming, U32 index ) {
   const OrloHelper::HardwareView *const view = programming.view();
   const auto found = view && index < programming.indexes() ? view->refusal( index ) : std::nullopt;
   if( !found ) {
      return std::nullopt;
   }
   return Refusal{ found->pair,
                   index,
                   found->isRemoval,
                   found->reason,
                   found->tries,
                   programming.timeOf( found->since ),
                   programming.timeOf( found->next ) };
}

Refusals::Refusals( const Programming &programming ) {
   for( U32 index = 0; index < programming.indexes(); ++index ) {
      if( const std::optional<Refusal> found = at( programming, index ) ) {
         byIndex_.emplace( index, *found );
         const auto [other, isFirst] = indexOf_.emplace( found->pair, index );
         if( !isFirst && !found->isRemoval ) {
            other->second = index;
         }
      }
   }
}

const Refusals::Refusal *Refusals::of( const Pair &pair ) const {
   const auto found = indexOf_.find( pair );
   return found == indexOf_.end() ? nullptr : &byIndex_.at( found->second );
}

nlohmann::json Refusals::json( const Refusal *refusal ) {
   if( !refusal ) {
      return {};
   }
   return { { "reason", refusal->reason },
            { "removal", refusal->isRemoval },
            { "tries", refusal->tries },
            { "since", timeText( refusal->since ) },
            { "next", timeText( refusal->next ) } };
}

std::string Refusals::text( const Refusal &refusal ) {
   return refusal.reason + "; asked " + counted( refusal.tries, "time", "times" ) + " since " +
          timeText( refusal.since ) + ", next at " + timeText( refusal.next );
}

} // namespace OrloAgent
