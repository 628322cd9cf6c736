// What the programmer has decided: which pair has which index or waits, since when, and what has
// changed since somebody last asked.
#ifndef ORLOAGENT_ASSIGNMENTS_H
#define ORLOAGENT_ASSIGNMENTS_H

#include "OrloVrrpSm/VrrpSm.h"
#include "agent/Clock.h"
#include "agent/Pair.h"

#include <optional>
#include <unordered_map>
#include <vector>

namespace OrloAgent {

/// One decision about one pair.
struct PairChange {
   enum class What { adopted, programmed, removed, waiting, left };
   What what;
   Pair pair;
   Quor::U32 number; ///< the index; of a pair that begins to wait, its place in the line

   bool operator==( const PairChange & ) const = default;
};

/// Watches one programmer from the end of its start-up pass on. Costs the same however many pairs
/// there are. Held by whoever holds the programmer; one thread.
class Assignments : public Orlo::VrrpSm::NotifieeConst {
 public:
   /// The first changes are what the start-up pass did: pairs that were adopted, in the order of
   /// their indexes, those that were removed, those that were programmed, and the waiting line.
   /// When the programmer was started anew inside the process, `before` knew the one before: what
   /// was adopted or waited already has done so since then, and is no change.
   Assignments( const Quor::Ptr<Orlo::VrrpSm> &vrrpSm, Clock clock, const Assignments *before );

   /// The changes since the last call, in the order in which they came.
   std::vector<PairChange> takeChanges();

   /// When the pair got its index; nothing when it has none.
   std::optional<Time> programmedSince( const Pair &pair ) const;
   /// When the pair at this position of the waiting line joined it.
   std::optional<Time> waitingSince( Quor::U32 position ) const;

   void onVirtualRouterIndex( const Pair &pair ) override;
   void onMacsNeedingVirtualRouterIndex( Quor::U32 position ) override;

 private:
   struct Programmed {
      Quor::U32 index;
      Time since;
   };
   struct Waiting {
      Pair pair;
      Time since;
   };
   struct Hash {
      std::size_t operator()( const Pair &pair ) const noexcept { return pair.hash(); }
   };

   void startUpPass( const Orlo::VrrpSm &vrrpSm );
   void takeOver( const Assignments &before );
   void changed( PairChange::What what, const Pair &pair, Quor::U32 number ) {
      changes_.push_back( { what, pair, number } );
   }

   const Clock clock_;
   std::unordered_map<Pair, Programmed, Hash> programmed_;
   std::unordered_map<Quor::U32, Waiting> waiting_; // by position
   std::vector<PairChange> changes_;
};

} // namespace OrloAgent

#endif
