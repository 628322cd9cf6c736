#include "agent/input/Publisher.h"

#include <algorithm>
#include <set>

namespace OrloAgent {

namespace {

using Record = Routing::Fhrp::VirtualRouterMac;

struct Cause {
   std::string device;
   std::string reason;
};

/// Why a record that came from `device` is not published any more.
Cause causeOf( const Record &record, const std::string &device,
               const std::vector<Verdict> &verdicts ) {
   const Verdict *sameRecord = nullptr;
   const Verdict *sameDevice = nullptr;
   for( const Verdict &verdict : verdicts ) {
      const bool isSameDevice = verdict.device == device;
      if( isSameDevice ) {
         sameDevice = &verdict;
      }
      if( verdict.record == record && ( !sameRecord || isSameDevice ) ) {
         sameRecord = &verdict;
      }
   }
   if( sameRecord ) {
      return { sameRecord->device, sameRecord->reason };
   }
   if( !sameDevice ) {
      return { device, "the device is gone" };
   }
   if( sameDevice->record.intf().empty() ) {
      return { device, sameDevice->reason };
   }
   return { device, "stands for " + valueToStrep( sameDevice->record.mac() ) + " on " +
                          valueToStrep( sameDevice->record.intf() ) + " now" };
}

} // namespace

void Publisher::verdictsAre( const std::vector<Verdict> &verdicts ) {
   std::map<Record, std::set<std::string>> wanted;
   for( const Verdict &verdict : verdicts ) {
      if( verdict.published ) {
         wanted[verdict.record].insert( verdict.device );
      }
   }
   for( auto at = published_.begin(); at != published_.end(); ) {
      const auto here = at++;
      const Record record = here->first;
      if( !wanted.contains( record ) ) {
         const Cause cause = causeOf( record, here->second, verdicts );
         published_.erase( here );
         watcher_.onWithdrawn( record, cause.device, cause.reason );
         status_->vrrpVirtualMacDel( record );
      }
   }
   for( const auto &[record, devices] : wanted ) {
      const auto [at, isNew] = published_.emplace( record, *devices.begin() );
      if( isNew ) {
         watcher_.onPublished( record, at->second );
         status_->vrrpVirtualMacIs( record, true );
      } else if( !devices.contains( at->second ) ) {
         at->second = *devices.begin();
      }
   }
}

void Publisher::interfaceDel( const Pelmo::IntfId &intf, const std::string &reason ) {
   for( auto at = published_.begin(); at != published_.end(); ) {
      const auto here = at++;
      if( here->first.intf() == intf ) {
         const auto gone = published_.extract( here );
         watcher_.onWithdrawn( gone.key(), gone.mapped(), reason );
         status_->vrrpVirtualMacDel( gone.key() );
      }
   }
}

} // namespace OrloAgent
