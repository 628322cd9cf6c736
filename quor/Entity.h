// Objects with attributes that others can watch.
#ifndef QUOR_ENTITY_H
#define QUOR_ENTITY_H

#include "quor/Notifiee.h"

#include <array>
#include <memory>

namespace Quor {

/// The identifier that a watcher is given when its onZeroReferences() has thrown.
inline constexpr AttrId kZeroReferences = 5;

/// A counted object with a list of registered watchers. A change of an attribute is told at once,
/// inside the call that makes it, by this rule:
///
/// - the watchers registered at that moment are called, in the order of their registration; who
/// registers
///   during the pass is not called in it;
/// - a watcher that everybody else has let go of during the pass is not called any more; one that
/// was only
///   unregistered still is;
/// - what a callback throws goes to its own onNotificationException(); the others are still called;
/// - callbacks may do anything: change the entity again, drop it, drop each other.
///
/// A pass over one or two watchers allocates nothing.
class Entity : public PtrInterface {
 public:
   U32 notifieeCount() const noexcept { return static_cast<U32>( notifiees_.size() ); }
   /// Tells the watchers that the entity goes, takes back their bindings, destroys it.
   void zeroReferencesIs() override;

 protected:
   Entity() = default;
   ~Entity() override;

   /// Calls `callback` of every watcher; all of them must be Watchers. Keeps the entity alive
   /// meanwhile. One argument is the key of what has changed.
   template <class Watcher, class... Params, class... Args>
   void notify( AttrId id, void ( Watcher::*callback )( Params... ), const Args &...args ) const;

   /// The same with a function that is called for every watcher. A generic watcher is told of the
   /// attribute and its key as well.
   template <class Call>
   void notifyEach( AttrId id, const Call &call, const void *key = nullptr ) const;

 private:
   friend class NotifieeConst;
   void notifieeNew( NotifieeConst *notifiee ) const;
   void notifieeDel( NotifieeConst *notifiee ) const;
   void unbindAll();

   mutable std::vector<NotifieeConst *> notifiees_;
   mutable std::vector<NotifieeConst *> uncounted_; // bound without keeping the entity alive
};

/// The watchers of one notification, each held for its duration.
class NotifieePass {
 public:
   explicit NotifieePass( const std::vector<NotifieeConst *> &notifiees );
   ~NotifieePass();
   NotifieePass( const NotifieePass & ) = delete;
   NotifieePass &operator=( const NotifieePass & ) = delete;

   /// The next watcher that somebody still holds; null at the end.
   NotifieeConst *next() noexcept;
   static void thrown( NotifieeConst &by, AttrId id ) noexcept;

 private:
   static constexpr std::size_t kInline = 4;
   NotifieeConst *&member( std::size_t i ) noexcept;
   static void drop( NotifieeConst *&member ) noexcept;

   std::size_t count_;
   std::size_t at_ = 0;
   std::array<NotifieeConst *, kInline> few_;
   std::vector<NotifieeConst *> many_;
};

template <class Call>
void Entity::notifyEach( AttrId id, const Call &call, const void *key ) const {
   if( notifiees_.empty() ) {
      return;
   }
   const Ptr<const Entity> self = ptrTo( *this );
   NotifieePass pass( notifiees_ );
   while( NotifieeConst *const notifiee = pass.next() ) {
      try {
         call( *notifiee );
         if( notifiee->isGeneric_ ) {
            notifiee->onAttribute( id, key );
         }
      } catch( ... ) {
         NotifieePass::thrown( *notifiee, id );
      }
   }
}

template <class Watcher, class... Params, class... Args>
void Entity::notify( AttrId id, void ( Watcher::*callback )( Params... ),
                     const Args &...args ) const {
   static_assert( sizeof...( Args ) <= 1, "an attribute has one key or none" );
   const void *key = nullptr;
   ( ( key = std::addressof( args ) ), ... );
   notifyEach(
         id,
         [&]( NotifieeConst &notifiee ) {
            ( static_cast<Watcher &>( notifiee ).*callback )( args... );
         },
         key );
}

} // namespace Quor

#endif
