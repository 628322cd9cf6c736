#include "agent/Audit.h"

#include <algorithm>
#include <tuple>

namespace OrloAgent {

namespace {

using Quor::U32;

std::set<Pair> pairsOf( const std::vector<Audit::Entry> &entries ) {
   std::set<Pair> pairs;
   for( const Audit::Entry &entry : entries ) {
      pairs.insert( entry.pair );
   }
   return pairs;
}

/// What the start of a programmer adopts.
std::map<Pair, U32> adoptable( const std::set<Pair> &wanted,
                               const std::vector<Audit::Entry> &entries, U32 indexes ) {
   std::map<Pair, U32> adopted;
   std::set<U32> taken;
   for( const Audit::Entry &entry : entries ) {
      const bool isGood = entry.index && *entry.index < indexes && wanted.contains( entry.pair ) &&
                          !adopted.contains( entry.pair );
      if( isGood && taken.insert( *entry.index ).second ) {
         adopted.emplace( entry.pair, *entry.index );
      }
   }
   return adopted;
}

} // namespace

bool Audit::isBefore( const Difference &one, const Difference &other ) noexcept {
   return std::tie( one.pair, one.kind, one.held ) < std::tie( other.pair, other.kind, other.held );
}

Audit::Audit( const std::vector<Pair> &wanted, const Assigned &assigned,
              const std::vector<Entry> &entries, U32 indexes )
      : wanted_( wanted.size() ), assigned_( assigned.indexes.size() ),
        waiting_( assigned.line.size() ), held_( entries.size() ) {
   const std::set<Pair> isWanted( wanted.begin(), wanted.end() );
   std::set<Pair> known;
   const std::set<Pair> held = pairsOf( entries );
   for( const auto &[pair, index] : assigned.indexes ) {
      known.insert( pair );
      if( !isWanted.contains( pair ) ) {
         add( Kind::unwanted, pair, index );
      } else if( !held.contains( pair ) && pair.vlanId().number() != 0 ) {
         add( Kind::missing, pair, index );
      }
   }
   compare( assigned.indexes, known, entries );
   programmed( isWanted, assigned, indexes );
   sort();
}

Audit::Audit( const std::vector<Pair> &wanted, const std::vector<Entry> &entries, U32 indexes )
      : wanted_( wanted.size() ), held_( entries.size() ) {
   const std::set<Pair> isWanted( wanted.begin(), wanted.end() );
   const Indexes adopted = adoptable( isWanted, entries, indexes );
   compare( adopted, isWanted, entries );
   const std::set<Pair> held = pairsOf( entries );
   std::size_t free = indexes - adopted.size();
   for( const Pair &pair : wanted ) {
      if( free != 0 && !held.contains( pair ) ) {
         --free;
         add( Kind::missing, pair );
      }
   }
   sort();
}

void Audit::sort() {
   std::sort( differences_.begin(), differences_.end(), &isBefore );
}

void Audit::compare( const Indexes &assigned, const std::set<Pair> &known,
                     const std::vector<Entry> &entries ) {
   const auto indexOf = [&]( const Pair &pair ) {
      const auto at = assigned.find( pair );
      return at == assigned.end() ? std::nullopt : std::optional( at->second );
   };
   std::set<Pair> seen; // in some entry, the right one first
   std::vector<Entry> others;
   for( const Entry &entry : entries ) {
      if( !known.contains( entry.pair ) ) {
         add( Kind::extra, entry.pair, {}, entry.index );
      } else if( !entry.index || entry.index != indexOf( entry.pair ) ||
                 !seen.insert( entry.pair ).second ) {
         others.push_back( entry );
      }
   }
   for( const Entry &entry : others ) {
      const bool isFirst = seen.insert( entry.pair ).second;
      add( isFirst ? Kind::wrongIndex : Kind::twice, entry.pair, indexOf( entry.pair ),
           entry.index );
   }
}

/// What the programmer has not done as it should, whatever the hardware holds.
void Audit::programmed( const std::set<Pair> &wanted, const Assigned &assigned, U32 indexes ) {
   std::size_t free = indexes - std::min<std::size_t>( indexes, assigned.indexes.size() );
   std::set<Pair> waiting;
   for( const Pair &pair : assigned.line ) {
      if( !waiting.insert( pair ).second ) {
         continue; // stands there twice
      }
      if( !wanted.contains( pair ) ) {
         add( Kind::unwanted, pair );
      } else if( free != 0 && !assigned.indexes.contains( pair ) ) {
         --free;
         add( Kind::idle, pair );
      }
   }
   for( const Pair &pair : wanted ) {
      if( !assigned.indexes.contains( pair ) && !waiting.contains( pair ) ) {
         add( Kind::forgotten, pair );
      }
   }
}

} // namespace OrloAgent
