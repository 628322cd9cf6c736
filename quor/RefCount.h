// The number of references to a counted object.
//
// Counts are plain increments, so counted objects belong to one thread, unless the process switches
// enableThreadSafePointersIs( true ) before it makes its first object; from then on every count is
// atomic, and references may be taken and dropped by any thread.
#ifndef QUOR_REFCOUNT_H
#define QUOR_REFCOUNT_H

#include "quor/Types.h"

#include <atomic>

namespace Quor {

class RefCount {
 public:
   /// A new object starts with the reference of whoever creates it. So a pointer that comes and
   /// goes while the object is being constructed does not destroy it.
   constexpr RefCount() noexcept = default;

   void up() noexcept {
      if( threadSafe_ ) [[unlikely]] {
         shared().fetch_add( 1, std::memory_order_relaxed );
      } else {
         ++count_;
      }
   }

   /// True when the last reference has gone: exactly once in the life of an object, since from then
   /// on the count stays far above zero, whatever pointers come and go during the destruction.
   [[gnu::always_inline]] inline bool down() noexcept {
      if( less() != 0 ) [[likely]] {
         return false;
      }
      shared().store( kGoing, std::memory_order_relaxed );
      return true;
   }

   /// What enableThreadSafePointersIs() has set.
   static bool isThreadSafe() noexcept { return threadSafe_; }

   U32 value() const noexcept { return shared().load( std::memory_order_relaxed ); }
   /// The last reference has gone and the object is on its way out.
   bool isGoing() const noexcept { return isGoing( value() ); }
   /// Somebody holds the object beside so many references.
   bool isHeldBeside( U32 others ) const noexcept {
      const U32 count = value();
      return count != others && !isGoing( count );
   }
   /// Nobody but its creator (or the destruction itself) refers to the object.
   bool isUnshared() const noexcept { return value() == 1 || value() == kGoing; }

 private:
   friend void enableThreadSafePointersIs( bool on ) noexcept;

   static constexpr U32 kGoing = 1u << 30;
   static bool isGoing( U32 count ) noexcept { return count >= kGoing / 2; }
   static bool threadSafe_;

   [[gnu::always_inline]] inline U32 less() noexcept {
      if( threadSafe_ ) [[unlikely]] {
         return shared().fetch_sub( 1, std::memory_order_acq_rel ) - 1;
      }
      return --count_;
   }
   std::atomic_ref<U32> shared() const noexcept { return std::atomic_ref( count_ ); }

   mutable U32 count_ = 1;
};

/// Switches all reference counts of the process; only before the first counted object is shared.
void enableThreadSafePointersIs( bool on ) noexcept;
bool enableThreadSafePointers() noexcept;

} // namespace Quor

#endif
