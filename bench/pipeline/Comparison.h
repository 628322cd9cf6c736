// Product, floor and naive code, side by side.
#ifndef ORLOBENCH_PIPELINE_COMPARISON_H
#define ORLOBENCH_PIPELINE_COMPARISON_H

#include "bench/subjects/Floor.h"
#include "bench/subjects/Naive.h"
#include "bench/subjects/Product.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>

namespace OrloBench {

/// What one subject took for one round: nanoseconds for each key, by phase; and what its helper
/// was asked for.
struct Round {
   std::map<std::string, double> phases;
   U64 digest = 0;
};

/// One benchmark. In each iteration all subjects live through the same round, one right after the
/// other and each time another one first, so that what else the machine does meets all of them. A
/// repetition gives a counter "SUBJECT.PHASE" for each, the median of its iterations. It fails when
/// two subjects did not make the same calls.
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

/// `measure` is called with the type of each subject as a template argument.
template <class Measure>
void compare( const std::string &name, int iterations, bool isNaiveBearable, Measure measure ) {
   Comparison comparison( name );
   comparison.subjectIs( Product::kName, [=] { return measure.template operator()<Product>(); } );
   comparison.subjectIs( Floor::kName, [=] { return measure.template operator()<Floor>(); } );
   if( isNaiveBearable ) {
      comparison.subjectIs( Naive::kName, [=] { return measure.template operator()<Naive>(); } );
   }
   std::move( comparison ).registerIt( iterations );
}

} // namespace OrloBench

#endif
