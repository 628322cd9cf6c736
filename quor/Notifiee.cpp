#include "quor/Notifiee.h"

#include "quor/Entity.h"

namespace Quor {

NotifieeConst::~NotifieeConst() {
   leave();
}

void NotifieeConst::zeroReferencesIs() {
   leave(); // before the destructors of the derived classes run
   PtrInterface::zeroReferencesIs();
}

void NotifieeConst::leave() {
   isRegisteredNotifieeIs( false );
   entityIs( nullptr, Binding::counted );
}

void NotifieeConst::isRegisteredNotifieeIs( bool on ) {
   if( on == registered_ ) {
      return;
   }
   require( !on || isHeld(), { "isHeld()", __LINE__, "QuorNotifiee",
                               "void Quor::NotifieeConst::isRegisteredNotifieeIs(bool)" } );
   if( entity_ && on ) {
      entity_->notifieeNew( this );
   } else if( entity_ ) {
      entity_->notifieeDel( this );
   }
   registered_ = on; // last: the list may be refused the memory for one more
}

/// Into the lists of an entity that it is to be bound to: into all of them, or none.
void NotifieeConst::join( const Entity &entity, bool counted ) {
   if( !counted ) {
      entity.uncounted_.push_back( this );
   }
   if( entity_ == &entity || !registered_ ) {
      return;
   }
   try {
      entity.notifieeNew( this );
   } catch( ... ) {
      if( !counted ) {
         entity.uncounted_.pop_back();
      }
      throw;
   }
}

void NotifieeConst::entityIs( const Entity *entity, Binding binding ) {
   const bool counted = entity && binding == Binding::counted;
   if( entity == entity_ && counted == static_cast<bool>( hold_ ) ) {
      return;
   }
   if( entity ) {
      join( *entity, counted ); // first: what may be refused the memory for it
   }
   // Held to the end: dropping it may destroy the entity that was watched, and with it who knows
   // what.
   const Ptr<const Entity> before = std::move( hold_ );
   if( entity_ && entity_ != entity && registered_ ) {
      entity_->notifieeDel( this );
   }
   if( entity_ && !before ) {
      std::erase( entity_->uncounted_, this );
   }
   entity_ = entity;
   if( counted ) {
      hold_ = Ptr<const Entity>::share( entity );
   }
}

} // namespace Quor
