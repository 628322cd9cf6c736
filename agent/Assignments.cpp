#include "agent/Assignments.h"

#include <algorithm>
#include <set>

namespace OrloAgent {

using Quor::U32;
using What = PairChange::What;

Assignments::Assignments( const Quor::Ptr<Orlo::VrrpSm> &vrrpSm, Clock clock,
                          const Assignments *before )
      : clock_( std::move( clock ) ) {
   startUpPass( *vrrpSm );
   if( before ) {
      takeOver( *before );
   }
   notifierIs( vrrpSm );
   isRegisteredNotifieeIs( true );
}

void Assignments::startUpPass( const Orlo::VrrpSm &vrrpSm ) {
   const Time now = clock_();
   const auto &snapshot = vrrpSm.currentVrrpStateForInit()->virtualRouterIndexes();
   std::vector<PairChange> removed; // in the order in which their indexes became free
   for( const auto &entry : snapshot ) {
      const bool stays = vrrpSm.virtualRouterIndexes().isMemberOf( entry.key() );
      ( stays ? changes_ : removed )
            .push_back( { stays ? What::adopted : What::removed, entry.key(), entry.value() } );
   }
   std::sort( changes_.begin(), changes_.end(),
              []( const PairChange &a, const PairChange &b ) { return a.number < b.number; } );
   changes_.insert( changes_.end(), removed.begin(), removed.end() );
   for( const auto &entry : vrrpSm.virtualRouterIndexes() ) {
      programmed_[entry.key()] = { entry.value(), now };
      if( !snapshot.isMemberOf( entry.key() ) ) {
         changed( What::programmed, entry.key(), entry.value() );
      }
   }
   U32 place = 0;
   for( const auto &entry : vrrpSm.macsNeedingVirtualRouterIndexes() ) {
      waiting_[entry.key()] = { entry.value(), now };
      changed( What::waiting, entry.value(), ++place );
   }
}

void Assignments::takeOver( const Assignments &before ) {
   for( auto &[pair, now] : programmed_ ) {
      const auto then = before.programmed_.find( pair );
      if( then != before.programmed_.end() && then->second.index == now.index ) {
         now.since = then->second.since;
      }
   }
   std::unordered_map<Pair, Time, Hash> waited;
   for( const auto &[position, waiting] : before.waiting_ ) {
      waited.emplace( waiting.pair, waiting.since );
   }
   for( auto &[position, now] : waiting_ ) {
      const auto then = waited.find( now.pair );
      now.since = then == waited.end() ? now.since : then->second;
   }
   std::set<Pair> left; // in an order that does not depend on how they were found
   for( const auto &[pair, since] : waited ) {
      left.insert( pair );
   }
   std::erase_if( changes_, [&]( const PairChange &change ) {
      const bool stays = change.what == What::waiting && left.contains( change.pair );
      left.erase( change.pair );
      return stays || change.what == What::adopted;
   } );
   for( const Pair &pair : left ) {
      changed( What::left, pair, 0 );
   }
}

std::vector<PairChange> Assignments::takeChanges() {
   return std::exchange( changes_, {} );
}

std::optional<Time> Assignments::programmedSince( const Pair &pair ) const {
   const auto at = programmed_.find( pair );
   return at == programmed_.end() ? std::nullopt : std::optional( at->second.since );
}

std::optional<Time> Assignments::waitingSince( U32 position ) const {
   const auto at = waiting_.find( position );
   return at == waiting_.end() ? std::nullopt : std::optional( at->second.since );
}

void Assignments::onVirtualRouterIndex( const Pair &pair ) {
   if( const auto entry = notifier()->virtualRouterIndexes().find( pair ) ) {
      // A pair that comes straight out of the line has not left it for nothing.
      if( !changes_.empty() && changes_.back().what == What::left &&
          changes_.back().pair == pair ) {
         changes_.pop_back();
      }
      programmed_[pair] = { entry->value(), clock_() };
      changed( What::programmed, pair, entry->value() );
   } else if( const auto at = programmed_.find( pair ); at != programmed_.end() ) {
      changed( What::removed, pair, at->second.index );
      programmed_.erase( at );
   }
}

void Assignments::onMacsNeedingVirtualRouterIndex( U32 position ) {
   const auto &line = notifier()->macsNeedingVirtualRouterIndexes();
   if( const auto entry = line.find( position ) ) {
      waiting_[position] = { entry->value(), clock_() };
      changed( What::waiting, entry->value(), line.count() );
   } else if( const auto at = waiting_.find( position ); at != waiting_.end() ) {
      changed( What::left, at->second.pair, 0 );
      waiting_.erase( at );
   }
}

} // namespace OrloAgent
