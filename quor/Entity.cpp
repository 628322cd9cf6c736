#include "quor/Entity.h"

#include <algorithm>

namespace Quor {

Entity::~Entity() {
   unbindAll();
}

void Entity::zeroReferencesIs() {
   notify<NotifieeConst, &NotifieeConst::onZeroReferences>( kZeroReferences );
   unbindAll();
   PtrInterface::zeroReferencesIs();
}

void Entity::unbindAll() {
   while( !uncounted_.empty() ) {
      uncounted_.back()->entityIs( nullptr, Binding::uncounted );
   }
}

void Entity::notifieeNew( NotifieeConst *notifiee ) const {
   notifiees_.push_back( notifiee );
}

void Entity::notifieeDel( NotifieeConst *notifiee ) const {
   std::erase( notifiees_, notifiee );
}

NotifieePass::NotifieePass( const std::vector<NotifieeConst *> &notifiees )
      : count_( notifiees.size() ) {
   if( count_ <= kInline ) {
      std::copy( notifiees.begin(), notifiees.end(), few_.begin() );
   } else {
      many_ = notifiees;
   }
   for( std::size_t i = 0; i < count_; ++i ) {
      NotifieeConst &notifiee = *member( i );
      notifiee.referenceNew();
      ++notifiee.passes_;
   }
}

NotifieePass::~NotifieePass() {
   for( std::size_t i = 0; i < count_; ++i ) {
      drop( member( i ) );
   }
}

NotifieeConst *&NotifieePass::member( std::size_t i ) noexcept {
   return count_ <= kInline ? few_[i] : many_[i];
}

void NotifieePass::drop( NotifieeConst *&member ) noexcept {
   if( NotifieeConst *const notifiee = std::exchange( member, nullptr ) ) {
      --notifiee->passes_;
      notifiee->referenceDel();
   }
}

NotifieeConst *NotifieePass::next() noexcept {
   while( at_ < count_ ) {
      NotifieeConst *&notifiee = member( at_++ );
      if( !notifiee->isReleased() ) {
         return notifiee;
      }
      drop( notifiee );
   }
   return nullptr;
}

void NotifieePass::thrown( NotifieeConst &by, AttrId id ) noexcept {
   try {
      by.onNotificationException( id );
   } catch( ... ) { // a watcher that fails twice has had its chance; the others have not
   }
}

} // namespace Quor
