// What the hardware refuses for now, as it is shown.
#ifndef ORLOAGENT_CONTROL_REFUSALS_H
#define ORLOAGENT_CONTROL_REFUSALS_H

#include "agent/Programming.h"

#include <nlohmann/json.hpp>

#include <map>
#include <optional>
#include <string>

namespace OrloAgent {

/// A copy, with times as people read them. Costs a look at every index.
class Refusals {
 public:
   struct Refusal {
      Pair pair;
      Quor::U32 index;
      bool isRemoval; ///< the hardware keeps it; otherwise it does not take it
      std::string reason;
      Quor::U32 tries;
      Time since;
      Time next; ///< when it is asked again
   };

   /// None when the hardware cannot be read.
   explicit Refusals( const Programming &programming );
   /// Of one index; null when there is none.
   static std::optional<Refusal> at( const Programming &programming, Quor::U32 index );

   std::size_t count() const noexcept { return byIndex_.size(); }
   /// By index.
   const std::map<Quor::U32, Refusal> &all() const noexcept { return byIndex_; }
   /// Null when there is none. What keeps a pair from its index comes before what keeps it at the
   /// one that it had.
   const Refusal *of( const Pair &pair ) const;

   /// {"reason", "removal", "tries", "since", "next"}; null of none.
   static nlohmann::json json( const Refusal *refusal );
   /// "no room; asked 4 times since 2026-11-21T12:45:42Z, next at 2026-11-21T12:46:03Z"
   static std::string text( const Refusal &refusal );

 private:
   std::map<Quor::U32, Refusal> byIndex_;
   std::map<Pair, Quor::U32> indexOf_;
};

} // namespace OrloAgent

#endif
