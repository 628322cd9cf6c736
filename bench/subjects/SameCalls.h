// Do the subjects do the same?
#ifndef ORLOBENCH_SUBJECTS_SAMECALLS_H
#define ORLOBENCH_SUBJECTS_SAMECALLS_H

#include "bench/subjects/Histories.h"

namespace OrloBench {

/// Has product, floor and naive code live through one history and compares what they ask of the
/// hardware, call by call. A figure about code that does something else would say nothing.
class SameCalls {
 public:
   explicit SameCalls( const History &history );

   /// Empty when they did the same, otherwise the first difference.
   const std::string &difference() const noexcept { return difference_; }
   /// How many calls were compared.
   std::size_t calls() const noexcept { return calls_; }

 private:
   std::string difference_;
   std::size_t calls_ = 0;
};

} // namespace OrloBench

#endif
