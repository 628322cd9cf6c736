// The head of a page of a queue's entries.
#ifndef QUOR_QUEUEPAGE_H
#define QUOR_QUEUEPAGE_H

#include "quor/RefCount.h"

namespace Quor {

/// Room for the entries at 32 consecutive positions of a line that does not wrap; the entries stand
/// behind this head, in the same piece of memory. It is made by QueuePages and goes when the queue
/// has no more use for it and the last of its entries has gone: an entry that was removed and that
/// somebody holds keeps its page.
///
/// A position can be taken again while somebody holds the entry that was removed from it. The new
/// one then stands at the same place of another page with the same number, aside of the one that is
/// in the queue's order.
///
/// What the queue knows of a page belongs to the queue's thread; a place may be let go of by any
/// thread when counted pointers are thread-safe.
class QueuePage {
 public:
   static constexpr U32 kPlaces = 32;
   using Places = U32; // bit i: place i

   explicit QueuePage( U64 itsNumber ) noexcept : number( itsNumber ) {}
   QueuePage( const QueuePage & ) = delete;
   QueuePage &operator=( const QueuePage & ) = delete;

   static constexpr Places bit( U32 place ) noexcept { return Places{ 1 } << place; }

   // Of a page in which entries stand: the place of the first one, and of the last.
   U32 first() const noexcept { return static_cast<U32>( __builtin_ctz( occupied ) ); }
   U32 last() const noexcept { return kPlaces - 1 - static_cast<U32>( __builtin_clz( occupied ) ); }

   /// Nobody holds an entry that stood there.
   bool isFree( U32 place ) const noexcept { return ( users() & bit( place ) ) == 0; }
   /// Of the places, only the queue still has a use for the page.
   bool isUnused() const noexcept { return users() == kQueue; }
   /// An entry was made at the place.
   void use( U32 place ) noexcept { change( users_, bit( place ) ); }
   /// The entry at the place is no more. Frees the page when it was its last user.
   void letGo( U32 place ) noexcept { drop( bit( place ) ); }
   /// The queue has no more use for the page.
   void letGo() noexcept { drop( kQueue ); }

   U64 number;
   QueuePage *before = nullptr; // in the queue's order
   QueuePage *behind = nullptr;
   QueuePage *next = nullptr;  // in its bucket of the queue's table
   QueuePage *aside = nullptr; // another one with the number, for places that are not free here
   Places occupied = 0;        // where entries stand, here or aside
   Places displaced = 0;       // those of them that stand aside; all of them in a page aside

 private:
   using Users = std::atomic<U64>;
   static constexpr U64 kQueue = U64{ 1 } << kPlaces;

   U64 users() const noexcept { return users_.load( std::memory_order_acquire ); }
   /// Sets or clears bits; gives what is left.
   static U64 change( Users &users, U64 bits ) noexcept {
      if( RefCount::isThreadSafe() ) [[unlikely]] {
         return users.fetch_xor( bits, std::memory_order_acq_rel ) ^ bits;
      }
      const U64 now = users.load( std::memory_order_relaxed ) ^ bits;
      users.store( now, std::memory_order_relaxed );
      return now;
   }
   void drop( U64 user ) noexcept {
      if( change( users_, user ) == 0 ) {
         ::operator delete( this );
      }
   }

   Users users_{ kQueue };
};

} // namespace Quor

#endif
