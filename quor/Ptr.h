// Counted pointers.
//
//    Ptr<VirtualRouterMacTable> table = make<VirtualRouterMacTable>();   // the one way to create
//    Ptr<const VirtualRouterMacTable> view = table;                      // shares it, read only
//    Ptr<VirtualRouterMacTable> again = ptrTo( *this );                  // one more, of a living
//    object
//
// There is no constructor from a plain pointer: an object starts with its creator's reference
// (RefCount.h), which make() hands to the pointer that it returns. An object on the stack holds
// itself for its scope.
//
// A Ptr is one word; copying it costs one increment. Following a null Ptr stops the process. T is
// anything with referenceNew() and referenceDel(): every PtrInterface, the entries of collections.
#ifndef QUOR_PTR_H
#define QUOR_PTR_H

#include "quor/Assert.h"
#include "quor/Exception.h"

#include <cstddef>
#include <type_traits>
#include <utility>

namespace Quor {

/// Not made where it is needed, or every step through a pointer would prepare it.
inline constexpr AssertSite kNullFollowed{ "object_ != nullptr", __LINE__, "QuorPtr",
                                           "T *Quor::Ptr<T>::operator->() const" };

template <class T>
class Ptr {
 public:
   constexpr Ptr() noexcept = default;
   constexpr Ptr( std::nullptr_t ) noexcept {}
   Ptr( const Ptr &other ) noexcept : Ptr( other.object_, Share{} ) {}
   Ptr( Ptr &&other ) noexcept : object_( std::exchange( other.object_, nullptr ) ) {}
   template <class U>
   requires std::is_convertible_v<U *, T *> Ptr( const Ptr<U> &other )
   noexcept : Ptr( other.get(), Share{} ) {}
   template <class U>
   requires std::is_convertible_v<U *, T *> Ptr( Ptr<U> &&other )
   noexcept : object_( other.release() ) {}
   ~Ptr() {
      if( object_ ) {
         object_->referenceDel();
      }
   }

   Ptr &operator=( Ptr other ) noexcept {
      std::swap( object_, other.object_ );
      return *this;
   }

   /// Takes over a reference that the caller owns.
   static Ptr adopt( T *object ) noexcept {
      Ptr taken;
      taken.object_ = object;
      return taken;
   }
   /// Adds a reference; null gives a null Ptr.
   static Ptr share( T *object ) noexcept { return Ptr( object, Share{} ); }
   /// Gives the reference to the caller.
   T *release() noexcept { return std::exchange( object_, nullptr ); }

   T *get() const noexcept { return object_; }
   T *operator->() const noexcept {
      require( object_ != nullptr, kNullFollowed );
      return object_;
   }
   T &operator*() const noexcept { return *operator->(); }
   explicit operator bool() const noexcept { return object_ != nullptr; }

   template <class U>
   bool operator==( const Ptr<U> &other ) const noexcept {
      return object_ == other.get();
   }
   bool operator==( std::nullptr_t ) const noexcept { return object_ == nullptr; }

 private:
   struct Share {};
   Ptr( T *object, Share ) noexcept : object_( object ) {
      if( object_ ) {
         object_->referenceNew();
      }
   }

   T *object_ = nullptr;
};

/// Creates a T that lives as long as somebody holds it.
template <class T, class... Args>
Ptr<T> make( Args &&...args ) {
   return Ptr<T>::adopt( new T( std::forward<Args>( args )... ) );
}

/// One more reference to an object that is alive.
template <class T>
Ptr<T> ptrTo( T &object ) noexcept {
   return Ptr<T>::share( &object );
}

/// A Ptr that cannot be null: making one of a null Ptr throws RangeException "null ValidPtr".
template <class T>
class ValidPtr {
 public:
   ValidPtr( Ptr<T> pointer ) : pointer_( std::move( pointer ) ) {
      if( !pointer_ ) {
         throw RangeException( "null ValidPtr" );
      }
   }

   // Copied also where it could be moved: what was moved from would be null.
   ValidPtr( const ValidPtr & ) noexcept = default;
   ValidPtr &operator=( const ValidPtr & ) noexcept = default;
   ~ValidPtr() = default;

   T *get() const noexcept { return pointer_.get(); }
   T *operator->() const noexcept { return pointer_.get(); }
   T &operator*() const noexcept { return *pointer_.get(); }
   operator const Ptr<T> &() const noexcept { return pointer_; }

 private:
   Ptr<T> pointer_;
};

} // namespace Quor

#endif
