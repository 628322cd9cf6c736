// The agent's process, without its sockets: everything that its main() puts together, on a
// simulated loop.
#ifndef TESTS_SIMULATOR_RUNNINGAGENT_H
#define TESTS_SIMULATOR_RUNNINGAGENT_H

#include "agent/Agent.h"
#include "agent/HardwareWaiting.h"
#include "agent/control/Control.h"
#include "agent/input/Rtnetlink.h"
#include "tests/simulator/SimulatedKernel.h"
#include "tests/simulator/SimulatedLoop.h"

#include <nlohmann/json.hpp>

#include <sstream>

namespace Simulator {

using Json = nlohmann::json;

class RunningAgent {
 public:
   /// What it lives among.
   struct Surroundings {
      SimulatedLoop &loop;
      SimulatedKernel &kernel;
      const std::string &file; ///< the configuration's text, as it is when it is read
      OrloAgent::Clock clock;
   };

   /// Throws as the agent's start does.
   explicit RunningAgent( const Surroundings &around )
         : file_( around.file ), stopwatch_( [&loop = around.loop] { return loop.now(); } ),
           kernel_(
                 around.loop, [&kernel = around.kernel] { return kernel.socket(); }, stopwatch_ ),
           tracing_( around.clock ), waiting_( around.loop, stopwatch_, [this] { agent_.work(); } ),
           agent_( read(), kernel_, out_, err_, around.clock, {}, stopwatch_ ),
           control_( agent_, tracing_, [this] { return reload(); } ) {
      agent_.programming().onWait = [this]( int fd, Instant next ) {
         waiting_.waitFor( fd, next );
      };
      agent_.start();
   }

   OrloAgent::Agent &agent() noexcept { return agent_; }
   const OrloAgent::Rtnetlink &kernel() const noexcept { return kernel_; }
   /// It cannot go on: the hardware has been lost.
   bool isLost() { return !agent_.programming().helper(); }

   /// What a client gets; {"error": ...} for what is refused.
   Json ask( const std::string &command, const Json &arguments, bool mayChange );
   /// A client that stays until it hangs up. What it hears is counted.
   Json follow( const std::string &command, const Json &arguments );
   bool hasFollowers() const noexcept { return !followings_.empty(); }
   void hangUp() { followings_.pop_front(); }
   U64 heard() const noexcept { return heard_; }
   /// What it has said since the last call.
   std::string said();

 private:
   OrloAgent::Configuration read() const {
      return OrloAgent::readConfiguration( file_, "orlo-agent.json" );
   }
   OrloAgent::Agent::Reloaded reload();
   static Json answered( const std::function<Json()> &action );

   const std::string &file_;
   const OrloAgent::Stopwatch stopwatch_;
   std::ostringstream out_;
   std::ostringstream err_;
   OrloAgent::Rtnetlink kernel_;
   OrloAgent::Tracing tracing_;
   OrloAgent::HardwareWaiting waiting_;
   OrloAgent::Agent agent_;
   OrloAgent::Control control_;
   std::list<std::unique_ptr<OrloAgent::Following>> followings_; // before the control goes
   U64 heard_ = 0;
};

} // namespace Simulator

#endif
