// Memory for the nodes of one collection.
#ifndef QUOR_SLAB_H
#define QUOR_SLAB_H

#include "quor/RefCount.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace Quor {

/// Hands out places for Nodes and takes them back; a place has a 32-bit link, which is half a
/// pointer. The memory comes in chunks: the first takes 7 nodes, each next one twice as many and
/// one, up to 4,095. A place that was given back is the next one to be handed out; chunks are kept
/// until the slab goes, which it does when its owner has dropped it and the last place has been
/// given back.
///
/// One thread takes places; with thread-safe pointers any thread may give them back, and they are
/// handed out again when no others are left.
template <class Node>
class Slab {
 public:
   /// 0 is no place.
   using Link = U32;
   struct Dropped {
      void operator()( Slab *slab ) const noexcept { slab->drop(); }
   };
   /// Of the one owner.
   using Owned = std::unique_ptr<Slab, Dropped>;
   static Owned make() { return Owned( new Slab ); }

   Node *at( Link link ) const noexcept {
      return reinterpret_cast<Node *>( chunks_[link / kMostPlaces] +
                                       ( link % kMostPlaces ) * sizeof( Node ) );
   }

   /// Asks for the memory of the next place, so that take() is not refused it.
   void prepare() {
      if( free_ == 0 ) [[unlikely]] {
         refill();
      }
   }

   /// Room for a node, to which the link leads.
   struct Place {
      Link link;
      Node *node;
   };
   /// A place without a node.
   Place take() {
      prepare();
      ++inUse_;
      const Place taken{ free_, at( free_ ) };
      free_ = std::launder( reinterpret_cast<FreePlace *>( taken.node ) )->next;
      return taken;
   }

   /// The place, to which the link leads, has no node any more.
   void give( Node *place, Link link ) noexcept {
      if( RefCount::isThreadSafe() ) [[unlikely]] {
         giveLocked( place, link );
      } else {
         giveAlone( place, link );
      }
   }
   /// The same for somebody who knows that pointers are not thread-safe.
   void giveAlone( Node *place, Link link ) noexcept {
      push( free_, place, link );
      if( --inUse_ == 0 && isDropped_ ) [[unlikely]] {
         goAway();
      }
   }

   /// The slab of a node, whose link the caller knows.
   static Slab &of( const Node &node, Link link ) noexcept {
      const std::byte *const chunk =
            reinterpret_cast<const std::byte *>( &node ) - ( link % kMostPlaces ) * sizeof( Node );
      return **reinterpret_cast<Slab *const *>( chunk );
   }

 private:
   static constexpr Link kMostPlaces = 4096; // the first one in each chunk holds its slab
   static constexpr Link kFirstPlaces = 8;

   struct FreePlace {
      Link next;
   };

   Slab() = default;
   ~Slab() {
      for( std::byte *const chunk : chunks_ ) {
         ::operator delete( chunk );
      }
   }

   static void push( Link &list, Node *place, Link link ) noexcept {
      ::new( static_cast<void *>( place ) ) FreePlace{ list };
      list = link;
   }

   void drop() noexcept {
      std::unique_lock lock( mutex_ );
      isDropped_ = true;
      inUse_ -= returnedCount_;
      if( inUse_ == 0 ) {
         lock.unlock();
         delete this;
      }
   }
   [[gnu::noinline, gnu::cold]] void giveLocked( Node *place, Link link ) noexcept {
      std::unique_lock lock( mutex_ );
      if( !isDropped_ ) {
         push( returned_, place, link );
         ++returnedCount_;
      } else if( --inUse_ == 0 ) {
         lock.unlock();
         goAway();
      }
   }
   [[gnu::noinline, gnu::cold]] void goAway() noexcept { delete this; }

   /// When no place is free.
   [[gnu::noinline]] void refill() {
      const std::lock_guard lock( mutex_ );
      free_ = std::exchange( returned_, 0 );
      inUse_ -= std::exchange( returnedCount_, 0 );
      if( free_ == 0 ) {
         chunkNew();
      }
   }

   void chunkNew() { // NOLINTNEXTLINE(bugprone-sizeof-expression): no array
      static_assert( sizeof( Node ) >= sizeof( Slab * ) && sizeof( Node ) >= sizeof( FreePlace ) );
      static_assert( alignof( Node ) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ );
      const std::size_t number = chunks_.size();
      const Link places =
            number < 10 ? std::min( kFirstPlaces << number, kMostPlaces ) : kMostPlaces;
      if( number == ( std::size_t{ 1 } << 32 ) / kMostPlaces ) {
         throw std::bad_alloc(); // no links are left
      }
      chunks_.push_back( nullptr ); // first: what it throws must not cost a chunk
      try {
         chunks_.back() = static_cast<std::byte *>( ::operator new( places * sizeof( Node ) ) );
      } catch( ... ) {
         chunks_.pop_back();
         throw;
      }
      std::construct_at( reinterpret_cast<Slab **>( chunks_.back() ), this );
      const Link first = static_cast<Link>( number ) * kMostPlaces;
      for( Link place = places - 1; place != 0; --place ) {
         push( free_, at( first + place ), first + place );
      }
   }

   // Of the one thread.
   std::vector<std::byte *> chunks_;
   Link free_ = 0; // the first of the places that are free, each of which leads to the next
   U32 inUse_ = 0; // those returned count as well
   // Of all threads.
   std::mutex mutex_;
   Link returned_ = 0; // as free_
   U32 returnedCount_ = 0;
   bool isDropped_ = false;
};

} // namespace Quor

#endif
