// Every short history of a small world: the library does what the model says, call by call.
#include "tests/model/Child.h"
#include "tests/model/Environment.h"
#include "tests/model/Histories.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <sstream>

#include <sys/mman.h>
#include <unistd.h>

namespace ModelTests {
namespace {

constexpr U32 kWorkers = 2;
constexpr U32 kLongest = 30;

/// sw1 serves VLANs 0 and 10, sw2 serves 10 and 20; two virtual router MACs on both.
History smallWorldsOperations() {
   using Op = Operation;
   History all;
   for( const U32 intf : { 1u, 2u } ) {
      for( const U32 mac : { 0u, 1u } ) {
         for( const auto kind : { Op::kPublish, Op::kRefuse, Op::kWithdraw } ) {
            all.push_back( { kind, intf, mac } );
         }
      }
      for( const U32 vlan : { intf - 1, intf } ) {
         for( const auto kind : { Op::kJoin, Op::kMute, Op::kLeave } ) {
            all.push_back( { kind, intf, 0, vlan } );
         }
      }
   }
   for( const auto kind :
        { Op::kRestart, Op::kCleanup, Op::kStopReflector, Op::kAbandonKeys, Op::kStartReflector,
          Op::kWatchNothing, Op::kWatchOutput, Op::kWatchOther, Op::kHandleAll, Op::kForgetStart,
          Op::kStartWithoutHelper, Op::kPublishWithoutSet } ) {
      all.push_back( { kind } );
   }
   all.push_back( { Op::kHandlePair, 0, 0, 1 } );
   all.push_back( { Op::kKeyFalse, Model::kOutput, 0, 1 } );
   all.push_back( { Op::kKeyTrue, Model::kOutput + 1, 0, 1 } );
   return all;
}

/// What comes in by the inputs of an agent that is restarted now and then.
History agentsOperations() {
   History all = smallWorldsOperations();
   std::erase_if( all, []( const Operation &operation ) {
      return operation.kind != Operation::kPublish && operation.kind != Operation::kWithdraw &&
             operation.kind != Operation::kJoin && operation.kind != Operation::kLeave &&
             operation.kind != Operation::kRestart;
   } );
   return all;
}

/// Both interfaces serve their VLANs, and route both MACs.
History everythingPublished() {
   History history;
   for( const U32 intf : { 1u, 2u } ) {
      for( const U32 vlan : { intf - 1, intf } ) {
         history.push_back( { Operation::kJoin, intf, 0, vlan } );
      }
      for( const U32 mac : { 0u, 1u } ) {
         history.push_back( { Operation::kPublish, intf, mac } );
      }
   }
   return history;
}

/// Where a worker is, seen by its parent even when the worker has gone.
class Place {
 public:
   Place()
         : memory_( mmap( nullptr, kLongest + 2, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                          -1, 0 ) ) {}
   ~Place() { munmap( memory_, kLongest + 2 ); }
   Place( const Place & ) = delete;
   Place &operator=( const Place & ) = delete;
   signed char *numbers() const { return static_cast<signed char *>( memory_ ); }

 private:
   void *const memory_;
};

void send( int to, const Tally &tally, const std::string &differs ) {
   std::ostringstream text;
   text << tally.histories << " " << tally.compared << " " << tally.performed << " " << tally.stops
        << " " << tally.tried << " " << tally.shapes << "\n"
        << differs;
   const std::string bytes = text.str();
   for( std::size_t at = 0; at < bytes.size(); ) {
      const ssize_t written = write( to, bytes.data() + at, bytes.size() - at );
      if( written <= 0 ) {
         return; // the parent misses the end
      }
      at += static_cast<std::size_t>( written );
   }
}

Tally tallyOf( std::istream &in ) {
   Tally tally;
   in >> tally.histories >> tally.compared >> tally.performed >> tally.stops >> tally.tried >>
         tally.shapes;
   return tally;
}

/// Tries them all in processes of their own, and reports what differs.
Tally tryAll( const Histories::Plan &plan ) {
   std::vector<std::unique_ptr<Place>> places;
   std::vector<std::unique_ptr<Child>> workers;
   for( U32 share = 0; share < kWorkers; ++share ) {
      places.push_back( std::make_unique<Place>() );
      workers.push_back( std::make_unique<Child>( [&]( int to ) {
         Histories histories( plan );
         const std::string differs = histories.run( share, kWorkers, places.back()->numbers() );
         send( to, histories.tally(), differs );
         return differs.empty() ? 0 : 1;
      } ) );
   }
   Tally sum;
   for( U32 share = 0; share < kWorkers; ++share ) {
      Child &worker = *workers[share];
      worker.wait();
      if( worker.ended( 0 ) || worker.ended( 1 ) ) {
         std::istringstream in( worker.output() );
         sum += tallyOf( in );
      }
      EXPECT_TRUE( worker.ended( 0 ) )
            << "at the history\n"
            << Histories( plan ).shownHistory( places[share]->numbers() ) << "\n"
            << worker.output();
   }
   return sum;
}

/// From nothing and from everything published, with every number of indexes; says what was done.
Tally tryEverywhere( const char *what, const History &operations, U32 length ) {
   const auto started = std::chrono::steady_clock::now();
   Tally sum;
   for( const bool begun : { false, true } ) {
      for( U32 indexes = 0; indexes <= 3; ++indexes ) {
         const Histories::Plan plan{ World( 2, 2, { 0, 10, 20 }, indexes ),
                                     operations,
                                     begun ? everythingPublished() : History{},
                                     std::min( length, kLongest ),
                                     fromEnvironment( "ORLO_HISTORY_STOPS", kSanitized ? 0 : 500 ),
                                     true };
         sum += tryAll( plan );
         if( testing::Test::HasFailure() ) {
            return sum;
         }
      }
   }
   std::cout << what << ": every history of up to " << std::min( length, kLongest ) << " of "
             << operations.size() << " operations, with 0 to 3 indexes, from nothing and from "
             << "everything published: " << sum.histories << " histories that differ, "
             << sum.compared << " outcomes compared (" << sum.performed
             << " operations performed); " << sum.stops << " end with a stop, of which "
             << sum.tried << " were let happen, each of " << sum.shapes << " shapes; "
             << std::chrono::duration_cast<std::chrono::seconds>( std::chrono::steady_clock::now() -
                                                                  started )
                      .count()
             << " s\n";
   return sum;
}

U32 length() {
   return fromEnvironment( "ORLO_HISTORY_LENGTH", kSanitized ? 3 : 4 );
}

TEST( EveryHistory, OfAnythingThatCanBeDone ) {
   const Tally sum = tryEverywhere( "anything", smallWorldsOperations(), length() );
   EXPECT_GT( sum.stops, 0u );
   EXPECT_GT( sum.tried, 0u );
}

TEST( EveryHistory, OfWhatAnAgentDoesIsLongerAndNeverStops ) {
   const Tally sum =
         tryEverywhere( "an agent", agentsOperations(), length() + ( kSanitized ? 1 : 2 ) );
   EXPECT_EQ( sum.stops, 0u );
}

} // namespace
} // namespace ModelTests
