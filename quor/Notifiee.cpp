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
   registered_ = on;
   if( !entity_ ) {
      return;
   }
   if( on ) {
      entity_->notifieeNew( this );
   } else {
      entity_->notifieeDel( this );
   }
}

void NotifieeConst::entityIs( const Entity *entity, Binding binding ) {
   const bool counted = entity && binding == Binding::counted;
   if( entity == entity_ && counted == static_cast<bool>( hold_ ) ) {
      return;
   }
   // Held to the end: dropping it may destroy the entity that was watched, and with it who knows
   // what.
   const Ptr<const Entity> before = std::move( hold_ );
   if( entity_ != entity ) {
      if( entity_ && registered_ ) {
         entity_->notifieeDel( this );
      }
      if( entity && registered_ ) {
         entity->notifieeNew( this );
      }
   }
   if( entity_ && !before ) {
      std::erase( entity_->uncounted_, this );
   }
   if( entity && !counted ) {
      entity->uncounted_.push_back( this );
   }
   entity_ = entity;
   if( counted ) {
      hold_ = Ptr<const Entity>::share( entity );
   }
}

} // namespace Quor
