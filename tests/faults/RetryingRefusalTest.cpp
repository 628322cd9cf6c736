// The bookkeeping of hardware that may say no, when it is refused memory: whatever was left undone
// is done soon, and nothing is written that is not wanted.
#include "OrloVrrpHelper/RetryingHelper.h"
#include "tests/faults/EveryRefusal.h"
#include "tests/unit/library/Values.h"

#include <array>
#include <optional>

namespace Faults {
namespace {

using namespace LibraryTests;
using namespace std::chrono_literals;
using OrloHelper::HelperSettings;
using Time = OrloHelper::HardwareWork::Time;

constexpr U32 kIndexes = 40;

HelperSettings settings() {
   HelperSettings settings;
   settings.indexes = kIndexes;
   settings.trouble = []( const std::string & ) {};
   return settings;
}

/// Slots that need no memory; they may refuse what is written, and lose what they hold.
class SlotHardware : public OrloHelper::RetryingHelper {
 public:
   SlotHardware() : RetryingHelper( "slots", settings() ) {}

   bool refuses = false;
   bool loses = false;
   std::array<std::optional<VlanAndMac>, kIndexes> slots;

   std::vector<Entry> readAll() const override {
      std::vector<Entry> entries;
      for( U32 index = 0; index < kIndexes; ++index ) {
         if( slots.at( index ) ) {
            entries.push_back( { *slots.at( index ), index } );
         }
      }
      return entries;
   }

 private:
   void add( std::span<Write> writes ) override {
      for( Write &write : writes ) {
         if( refuses ) {
            write.refusal = "no";
         } else {
            slots.at( write.index ) = write.pair;
         }
      }
   }
   void remove( std::span<Write> writes ) override {
      for( Write &write : writes ) {
         if( refuses ) {
            write.refusal = "no";
         } else {
            slots.at( write.index ).reset();
         }
      }
   }
   void hear() override {
      if( std::exchange( loses, false ) ) {
         slots.at( 1 ).reset();
         lost( 1 );
      }
   }
};

/// Hardware under work, and what is wanted of it.
struct Working {
   Ptr<SlotHardware> helper = Quor::make<SlotHardware>();
   std::array<std::optional<VlanAndMac>, kIndexes> wanted;
   Time now{ 100s };

   Working() {
      for( U32 index = 0; index < 3; ++index ) {
         adds( index, static_cast<U16>( index + 1 ) );
      }
      works();
   }
   void adds( U32 index, U16 vrid ) {
      wanted.at( index ) = pair( 10, vrid ); // also when that is refused: it is asked for again
      helper->addVirtualRouterMac( mac( vrid ), 10, index );
   }
   void removes( U32 index ) {
      const VlanAndMac gone = *std::exchange( wanted.at( index ), std::nullopt );
      helper->deleteVirtualRouterMac( gone.mac(), 10, index );
   }
   void works() {
      now += 1s;
      helper->work( now );
   }
};

template <class Work>
std::size_t getsDone( const Work &work ) {
   return refuseEach<Working>( work, []( Working &world, bool isThrown ) {
      EXPECT_FALSE( isThrown ) << "who calls it has nothing to do with it";
      world.helper->refuses = false;
      for( int i = 0; i < 40; ++i ) {
         world.works();
      }
      EXPECT_EQ( world.helper->slots, world.wanted );
   } );
}

TEST( RetryingRefusal, OfPairsThatComeAndGo ) {
   EXPECT_GT( getsDone( []( Working &world ) {
                 for( U16 vrid = 4; vrid < 30; ++vrid ) {
                    world.adds( vrid, vrid );
                 }
                 world.removes( 1 );
                 world.works();
                 world.removes( 5 );
                 world.adds( 1, 5 );
                 world.works();
              } ),
              5u );
}

TEST( RetryingRefusal, OfWhatTheHardwareRefuses ) {
   EXPECT_GT( getsDone( []( Working &world ) {
                 world.helper->refuses = true;
                 world.adds( 7, 7 );
                 world.removes( 2 );
                 world.works();
                 world.adds( 8, 3 ); // waits until it has left the index before
                 world.works();
                 world.helper->refuses = false;
                 world.works();
              } ),
              10u );
}

TEST( RetryingRefusal, OfWhatTheHardwareLoses ) {
   EXPECT_GT( getsDone( []( Working &world ) {
                 for( int i = 0; i < 3; ++i ) {
                    world.helper->loses = true;
                    world.works();
                 }
              } ),
              3u );
}

TEST( RetryingRefusal, OfARepairIsToldToWhoAsksAndMendedByTheNext ) {
   const std::size_t refused = refuseEach<Working>(
         []( Working &world ) {
            world.helper->slots.at( 2 ).reset();
            world.helper->repair();
            world.works();
         },
         []( Working &world, bool ) {
            world.helper->repair();
            world.works();
            world.works();
            EXPECT_EQ( world.helper->slots, world.wanted );
         } );
   EXPECT_GT( refused, 2u );
}

} // namespace
} // namespace Faults
