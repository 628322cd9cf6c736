// A chip with numbered slots: what hardware is like that was made for this.
#ifndef TESTS_SIMULATOR_CHIP_H
#define TESTS_SIMULATOR_CHIP_H

#include "tests/simulator/Hardware.h"

namespace Simulator {

/// A slot is written in one go, or in two halves; it loses entries, and tells so or not.
class Chip final : public Hardware {
 public:
   Chip( Random &random, Trace &trace ) : Hardware( random, trace ) {}

   OrloHelper::VrrpSmHelper *helper( const OrloHelper::HelperSettings &settings ) override;
   Slots slots() const override { return slots_; }
   Loss loses( U32 index, bool isTold ) override;
   bool hasNews() const override { return !lost_.empty() || canAgain_; }
   void tellsToTryAgain() override { canAgain_ = true; }

 private:
   class Helper;

   std::string add( U32 index, const Pair &pair );
   std::string remove( U32 index, const Pair &pair );
   std::string refuse( U32 index, const std::string &why );
   void write( U32 index, const std::optional<Slot> &slot );

   Slots slots_;
   std::set<U32> lost_; // and not told of yet
   bool canAgain_ = false;
};

} // namespace Simulator

#endif
