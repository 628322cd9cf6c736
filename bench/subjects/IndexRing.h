// The free indexes, written by hand.
#ifndef ORLOBENCH_SUBJECTS_INDEXRING_H
#define ORLOBENCH_SUBJECTS_INDEXRING_H

#include "bench/subjects/Values.h"

namespace OrloBench {

/// First in, first out, in one array that has room for all that there are.
class IndexRing {
 public:
   explicit IndexRing( std::size_t most ) : ring_( most + 1 ) {}

   bool empty() const noexcept { return head_ == tail_; }
   void push( U32 index ) noexcept {
      ring_[tail_] = index;
      tail_ = after( tail_ );
   }
   /// Of one that is not empty.
   U32 pop() noexcept {
      const U32 index = ring_[head_];
      head_ = after( head_ );
      return index;
   }

 private:
   std::size_t after( std::size_t at ) const noexcept {
      return at + 1 == ring_.size() ? 0 : at + 1;
   }

   std::vector<U32> ring_;
   std::size_t head_ = 0;
   std::size_t tail_ = 0;
};

} // namespace OrloBench

#endif
