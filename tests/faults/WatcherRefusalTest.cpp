// Watchers that are refused memory: when they are told, when they register, when they are bound.
#include "platform/Descriptions.h"
#include "quor/GenericNotifiee.h"
#include "tests/faults/EveryRefusal.h"

#include <vector>

namespace Faults {
namespace {

using Quor::Ptr;
using Routing::Fhrp::Hardware::Status;

class Listener : public Status::NotifieeConst {
 public:
   void onVirtualRouterCount() override { ++heard; }
   int heard = 0;
};

class Writer : public Status::Notifiee {};

/// Two entities and a crowd that watches the first one.
struct Crowd {
   static constexpr int kMany = 40;
   Ptr<Status> first = Quor::make<Status>();
   Ptr<Status> second = Quor::make<Status>();
   std::vector<Ptr<Listener>> all;

   Crowd() {
      for( int i = 0; i < kMany; ++i ) {
         all.push_back( Quor::make<Listener>() );
         all.back()->notifierIs( first );
         all.back()->isRegisteredNotifieeIs( true );
      }
   }
   void isTold( int times ) const {
      for( const auto &listener : all ) {
         EXPECT_EQ( listener->heard, times );
      }
   }
};

TEST( WatcherRefusal, ACrowdIsToldWithoutMemory ) {
   Crowd crowd;
   const std::size_t before = Quor::allocations();
   crowd.first->virtualRouterCountIs( 1 );
   EXPECT_EQ( Quor::allocations(), before ) << "or a change could be made and not be told";
   crowd.isTold( 1 );
}

TEST( WatcherRefusal, ACrowdHearsOfTheEndWithoutMemory ) {
   class Uncounted : public Status::NotifieeConst {
    public:
      void onZeroReferences() override { ++ends; }
      int ends = 0;
   };
   std::vector<Ptr<Uncounted>> all;
   Ptr<Status> status = Quor::make<Status>();
   for( int i = 0; i < Crowd::kMany; ++i ) {
      all.push_back( Quor::make<Uncounted>() );
      all.back()->uncountedNotifierIs( status );
      all.back()->isRegisteredNotifieeIs( true );
   }
   Quor::refusedAllocationIs( 1 );
   status = nullptr;
   EXPECT_FALSE( Quor::isAllocationRefused() );
   Quor::refusedAllocationIs( 0 );
   for( const auto &watcher : all ) {
      EXPECT_EQ( watcher->ends, 1 );
      EXPECT_EQ( watcher->notifier(), nullptr );
   }
}

TEST( WatcherRefusal, OfARegistrationLeavesItUnregistered ) {
   EXPECT_GE( refuseEach<Crowd>(
                    []( Crowd &crowd ) {
                       const auto listener = Quor::make<Listener>();
                       crowd.all.push_back( listener );
                       listener->notifierIs( crowd.second );
                       listener->isRegisteredNotifieeIs( true );
                    },
                    []( Crowd &crowd, bool isThrown ) {
                       EXPECT_EQ( crowd.second->notifieeCount(), isThrown ? 0u : 1u );
                       crowd.second->virtualRouterCountIs( 1 );
                       if( crowd.all.size() > Crowd::kMany ) {
                          const auto listener = crowd.all.back();
                          EXPECT_EQ( listener->isRegisteredNotifiee(), !isThrown );
                          EXPECT_EQ( listener->heard, isThrown ? 0 : 1 );
                          listener->isRegisteredNotifieeIs( true );
                          crowd.second->virtualRouterCountIs( 2 );
                          EXPECT_EQ( listener->heard, isThrown ? 1 : 2 );
                       }
                    } ),
              2u );
}

/// A watcher of the first entity, which is to be bound to the second.
template <class Watcher, Quor::Binding kBefore, Quor::Binding kThen>
struct Moving {
   Ptr<Status> first = Quor::make<Status>();
   Ptr<Status> second = Quor::make<Status>();
   Ptr<Watcher> watcher = Quor::make<Watcher>();

   Moving() {
      bind( first, kBefore );
      watcher->isRegisteredNotifieeIs( true );
   }
   void bind( const Ptr<Status> &status, Quor::Binding binding ) const {
      if( binding == Quor::Binding::counted ) {
         watcher->notifierIs( status );
      } else {
         watcher->uncountedNotifierIs( status );
      }
   }
};

/// Refused, it stays with the entity that it watches, and keeps that alive if it did.
template <class Watcher, Quor::Binding kBefore, Quor::Binding kThen>
std::size_t staysWhenItCannotMove() {
   using World = Moving<Watcher, kBefore, kThen>;
   return refuseEach<World>( []( World &world ) { world.bind( world.second, kThen ); },
                             []( World &world, bool isThrown ) {
                                EXPECT_EQ( world.watcher->notifier(),
                                           isThrown ? world.first : world.second );
                                EXPECT_EQ( world.first->notifieeCount(), isThrown ? 1u : 0u );
                                EXPECT_EQ( world.second->notifieeCount(), isThrown ? 0u : 1u );
                                world.second = nullptr;
                                const auto last = world.first.get();
                                world.first = nullptr;
                                if( isThrown && kBefore == Quor::Binding::counted ) {
                                   EXPECT_EQ( world.watcher->notifier().get(), last );
                                   EXPECT_EQ( last->notifieeCount(), 1u );
                                } else if( isThrown || kThen == Quor::Binding::uncounted ) {
                                   EXPECT_EQ( world.watcher->notifier(), nullptr );
                                }
                             } );
}

constexpr auto kCounted = Quor::Binding::counted;
constexpr auto kUncounted = Quor::Binding::uncounted;

TEST( WatcherRefusal, OfAnotherBindingKeepsTheOneItHas ) {
   EXPECT_EQ( ( staysWhenItCannotMove<Listener, kCounted, kCounted>() ), 1u );
   EXPECT_EQ( ( staysWhenItCannotMove<Listener, kCounted, kUncounted>() ), 2u );
   EXPECT_EQ( ( staysWhenItCannotMove<Listener, kUncounted, kCounted>() ), 1u );
   EXPECT_EQ( ( staysWhenItCannotMove<Listener, kUncounted, kUncounted>() ), 2u );
}

TEST( WatcherRefusal, OfAnotherBindingLeavesAWriterItsEntity ) {
   EXPECT_EQ( ( staysWhenItCannotMove<Writer, kCounted, kCounted>() ), 1u );
   EXPECT_EQ( ( staysWhenItCannotMove<Writer, kCounted, kUncounted>() ), 2u );
   EXPECT_EQ( ( staysWhenItCannotMove<Writer, kUncounted, kUncounted>() ), 2u );
}

TEST( WatcherRefusal, OfABindingThatNoLongerCountsKeepsCounting ) {
   struct Kept : Moving<Listener, kCounted, kUncounted> {};
   EXPECT_EQ( refuseEach<Kept>( []( Kept &world ) { world.bind( world.first, kUncounted ); },
                                []( Kept &world, bool isThrown ) {
                                   EXPECT_EQ( world.first->notifieeCount(), 1u );
                                   world.first = nullptr;
                                   EXPECT_EQ( world.watcher->notifier() != nullptr, isThrown );
                                } ),
              1u );
}

/// Counts without knowing the type.
class CountingObserver : public Quor::GenericObserver {
 public:
   void onAttribute( const Quor::Attribute &, const Ptr<Quor::GenericIf> & ) override { ++heard; }
   int heard = 0;
};

TEST( WatcherRefusal, OfWatchingByNameLeavesNoWatcher ) {
   EXPECT_GE( refuseEach<Crowd>(
                    []( Crowd &crowd ) {
                       CountingObserver observer;
                       const Quor::GenericNotifiee watcher( Quor::genericIf( crowd.second ),
                                                            observer );
                       crowd.second->virtualRouterCountIs( 1 );
                       EXPECT_EQ( observer.heard, 1 );
                    },
                    []( Crowd &crowd, bool ) { EXPECT_EQ( crowd.second->notifieeCount(), 0u ); } ),
              3u );
}

} // namespace
} // namespace Faults
