// The descriptors that a module's code uses, looked up when it is loaded.
#include "quor/GenericException.h"
#include "tests/unit/introspection/Access.h"
#include "types/Modules.h"
#include "types/OrloVrrpSm.h"

#include <gtest/gtest.h>

namespace IntrospectionTests {
namespace {

using Orlo::Descriptor;
using Quor::IntrospectionReactor;
namespace Reflector = Orlo::VrrpPrivateVlanReflectorLib;

struct Module {
   std::span<const Type *const> types;
   std::span<const Descriptor> descriptors;
   void ( *lookUp )();
   void ( *quorInit )();
};

const Module kHelper{ OrloHelper::orloVrrpHelperTypes(), OrloHelper::orloVrrpHelperDescriptors(),
                      &OrloHelper::lookUpOrloVrrpHelper, &OrloHelper::quorInitOrloVrrpHelper };
const Module kProgrammer{ Orlo::orloVrrpSmTypes(), Orlo::orloVrrpSmDescriptors(),
                          &Orlo::lookUpOrloVrrpSm, &Orlo::quorInitOrloVrrpSm };
const Module kLibrary{ Reflector::orloVrrpPrivateVlanReflectorLibTypes(),
                       Reflector::orloVrrpPrivateVlanReflectorLibDescriptors(),
                       &Reflector::lookUpOrloVrrpPrivateVlanReflectorLib,
                       &Reflector::quorInitOrloVrrpPrivateVlanReflectorLib };
const Module kModules[]{ kHelper, kProgrammer, kLibrary };

Lines used( const Module &module ) {
   Lines lines;
   for( const Descriptor &descriptor : module.descriptors ) {
      const String type( descriptor.type );
      lines.push_back( type.substr( type.rfind( ':' ) + 1 ) + " " +
                       String( descriptor.attribute ) );
   }
   return lines;
}

String lookingUp( void ( *lookUp )() ) {
   return outcome( [&]() -> Any {
      lookUp();
      return nullptr;
   } );
}

TEST( Descriptors, AreThereOnceTheModulesAreLoaded ) {
   for( const Module &module : kModules ) {
      for( const Descriptor &descriptor : module.descriptors ) {
         const Quor::QuorAttr &attribute = IntrospectionReactor::instance().attribute(
               String( descriptor.type ), String( descriptor.attribute ) );
         EXPECT_EQ( descriptor.found, &attribute )
               << descriptor.type << " " << descriptor.attribute;
      }
   }
}

TEST( Descriptors, AreThoseThatTheCodeUses ) {
   EXPECT_EQ( used( kHelper ),
              ( Lines{ "CurrentVrrpStateForInit virtualRouterIndex",
                       "VrrpSmHelper syncCurrentStateOnInit", "VrrpSmHelper addVirtualRouterMac",
                       "VrrpSmHelper deleteVirtualRouterMac", "VrrpSmHelper syncVrrpStateOnInit",
                       "VrrpSmHelper initializationComplete" } ) );
   EXPECT_EQ( kProgrammer.descriptors.size(), typeOf<Orlo::VrrpSm>()->attributes.size() );
   EXPECT_EQ( kLibrary.descriptors.size(), 30u );
}

/// A type of the same name that lacks one attribute stands in the registry for the time of a test.
class Lacking {
 public:
   Lacking( const Module &module, const String &typeName, const String &attribute )
         : module_( module ) {
      for( const Type *const type : module.types ) {
         registry_.typeDel( type );
      }
      for( const Type *const type : module.types ) {
         ( type->name == typeName ? lacking_ : complete_ ).push_back( type );
      }
      for( const Quor::Attribute &row : lacking_.at( 0 )->attributes ) {
         if( row.name != attribute ) {
            rows_.push_back( row );
         }
      }
      stand_ = *lacking_.at( 0 );
      stand_.attributes = rows_;
      complete_.push_back( &stand_ );
      Quor::registerTypes( nameSpaceOf( typeName ), complete_ );
   }
   ~Lacking() {
      for( const Type *const type : complete_ ) {
         registry_.typeDel( type );
      }
      module_.quorInit();
   }
   Lacking( const Lacking & ) = delete;
   Lacking &operator=( const Lacking & ) = delete;

   static std::vector<String> nameSpaceOf( const String &type ) {
      std::vector<String> names;
      std::size_t from = 0;
      for( std::size_t to = type.find( "::" ); to != String::npos; to = type.find( "::", from ) ) {
         names.push_back( type.substr( from, to - from ) );
         from = to + 2;
      }
      return names;
   }

 private:
   IntrospectionReactor &registry_ = IntrospectionReactor::instance();
   const Module &module_;
   std::vector<const Type *> lacking_;
   std::vector<const Type *> complete_;
   std::vector<Quor::Attribute> rows_;
   Type stand_;
};

TEST( Descriptors, ThatAreMissingStopTheLoadingOneByOne ) {
   for( const Module &module : kModules ) {
      for( const Descriptor &descriptor : module.descriptors ) {
         const String type( descriptor.type );
         const String attribute( descriptor.attribute );
         const Lacking lacking( module, type, attribute );
         EXPECT_EQ( lookingUp( module.lookUp ), noAttribute( type, attribute ) );
      }
   }
   for( const Module &module : kModules ) {
      EXPECT_EQ( lookingUp( module.lookUp ), "nothing" );
   }
}

TEST( Descriptors, OfATypeThatIsMissingStopTheLoading ) {
   const Type *const helper = typeOf<OrloHelper::VrrpSmHelper>();
   IntrospectionReactor::instance().typeDel( helper );
   EXPECT_EQ( lookingUp( kHelper.lookUp ),
              "NoSuchTypeException: no such type: OrloHelper::VrrpSmHelper, whose attribute "
              "syncCurrentStateOnInit is used" );
   Quor::registerTypes( { "OrloHelper" }, std::array{ helper } );
   EXPECT_EQ( lookingUp( kHelper.lookUp ), "nothing" );
}

TEST( Descriptors, AreLookedUpByTheRegistrationItself ) {
   for( const Module &module : kModules ) {
      for( const Type *const type : module.types ) {
         IntrospectionReactor::instance().typeDel( type );
      }
   }
   for( const Module &module : kModules ) {
      module.quorInit();
      for( const Descriptor &descriptor : module.descriptors ) {
         EXPECT_EQ( descriptor.found,
                    &IntrospectionReactor::instance().attribute( String( descriptor.type ),
                                                                 String( descriptor.attribute ) ) );
      }
   }
}

} // namespace
} // namespace IntrospectionTests
