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
   ++notifieeCount_;
}

void Entity::notifieeDel( NotifieeConst *notifiee ) const {
   notifieeCount_ -= static_cast<U32>( std::erase( notifiees_, notifiee ) );
}

NotifieePass::NotifieePass( const std::vector<NotifieeConst *> &notifiees,
                            NotifieePass *before ) noexcept
      : first_( before ? before->first_ : *this ), end_( before ? before->end_ : 0 ) {
   if( before ) {
      before->behind_ = this;
   }
   while( count_ < kMost && end_ < notifiees.size() ) {
      NotifieeConst *const notifiee = notifiees[end_++];
      notifiee->referenceNew();
      ++notifiee->passes_;
      members_[count_++] = notifiee;
   }
   isLast_ = end_ == notifiees.size();
}

void NotifieePass::drop() noexcept {
   for( std::size_t i = 0; i < count_; ++i ) {
      drop( members_[i] );
   }
}

void NotifieePass::drop( NotifieeConst *&member ) noexcept {
   if( NotifieeConst *const notifiee = std::exchange( member, nullptr ) ) {
      --notifiee->passes_;
      notifiee->referenceDel();
   }
}

NotifieeConst *NotifieePass::next() noexcept {
   while( at_ < count_ ) {
      NotifieeConst *&notifiee = members_[at_++];
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
