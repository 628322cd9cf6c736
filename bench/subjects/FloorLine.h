// The waiting line, written by hand.
#ifndef ORLOBENCH_SUBJECTS_FLOORLINE_H
#define ORLOBENCH_SUBJECTS_FLOORLINE_H

#include "bench/subjects/Values.h"

#include <boost/unordered/unordered_flat_map.hpp>

namespace OrloBench {

/// Keys in the order in which they came, any of them more than once. All in one array: a list
/// through everything, a list through the places of each key, and a flat map to the oldest and the
/// youngest place of a key. Every operation takes constant time.
class FloorLine {
 public:
   bool empty() const noexcept { return oldest_ == kNone; }
   std::size_t size() const noexcept { return size_; }

   void push( U64 key ) {
      const U32 place = placeNew();
      places_[place] = { key, youngest_, kNone, kNone };
      ( youngest_ == kNone ? oldest_ : places_[youngest_].next ) = place;
      youngest_ = place;
      const auto [at, isNew] = ends_.try_emplace( key, Ends{ place, place } );
      if( !isNew ) {
         places_[at->second.youngest].younger = place;
         at->second.youngest = place;
      }
      ++size_;
   }

   /// Of a line that is not empty.
   U64 pop() {
      const U64 key = places_[oldest_].key;
      erase( key );
      return key;
   }

   /// Removes the oldest place of the key. False: it does not wait.
   bool erase( U64 key ) {
      const auto at = ends_.find( key );
      if( at == ends_.end() ) {
         return false;
      }
      const U32 index = at->second.oldest;
      const Place &place = places_[index];
      if( place.younger == kNone ) {
         ends_.erase( at );
      } else {
         at->second.oldest = place.younger;
      }
      ( place.before == kNone ? oldest_ : places_[place.before].next ) = place.next;
      ( place.next == kNone ? youngest_ : places_[place.next].before ) = place.before;
      free_.push_back( index );
      --size_;
      return true;
   }

 private:
   static constexpr U32 kNone = ~0u;
   struct Place {
      U64 key;
      U32 before, next; // in the line
      U32 younger;      // of the same key
   };
   struct Ends {
      U32 oldest, youngest;
   };

   U32 placeNew() {
      if( free_.empty() ) {
         places_.emplace_back();
         return static_cast<U32>( places_.size() - 1 );
      }
      const U32 place = free_.back();
      free_.pop_back();
      return place;
   }

   std::vector<Place> places_;
   std::vector<U32> free_;
   U32 oldest_ = kNone;
   U32 youngest_ = kNone;
   std::size_t size_ = 0;
   boost::unordered_flat_map<U64, Ends> ends_;
};

} // namespace OrloBench

#endif
