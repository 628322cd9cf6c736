// Answers the commands of the control socket.
#ifndef ORLOAGENT_CONTROL_CONTROL_H
#define ORLOAGENT_CONTROL_CONTROL_H

#include "agent/Agent.h"
#include "agent/control/ControlHandler.h"
#include "agent/control/Path.h"
#include "agent/control/Tracing.h"
#include "agent/control/Watching.h"

#include <list>

namespace OrloAgent {

/// Reading is open to every client; what changes anything needs Peer::mayChange, and the rules of
/// Permissions. Goes before the agent, which must not be restarted by what an answer calls.
class Control : public ControlHandler, private Quor::GenericObserver {
 public:
   /// `reload` reads the configuration again and changes to it; it throws ControlError.
   using Reload = std::function<Agent::Reloaded()>;

   Control( Agent &agent, Tracing &tracing, Reload reload );
   ~Control() override;
   Control( const Control & ) = delete;
   Control &operator=( const Control & ) = delete;

   Answer answer( const std::string &command, const nlohmann::json &arguments,
                  const Peer &peer ) override;
   std::unique_ptr<Following> follow( const std::string &command, const nlohmann::json &arguments,
                                      const Peer &peer, Emit emit ) override;

   /// The objects at which paths begin, as they are now.
   Roots roots() const;

 private:
   class Arguments;
   class Watch;
   struct Walk;

   Answer show( const std::string &command, const Arguments &arguments ) const;
   Answer list( const Arguments &arguments );
   Answer change( const std::string &command, const Arguments &arguments );
   /// The roots that are there from the beginning to the end.
   Roots inputs() const;
   void letGo();
   void lookAgain();
   void onAttribute( const Quor::Attribute &attribute,
                     const Quor::Ptr<Quor::GenericIf> &key ) override;

   Agent &agent_;
   Tracing &tracing_;
   const Reload reload_;
   std::list<std::weak_ptr<Walk>> walks_; // answers whose rows are still being read
   std::list<Watch *> watches_;
   const Quor::GenericNotifiee vlanSets_; // last: its calls use the others
};

} // namespace OrloAgent

#endif
