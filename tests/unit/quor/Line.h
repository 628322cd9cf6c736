// A queue with its owner, for the tests of queues.
#ifndef TESTS_UNIT_QUOR_LINE_H
#define TESTS_UNIT_QUOR_LINE_H

#include "quor/LinkQueue.h"

#include <utility>
#include <vector>

namespace Quor {

inline constexpr U32 kLastKey = 0xFFFFFFFF;

class Line : public PtrInterface {
 public:
   using Queue = LinkQueue<U32>;
   using Content = std::vector<std::pair<U32, U32>>;

   explicit Line( int *alive = nullptr ) : alive_( alive ) { count( 1 ); }
   ~Line() override { count( -1 ); }

   Queue queue{ this };

   /// Position keys and values from head to tail.
   Content content() const {
      Content all;
      for( const Queue::Entry &entry : queue ) {
         all.emplace_back( entry.key(), entry.value() );
      }
      return all;
   }

 private:
   void count( int by ) {
      if( alive_ ) {
         *alive_ += by;
      }
   }

   int *const alive_;
};

/// A line that Enq has filled with these values.
inline Ptr<Line> lineOf( const std::vector<U32> &values ) {
   Ptr<Line> line = make<Line>();
   for( const U32 value : values ) {
      line->queue.enq( value );
   }
   return line;
}

} // namespace Quor

#endif
