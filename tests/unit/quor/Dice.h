// Random histories that are the same in every run.
#ifndef TESTS_UNIT_QUOR_DICE_H
#define TESTS_UNIT_QUOR_DICE_H

#include "quor/Types.h"

#include <random>

namespace Quor {

/// Numbers and choices that are the same in every run.
class Dice {
 public:
   explicit Dice( U32 seed ) : engine_( seed ) {}
   /// 0 to `sides` - 1.
   U32 roll( U32 sides ) { return static_cast<U32>( engine_() % sides ); }
   U32 any() { return static_cast<U32>( engine_() ); }

 private:
   std::mt19937 engine_;
};

} // namespace Quor

#endif
