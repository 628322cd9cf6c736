// A value that acts when it is dropped.
#ifndef TESTS_UNIT_QUOR_SURPRISE_H
#define TESTS_UNIT_QUOR_SURPRISE_H

#include "quor/PtrInterface.h"

#include <functional>
#include <utility>

namespace Quor {

/// Does what the test asks for when it is dropped.
class Surprise : public PtrInterface {
 public:
   explicit Surprise( std::function<void()> action ) : action_( std::move( action ) ) {}
   ~Surprise() override { action_(); }

 private:
   const std::function<void()> action_;
};

} // namespace Quor

#endif
