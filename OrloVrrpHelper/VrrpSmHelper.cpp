#include "OrloVrrpHelper/VrrpSmHelper.h"

#include "quor/Type.h"

namespace OrloHelper {

namespace {

constexpr char kMustBeImplemented[] = "This function must be implemented by derived class";

}

VrrpSmHelper::VrrpSmHelper( Quor::Name name ) : OrloBaseHelper( std::move( name ) ) {}

VrrpSmHelper::NotifieeConst::~NotifieeConst() = default;

VrrpSmHelper::Notifiee::~Notifiee() = default;

void VrrpSmHelper::addVirtualRouterMac( const Pelmo::EthAddr &, Quor::U32, Quor::U32 ) {
   orloAssert( kMustBeImplemented );
}

void VrrpSmHelper::deleteVirtualRouterMac( const Pelmo::EthAddr &, Quor::U32, Quor::U32 ) {
   orloAssert( kMustBeImplemented );
}

void VrrpSmHelper::syncVrrpStateOnInit( const Quor::Ptr<CurrentVrrpStateForInit> & ) {}

void VrrpSmHelper::initializationComplete() {}

void VrrpSmHelper::syncCurrentStateOnInitIs( bool value ) {
   if( value == syncCurrentStateOnInit_ ) {
      return;
   }
   syncCurrentStateOnInit_ = value;
   notifyEach( kSyncCurrentStateOnInit, []( Quor::NotifieeConst &notifiee ) {
      // Watchers of the base kind may be registered as well.
      if( auto *const watcher = dynamic_cast<NotifieeConst *>( &notifiee ) ) {
         watcher->onSyncCurrentStateOnInit();
      }
   } );
}

Quor::String VrrpSmHelper::attributeString( Quor::AttrId id ) const {
   const Quor::Attribute *const own = _fwkType()->find( id );
   return own ? Quor::String( own->name ) : OrloBaseHelper::attributeString( id );
}

} // namespace OrloHelper
