// Objects with attributes that others can watch.
#ifndef QUOR_ENTITY_H
#define QUOR_ENTITY_H

#include "quor/Notifiee.h"

#include <array>
#include <memory>

namespace Quor {

/// The identifier that a watcher is given when its onZeroReferences() has thrown.
inline constexpr AttrId kZeroReferences = 5;

class NotifieePass;

/// A counted object with a list of registered watchers. A change of an attribute is told at once,
/// inside the call that makes it, by this rule:
///
/// - the watchers registered at that moment are called, in the order of their registration; who
///   registers during the pass is not called in it;
/// - a watcher that everybody else has let go of during the pass is not called any more; one that
///   was only unregistered still is;
/// - what a callback throws goes to its own onNotificationException(); the others are still called;
/// - callbacks may do anything: change the entity again, drop it, drop each other.
///
/// A pass allocates nothing, so it can always be made: what has changed is told.
class Entity : public PtrInterface {
 public:
   bool isWatched() const noexcept { return notifieeCount_ != 0; }
   U32 notifieeCount() const noexcept { return notifieeCount_; }
   /// Tells the watchers that the entity goes, takes back their bindings, destroys it.
   void zeroReferencesIs() override;

 protected:
   Entity() = default;
   ~Entity() override;

   /// Calls kCallback( key ) of every watcher; all of them must be Watchers. Keeps the entity alive
   /// meanwhile.
   template <class Watcher, class Key, void ( Watcher::*kCallback )( Key )>
   void notify( AttrId id, const std::remove_cvref_t<Key> &key ) const;
   template <class Watcher, void ( Watcher::*kCallback )()>
   void notify( AttrId id ) const;

   /// Calls the watcher if there is exactly one: a hint that nothing depends on. Nobody is held, so
   /// the entity may be gone afterwards; what the watcher throws is dropped.
   template <class Watcher, class Call>
   void hint( const Call &call ) const noexcept {
      if( notifieeCount_ == 1 ) {
         try {
            call( static_cast<Watcher &>( *notifiees_.front() ) );
         } catch( ... ) { // it does without
         }
      }
   }
   /// The same with a function that is called for every watcher. A generic watcher is told of the
   /// attribute and its key as well.
   template <class Call>
   void notifyEach( AttrId id, const Call &call, const void *key = nullptr ) const;

 private:
   friend class NotifieeConst;
   /// Tells the watchers that the passes further up the stack hold, and those behind them.
   template <class Call>
   [[gnu::noinline]] void notifyAll( NotifieePass *before, AttrId id, const Call &call,
                                     const void *key ) const;
   template <class Call>
   static void tell( NotifieeConst &notifiee, AttrId id, const Call &call, const void *key );
   void notifieeNew( NotifieeConst *notifiee ) const;
   void notifieeDel( NotifieeConst *notifiee ) const;
   void unbindAll();

   mutable U32 notifieeCount_ = 0; // of the list: what is asked for most
   mutable std::vector<NotifieeConst *> notifiees_;
   mutable std::vector<NotifieeConst *> uncounted_; // bound without keeping the entity alive
};

/// An entity and its only watcher, which is being told, held meanwhile.
class NotifieeHold {
 public:
   NotifieeHold( const Entity &entity, NotifieeConst &notifiee ) noexcept
         : entity_( entity ), notifiee_( notifiee ) {
      entity_.referenceNew();
      notifiee_.referenceNew();
      ++notifiee_.passes_;
   }
   [[gnu::always_inline]] inline ~NotifieeHold() {
      --notifiee_.passes_;
      notifiee_.referenceDel();
      entity_.referenceDel();
   }
   NotifieeHold( const NotifieeHold & ) = delete;
   NotifieeHold &operator=( const NotifieeHold & ) = delete;

 private:
   const Entity &entity_;
   NotifieeConst &notifiee_;
};

/// Some of the watchers of one notification, each held for its duration. Stands on the stack; when
/// there are more, another one behind it has the next of them.
class NotifieePass {
 public:
   /// Those behind `before`, or the first ones.
   NotifieePass( const std::vector<NotifieeConst *> &notifiees, NotifieePass *before ) noexcept;
   NotifieePass( const NotifieePass & ) = delete;
   NotifieePass &operator=( const NotifieePass & ) = delete;

   /// It has the last one of the list.
   bool isLast() const noexcept { return isLast_; }
   NotifieePass &first() noexcept { return first_; }
   NotifieePass *behind() const noexcept { return behind_; }

   /// The next watcher that somebody still holds; null at the end.
   NotifieeConst *next() noexcept;
   /// Lets go of the watchers.
   void drop() noexcept;
   static void thrown( NotifieeConst &by, AttrId id ) noexcept;

 private:
   static constexpr std::size_t kMost = 16;
   static void drop( NotifieeConst *&member ) noexcept;

   NotifieePass &first_;
   NotifieePass *behind_ = nullptr;
   std::size_t end_; // in the list
   std::size_t count_ = 0;
   std::size_t at_ = 0;
   bool isLast_;
   std::array<NotifieeConst *, kMost> members_;
};

template <class Call>
[[gnu::always_inline]] inline void Entity::tell( NotifieeConst &notifiee, AttrId id,
                                                 const Call &call, const void *key ) {
   try {
      call( notifiee );
      if( notifiee.isGeneric_ ) [[unlikely]] {
         notifiee.onAttribute( id, key );
      }
   } catch( ... ) {
      NotifieePass::thrown( notifiee, id );
   }
}

template <class Call>
void Entity::notifyAll( NotifieePass *before, AttrId id, const Call &call, const void *key ) const {
   const Ptr<const Entity> self = ptrTo( *this );
   NotifieePass pass( notifiees_, before );
   if( !pass.isLast() ) {
      notifyAll( &pass, id, call, key );
      return; // NOLINT(clang-analyzer-core.StackAddressEscape): nobody looks behind it any more
   }
   for( NotifieePass *part = &pass.first(); part; part = part->behind() ) {
      while( NotifieeConst *const notifiee = part->next() ) {
         tell( *notifiee, id, call, key );
      }
   }
   // NOLINTNEXTLINE(clang-analyzer-core.StackAddressEscape): the same, when it returns
   for( NotifieePass *part = &pass.first(); part; part = part->behind() ) {
      part->drop();
   }
}

template <class Call>
[[gnu::always_inline]] inline void Entity::notifyEach( AttrId id, const Call &call,
                                                       const void *key ) const {
   if( notifieeCount_ == 1 ) [[likely]] {
      NotifieeConst &only = *notifiees_.front();
      if( !only.isReleased() ) [[likely]] {
         const NotifieeHold hold( *this, only );
         tell( only, id, call, key );
      }
   } else if( isWatched() ) {
      notifyAll( nullptr, id, call, key );
   }
}

template <class Watcher, class Key, void ( Watcher::*kCallback )( Key )>
[[gnu::always_inline]] inline void Entity::notify( AttrId id,
                                                   const std::remove_cvref_t<Key> &key ) const {
   notifyEach(
         id,
         [&key]( NotifieeConst &notifiee ) {
            ( static_cast<Watcher &>( notifiee ).*kCallback )( key );
         },
         std::addressof( key ) );
}

template <class Watcher, void ( Watcher::*kCallback )()>
inline void Entity::notify( AttrId id ) const {
   notifyEach( id, []( NotifieeConst &notifiee ) {
      ( static_cast<Watcher &>( notifiee ).*kCallback )();
   } );
}

} // namespace Quor

#endif
