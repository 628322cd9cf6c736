// A subject with its hardware.
#ifndef ORLOBENCH_PIPELINE_SCENE_H
#define ORLOBENCH_PIPELINE_SCENE_H

#include "bench/comparison/Comparison.h"
#include "bench/comparison/Stopwatch.h"
#include "bench/subjects/Floor.h"
#include "bench/subjects/Naive.h"
#include "bench/subjects/Product.h"

#include <memory>

namespace OrloBench {

/// How many VLANs and MACs, and how many indexes there are for their pairs.
struct Size {
   std::size_t vlans, macs;
   bool isHalf = false; ///< of the pairs have to wait

   std::size_t pairs() const noexcept { return vlans * macs; }
   U32 indexes() const noexcept { return static_cast<U32>( isHalf ? pairs() / 2 : pairs() ); }
   std::string text() const { return std::to_string( vlans ) + 'x' + std::to_string( macs ); }
   /// Of one repetition; small ones are over before a clock can tell.
   int iterations() const noexcept {
      return static_cast<int>( std::clamp<std::size_t>( 600'000 / pairs(), 1, 2000 ) );
   }
};

template <class Subject>
class Scene {
 public:
   /// A reflector on VLANs 1 to `vlans`.
   Scene( std::size_t vlans, U32 indexes )
         : subject_( std::make_unique<Subject>( helper_, indexes ) ) {
      for( std::size_t number = 1; number <= vlans; ++number ) {
         subject_->vlanJoins( vlan( number ) );
      }
      subject_->startReflector();
   }

   Subject &operator*() noexcept { return *subject_; }
   Subject *operator->() noexcept { return subject_.get(); }
   BenchHelper &helper() noexcept { return *helper_; }
   void destroy() noexcept { subject_ = nullptr; }

   /// Runs and measures a phase of so many keys.
   template <class Phase>
   void phase( const char *name, std::size_t keys, Phase run ) {
      Stopwatch watch;
      run( *subject_ );
      round_.phases[name] = watch.stop() / static_cast<double>( keys );
      if( RUNNING_ON_VALGRIND != 0 ) {
         const std::string label = std::string( Subject::kName ) + '.' + name;
         benchmark::DoNotOptimize( label.c_str() );
         benchmark::ClobberMemory(); // the request reads it where the compiler does not see it
         CALLGRIND_DUMP_STATS_AT( label.c_str() );
         benchmark::DoNotOptimize( label.c_str() );
      }
   }
   Round round() {
      round_.digest = helper_->digest() ^ helper_->adds() << 32 ^ helper_->deletes();
      return std::move( round_ );
   }

 private:
   const Quor::Ptr<BenchHelper> helper_ = Quor::make<BenchHelper>();
   std::unique_ptr<Subject> subject_;
   Round round_;
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
