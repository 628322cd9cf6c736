#include "agent/WaitingWatch.h"

namespace OrloAgent {

WaitingWatch::WaitingWatch( const Quor::Ptr<Table> &table, const Orlo::VrrpSm &vrrpSm,
                            Report &report )
      : vrrpSm_( vrrpSm ), report_( report ) {
   Quor::U32 place = 0;
   for( const auto &entry : vrrpSm_.macsNeedingVirtualRouterIndexes() ) {
      waiting_.insert( entry.value() );
      report_.waiting( entry.value(), ++place );
   }
   notifierIs( table );
   isRegisteredNotifieeIs( true );
}

void WaitingWatch::onVirtualRouterMac( const Pair &pair ) {
   if( !notifier()->virtualRouterMacs().isMemberOf( pair ) ) {
      if( waiting_.erase( pair ) != 0 ) {
         report_.left( pair );
      }
   } else if( !vrrpSm_.virtualRouterIndexes().isMemberOf( pair ) ) {
      waiting_.insert( pair );
      report_.waiting( pair, vrrpSm_.macsNeedingVirtualRouterIndexes().count() );
   }
}

} // namespace OrloAgent
