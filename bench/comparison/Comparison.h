// Several ways to do the same, side by side.
#ifndef ORLOBENCH_COMPARISON_COMPARISON_H
#define ORLOBENCH_COMPARISON_COMPARISON_H

#include "quor/Types.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace OrloBench {

/// What one subject took for one round: nanoseconds for each key, by phase; and what has
/// come of it.
struct Round {
   std::map<std::string, double> phases;
   Quor::U64 digest = 0;
};

/// One benchmark. In each iteration all subjects live through the same round, one right after the
/// other and each time another one first, so that what else the machine does meets all of them. A
/// repetition gives a counter "SUBJECT.PHASE" for each, the median of its iterations. It fails when
/// two subjects did not come to the same.
class Comparison {
 public:
   explicit Comparison( std::string name ) : name_( std::move( name ) ) {}

   void subjectIs( const char *subject, std::function<Round()> measure ) {
      subjects_.push_back( { subject, std::move( measure ) } );
   }
   /// Has it run from main().
   void registerIt( int iterations ) &&;

 private:
   struct Subject {
      std::string name;
      std::function<Round()> measure;
   };
   void run( benchmark::State &state ) const;

   std::string name_;
   std::vector<Subject> subjects_;
};

} // namespace OrloBench

#endif
