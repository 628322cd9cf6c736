// Watchers of entities.
//
// Every entity type E has a watcher class E::NotifieeConst with one empty virtual per attribute.
// Derive, override what matters, bind, register:
//
//    class Printer : public VirtualRouterMacTable::NotifieeConst {
//       void onVirtualRouterMac( const VlanAndMac &key ) override { std::cout << key << '\n'; }
//    };
//    Ptr<Printer> printer = make<Printer>();
//    printer->notifierIs( table );
//    printer->isRegisteredNotifieeIs( true );
//
// Who owns what: the entity does not own its watchers; a watcher keeps the entity that it is bound
// to alive, unless it is bound with Binding::uncounted. Either side may go first: a watcher that
// goes leaves the list, an entity that goes takes back the binding. Everything happens on one
// thread, inside the call that changes the entity.
#ifndef QUOR_NOTIFIEE_H
#define QUOR_NOTIFIEE_H

#include "quor/PtrInterface.h"

namespace Quor {

class Entity;

/// Does a watcher keep its entity alive?
enum class Binding { counted, uncounted };

/// What all watchers have in common.
class NotifieeConst : public PtrInterface {
 public:
   /// Joins or leaves the list of the entity that is watched; the same state again does nothing. A
   /// watcher that is registered without an entity joins as soon as it is bound to one.
   void isRegisteredNotifieeIs( bool on );
   bool isRegisteredNotifiee() const noexcept { return registered_; }
   void hasNotificationActiveIs( bool on ) override { isRegisteredNotifieeIs( on ); }

   /// The entity's last reference has gone; it is still whole during the call and unbound after it.
   virtual void onZeroReferences() {}
   /// One of this watcher's callbacks has thrown; `id` tells which attribute had changed. Called
   /// inside the handler, so std::current_exception() gives what was thrown. What it throws itself
   /// is dropped.
   virtual void onNotificationException( AttrId ) {}

   void zeroReferencesIs() override;

 protected:
   NotifieeConst() = default;
   ~NotifieeConst() override;

   void entityIs( const Entity *entity, Binding binding );
   const Entity *entity() const noexcept { return entity_; }

   /// Asks for onAttribute() behind every callback.
   void isGenericIs( bool on ) noexcept { isGeneric_ = on; }
   /// An attribute of the entity has changed; `key` points to the key of the member, of the
   /// collection's own key type, for the length of the call. Null where there is none.
   virtual void onAttribute( AttrId, const void * /*key*/ ) {}

 private:
   friend class Entity;
   friend class NotifieeHold;
   friend class NotifieePass;

   void join( const Entity &entity, bool counted );
   void leave();
   /// Nobody holds the watcher but the notifications that are under way.
   bool isReleased() const noexcept { return !isHeldBeside( passes_ ); }

   const Entity *entity_ = nullptr;
   Ptr<const Entity> hold_; // of a counted binding
   U32 passes_ = 0;         // references held by notifications under way
   bool registered_ = false;
   bool isGeneric_ = false;
};

/// The binding of a watcher to an entity of type E.
template <class E>
class NotifieeConstOf : public NotifieeConst {
 public:
   Ptr<const E> notifier() const noexcept {
      return Ptr<const E>::share( static_cast<const E *>( entity() ) );
   }
   /// Leaves the entity that was watched, if any, and watches `notifier` (null: none). The same
   /// entity again does nothing.
   void notifierIs( const Ptr<const E> &notifier ) { entityIs( notifier.get(), Binding::counted ); }
   /// The same without keeping the entity alive.
   void uncountedNotifierIs( const Ptr<const E> &notifier ) {
      entityIs( notifier.get(), Binding::uncounted );
   }
};

/// A watcher that may also change the entity that it watches; Base is E's NotifieeConst.
template <class E, class Base>
class NotifieeOf : public Base {
 public:
   Ptr<E> notifier() const noexcept {
      return Ptr<E>::share( this->entity() == writable_ ? writable_ : nullptr );
   }
   void notifierIs( const Ptr<E> &notifier ) {
      bind( notifier, [&] { Base::notifierIs( notifier ); } );
   }
   void uncountedNotifierIs( const Ptr<E> &notifier ) {
      bind( notifier, [&] { Base::uncountedNotifierIs( notifier ); } );
   }

 private:
   template <class Bind>
   void bind( const Ptr<E> &notifier, const Bind &base ) {
      E *const before = std::exchange( writable_, notifier.get() );
      try {
         base();
      } catch( ... ) { // refused: it stays with the entity that it watches
         writable_ = before;
         throw;
      }
   }

   E *writable_ = nullptr;
};

} // namespace Quor

#endif
