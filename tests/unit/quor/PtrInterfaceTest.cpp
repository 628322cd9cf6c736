// Counted objects: how they come and go, on the heap and on the stack, on one thread and on two.
#include "quor/PtrInterface.h"
#include "tests/unit/quor/ThreadSafePointers.h"
#include "tests/unit/support/DeathReport.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace Quor {
namespace {

struct Lives {
   std::atomic<int> made{ 0 };
   std::atomic<int> destroyed{ 0 };
   std::atomic<int> zeroReferences{ 0 };
};

class Counted : public PtrInterface {
 public:
   explicit Counted( Lives &lives ) : lives_( lives ) { ++lives_.made; }
   ~Counted() override { ++lives_.destroyed; }

   void zeroReferencesIs() override {
      ++lives_.zeroReferences;
      PtrInterface::zeroReferencesIs();
   }
   using PtrInterface::references;

 private:
   Lives &lives_;
};

TEST( PtrInterface, TheLastReferenceToGoDestroysTheObject ) {
   Lives lives;
   Ptr<Counted> first = make<Counted>( lives );
   Ptr<Counted> second = first;
   first = nullptr;
   EXPECT_EQ( lives.zeroReferences, 0 );
   EXPECT_EQ( lives.destroyed, 0 );
   second = nullptr;
   EXPECT_EQ( lives.zeroReferences, 1 );
   EXPECT_EQ( lives.destroyed, 1 );
}

TEST( PtrInterface, ReferencesToAConstantObjectCountAsWell ) {
   Lives lives;
   Ptr<const Counted> view = make<Counted>( lives );
   const Ptr<const Counted> second = view;
   EXPECT_EQ( view->references(), 2u );
   view = nullptr;
   EXPECT_EQ( lives.destroyed, 0 );
}

/// Hands out pointers to itself at every turn of its life.
class Talkative : public Counted {
 public:
   explicit Talkative( Lives &lives ) : Counted( lives ) { mention(); }
   ~Talkative() override { mention(); }
   void zeroReferencesIs() override {
      mention();
      Counted::zeroReferencesIs();
   }

 private:
   void mention() {
      for( int i = 0; i < 3; ++i ) {
         const std::vector<Ptr<Talkative>> passing( 2, ptrTo( *this ) );
      }
   }
};

TEST( PtrInterface, PointersThatComeAndGoDuringConstructionDoNotDestroyIt ) {
   Lives lives;
   const Ptr<Talkative> made = make<Talkative>( lives );
   EXPECT_EQ( lives.zeroReferences, 0 );
   EXPECT_EQ( lives.destroyed, 0 );
   EXPECT_EQ( made->references(), 1u );
}

TEST( PtrInterface, PointersThatComeAndGoDuringDestructionDoNotDestroyItTwice ) {
   Lives lives;
   make<Talkative>( lives );
   EXPECT_EQ( lives.made, 1 );
   EXPECT_EQ( lives.zeroReferences, 1 );
   EXPECT_EQ( lives.destroyed, 1 );
}

/// Keeps itself when its last reference goes, until it is told to.
class Lingering : public Counted {
 public:
   using Counted::Counted;
   void zeroReferencesIs() override { wasHeld_ = isHeld(); }
   void end() { Counted::zeroReferencesIs(); }
   bool wasHeld() const { return wasHeld_; }

 private:
   bool wasHeld_ = true;
};

TEST( PtrInterface, IsHeldUntilTheLastReferenceHasGone ) {
   Lives lives;
   Ptr<Lingering> pointer = make<Lingering>( lives );
   Lingering &object = *pointer;
   EXPECT_TRUE( object.isHeld() );
   pointer = nullptr;
   EXPECT_FALSE( object.wasHeld() );
   EXPECT_FALSE( object.isHeld() );
   EXPECT_EQ( lives.destroyed, 0 );
   object.end();
   EXPECT_EQ( lives.destroyed, 1 );
}

TEST( PtrInterface, AnObjectOnTheStackHoldsItself ) {
   Lives lives;
   {
      Counted object( lives );
      EXPECT_TRUE( object.isHeld() );
      for( int i = 0; i < 3; ++i ) {
         const Ptr<Counted> passing = ptrTo( object );
         EXPECT_EQ( object.references(), 2u );
      }
      EXPECT_EQ( lives.zeroReferences, 0 );
      EXPECT_EQ( lives.destroyed, 0 );
   }
   EXPECT_EQ( lives.zeroReferences, 0 );
   EXPECT_EQ( lives.destroyed, 1 );
}

String outlivedReport() {
   return Support::assertionReport( "QuorPtrInterface",
                                    "virtual Quor::PtrInterface::~PtrInterface()",
                                    "references_.isUnshared()" );
}

/// Out of line: the compiler would see, and refuse, what the test is about.
[[gnu::noinline]] void keep( Ptr<Counted> &kept, Counted &object ) {
   kept = ptrTo( object );
}

TEST( PtrInterfaceDeathTest, AnObjectOnTheStackThatOutlivesItsScopeInSomebodysHands ) {
   EXPECT_DEATH(
         {
            Lives lives;
            Ptr<Counted> kept;
            {
               Counted object( lives );
               keep( kept, object );
            }
         },
         outlivedReport() );
}

/// Gives itself away when it goes.
class Clinging : public Counted {
 public:
   Clinging( Lives &lives, Ptr<PtrInterface> &to ) : Counted( lives ), to_( to ) {}
   ~Clinging() override { to_ = ptrTo( *this ); }

 private:
   Ptr<PtrInterface> &to_;
};

TEST( PtrInterfaceDeathTest, AnObjectThatGivesItselfAwayWhileItGoes ) {
   EXPECT_DEATH(
         {
            Lives lives;
            Ptr<PtrInterface> kept;
            make<Clinging>( lives, kept );
         },
         outlivedReport() );
}

class Failing : public Counted {
 public:
   explicit Failing( Lives &lives ) : Counted( lives ) { throw std::runtime_error( "no power" ); }
};

TEST( PtrInterface, AnObjectWhoseConstructorThrowsIsNeverThere ) {
   Lives lives;
   EXPECT_THROW( make<Failing>( lives ), std::runtime_error );
   EXPECT_EQ( lives.destroyed, 1 ); // the part of it that was complete
   EXPECT_EQ( lives.zeroReferences, 0 );
}

TEST( PtrInterface, IsNotCopyableAndSixteenBytes ) {
   EXPECT_FALSE( std::is_copy_constructible_v<Counted> );
   EXPECT_FALSE( std::is_copy_assignable_v<Counted> );
   EXPECT_EQ( sizeof( PtrInterface ), 16u );
}

class Unsound : public Counted {
 public:
   using Counted::Counted;
   std::vector<String> auditErrors() const override { return { "the lamp has no bulb" }; }
};

TEST( PtrInterface, TheBaseWatchesNothingIsSoundAndHasNoDescription ) {
   Lives lives;
   const Ptr<Counted> object = make<Counted>( lives );
   object->hasNotificationActiveIs( true );
   object->hasNotificationActiveIs( false );
   EXPECT_EQ( object->references(), 1u );
   EXPECT_EQ( object->auditErrors(), std::vector<String>() );
   EXPECT_EQ( object->quorAuditErrors(), std::vector<String>() );
   EXPECT_EQ( object->fwkType(), nullptr );
}

TEST( PtrInterface, TheWholeAuditTellsWhatTheObjectFindsInItself ) {
   Lives lives;
   const Ptr<PtrInterface> object = make<Unsound>( lives );
   EXPECT_EQ( object->quorAuditErrors(), std::vector<String>{ "the lamp has no bulb" } );
}

/// Runs `work` on two threads again and again, until they have been seen at it at the same time
/// often enough, or for a second at most.
template <class Work>
void onTwoThreads( const Work &work ) {
   constexpr int kOften = 500;
   const auto end = std::chrono::steady_clock::now() + std::chrono::seconds( 1 );
   std::array<std::atomic<unsigned>, 2> progress{};
   std::atomic<int> done{ 0 };
   const auto run = [&]( unsigned me ) {
      int met = 0;
      for( unsigned seen = 0; done < 2 && std::chrono::steady_clock::now() < end; ) {
         work();
         ++progress[me];
         if( const unsigned other = progress[1 - me]; other != seen ) {
            seen = other;
            done += ++met == kOften;
         }
      }
   };
   std::thread other( run, 1 );
   run( 0 );
   other.join();
}

TEST( ThreadSafePointers, AreOffUnlessTheProcessSwitchesThemOn ) {
   EXPECT_FALSE( enableThreadSafePointers() );
   {
      const ThreadSafePointers on;
      EXPECT_TRUE( enableThreadSafePointers() );
   }
   EXPECT_FALSE( enableThreadSafePointers() );
}

TEST( ThreadSafePointers, TwoThreadsThatShareAnObjectLeaveItsCountExact ) {
   const ThreadSafePointers on;
   Lives lives;
   const Ptr<Counted> shared = make<Counted>( lives );
   onTwoThreads( [&] {
      for( int i = 0; i < 50; ++i ) {
         const std::array<Ptr<const Counted>, 2> mine{ shared, shared };
      }
   } );
   EXPECT_EQ( shared->references(), 1u );
   EXPECT_EQ( lives.zeroReferences, 0 );
}

TEST( ThreadSafePointers, TheLastOfTwoThreadsToLetGoDestroysTheObjectOnce ) {
   const ThreadSafePointers on;
   constexpr int kObjects = 200;
   Lives lives;
   for( int i = 0; i < kObjects; ++i ) {
      Ptr<Counted> mine = make<Counted>( lives );
      std::atomic<bool> started{ false };
      std::thread other( [&started, theirs = mine]() mutable {
         started = true;
         theirs = nullptr;
      } );
      while( !started ) {
         std::this_thread::yield();
      }
      mine = nullptr;
      other.join();
      ASSERT_EQ( lives.zeroReferences, i + 1 );
      ASSERT_EQ( lives.destroyed, i + 1 );
   }
}

TEST( ThreadSafePointers, TheLifeOfAnObjectIsTheSameWithThem ) {
   const ThreadSafePointers on;
   Lives lives;
   {
      Talkative onTheStack( lives );
      EXPECT_EQ( onTheStack.references(), 1u );
   }
   make<Talkative>( lives );
   EXPECT_EQ( lives.made, 2 );
   EXPECT_EQ( lives.zeroReferences, 1 );
   EXPECT_EQ( lives.destroyed, 2 );
}

} // namespace
} // namespace Quor
