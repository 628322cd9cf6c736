// How modules declare their types, and what the registry refuses.
#include "quor/Introspection.h"
#include "tests/unit/introspection/Access.h"
#include "types/Modules.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace IntrospectionTests {
namespace {

using Quor::IntrospectionReactor;
using Quor::QuorAttr;

constexpr Type kLamp{ .name = "Shop::Window::Lamp" };
constexpr Type kOther{ .name = "Shop::Window::Lamp" };
constexpr Type kTill{ .name = "Till" };

/// The registry, in which a test may declare what it likes: at the end it is as it was before.
class Declaring : public testing::Test {
 protected:
   ~Declaring() override {
      while( registry.openScopes() > 0 ) {
         try {
            registry.handleScopeExit();
         } catch( const Quor::RangeException & ) {
            registry.handleAttrContextExit();
         }
      }
      registry.typeDel( &kLamp );
      registry.typeDel( &kTill );
   }

   void enterShopWindow() {
      registry.handleNameSpace( "Shop" );
      registry.handleNameSpace( "Window" );
   }
   template <class Declare>
   String refusal( Declare declare ) {
      return outcome( [&]() -> Any {
         declare();
         return nullptr;
      } );
   }
   String endsScope() {
      return refusal( [&] { registry.handleScopeExit(); } );
   }
   String endsFunction() {
      return refusal( [&] { registry.handleAttrContextExit(); } );
   }
   String declares( const QuorAttr &attribute ) {
      return refusal( [&] { registry.handleAttr( attribute ); } );
   }
   String declares( const Type &type ) {
      return refusal( [&] { registry.handleType( &type, nullptr ); } );
   }

   IntrospectionReactor &registry = IntrospectionReactor::instance();
};

const QuorAttr kLit = QuorAttr::attrIs( "lit", "bool", 0, 130 );
const QuorAttr kBlink = QuorAttr::attrIs( "blink", "", QuorAttr::kFunction, 131 );
const QuorAttr kTimes = QuorAttr::attrIs( "times", "U32", 0, 0 );
constexpr char kNoScope[] = "RangeException: the end of a scope that is not open";
constexpr char kNoType[] = "RangeException: an attribute outside of a type";

TEST_F( Declaring, ATypeIsDeclaredScopeByScope ) {
   enterShopWindow();
   EXPECT_EQ( registry.openScopes(), 2u );
   Quor::RegisteredType &lamp = registry.handleType( &kLamp, &kTill );
   EXPECT_EQ( registry.openScopes(), 3u );
   EXPECT_FALSE( lamp.hasGenericIfSupport() );
   lamp.hasGenericIfSupportIs( true );
   registry.handleAttr( kLit );
   registry.defNoninstantiatingAttr( kBlink );
   registry.handleAttr( kTimes );
   registry.handleAttrContextExit();
   registry.handleAttr( QuorAttr::attrIs( "watts", "U32", QuorAttr::kParameter, 132 ) );
   registry.handleScopeExit();
   registry.handleScopeExit();
   registry.handleScopeExit();

   EXPECT_EQ( registry.openScopes(), 0u );
   ASSERT_EQ( registry.find( "Shop::Window::Lamp" ), &lamp );
   EXPECT_EQ( lamp.type(), &kLamp );
   EXPECT_EQ( lamp.base(), &kTill );
   EXPECT_TRUE( lamp.hasGenericIfSupport() );
   ASSERT_EQ( lamp.attributes().size(), 3u );
   EXPECT_EQ( lamp.find( "lit" )->type, "bool" );
   EXPECT_EQ( lamp.find( "lit" )->id, 130u );
   ASSERT_EQ( lamp.find( "blink" )->arguments.size(), 1u );
   EXPECT_EQ( lamp.find( "blink" )->arguments[0].name, "times" );
   EXPECT_EQ( lamp.find( "blink" )->arguments[0].type, "U32" );
   EXPECT_EQ( lamp.find( "times" ), nullptr ) << "an argument is no attribute";
   EXPECT_EQ( lamp.find( "watts" )->flags, U32{ QuorAttr::kParameter } );
   EXPECT_EQ( QuorAttr::kParameter, 1 );
   EXPECT_EQ( QuorAttr::kCollection, 2 );
   EXPECT_EQ( QuorAttr::kFunction, 4 );
   EXPECT_EQ( QuorAttr::kInstantiating, 8 );
   EXPECT_TRUE( lamp.find( "watts" )->arguments.empty() );
}

TEST_F( Declaring, ATypeOutsideOfANameSpaceHasAPlainName ) {
   registry.handleType( &kTill, nullptr );
   registry.handleScopeExit();
   EXPECT_EQ( registry.find( "Till" )->type(), &kTill );
}

TEST_F( Declaring, AnAttributeThatCreatesNothingIsMarked ) {
   registry.handleType( &kTill, nullptr );
   QuorAttr made =
         QuorAttr::attrIs( "drawer", "bool", QuorAttr::kInstantiating | QuorAttr::kParameter, 130 );
   registry.handleAttr( made );
   made.name = "sum";
   registry.defNoninstantiatingAttr( made );
   EXPECT_EQ( registry.attribute( "Till", "drawer" ).flags,
              U32{ QuorAttr::kInstantiating | QuorAttr::kParameter } );
   EXPECT_EQ( registry.attribute( "Till", "sum" ).flags, U32{ QuorAttr::kParameter } );
}

TEST_F( Declaring, ATypeInAnotherNameSpaceIsRefused ) {
   registry.handleNameSpace( "Shop" );
   EXPECT_EQ( declares( kLamp ),
              "RangeException: the type Shop::Window::Lamp does not belong into Shop::" );
   EXPECT_EQ( declares( kTill ), "RangeException: the type Till does not belong into Shop::" );
   EXPECT_EQ( registry.openScopes(), 1u );
   registry.handleNameSpace( "Door" );
   EXPECT_EQ( declares( kLamp ),
              "RangeException: the type Shop::Window::Lamp does not belong into Shop::Door::" );
   EXPECT_EQ( registry.find( "Shop::Window::Lamp" ), nullptr );
}

TEST_F( Declaring, ANameThatIsTakenIsRefusedAndTheFirstTypeStays ) {
   enterShopWindow();
   registry.handleType( &kLamp, nullptr );
   registry.handleScopeExit();
   EXPECT_EQ( declares( kOther ),
              "NameInUseException: the type Shop::Window::Lamp is registered already" );
   EXPECT_EQ( registry.openScopes(), 2u );
   EXPECT_EQ( registry.find( "Shop::Window::Lamp" )->type(), &kLamp );
}

TEST_F( Declaring, AnAttributesNameThatIsTakenIsRefused ) {
   registry.handleType( &kTill, nullptr );
   registry.handleAttr( kLit );
   EXPECT_EQ( declares( kLit ), "NameInUseException: Till has an attribute lit already" );
   EXPECT_EQ( registry.find( "Till" )->attributes().size(), 1u );
}

TEST_F( Declaring, AnAttributeOutsideOfATypeIsRefused ) {
   EXPECT_EQ( declares( kLit ), kNoType );
   registry.handleNameSpace( "Shop" );
   EXPECT_EQ( declares( kLit ), kNoType );
   EXPECT_EQ( refusal( [&] { registry.defNoninstantiatingAttr( kBlink ); } ), kNoType );
}

TEST_F( Declaring, OnlyAFunctionHasAContextThatCanEnd ) {
   const String noFunction = "RangeException: the end of a function outside of one";
   EXPECT_EQ( endsFunction(), "RangeException: the end of a function outside of a type" );
   registry.handleType( &kTill, nullptr );
   EXPECT_EQ( endsFunction(), noFunction );
   registry.handleAttr( kLit );
   EXPECT_EQ( endsFunction(), noFunction );
   registry.handleAttr( kBlink );
   EXPECT_EQ( endsFunction(), "nothing" );
   EXPECT_EQ( endsFunction(), noFunction );
}

TEST_F( Declaring, AScopeEndsOnceAndNotInsideAFunction ) {
   EXPECT_EQ( endsScope(), kNoScope );
   registry.handleType( &kTill, nullptr );
   registry.handleAttr( kBlink );
   EXPECT_EQ( endsScope(), kNoScope );
   EXPECT_EQ( registry.openScopes(), 1u );
   registry.handleAttrContextExit();
   EXPECT_EQ( endsScope(), "nothing" );
   EXPECT_EQ( endsScope(), kNoScope );
}

TEST_F( Declaring, InsideATypeThereIsNoNameSpaceAndNoOtherType ) {
   enterShopWindow();
   registry.handleType( &kLamp, nullptr );
   EXPECT_EQ( refusal( [&] { registry.handleNameSpace( "Shade" ); } ),
              "RangeException: the name space Shade inside of a type" );
   EXPECT_EQ( declares( kTill ).substr( 0, 15 ), "RangeException:" );
   EXPECT_EQ( registry.openScopes(), 3u );
}

TEST_F( Declaring, OnlyTheTypeThatIsRegisteredIsForgotten ) {
   enterShopWindow();
   registry.handleType( &kLamp, nullptr );
   registry.typeDel( &kOther );
   registry.typeDel( &kTill );
   EXPECT_NE( registry.find( "Shop::Window::Lamp" ), nullptr );
   registry.handleScopeExit();
   registry.typeDel( &kLamp );
   EXPECT_EQ( registry.find( "Shop::Window::Lamp" ), nullptr );
}

// The three modules

namespace Reflector = Orlo::VrrpPrivateVlanReflectorLib;

struct Module {
   const char *nameSpace;
   void ( *quorInit )();
   std::span<const Type *const> types;
};

std::vector<Module> modules() {
   return {
         { "OrloHelper::", &OrloHelper::quorInitOrloVrrpHelper, OrloHelper::orloVrrpHelperTypes() },
         { "Orlo::", &Orlo::quorInitOrloVrrpSm, Orlo::orloVrrpSmTypes() },
         { "Orlo::VrrpPrivateVlanReflectorLib::",
           &Reflector::quorInitOrloVrrpPrivateVlanReflectorLib,
           Reflector::orloVrrpPrivateVlanReflectorLibTypes() } };
}

/// Unloads the modules for the time of a test.
class Loading : public Declaring {
 protected:
   Loading() {
      for( const Module &module : modules() ) {
         forget( module );
      }
   }
   ~Loading() override {
      for( const Module &module : modules() ) {
         forget( module );
         module.quorInit();
      }
   }
   void forget( const Module &module ) {
      for( const Type *const type : module.types ) {
         registry.typeDel( type );
      }
   }
   Lines names() const {
      Lines names;
      for( const auto &[name, type] : registry.types() ) {
         names.push_back( name );
      }
      return names;
   }
};

TEST_F( Loading, EachModuleDeclaresItsTypesInItsNameSpaceAndLeavesEveryScope ) {
   for( const Module &module : modules() ) {
      const std::size_t before = registry.types().size();
      module.quorInit();
      EXPECT_EQ( registry.openScopes(), 0u );
      EXPECT_EQ( registry.types().size(), before + module.types.size() );
      for( const Type *const type : module.types ) {
         const Quor::RegisteredType *const registered = registry.find( String( type->name ) );
         ASSERT_NE( registered, nullptr ) << type->name;
         EXPECT_EQ( registered->type(), type );
         EXPECT_EQ( String( type->name ), module.nameSpace + String( type->shortName() ) );
         EXPECT_EQ( registered->attributes().size(), type->attributes.size() ) << type->name;
      }
   }
}

TEST_F( Loading, AModuleMayMentionTypesOfAModuleThatIsLoadedLater ) {
   const Module helper = modules().front();
   helper.quorInit();
   const QuorAttr &map =
         registry.attribute( "OrloHelper::CurrentVrrpStateForInit", "virtualRouterIndex" );
   EXPECT_EQ( map.arguments.at( 0 ).type, "Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac" );
   EXPECT_EQ( registry.find( map.arguments.at( 0 ).type ), nullptr );
}

TEST_F( Loading, TheOrderOfTheModulesMakesNoDifferenceToWhatIsKnown ) {
   for( const Module &module : modules() ) {
      module.quorInit();
   }
   const Lines inOrder = names();
   std::vector<Module> backwards = modules();
   std::reverse( backwards.begin(), backwards.end() );
   for( const Module &module : backwards ) {
      forget( module );
   }
   for( const Module &module : backwards ) {
      module.quorInit();
   }
   EXPECT_EQ( names(), inOrder );
}

TEST_F( Loading, AModuleThatIsLoadedTwiceIsRefusedAndNoScopeStaysOpen ) {
   for( const Module &module : modules() ) {
      module.quorInit();
      EXPECT_EQ( refusal( module.quorInit ), "NameInUseException: the type " +
                                                   String( module.types.front()->name ) +
                                                   " is registered already" );
      EXPECT_EQ( registry.openScopes(), 0u );
   }
}

} // namespace
} // namespace IntrospectionTests
