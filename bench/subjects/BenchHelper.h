// The hardware of the benchmarks.
#ifndef ORLOBENCH_SUBJECTS_BENCHHELPER_H
#define ORLOBENCH_SUBJECTS_BENCHHELPER_H

#include "OrloVrrpHelper/VrrpSmHelper.h"
#include "bench/subjects/Values.h"

namespace OrloBench {

struct Slot {
   VlanAndMac pair;
   U32 index;
   bool operator==( const Slot & ) const = default;
};

/// Folds all that it is asked for into one number, so that no call can be left out, and two
/// subjects that have the same number did the same in the same order. May hold entries to be
/// adopted.
class BenchHelper : public OrloHelper::VrrpSmHelper {
 public:
   explicit BenchHelper( const char *name = "counting" ) : VrrpSmHelper( name ) {}

   void addVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      digest_ = digest_ * 31 + mac.number() + ( U64{ vlanId } << 48 ) + index;
      ++adds_;
   }
   void deleteVirtualRouterMac( const EthAddr &mac, U32 vlanId, U32 index ) override {
      digest_ = digest_ * 37 + mac.number() + ( U64{ vlanId } << 48 ) + index;
      ++deletes_;
   }
   void
   syncVrrpStateOnInit( const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &snapshot ) override {
      for( const Slot &slot : held_ ) {
         snapshot->virtualRouterIndexIs( slot.pair, slot.index );
      }
   }

   U64 adds() const noexcept { return adds_; }
   U64 deletes() const noexcept { return deletes_; }
   /// Of all calls, in their order.
   U64 digest() const noexcept { return digest_; }

   /// Entries that are there at the start, for a programmer that is made from now on.
   void holds( std::vector<Slot> slots ) {
      held_ = std::move( slots );
      syncCurrentStateOnInitIs( true );
   }
   const std::vector<Slot> &held() const noexcept { return held_; }

 private:
   U64 digest_ = 0;
   U64 adds_ = 0;
   U64 deletes_ = 0;
   std::vector<Slot> held_;
};

} // namespace OrloBench

#endif
