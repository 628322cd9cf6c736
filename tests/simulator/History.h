// One history of a switch with its agents: everything that happens follows from the seed.
#ifndef TESTS_SIMULATOR_HISTORY_H
#define TESTS_SIMULATOR_HISTORY_H

#include "tests/simulator/Figures.h"
#include "tests/simulator/Hardware.h"
#include "tests/simulator/Plan.h"
#include "tests/simulator/RunningAgent.h"
#include "tests/simulator/World.h"

#include <memory>
#include <optional>
#include <stdexcept>

namespace Simulator {

/// A rule that was broken; what() says which, where, and what happened before.
class Violation : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/// Lives from begin to end in run(). What is checked, whenever the agent has nothing to do:
///
///    - the hardware holds what is wanted, or as much of it as there are indexes, and the rest
///      waits in the order in which it came;
///    - nothing was written that did not have to be: within an event each write is a difference
///      between before and after; a pair that stays wanted is not touched, also by restarts;
///    - the agent's own audit and figures say the same.
///
/// While the hardware refuses or news are lost this holds again as soon as that is over.
class History {
 public:
   explicit History( U64 seed, U32 steps = 200 );
   ~History();
   History( const History & ) = delete;
   History &operator=( const History & ) = delete;

   /// Throws Violation.
   void run();
   U64 digest() const noexcept { return trace_.digest(); }
   Figures figures() const;

 private:
   struct Crash {}; ///< of the agent, in the middle of something

   std::unique_ptr<Hardware> someHardware();
   bool isSlow() const;

   // What happens.
   void step();
   void timePasses();
   void advance( Instant::duration time );
   void hardwareFault();
   void isLost( const std::set<U32> &indexes, Hardware::Loss loss );
   void clientAsks();
   void reloads();
   void supervise();
   void starts();
   void dies( const char *how );
   void othersHaveTheirTurn();

   // The agent's events.
   template <class Action>
   void event( const Action &action );
   void afterEvent( const Hardware::Slots &before );
   void letItRun();
   bool isUp() const { return agent_ != nullptr; }

   // The rules.
   void kernelChanged();
   void checkWrites( const Hardware::Slots &before, const std::vector<Hardware::Change> &changes );
   void checkHardware();
   void settle();
   void checkLine();
   void checkAnswers( const Wanted &now );
   std::vector<Pair> line();
   std::string held() const;
   [[noreturn]] void violated( const std::string &what ) const;

   const U64 seed_;
   const U32 steps_;
   Random random_;
   Trace trace_;
   SimulatedKernel kernel_;
   World world_;
   Plan plan_;
   std::unique_ptr<Hardware> hardware_;
   std::string file_; // the configuration
   SimulatedLoop loop_;
   OrloAgent::Time wall_{ std::chrono::seconds( 1'800'000'000 ) }; // at the loop's time 0
   std::unique_ptr<RunningAgent> agent_;

   // Since everything was last in order.
   std::map<U32, Pair> programmed_; // then
   std::set<Pair> stays_;           // wanted all the time
   std::vector<Pair> line_;         // then
   bool isSameLine_ = false;        // no programmer has started since
   U32 fewestIndexes_ = 0;
   std::set<U32> lost_; // indexes that the hardware lost
   bool mustRepair_ = false;
   bool owesAtReload_ = false; // the hardware, what it has not taken or not heard of yet
   bool isFaulty_ = false;     // the hardware, or the kernel

   U64 step_ = 0;
   Figures figures_;
};

} // namespace Simulator

#endif
