// Everything at once, as chance has it.
#include "conformance/Bench.h"
#include "conformance/Rule.h"

#include <algorithm>
#include <set>

namespace OrloConformance {

using Quor::U32;

namespace {

constexpr U32 kEvents = 200;
constexpr U32 kMostChanges = 5; // in one event

/// The programmer, its table, and the hardware through a long time.
class Story {
 public:
   explicit Story( Bench &bench ) : bench_( bench ), dice_( bench.subject().seed ) {}

   void tell() {
      bench_.open();
      bench_.start( {}, bench_.few() );
      for( event_ = 0; event_ < kEvents; ++event_ ) {
         happens( thrown( 20 ) );
         for( U32 i = thrown( kMostChanges ) + 1; i > 0; --i ) {
            changes( bench_.pair( thrown( bench_.few() + 4 ) ) );
         }
         bench_.work();
         if( !isRefusing_ ) {
            expectAsProgrammed();
         }
      }
      accept();
   }

 private:
   U32 thrown( U32 sides ) { return static_cast<U32>( dice_() % sides ); }

   void changes( const Pair &pair ) {
      if( wanted_.erase( pair ) ) {
         bench_.unwanted( pair );
      } else {
         wanted_.insert( pair );
         bench_.wanted( pair );
      }
   }

   void happens( U32 what ) {
      switch( what ) {
      case 0:
      case 1:
         refuse( bench_.faults().refuse ? &Bench::refuse : nullptr );
         break;
      case 2:
         refuse( bench_.faults().refuseRemovals ? &Bench::refuseRemovals : nullptr );
         break;
      case 3:
      case 4:
      case 5:
         accept();
         break;
      case 6:
         startAnew( [this] { bench_.open(); } );
         break;
      case 7:
         startAnew( [this] {
            bench_.stop();
            bench_.helper().syncCurrentStateOnInitIs( true );
         } );
         break;
      case 8:
         if( bench_.hasWork() ) {
            bench_.repair();
         }
         break;
      case 9:
         lose();
         break;
      default:
         bench_.nowIs( bench_.now() + std::chrono::milliseconds( thrown( 2000 ) ) );
      }
   }

   void refuse( void ( Bench::*fault )() ) {
      if( fault ) {
         ( bench_.*fault )();
         isRefusing_ = true;
      }
   }

   void accept() {
      bench_.accept();
      isRefusing_ = false;
      expectAsProgrammed();
   }

   template <class Before>
   void startAnew( const Before &before ) {
      const Slots there = bench_.held();
      before();
      const Slots snapshot = bench_.start( Pairs( wanted_.begin(), wanted_.end() ), bench_.few() );
      bench_.expect( snapshot == there, said( "the snapshot is " + text( snapshot ) ),
                     "what was held: " + text( there ) );
   }

   void lose() {
      const Slots there = bench_.held();
      if( !bench_.faults().lose || !bench_.hasWork() || there.empty() ) {
         return;
      }
      bench_.lose( there[thrown( static_cast<U32>( there.size() ) )] );
      bench_.repair();
   }

   void expectAsProgrammed() {
      const auto is = [this] { return bench_.held() == bench_.programmed(); };
      if( !bench_.inAMinute( is ) ) {
         throw Broken( said( "the hardware holds " + text( bench_.held() ) ),
                       "as programmed: " + text( bench_.programmed() ) );
      }
   }

   std::string said( const std::string &what ) const {
      return "seed " + std::to_string( bench_.subject().seed ) + ", event " +
             std::to_string( event_ ) + ": " + what;
   }

   Bench &bench_;
   std::mt19937 dice_;
   std::set<Pair> wanted_;
   bool isRefusing_ = false;
   U32 event_ = 0;
};

void longStory( Bench &bench ) {
   Story( bench ).tell();
}

constexpr Rule kRules[] = { { "a-long-story",
                              "hundreds of events by chance, with refusals, losses and restarts "
                              "where they can be played: "
                              "the hardware holds what the programmer holds",
                              Rule::kView, longStory } };

} // namespace

std::span<const Rule> storyRules() {
   return kRules;
}

} // namespace OrloConformance
