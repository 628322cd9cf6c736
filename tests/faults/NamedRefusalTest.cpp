// Access by name when memory is refused: what was asked for happens, or does not, and never by
// half.
#include "OrloVrrpSm/VrrpSm.h"
#include "quor/Introspection.h"
#include "quor/Trace.h"
#include "tests/faults/EveryRefusal.h"
#include "tests/faults/FaultySwitch.h"
#include "types/Modules.h"
#include "types/OrloVrrpPrivateVlanReflectorLib.h"
#include "types/OrloVrrpSm.h"

#include <sstream>

namespace Faults {
namespace {

using Quor::genericIf;
using Quor::GenericIf;
using Quor::IntrospectionReactor;
using Any = Ptr<GenericIf>;
namespace Op = Quor::Op;

/// A programmer with pairs that are programmed, wait, and can be reached by name.
struct NamedSwitch : FaultySwitch<4> {
   Any sm;

   NamedSwitch() {
      starts();
      appears( "br10", 1 );
      appears( "br10", 2 );
      sm = genericIf( programmer );
   }
   Any get( const char *attribute, const Any &key = nullptr ) const {
      return sm->attributeOp( sm->attributeId( attribute ), Op::get, key );
   }
};

template <class Work>
std::size_t staysSound( const Work &work ) {
   return refuseEach<NamedSwitch>( work, []( NamedSwitch &world, bool ) {
      world.isSound();
      world.isMendedByComingAgain();
   } );
}

TEST( NamedRefusal, OfReading ) {
   EXPECT_GT( staysSound( []( NamedSwitch &world ) {
                 for( const char *name :
                      { "vrrpMacStatus", "vrrpHelper", "freeVirtualRouterIndexMetadata",
                        "initialized", "currentVrrpStateForInit" } ) {
                    const Any value = world.get( name );
                    EXPECT_NE( value->clone(), nullptr );
                    EXPECT_NE( value->strRep(), "" );
                 }
                 EXPECT_NE( world.get( "virtualRouterIndex", genericIf( pair( 10, 1 ) ) ),
                            nullptr );
              } ),
              10u );
}

TEST( NamedRefusal, OfAWalk ) {
   EXPECT_GT(
         staysSound( []( NamedSwitch &world ) {
            for( const char *name : { "virtualRouterIndex", "macsNeedingVirtualRouterIndex" } ) {
               const auto at = world.sm->attributeIteratorConst( world.sm->attributeId( name ) );
               const auto copy = at->iterClone();
               for( ; at->nonNull(); at->iterInc() ) {
                  EXPECT_NE( at->iterKey()->strRep(), at->iterObj()->strRep() );
               }
               EXPECT_TRUE( copy->nonNull() );
            }
         } ),
         20u );
}

TEST( NamedRefusal, OfAChangeOfTheTable ) {
   EXPECT_GT( refuseEach<NamedSwitch>(
                    []( NamedSwitch &world ) {
                       const Any table = genericIf( world.table );
                       const auto id = table->attributeId( "virtualRouterMac" );
                       const Any key = genericIf( pair( 30, 3 ) );
                       table->attributeOp( id, Op::set, key, genericIf( true ) );
                       table->attributeOp( id, Op::remove, key );
                    },
                    []( NamedSwitch &world, bool ) {
                       world.table->virtualRouterMacDel( pair( 30, 3 ) );
                       world.isSound();
                       world.isMendedByComingAgain();
                    } ),
              5u );
}

TEST( NamedRefusal, OfMakingAnInstanceFromAList ) {
   EXPECT_GT( staysSound( []( NamedSwitch & ) {
                 const Any list =
                       Quor::make<Quor::GenericList>( std::vector<Quor::GenericList::Element>{
                             { "", genericIf( vlan( 10 ) ) }, { "", genericIf( mac( 1 ) ) } } );
                 const Any made = genericIf( VlanAndMac() )->genericIfListConstructor( list );
                 EXPECT_EQ( made->strRep(), pairText( pair( 10, 1 ) ) );
              } ),
              5u );
}

TEST( NamedRefusal, OfReadingATextAndOfItsComplaints ) {
   EXPECT_GT( staysSound( []( NamedSwitch & ) {
                 const String text = pairText( pair( 4094, 255 ) );
                 EXPECT_EQ( Quor::typeOf<VlanAndMac>()->parse( text, false )->strRep(), text );
                 try {
                    Quor::typeOf<VlanAndMac>()->parse( text + " and more than that", false );
                    ADD_FAILURE() << "accepted";
                 } catch( const Quor::RangeException &error ) {
                    EXPECT_NE( String( error.what() ), "" );
                 }
              } ),
              5u );
}

/// A registry without the types of the programmer.
struct Registry {
   std::size_t types = 0;

   Registry() {
      for( const Quor::Type *const type : Orlo::orloVrrpSmTypes() ) {
         IntrospectionReactor::instance().typeDel( type );
      }
      types = IntrospectionReactor::instance().types().size();
   }
   ~Registry() {
      for( const Quor::Type *const type : Orlo::orloVrrpSmTypes() ) {
         IntrospectionReactor::instance().typeDel( type );
      }
   }
   Registry( const Registry & ) = delete;
   Registry &operator=( const Registry & ) = delete;
   static void work() { Quor::registerTypes( { "Orlo" }, Orlo::orloVrrpSmTypes() ); }
};

TEST( NamedRefusal, OfARegistrationLeavesTheRegistryAsItWas ) {
   const std::size_t refused = refuseEach<Registry>(
         []( Registry & ) { Registry::work(); },
         []( Registry &world, bool isThrown ) {
            IntrospectionReactor &registry = IntrospectionReactor::instance();
            EXPECT_EQ( registry.openScopes(), 0u );
            if( isThrown ) {
               EXPECT_EQ( registry.types().size(), world.types );
               Registry::work();
            }
            EXPECT_EQ( registry.types().size(), world.types + Orlo::orloVrrpSmTypes().size() );
            EXPECT_NO_THROW( registry.attribute( "Orlo::VrrpSm", "handleVrrpMac" ) );
         } );
   EXPECT_GT( refused, 50u );
}

// The first use of a trace facility

TEST( NamedRefusal, OfATraceFacilityIsRepairedByItsNextUse ) {
   static int made = 0;
   const auto make = []() -> const Quor::TraceHandle & {
      static const Quor::TraceHandle facility( "a facility with quite a long name", false );
      ++made;
      return facility;
   };
   Quor::TraceFacility facility( make );
   for( std::size_t number = 1; made == 0; ++number ) {
      ASSERT_LT( number, 10u );
      Quor::refusedAllocationIs( number );
      try {
         facility.get();
         EXPECT_FALSE( Quor::isAllocationRefused() );
      } catch( const std::bad_alloc & ) {
         Refusals::all().refused += 1;
         Refusals::all().thrown += 1;
      }
      Quor::refusedAllocationIs( 0 );
   }
   EXPECT_EQ( facility.get().name(), "a facility with quite a long name" );
}

} // namespace
} // namespace Faults
