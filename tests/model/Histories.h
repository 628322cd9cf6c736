// Every history of a small world, one after the other.
#ifndef TESTS_MODEL_HISTORIES_H
#define TESTS_MODEL_HISTORIES_H

#include "tests/model/Product.h"

#include <set>

namespace ModelTests {

using History = std::vector<Operation>;

/// What has been done so far, as numbers that processes can add up.
struct Tally {
   unsigned long long histories = 0; ///< sequences of operations that differ
   unsigned long long compared = 0;  ///< operations whose outcome was compared
   unsigned long long performed = 0; ///< operations that the product performed, replays included
   unsigned long long stops = 0;     ///< histories that end with a stop of the process
   unsigned long long tried = 0;  ///< of which this many were let happen, in a process of their own
   unsigned long long shapes = 0; ///< how many of these stops differ in more than names

   Tally &operator+=( const Tally &other );
};

/// Tries every sequence of up to `length` of the operations, after a beginning. A sequence is not
/// prolonged behind an operation that leaves everything as it was, positions in the queues
/// included: what could follow follows the shorter sequence as well. Nor behind a stop.
class Histories {
 public:
   struct Plan {
      World world;
      std::vector<Operation> operations;
      History beginning;
      U32 length;
      U32 stopsEach; ///< beside the first of a shape, one in so many stops is let happen; 0: none
      bool sharesVlans;
   };

   explicit Histories( const Plan &plan ) : plan_( plan ) {}

   /// Those whose first operation that changes something is number `share` of `shares`. Gives what
   /// differs from the model, with its history; empty when nothing does. `current` is kept at the
   /// history that is being tried, as numbers of operations, ended by a negative one.
   std::string run( U32 share, U32 shares, signed char *current );
   const Tally &tally() const noexcept { return tally_; }
   std::string shownHistory( const signed char *numbers ) const;

 private:
   struct Step {
      signed char number;
      std::unique_ptr<Model> after;
   };

   std::unique_ptr<Product> replayed( U32 length );
   /// Everything that begins with the current history, which is `length` long and has led to both.
   void extend( const Model &before, std::unique_ptr<Product> product, U32 length );
   void follow( const Step &step, std::unique_ptr<Product> product, U32 length );
   void compare( Product &product, const Model &model );
   void predicted( const Stop &stop, const Model &model, U32 length );
   void letHappen( const Stop &stop, const Model &model, U32 length );

   const Plan &plan_;
   Tally tally_;
   U32 share_ = 0;
   U32 shares_ = 1;
   signed char *current_ = nullptr;
   std::set<std::vector<U32>> shapes_;
};

} // namespace ModelTests

#endif
