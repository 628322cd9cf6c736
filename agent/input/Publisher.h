// Turns what the rule says about devices into records of the status table that the reflector
// watches.
#ifndef ORLOAGENT_INPUT_PUBLISHER_H
#define ORLOAGENT_INPUT_PUBLISHER_H

#include "agent/input/Devices.h"
#include "platform/VirtualRouterMacStatus.h"

#include <map>
#include <string>
#include <vector>

namespace OrloAgent {

/// Called before the table changes, so that causes are told before effects.
class PublisherWatcher {
 public:
   virtual void onPublished( const Routing::Fhrp::VirtualRouterMac &record,
                             const std::string &device ) = 0;
   virtual void onWithdrawn( const Routing::Fhrp::VirtualRouterMac &record,
                             const std::string &device, const std::string &reason ) = 0;

 protected:
   ~PublisherWatcher() = default;
};

/// Writes the status table, and only what differs: one change of a record per transition,
/// withdrawals first, so that the indexes that they free serve whatever comes. A record that is not
/// published has no key in the table. Nobody else writes it but an administrator, by hand: what was
/// changed so stays until the record's verdict changes. The watcher must outlive this object.
class Publisher {
 public:
   Publisher( Quor::Ptr<Routing::Fhrp::VirtualRouterMacStatus> status, PublisherWatcher &watcher )
         : status_( std::move( status ) ), watcher_( watcher ) {}

   /// Makes the table say what `verdicts` say. Several devices may stand for one record: it is
   /// there while one of them is published.
   void verdictsAre( const std::vector<Verdict> &verdicts );
   /// Withdraws the interface's records, for this reason.
   void interfaceDel( const Pelmo::IntfId &intf, const std::string &reason );

 private:
   using Record = Routing::Fhrp::VirtualRouterMac;

   Quor::Ptr<Routing::Fhrp::VirtualRouterMacStatus> status_;
   PublisherWatcher &watcher_;
   std::map<Record, std::string> published_; // and the device that it is told to come from
};

} // namespace OrloAgent

#endif
