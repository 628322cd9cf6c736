// The entries of collections: small counted nodes.
#ifndef QUOR_COUNTEDENTRY_H
#define QUOR_COUNTEDENTRY_H

#include "quor/RefCount.h"

namespace Quor {

/// The collection holds one reference of an entry; who else holds it can read it after it has been
/// removed. `Entry` derives from it; its `unheld()` is called once, when the last reference has
/// gone. The count, whether the entry is a member, and one bit for the collection share one word.
template <class Entry>
class CountedEntry {
 public:
   CountedEntry( const CountedEntry & ) = delete;
   CountedEntry &operator=( const CountedEntry & ) = delete;

   /// The collection has not removed it.
   bool isMember() const noexcept { return ( word() & kMember ) != 0; }

   void referenceNew() const noexcept { add( kReference ); }
   void referenceDel() const noexcept {
      if( add( 0 - kReference ) < kReference ) {
         static_cast<const Entry *>( this )->unheld();
      }
   }

 protected:
   /// With the collection's reference alone.
   explicit CountedEntry( bool bit = false ) noexcept
         : word_( kReference | kMember | ( bit ? kBit : 0 ) ) {}
   ~CountedEntry() = default;

   /// The collection passes its reference on to whoever has it removed.
   void removed() noexcept { add( 0 - kMember ); }
   /// The same, and the reference goes. True when it was the last one.
   bool dropped() noexcept { return add( 0 - ( kMember + kReference ) ) < kReference; }
   /// The same for somebody who knows that pointers are not thread-safe.
   bool droppedAlone() noexcept { return ( word_ -= kMember + kReference ) < kReference; }
   /// Somebody beside the collection holds it.
   bool isHeld() const noexcept { return word() >= 2 * kReference; }
   bool bit() const noexcept { return ( word() & kBit ) != 0; }
   void bitIs( bool on ) noexcept {
      if( on != bit() ) {
         add( on ? kBit : 0 - kBit );
      }
   }

 private:
   static constexpr U32 kMember = 1;
   static constexpr U32 kBit = 2;
   static constexpr U32 kReference = 4;

   std::atomic_ref<U32> shared() const noexcept { return std::atomic_ref( word_ ); }
   U32 word() const noexcept { return shared().load( std::memory_order_relaxed ); }
   U32 add( U32 change ) const noexcept {
      if( RefCount::isThreadSafe() ) [[unlikely]] {
         return shared().fetch_add( change, std::memory_order_acq_rel ) + change;
      }
      return word_ += change;
   }

   mutable U32 word_;
};

} // namespace Quor

#endif
