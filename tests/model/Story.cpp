#include "tests/model/Story.h"

#include "tests/model/Child.h"
#include "tests/model/Product.h"
#include "tests/model/StopReport.h"
#include "tests/model/Walk.h"

#include <algorithm>
#include <array>
#include <sstream>

#include <unistd.h>
#if defined( __SANITIZE_ADDRESS__ )
#include <sanitizer/lsan_interface.h>
#endif

namespace ModelTests {

namespace {

/// Has this process lost anything? Known in a sanitized build alone.
bool leaks() {
#if defined( __SANITIZE_ADDRESS__ )
   return __lsan_do_recoverable_leak_check() != 0;
#else
   return false;
#endif
}

bool isAboutInterface( const Operation &operation ) {
   switch( operation.kind ) {
   case Operation::kPublish:
   case Operation::kRefuse:
   case Operation::kWithdraw:
   case Operation::kJoin:
   case Operation::kMute:
   case Operation::kLeave:
      return true;
   default:
      return false;
   }
}

/// The pairs that left the table, for who asks whether those that stayed have kept their places.
class Departures : public VirtualRouterMacTable::NotifieeConst {
 public:
   std::vector<Pair> departed;

   void onVirtualRouterMac( const Pair &pair ) override {
      if( !notifier()->virtualRouterMacs().isMemberOf( pair ) ) {
         departed.push_back( pair );
      }
   }
   using NotifieeConst::onVirtualRouterMac;
};

std::vector<Pair> lineOf( const Product &product ) {
   std::vector<Pair> line;
   for( const auto &entry : product.programmer->macsNeedingVirtualRouterIndexes() ) {
      line.push_back( entry.value() );
   }
   return line;
}

/// Who waited and did not depart stands before who came, in the order of before.
bool keptOrder( const std::vector<Pair> &before, const std::vector<Pair> &after,
                const std::vector<Pair> &departed ) {
   const auto isIn = []( const std::vector<Pair> &pairs, const Pair &pair ) {
      return std::find( pairs.begin(), pairs.end(), pair ) != pairs.end();
   };
   std::vector<Pair> stayed;
   for( const Pair &pair : before ) {
      if( isIn( after, pair ) && !isIn( departed, pair ) ) {
         stayed.push_back( pair );
      }
   }
   return after.size() >= stayed.size() &&
          std::equal( stayed.begin(), stayed.end(), after.begin() );
}

/// Both systems, and everything that is held beside them.
class Telling {
 public:
   explicit Telling( const Story &story )
         : story_( story ), model_( story.world.indexes ),
           product_( story.world,
                     [this]( Moment moment ) { happensTo( product_, ofProduct_, moment ); } ) {
      model_.happens = [this]( Moment moment ) { happensTo( model_, ofModel_, moment ); };
      for( std::size_t i = 1; i < story.world.intfs.size(); ++i ) {
         model_.vlanSetNew( story.world.intfs[i] );
      }
      product_.starts();
      model_.starts();
      departures_->notifierIs( product_.tables[Model::kOutput] );
      departures_->isRegisteredNotifieeIs( true );
   }

   Outcome told() {
      for( at_ = 0; at_ < story_.steps.size() && outcome_.stopped == 0; ++at_ ) {
         step( story_.steps[at_] );
         if( !outcome_.differs.empty() ) {
            outcome_.differs = "at step " + std::to_string( at_ + 1 ) + ": " + outcome_.differs;
            break;
         }
      }
      return outcome_;
   }

 private:
   using Traps = std::array<Trap, 2>;

   template <class System>
   void happensTo( System &system, Traps &traps, Moment moment ) {
      for( Trap &trap : traps ) {
         if( const Operation *const operation = trap.at( moment ) ) {
            ++sprung_;
            perform( system, story_.world, *operation );
         }
      }
   }

   void step( const Step &step ) {
      const auto &wanted = product_.tables[Model::kOutput]->virtualRouterMacs();
      const auto &indexes = product_.programmer->virtualRouterIndexes();
      switch( step.what ) {
      case Step::kPerform:
         return operate( step );
      case Step::kDisturbTwice:
         ofModel_[1].arm( step.another );
         ofProduct_[1].arm( step.another );
         [[fallthrough]];
      case Step::kDisturb:
         ofModel_[0].arm( step.disturbance );
         ofProduct_[0].arm( step.disturbance );
         return operate( step );
      case Step::kWalkTable:
         table_.begin( wanted, model_.tables[Model::kOutput].keys );
         break;
      case Step::kTableOn:
         table_.goOn( model_.tables[Model::kOutput].keys );
         break;
      case Step::kWalkIndexes:
         indexes_.begin( indexes, model_.index );
         break;
      case Step::kIndexesOn:
         indexes_.goOn( model_.index );
         break;
      }
      ++outcome_.visited;
      if( !table_.isRight() || !indexes_.isRight() ) {
         outcome_.differs = "a walk visits something else";
      }
   }

   void operate( const Step &step ) {
      if( step.operation.kind == Operation::kRestart ||
          step.operation.kind == Operation::kResize ) {
         indexes_.end(); // or it would keep the programmer alive
      }
      model_.calls.clear();
      product_.helper->calls.clear();
      departures_->departed.clear();
      sprung_ = 0;
      const std::vector<Pair> line = lineOf( product_ );
      ++outcome_.performed;
      try {
         perform( model_, story_.world, step.operation );
      } catch( const Stop &stop ) {
         outcome_.stopped = 1;
         outcome_.differs = stopDiffers( stop, model_, [&]( int to ) {
            product_.helper->tellTo = to;
            perform( product_, story_.world, step.operation );
         } );
         return;
      }
      const U32 inModel = std::exchange( sprung_, 0 );
      perform( product_, story_.world, step.operation );
      for( const std::size_t i : { 0u, 1u } ) {
         ofModel_[i].disarm();
         ofProduct_[i].disarm();
      }
      outcome_.disturbed += inModel;
      outcome_.differs = difference( product_, model_ );
      if( outcome_.differs.empty() && inModel != sprung_ ) {
         outcome_.differs = "somebody was called in the middle who should not be, or was not";
      }
      if( outcome_.differs.empty() && story_.inputsOnly ) {
         outcome_.differs = broken( product_, story_.sharesVlans, story_.mutesVlans );
         if( outcome_.differs.empty() && step.operation.kind != Operation::kRestart &&
             step.operation.kind != Operation::kResize &&
             !keptOrder( line, lineOf( product_ ), departures_->departed ) ) {
            outcome_.differs = "who waits has lost its place";
         }
      }
   }

   const Story &story_;
   Traps ofModel_, ofProduct_;
   U32 sprung_ = 0;
   Model model_;
   Product product_;
   Ptr<Departures> departures_ = Quor::make<Departures>();
   Walk<VirtualRouterMacTable::VirtualRouterMacs, bool> table_;
   Walk<Orlo::VrrpSm::VirtualRouterIndexes, U32> indexes_;
   std::size_t at_ = 0;
   Outcome outcome_;
};

} // namespace

Operation fitting( Operation operation ) {
   switch( operation.kind ) {
   case Operation::kKeyTrue:
   case Operation::kKeyFalse:
   case Operation::kKeyDel:
      operation.intf %= static_cast<U32>( Model::kTables );
      break;
   case Operation::kResize:
      operation.intf = 5 * operation.intf + operation.mac - 5;
      break;
   default:
      break;
   }
   return operation;
}

Step related( Step step ) {
   for( Operation *const nested : { &step.disturbance.operation, &step.another.operation } ) {
      if( step.sameIntf && isAboutInterface( step.operation ) && isAboutInterface( *nested ) ) {
         nested->intf = step.operation.intf;
      }
      if( step.sameKey ) {
         nested->mac = step.operation.mac;
         nested->vlan = step.operation.vlan;
      }
   }
   return step;
}

Outcome told( const Story &story ) {
   return Telling( story ).told();
}

Outcome tried( const Story &story ) {
   Child child( [&]( int to ) {
      const Outcome outcome = told( story );
      std::ostringstream text;
      text << outcome.performed << " " << outcome.disturbed << " " << outcome.visited << " "
           << outcome.stopped << "\n"
           << outcome.differs;
      const std::string bytes = text.str();
      const ssize_t written = write( to, bytes.data(), bytes.size() );
      return written == static_cast<ssize_t>( bytes.size() ) && !leaks() ? 0 : 1;
   } );
   child.wait();
   Outcome outcome;
   if( !child.ended( 0 ) ) {
      outcome.differs = "the process stopped or lost something, and should not: " + child.output();
      return outcome;
   }
   std::istringstream in( child.output() );
   in >> outcome.performed >> outcome.disturbed >> outcome.visited >> outcome.stopped;
   outcome.differs = child.output().substr( child.output().find( '\n' ) + 1 );
   return outcome;
}

std::string shown( const Story &story ) {
   constexpr const char *kWalks[] = { "walk over the table", "walk on over the table",
                                      "walk over the indexes", "walk on over the indexes" };
   std::string text = "with " + std::to_string( story.world.indexes ) + " indexes:";
   U32 number = 0;
   for( const Step &step : story.steps ) {
      text += "\n   " + std::to_string( ++number ) + ". ";
      if( step.what <= Step::kDisturbTwice ) {
         text += shown( story.world, step.operation );
         text += step.what != Step::kPerform ? " " + shown( story.world, step.disturbance ) : "";
         text += step.what == Step::kDisturbTwice ? " " + shown( story.world, step.another ) : "";
      } else {
         text += kWalks[step.what - Step::kWalkTable];
      }
   }
   return text;
}

} // namespace ModelTests
