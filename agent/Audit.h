// Whether everybody agrees: what is wanted, what the programmer has assigned, and what the hardware
// holds.
#ifndef ORLOAGENT_AUDIT_H
#define ORLOAGENT_AUDIT_H

#include "OrloVrrpHelper/HardwareView.h"
#include "agent/Pair.h"

#include <map>
#include <optional>
#include <set>
#include <vector>

namespace OrloAgent {

/// Plain values: compares by exact key, and keeps no reference. Takes the time of sorting what it
/// is given. A pair that waits is no difference; nor is a pair on VLAN 0 that the hardware does not
/// hold: the programmer does not hand it on.
class Audit {
 public:
   using Entry = OrloHelper::HardwareView::Entry;

   enum class Kind {
      missing,    ///< the hardware does not hold it
      extra,      ///< the hardware holds it, and it has no index
      wrongIndex, ///< the hardware holds it, under another index than it has, or under none
      twice,      ///< a further entry of a pair that the hardware holds already
      forgotten,  ///< wanted, has no index and does not wait for one
      unwanted,   ///< has an index, or waits for one, and is not wanted
      idle        ///< waits, although an index is free
   };
   struct Difference {
      Kind kind;
      Pair pair;
      std::optional<Quor::U32> assigned; ///< its index
      std::optional<Quor::U32> held;     ///< the index under which the hardware holds it

      bool operator==( const Difference & ) const = default;
   };
   /// By pair, then by kind.
   static bool isBefore( const Difference &one, const Difference &other ) noexcept;
   /// What the programmer has decided.
   struct Assigned {
      std::map<Pair, Quor::U32> indexes;
      std::vector<Pair> line; ///< those that wait, the first of them first
   };

   /// With a programmer. `indexes` is how many there are.
   Audit( const std::vector<Pair> &wanted, const Assigned &assigned,
          const std::vector<Entry> &entries, Quor::U32 indexes );
   /// Without one: its next start adopts what is wanted and stands under an index of its own, and
   /// gives the other indexes to the pairs that are wanted, in their order here. What it would
   /// write are the differences.
   Audit( const std::vector<Pair> &wanted, const std::vector<Entry> &entries, Quor::U32 indexes );

   /// In the order of isBefore().
   const std::vector<Difference> &differences() const noexcept { return differences_; }

   std::size_t wanted() const noexcept { return wanted_; }
   /// Nothing without a programmer.
   std::optional<std::size_t> assigned() const noexcept { return assigned_; }
   std::optional<std::size_t> waiting() const noexcept { return waiting_; }
   std::size_t held() const noexcept { return held_; }

 private:
   using Indexes = std::map<Pair, Quor::U32>;

   void compare( const Indexes &assigned, const std::set<Pair> &known,
                 const std::vector<Entry> &entries );
   void programmed( const std::set<Pair> &wanted, const Assigned &assigned, Quor::U32 indexes );
   void sort();
   void add( Kind kind, const Pair &pair, std::optional<Quor::U32> assigned = {},
             std::optional<Quor::U32> held = {} ) {
      differences_.push_back( { kind, pair, assigned, held } );
   }

   const std::size_t wanted_;
   std::optional<std::size_t> assigned_;
   std::optional<std::size_t> waiting_;
   const std::size_t held_;
   std::vector<Difference> differences_;
};

} // namespace OrloAgent

#endif
