// The agent on a fake kernel with what people and programs reach it by.
#ifndef TESTS_UNIT_AGENT_CONTROLLEDAGENT_H
#define TESTS_UNIT_AGENT_CONTROLLEDAGENT_H

#include "agent/control/Control.h"
#include "tests/unit/agent/AgentOnFakeKernel.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <vector>

namespace OrloAgent {

using Json = nlohmann::json;

/// Whole answers are compared, as JSON.
inline void expectJson( const Json &actual, const std::string &expected,
                        const char *file = __builtin_FILE(), int line = __builtin_LINE() ) {
   if( actual != Json::parse( expected ) ) {
      ADD_FAILURE_AT( file, line ) << actual.dump( 1 );
   }
}

class ControlledAgent : public AgentOnFakeKernel {
 protected:
   ~ControlledAgent() override {
      followings_.clear();
      control_.reset();
      agent_.reset();
   }

   /// What a client reads when it asks; `arguments` as it writes them. An error is {"error": its
   /// kind, "message"}.
   Json ask( const std::string &command, const std::string &arguments = "{}" ) {
      return answered(
            [&] { return whole( control().answer( command, Json::parse( arguments ), peer_ ) ); } );
   }
   template <class Action>
   static Json answered( const Action &action ) {
      try {
         return action();
      } catch( const ControlError &error ) {
         return { { "error", Protocol::nameOf( error.kind() ) }, { "message", error.what() } };
      }
   }
   /// What comes goes to events_.
   Json follow( const std::string &command, const std::string &arguments = "{}" ) {
      return answered( [&] {
         followings_.push_back(
               control().follow( command, Json::parse( arguments ), peer_,
                                 [this]( const Json &event ) { events_.push_back( event ); } ) );
         return Json( "following" );
      } );
   }
   /// Since the last call.
   Json events() { return std::exchange( events_, Json::array() ); }

   Control &control() {
      if( !control_ ) {
         control_.emplace( *agent_, tracing_, [this] { return agent_->reload( next_ ); } );
      }
      return *control_;
   }

   /// The hardware's slots, by somebody else's hand.
   SlotFile &slots() { return const_cast<SlotFile &>( helper().slots() ); }

   /// Hardware that cannot be read back.
   Configuration blind( Quor::U32 indexes ) const {
      Configuration blind = configuration( indexes );
      blind.hardware = { "module", indexes, BLIND_HELPER, {} };
      return blind;
   }

   Tracing tracing_{ [this] { return now_; } };
   Peer peer_{ .uid = 0, .gid = 0, .pid = 1, .mayChange = true };
   Configuration next_; ///< what a reload changes to
   Json events_ = Json::array();
   std::optional<Control> control_;
   std::vector<std::unique_ptr<Following>> followings_;
};

} // namespace OrloAgent

#endif
