#include "tests/simulator/History.h"

#include "tests/simulator/BridgeHardware.h"
#include "tests/simulator/Chip.h"
#include "tests/simulator/EbpfHardware.h"
#include "tests/simulator/MemoryHardware.h"
#include "tests/simulator/module/SimulatedModule.h"

#include <algorithm>

namespace Simulator {

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

/// Longer than anybody waits before something is tried again.
constexpr seconds kPatience{ 45 };
constexpr U64 kMostCallbacks = 20'000;

} // namespace

History::History( U64 seed, U32 steps )
      : seed_( seed ), steps_( steps ), random_( seed ), kernel_( random_, trace_ ),
        world_( random_, kernel_, trace_ ), plan_( Plan::first( random_ ) ),
        hardware_( someHardware() ), file_( plan_.text() ), loop_( random_, [this]( int fd ) {
           return fd == 3 ? kernel_.isReadable() : hardware_->hasNews();
        } ) {
   SimulatedModule::make = [this]( const OrloHelper::HelperSettings &settings ) {
      return hardware_->helper( settings );
   };
   if( isSlow() ) {
      hardware_->onWrite = [this] {
         loop_.pass( milliseconds( 20 * ( hardware_->writes() % 8 ) ) );
      };
   }
   kernel_.onChange = [this] { kernelChanged(); };
   kernel_.onReceive = [this] { othersHaveTheirTurn(); };
   kernel_.onDump = [this] { world_.happens( loop_.now() ); };
   kernel_.habitsAre( { random_.chance( 500 ), random_.chance( 500 ) } );
   fewestIndexes_ = plan_.indexes;
}

std::unique_ptr<Hardware> History::someHardware() {
   if( random_.chance( 350 ) ) {
      return std::make_unique<BridgeHardware>( random_, trace_, plan_ );
   }
   switch( seed_ % 4 ) {
   case 0:
      return std::make_unique<MemoryHardware>( random_, trace_ );
   case 2:
      return std::make_unique<EbpfHardware>( random_, trace_, plan_, kernel_ );
   default:
      return std::make_unique<Chip>( random_, trace_ );
   }
}

/// Some hardware of each kind takes its time for each write.
bool History::isSlow() const {
   const U64 kind = seed_ % 16;
   return kind == 0 || kind == 3 || kind == 6 || kind == 7;
}

History::~History() {
   agent_.reset();
   SimulatedModule::make = {};
}

void History::run() {
   try {
      world_.begins( loop_.now() );
      starts();
      settle();
      for( step_ = 1; step_ <= steps_; ++step_ ) {
         step();
      }
      settle();
      agent_.reset();
      if( loop_.subscriptions() != 0 ) {
         violated( "somebody waits for something after the agent has gone" );
      }
   } catch( const Violation & ) {
      throw;
   } catch( const std::exception &error ) {
      violated( std::string( "thrown: " ) + error.what() );
   }
}

void History::step() {
   const U64 what = random_.below( 100 );
   if( what < 50 ) {
      world_.happens( loop_.now() );
   } else if( what < 66 ) {
      timePasses();
   } else if( what < 74 ) {
      clientAsks();
   } else if( what < 78 ) {
      reloads();
   } else if( what < 84 ) {
      hardwareFault();
   } else if( what < 87 ) {
      dies( random_.chance( 300 ) ? "stopped" : "killed" );
   } else if( what < 89 ) {
      hardware_->diesAfter( random_.between( 1, 6 ) );
   } else if( what < 91 ) {
      kernel_.refuses( static_cast<U32>( random_.between( 1, 3 ) ) );
      isFaulty_ = true;
   } else if( what < 93 ) {
      kernel_.capacityIs( random_.chance( 500 ) ? random_.between( 600, 4000 ) : 1 << 20 );
   } else if( what < 94 ) {
      wall_ += seconds( random_.between( 0, 200'000'000 ) ) - seconds( 100'000'000 );
   } else {
      settle();
   }
   if( random_.chance( 600 ) ) {
      letItRun();
   }
}

// What happens.

void History::advance( Instant::duration time ) {
   letItRun();
   const Instant end = loop_.now() + time;
   while( loop_.now() < end ) {
      const Instant next =
            std::max( loop_.now(), std::min( { end, loop_.next(), world_.next() } ) );
      loop_.pass( next - loop_.now() );
      world_.catchUp( loop_.now() );
      letItRun();
   }
}

void History::timePasses() {
   const U64 how = random_.below( 10 );
   const bool isTried = hardware_->faults.any(); // again and again: days of that show nothing new
   advance( how < 4              ? milliseconds( random_.below( 1000 ) )
            : how < 7 || isTried ? milliseconds( random_.below( 60'000 ) )
                                 : seconds( random_.below( 10 * 86'400 ) ) );
}

void History::hardwareFault() {
   Hardware::Faults &faults = hardware_->faults;
   switch( random_.below( 11 ) ) {
   case 0:
      faults.takesNothing = true;
      break;
   case 1:
      faults.keepsEverything = true;
      break;
   case 2:
      faults.throws = true;
      break;
   case 3:
      faults.isUnreadable = true;
      break;
   case 4:
      faults.cannotBeOpened = true;
      break;
   case 5:
      faults.atOnce = 1;
      break;
   case 6:
   case 7:
      if( !hardware_->slots().empty() ) {
         const U32 index = random_.pick( hardware_->slots() ).first;
         isLost( { index }, hardware_->loses( index, random_.chance( 700 ) ) );
      }
      return;
   case 8: {
      std::set<U32> all;
      for( U32 index = 0; index < plan_.indexes; ++index ) {
         all.insert( index );
      }
      isLost( all, hardware_->isReplaced() );
      return;
   }
   default:
      trace_.line( "hardware: in order" );
      faults = {};
      if( random_.chance( 500 ) ) {
         hardware_->tellsToTryAgain();
      }
      return;
   }
   faults.doesHalves = random_.chance( 500 );
   trace_.line( "hardware: a fault" );
   isFaulty_ = true;
}

void History::isLost( const std::set<U32> &indexes, Hardware::Loss loss ) {
   if( loss != Hardware::Loss::none ) {
      lost_.insert( indexes.begin(), indexes.end() );
      mustRepair_ = mustRepair_ || loss == Hardware::Loss::untold;
      isFaulty_ = true;
   }
}

void History::clientAsks() {
   if( !isUp() ) {
      return;
   }
   ++figures_.requests;
   static const std::vector<std::pair<std::string, Json>> requests{
         { "show", Json::object() },
         { "show pairs", Json::object() },
         { "show waiting", Json::object() },
         { "show slots", Json::object() },
         { "show interfaces", Json::object() },
         { "metrics", Json::object() },
         { "audit", Json::object() },
         { "audit", { { "repair", true } } },
         { "list", Json::object() },
         { "list", { { "path", "vrrpSm" } } },
         { "get", { { "path", "vrrpSm" } } },
         { "get", { { "path", "virtualRouterMacTable" } } },
         { "complete", { { "prefix", "vrrp" } } },
         { "explain", { { "vlan", 10 }, { "mac", "00:00:5e:00:01:33" } } },
         { "explain", { { "vlan", 21 }, { "mac", "00:00:5e:00:02:34" } } },
         { "nonsense", Json::object() } };
   event( [this] {
      if( random_.chance( 200 ) ) {
         trace_.line( agent_->follow( "watch", Json::object() ).dump() );
      } else if( agent_->hasFollowers() && random_.chance( 300 ) ) {
         agent_->hangUp();
      } else {
         const auto &[command, arguments] = random_.pick( requests );
         const Json answer = agent_->ask( command, arguments, random_.chance( 800 ) );
         trace_.line( "client: " + command + ": " + answer.dump() );
      }
   } );
}

void History::reloads() {
   const Plan before = plan_;
   const std::string text = file_;
   const Plan next = plan_.next( random_ );
   file_ = random_.chance( 100 ) ? next.text() + "}" : next.text();
   trace_.line( "reload: " + file_ );
   if( !isUp() ) { // whoever starts next reads it
      const bool isGood = file_ == next.text();
      file_ = isGood ? file_ : text;
      plan_ = isGood ? next : before;
   } else {
      ++figures_.reloads;
      if( next.indexes != plan_.indexes ) {
         isSameLine_ = false;
      }
      owesAtReload_ = isFaulty_ || hardware_->hasNews();
      if( kernel_.isReadable() ) { // the agent cannot know who on the other interface wants it
         std::erase_if( stays_, [&]( const Pair &pair ) {
            return plan_.sviOf( pair.vlanId() ) != next.sviOf( pair.vlanId() );
         } );
      }
      event( [&] {
         const Json answer = agent_->ask( "reload", Json::object(), true );
         trace_.line( answer.dump() );
         if( answer.contains( "error" ) ) {
            file_ = text;
         } else {
            plan_ = next;
         }
         fewestIndexes_ = std::min( fewestIndexes_, next.indexes );
         kernelChanged();
      } );
      owesAtReload_ = false;
   }
   fewestIndexes_ = std::min( fewestIndexes_, plan_.indexes );
   kernelChanged();
}

/// In the middle of the agent's reading: the kernel goes on, or the agent is killed.
void History::othersHaveTheirTurn() {
   if( random_.chance( 60 ) ) {
      world_.happens( loop_.now() );
   }
   if( random_.chance( 3 ) ) {
      throw Crash();
   }
}

void History::starts() {
   trace_.line( "the agent starts" );
   ++figures_.starts;
   hardware_->lives();
   isSameLine_ = false;
   try {
      agent_ = std::make_unique<RunningAgent>( RunningAgent::Surroundings{
            loop_, kernel_, file_, [this] {
               return wall_ + std::chrono::floor<seconds>( loop_.now().time_since_epoch() );
            } } );
   } catch( const OrloAgent::LibraryError &error ) { // the hardware
      trace_.line( error.what() );
      if( !hardware_->faults.cannotBeOpened && !hardware_->faults.throws ) {
         violated( std::string( "does not start: " ) + error.what() );
      }
   }
}

/// What it leaves undone stays so.
void History::dies( const char *how ) {
   if( isUp() ) {
      trace_.line( std::string( "the agent is " ) + how );
      ++figures_.crashes;
      agent_.reset();
   }
   hardware_->lives();
}

/// Starts what has ended.
void History::supervise() {
   if( isUp() && ( agent_->isLost() || hardware_->isDead() ) ) {
      dies( "gone" );
   }
   if( !isUp() && random_.chance( 300 ) ) {
      starts();
   }
}

// The agent's events.

template <class Action>
void History::event( const Action &action ) {
   const auto before = hardware_->slots();
   hardware_->takeChanges();
   try {
      action();
   } catch( const Crash & ) {
      dies( "killed while it reads" );
   } catch( const std::exception & ) {
      if( !hardware_->isDead() ) {
         throw;
      }
   }
   afterEvent( before );
}

void History::afterEvent( const Hardware::Slots &before ) {
   const std::vector<Hardware::Change> changes = hardware_->takeChanges();
   if( isUp() && !hardware_->isDead() ) {
      trace_.line( agent_->said() );
      checkWrites( before, changes );
   }
   if( before != hardware_->slots() ) {
      trace_.line( "holds" + held() );
   }
   if( isUp() && ( hardware_->isDead() || agent_->isLost() ) ) {
      dies( hardware_->isDead() ? "killed between two writes" : "without its hardware" );
   }
}

void History::letItRun() {
   supervise();
   for( U64 calls = 0; isUp(); ++calls ) {
      if( calls > kMostCallbacks ) {
         violated( "the agent does not come to rest" );
      }
      bool hasRun = false;
      event( [&] { hasRun = loop_.runOne(); } );
      if( !hasRun ) {
         break;
      }
   }
   checkHardware();
}

// The rules.

std::string History::held() const {
   std::string all;
   for( const auto &[index, slot] : hardware_->slots() ) {
      all += " " + std::to_string( index ) + "=" + text( slot.pair ) + ( slot.isWhole ? "" : "/2" );
   }
   return all;
}

void History::violated( const std::string &what ) const {
   throw Violation( "seed " + std::to_string( seed_ ) + ", step " + std::to_string( step_ ) + ": " +
                    what + "\n   the hardware holds" + held() + "\n" + trace_.lastLines() );
}

void History::kernelChanged() {
   const Wanted now = wanted( kernel_, plan_ );
   std::erase_if( stays_, [&]( const Pair &pair ) { return !now.certain.contains( pair ); } );
}

void History::checkWrites( const Hardware::Slots &before,
                           const std::vector<Hardware::Change> &changes ) {
   if( !hardware_->violation().empty() ) {
      violated( hardware_->violation() );
   }
   // What the hardware has lost is put back first, also when it goes right after that.
   const auto isLost = [this]( U32 index ) { return lost_.contains( index ); };
   std::size_t differences = 0;
   const auto &after = hardware_->slots();
   for( const auto &[index, slot] : before ) {
      const auto at = after.find( index );
      const bool isGone = at == after.end() || at->second.pair != slot.pair;
      differences += isGone && !isLost( index ) ? 1 : 0;
   }
   for( const auto &[index, slot] : after ) {
      const auto at = before.find( index );
      const bool isNew = at == before.end() || at->second != slot;
      differences += isNew && !isLost( index ) ? 1 : 0;
   }
   const auto counted = static_cast<std::size_t>(
         std::count_if( changes.begin(), changes.end(), [&]( const Hardware::Change &change ) {
            return !isLost( change.index );
         } ) );
   // A reload begins with what the hardware has not taken yet.
   const bool isOwing = hardware_->faults.any() || owesAtReload_;
   if( counted > differences && !isOwing ) {
      violated( std::to_string( counted ) + " writes for " + std::to_string( differences ) +
                " differences" );
   }
   if( hardware_->isEverythingExcused() ) {
      return;
   }
   // A VLAN has gone from one interface to another: the same pair has to lead there.
   const auto isRouted = [&]( U32 index ) {
      const auto then = before.find( index );
      const auto now = after.find( index );
      return then != before.end() && now != after.end() && then->second.pair == now->second.pair &&
             then->second.svi != now->second.svi;
   };
   for( const Hardware::Change &change : changes ) {
      const auto at = programmed_.find( change.index );
      if( at != programmed_.end() && at->second == change.pair && stays_.contains( change.pair ) &&
          change.index < fewestIndexes_ && !lost_.contains( change.index ) &&
          !isRouted( change.index ) ) {
         violated( "a pair was touched that has been wanted all the time: " + text( change.pair ) );
      }
   }
}

/// Without any time to wait for.
void History::checkHardware() {
   if( !isUp() || !agent_->agent().isReady() || isFaulty_ || hardware_->faults.any() ||
       mustRepair_ ) {
      return;
   }
   ++figures_.checks;
   const Wanted now = wanted( kernel_, plan_ );
   std::set<Pair> held;
   for( const auto &[index, slot] : hardware_->slots() ) {
      if( index >= plan_.indexes || !slot.isWhole || !held.insert( slot.pair ).second ) {
         violated( "the hardware holds what it should not: " + text( slot.pair ) );
      }
      if( !now.possible.contains( slot.pair ) ) {
         violated( "nobody wants " + text( slot.pair ) );
      }
   }
   if( held.size() < std::min<std::size_t>( now.certain.size(), plan_.indexes ) ) {
      violated( std::to_string( held.size() ) + " pairs of " +
                std::to_string( now.certain.size() ) + " with " + std::to_string( plan_.indexes ) +
                " indexes" );
   }
}

std::vector<Pair> History::line() {
   std::vector<Pair> all;
   const auto vrrpSm = agent_->agent().programming().vrrpSm();
   for( const auto &entry : vrrpSm->macsNeedingVirtualRouterIndexes() ) {
      all.push_back( entry.value() );
   }
   return all;
}

/// Who waited already waits before who came later, and has been served before.
void History::checkLine() {
   const std::vector<Pair> now = line();
   if( isSameLine_ ) {
      std::vector<Pair> waitedOn;
      std::set<Pair> unknown; // gone for a moment, of which the agent may not have heard
      for( const Pair &pair : line_ ) {
         if( stays_.contains( pair ) ) {
            waitedOn.push_back( pair );
         } else {
            unknown.insert( pair );
         }
      }
      std::vector<Pair> still;
      for( const Pair &pair : waitedOn ) {
         if( std::find( now.begin(), now.end(), pair ) != now.end() ) {
            still.push_back( pair );
         }
      }
      std::vector<Pair> known;
      std::copy_if( now.begin(), now.end(), std::back_inserter( known ),
                    [&]( const Pair &pair ) { return !unknown.contains( pair ); } );
      const bool isServedInTurn = std::equal( still.rbegin(), still.rend(), waitedOn.rbegin() ) &&
                                  still.size() <= known.size() &&
                                  std::equal( still.begin(), still.end(), known.begin() );
      if( !isServedInTurn ) {
         violated( "the line is out of order" );
      }
   }
   line_ = now;
   isSameLine_ = true;
}

void History::checkAnswers( const Wanted &now ) {
   const Json audit = agent_->ask( "audit", Json::object(), false );
   if( audit.value( "left", 1 ) != 0 ) {
      violated( "the audit finds " + audit.dump() );
   }
   const Json shown = agent_->ask( "show", Json::object(), false );
   const U64 programmed = hardware_->slots().size();
   if( shown["pairs"]["wanted"] != now.certain.size() ||
       shown["pairs"]["programmed"] != programmed ||
       shown["pairs"]["waiting"] != now.certain.size() - programmed || shown["mismatches"] != 0 ||
       shown["refused"] != 0 || shown["slots"]["total"] != plan_.indexes ) {
      violated( "orloctl would show " + shown.dump() );
   }
}

/// What is wrong ends, everybody gets the time that is needed, and then everything is in order.
void History::settle() {
   trace_.line( "settle" );
   hardware_->faults = {};
   hardware_->lives();
   kernel_.refuses( 0 );
   if( !isUp() ) {
      starts();
   }
   advance( kPatience );
   while( !isUp() || !agent_->agent().isReady() ) { // killed meanwhile
      if( !isUp() ) {
         starts();
      }
      advance( kPatience );
   }
   if( mustRepair_ ) { // nobody told the agent
      event( [this] {
         trace_.line( agent_->ask( "audit", { { "repair", true } }, true ).dump() );
      } );
      mustRepair_ = false;
      advance( kPatience );
      if( !isUp() ) {
         return;
      }
   }
   isFaulty_ = false;
   checkHardware();
   const Wanted now = wanted( kernel_, plan_ );
   if( now.certain != now.possible ) {
      return; // reading has let something happen at the last moment
   }
   checkLine();
   std::set<Pair> all( line_.begin(), line_.end() );
   for( const auto &[index, slot] : hardware_->slots() ) {
      all.insert( slot.pair );
   }
   if( all != now.certain || all.size() != line_.size() + hardware_->slots().size() ) {
      violated( "what is programmed and what waits is not what is wanted" );
   }
   checkAnswers( now );
   if( const std::string flaw = hardware_->flaw(); !flaw.empty() ) {
      violated( flaw );
   }
   programmed_.clear();
   for( const auto &[index, slot] : hardware_->slots() ) {
      programmed_.emplace( index, slot.pair );
   }
   stays_ = now.certain;
   fewestIndexes_ = plan_.indexes;
   lost_.clear();
   hardware_->forgetExcuses();
}

// Figures.

Figures History::figures() const {
   Figures all = figures_;
   all.histories = 1;
   all.steps = steps_;
   all.happenings = world_.happenings();
   all.datagrams = kernel_.datagrams();
   all.overruns = kernel_.overruns();
   all.interruptions = kernel_.interruptions();
   all.callbacks = loop_.calls();
   all.writes = hardware_->writes();
   all.refusals = hardware_->refusals();
   all.years =
         std::chrono::duration<double, std::ratio<31'556'952>>( loop_.now().time_since_epoch() )
               .count();
   return all;
}

} // namespace Simulator
