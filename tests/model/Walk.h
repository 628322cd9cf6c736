// A walk over a collection that is held open while things happen, beside what it must visit.
#ifndef TESTS_MODEL_WALK_H
#define TESTS_MODEL_WALK_H

#include "tests/model/Model.h"

#include <iterator>
#include <optional>

namespace ModelTests {

/// Over one of the library's collections of pairs. It holds the owner of what it walks over.
template <class Walked, class Value>
class Walk {
 public:
   void begin( const Walked &product, const Collection<Pair, Value> &model ) {
      at_.emplace( product.begin() );
      expected_ = model.empty() ? std::nullopt : std::optional( model.begin()->first );
   }
   /// The next is the first entry behind this one, whether this one is still there or not.
   void goOn( const Collection<Pair, Value> &model ) {
      if( !at_ || !expected_ ) {
         return;
      }
      ++*at_;
      const auto next = model.upper_bound( *expected_ );
      expected_ = next == model.end() ? std::nullopt : std::optional( next->first );
   }
   void end() { at_.reset(); }
   /// Is it at the entry at which it must be?
   bool isRight() const {
      if( !at_ ) {
         return true;
      }
      const bool isAtEnd = *at_ == std::default_sentinel;
      return isAtEnd ? !expected_ : expected_ && ( *at_ )->key() == *expected_;
   }

 private:
   std::optional<typename Walked::Iterator> at_;
   std::optional<Pair> expected_; ///< none: at the end
};

} // namespace ModelTests

#endif
