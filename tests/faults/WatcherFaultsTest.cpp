// Watchers that throw, at each notification of a life, and whatever they throw: everything goes on
// as if they had not.
#include "quor/GenericNotifiee.h"
#include "tests/faults/FaultySwitch.h"
#include "types/OrloVrrpPrivateVlanReflectorLib.h"
#include "types/OrloVrrpSm.h"

#include <iostream>
#include <new>

namespace Faults {
namespace {

using Quor::Binding;
using Quor::genericIf;
using Quor::GenericNotifiee;
using Switch = FaultySwitch<4>;

/// Throws when it is told for the so many-th time.
class ThrowingObserver : public Quor::GenericObserver {
 public:
   enum class Kind { exception, noMemory, number };

   ThrowingObserver( int at, Kind kind ) : at_( at ), kind_( kind ) {}

   void onAttribute( const Quor::Attribute &, const Ptr<Quor::GenericIf> & ) override { told(); }
   void onZeroReferences() override {
      ++ends_;
      told();
   }
   int timesTold() const noexcept { return told_; }
   int ends() const noexcept { return ends_; }

 private:
   void told() {
      if( ++told_ != at_ ) {
         return;
      }
      switch( kind_ ) {
      case Kind::exception:
         throw std::runtime_error( "no" );
      case Kind::noMemory:
         throw std::bad_alloc();
      case Kind::number:
         throw 42;
      }
   }

   const int at_;
   const Kind kind_;
   int told_ = 0;
   int ends_ = 0;
};

/// What can be seen of a life from outside.
struct Life {
   std::vector<SlotHelper::Call> calls;
   std::array<VlanAndMac, SlotHelper::kMost> slots;
   std::set<VlanAndMac> table;
   int told = 0;
   int ends = 0;

   bool operator==( const Life & ) const = default;
};

/// A life with the observer behind the reactors and before them, at everything that can be watched.
Life lived( ThrowingObserver &observer ) {
   Life life;
   Switch world;
   std::vector<std::unique_ptr<GenericNotifiee>> watchers;
   const auto watch = [&]( const auto &entity ) {
      watchers.push_back( std::make_unique<GenericNotifiee>( genericIf( entity ), observer,
                                                             Binding::uncounted ) );
   };
   world.helper->onCall = [&]( SlotHelper::Call call ) { life.calls.push_back( call ); };
   const auto watchInputs = [&] {
      watch( world.status );
      watch( world.vlanSets );
      watch( world.vlans( "br10" ) );
      watch( world.table );
      watch( world.hardware );
      watch( Ptr<OrloHelper::VrrpSmHelper>( world.helper ) );
   };
   watchInputs(); // before the reactors
   world.helper->isToBeAdopted();
   world.starts();
   watchInputs();
   watch( world.programmer );
   world.appears( "br10", 1 );
   watch( world.reflector->dmacsForIntf( IntfId( "br10" ) ) );
   world.appears( "br10", 2 );
   world.serves( "br30", { 30 } );
   world.vlans( "br10" )->vlanIdIs( vlan( 13 ), true );
   world.vlans( "br10" )->vlanIdDel( vlan( 11 ) );
   world.disappears( "br10", 1 );
   world.hardware->virtualRouterCountIs( 5 );
   world.isComplete();
   world.programmer->doCleanup();
   world.programmer = nullptr;
   life.slots = world.helper->slots();
   world.disappears( "br10", 2 );
   world.reflector = nullptr;
   life.table = world.wanted();
   world.status = nullptr;
   world.vlanSets = nullptr;
   world.table = nullptr;
   life.told = observer.timesTold();
   life.ends = observer.ends();
   return life;
}

TEST( WatcherFaults, ThatThrowAtAnyNotificationHinderNothing ) {
   using Kind = ThrowingObserver::Kind;
   ThrowingObserver calm( 0, Kind::exception );
   const Life expected = lived( calm );
   ASSERT_GT( expected.told, 60 );
   ASSERT_GE( expected.ends, 7 );
   for( const Kind kind : { Kind::exception, Kind::noMemory, Kind::number } ) {
      for( int at = 1; at <= expected.told; ++at ) {
         SCOPED_TRACE( "notification " + std::to_string( at ) );
         ThrowingObserver observer( at, kind );
         ASSERT_EQ( lived( observer ), expected );
      }
   }
   std::cout << "watchers that threw: " << 3 * expected.told << '\n';
}

} // namespace
} // namespace Faults
