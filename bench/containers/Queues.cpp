#include "bench/comparison/Comparison.h"
#include "bench/comparison/Stopwatch.h"
#include "bench/containers/Cases.h"
#include "bench/subjects/IndexRing.h"
#include "quor/LinkQueue.h"

#include <deque>

namespace OrloBench {

namespace {

class Owner : public Quor::PtrInterface {};

class ProductQueue {
 public:
   static constexpr char kName[] = "product";
   explicit ProductQueue( std::size_t ) {}
   void push( U32 value ) { queue_.enq( value ); }
   U32 pop() { return queue_.deq()->value(); }

 private:
   Quor::Ptr<Owner> owner_ = Quor::make<Owner>();
   Quor::LinkQueue<U32> queue_{ owner_.get() };
};

class Deque {
 public:
   static constexpr char kName[] = "std::deque";
   explicit Deque( std::size_t ) {}
   void push( U32 value ) { queue_.push_back( value ); }
   U32 pop() {
      const U32 value = queue_.front();
      queue_.pop_front();
      return value;
   }

 private:
   std::deque<U32> queue_;
};

class Ring : public IndexRing {
 public:
   static constexpr char kName[] = "ring of fixed size";
   using IndexRing::IndexRing;
};

/// Phases: enq (it grows), turn (one goes out and in again), deq.
template <class Queue>
Round useQueue( U32 count ) {
   Round round;
   Queue queue( count );
   const auto phase = [&]( const char *name, auto run ) {
      Stopwatch watch;
      for( U32 i = 0; i < count; ++i ) {
         run( i );
      }
      round.phases[name] = watch.stop() / count;
   };
   phase( "enq", [&]( U32 i ) { queue.push( i ); } );
   phase( "turn", [&]( U32 i ) {
      const U32 value = queue.pop();
      round.digest = round.digest * 31 + value;
      queue.push( value ^ i );
   } );
   phase( "deq", [&]( U32 ) { round.digest = round.digest * 31 + queue.pop(); } );
   return round;
}

} // namespace

void registerQueues() {
   for( const U32 count : { 1'000u, 65'504u, 1'000'000u } ) {
      Comparison comparison( "queue/" + std::to_string( count ) );
      const auto add = [&]<class Queue>() {
         comparison.subjectIs( Queue::kName, [=] { return useQueue<Queue>( count ); } );
      };
      add.template operator()<ProductQueue>();
      add.template operator()<Deque>();
      add.template operator()<Ring>();
      std::move( comparison ).registerIt( static_cast<int>( std::max( 1u, 200'000u / count ) ) );
   }
}

} // namespace OrloBench
