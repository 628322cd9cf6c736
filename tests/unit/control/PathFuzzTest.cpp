// Whatever is tried by path on a running system, the system stays sound.
#include "agent/control/TypedText.h"
#include "quor/GenericInstance.h"
#include "tests/unit/control/ControlledSystem.h"
#include "tests/unit/quor/Dice.h"

#include <gtest/gtest.h>

namespace OrloAgent {
namespace {

using Quor::Attribute;
using Quor::AttrKind;
using Quor::Type;

/// Texts of every type, paths through every object.
class Inventor {
 public:
   Inventor( ControlledSystem &system, U32 seed ) : system_( system ), dice_( seed ) {}

   U32 roll( U32 sides ) { return dice_.roll( sides ); }

   template <class T>
   const T &oneOf( const std::vector<T> &choices ) {
      return choices[roll( static_cast<U32>( choices.size() ) )];
   }

   const Type &anyType() { return *oneOf( kTypes ); }
   std::string vlan() {
      return std::to_string( oneOf<U32>( { 0, 1, 10, 11, 12, 13, 20, 21, 4094, 4095, 70000 } ) );
   }
   std::string mac() {
      return roll( 8 ) == 0 ? "02:00:00:00:00:01"
                            : "00:00:5e:00:01:0" + std::to_string( roll( 6 ) );
   }
   std::string interface() {
      return oneOf<std::string>( { "br10", "br10", "br20", "br20", "br30", "br99", "a]b", "" } );
   }

   std::string valueOf( const Type &type ) {
      const std::string name( type.shortName() );
      if( type.isEntity ) {
         return roll( 2 ) == 0 ? oneOf( kRoots ) : path();
      }
      return name == "bool"               ? oneOf<std::string>( { "true", "true", "false" } )
             : name == "U32"              ? std::to_string( roll( 8 ) )
             : name == "VlanId"           ? vlan()
             : name == "EthAddr"          ? mac()
             : name == "IntfId"           ? interface()
             : name == "VlanAndMac"       ? vlan() + "," + mac()
             : name == "VirtualRouterMac" ? interface() + oneOf<std::string>( { ",", "/" } ) + mac()
             : name == "QueueMetadata"    ? "nextKey " + std::to_string( roll( 9 ) ) + ", count 1"
                                          : "'text'";
   }
   /// Mostly of the type; sometimes of another one, or nothing at all.
   std::string textFor( const Type &type ) {
      switch( roll( 12 ) ) {
      case 0:
         return valueOf( anyType() );
      case 1:
         return oneOf<std::string>( { "", "]", "[", "/", "=", ",", "\xff", "nonsense" } );
      default:
         return valueOf( type );
      }
   }

   /// From a root through attributes as they are; what it leads to in `reached`.
   std::string path( const Attribute **reached = nullptr ) {
      std::string text = oneOf( kRoots );
      const Attribute *attribute = nullptr;
      for( U32 length = 1 + roll( 4 ); length > 0; --length ) {
         const Type *const type = typeAt( text );
         if( !type || Path::attributesOf( *type ).empty() ) {
            break;
         }
         attribute = oneOf( Path::attributesOf( *type ) );
         text += "/" + std::string( attribute->name );
         if( attribute->key && roll( 8 ) != 0 ) {
            text += "[" + keyOf( text, *attribute ) + "]";
         }
      }
      if( reached ) {
         *reached = attribute;
      }
      return text;
   }
   /// The same text with something changed in it.
   std::string spoilt( std::string text ) {
      for( U32 times = 1 + roll( 3 ); times > 0 && !text.empty(); --times ) {
         const U32 at = roll( static_cast<U32>( text.size() ) );
         switch( roll( 4 ) ) {
         case 0:
            text.erase( at, 1 );
            break;
         case 1:
            text.insert( at, 1, "[]/,=x\0"[roll( 7 )] );
            break;
         case 2:
            text = text.substr( 0, at );
            break;
         default:
            text += text.substr( at );
         }
      }
      return text;
   }
   Lines arguments( const Attribute &function ) {
      Lines arguments;
      for( std::size_t i = 0; i < Attribute::kMostArguments && function.argumentTypes[i]; ++i ) {
         if( roll( 10 ) != 0 ) {
            const std::string name =
                  roll( 4 ) == 0 ? std::string( function.arguments[i] ) + "=" : "";
            arguments.push_back( name + textFor( *function.argumentTypes[i]() ) );
         }
      }
      if( roll( 20 ) == 0 ) {
         arguments.push_back( "more" );
      }
      return arguments;
   }

 private:
   const Type *typeAt( const std::string &text ) {
      try {
         const std::string found = system_.access->get( text ).at( "type" );
         for( const Type *const type : kTypes ) {
            if( type->name == found ) {
               return type;
            }
         }
      } catch( const std::exception & ) { // a value, or nothing
      }
      return nullptr;
   }
   /// One that is there, or one of the type.
   std::string keyOf( const std::string &collection, const Attribute &attribute ) {
      const Lines there = system_.access->completions( collection + "[" );
      if( roll( 2 ) == 0 && !there.empty() ) {
         const std::string member = oneOf( there );
         return member.substr( collection.size() + 1, member.size() - collection.size() - 2 );
      }
      return textFor( *attribute.key() );
   }

   ControlledSystem &system_;
   Quor::Dice dice_;
   const Lines kRoots{ "virtualRouterMacStatus",
                       "virtualRouterMacStatus",
                       "intfVlanIdSetTable",
                       "intfVlanIdSetTable",
                       "virtualRouterMacTable",
                       "libSm",
                       "vrrpSm",
                       "vrrpHelper",
                       "vrrpHwStatus" };
   const std::vector<const Type *> kTypes{
         Quor::typeOf<bool>(),
         Quor::typeOf<U32>(),
         Quor::typeOf<VlanId>(),
         Quor::typeOf<EthAddr>(),
         Quor::typeOf<IntfId>(),
         Quor::typeOf<Pair>(),
         Quor::typeOf<VirtualRouterMac>(),
         Quor::typeOf<Quor::Name>(),
         Quor::typeOf<Orlo::QueueMetadata>(),
         Quor::typeOf<Routing::Fhrp::VirtualRouterMacStatus>(),
         Quor::typeOf<IntfVlanIdSet::Table>(),
         Quor::typeOf<SviVlanSet>(),
         Quor::typeOf<VirtualRouterMacTable>(),
         Quor::typeOf<Routing::Fhrp::Hardware::Status>(),
         Quor::typeOf<Orlo::VrrpPrivateVlanReflectorLib::LibSm>(),
         Quor::typeOf<Orlo::VrrpPrivateVlanReflectorLib::VlanIntfSm>(),
         Quor::typeOf<Orlo::VrrpPrivateVlanReflectorLib::EthAddrsForIntf>(),
         Quor::typeOf<OrloHelper::CurrentVrrpStateForInit>(),
         Quor::typeOf<OrloHelper::VrrpSmHelper>(),
         Quor::typeOf<Orlo::VrrpSm>() };
};

struct Tally {
   int changes = 0;
   int calls = 0;
   int operations = 0;
   int reads = 0;
   int refusals = 0;
   int errors = 0;
};

void drain( const PathAccess::Rows &rows, Tally &tally ) {
   nlohmann::json row;
   while( rows( row ) ) {
      ++tally.reads;
   }
}

/// Any code on what a path leads to, as far as the permissions let it pass.
void operate( ControlledSystem &system, Inventor &invent, const std::string &path ) {
   const Path at( system.roots(), path );
   if( !at.attribute() ) {
      throw PathError( "an object" );
   }
   const auto any = [&]() -> Ptr<Quor::GenericIf> {
      const Type &type = invent.anyType();
      try {
         return type.isEntity ? Path( system.roots(), invent.valueOf( type ) ).value()
                              : typedValue( type, invent.valueOf( type ) );
      } catch( const std::exception & ) {
         return nullptr;
      }
   };
   const Ptr<Quor::GenericIf> first = any();
   const Ptr<Quor::GenericIf> list = make<Quor::GenericList>(
         std::vector<Quor::GenericList::Element>{ { "", first }, { "", any() } } );
   const auto op = invent.oneOf<Quor::AttrOp>(
         { 0, 1, 2, 3, 4, 127, 128, 128, 129, 129, 130, 255, 0x80000000, 0xFFFFFFFF } );
   const Ptr<Quor::GenericIf> key =
         invent.oneOf<Ptr<Quor::GenericIf>>( { at.key(), at.key(), nullptr, first, list } );
   const Change change{ at.object(), *at.attribute(), op, key, any() };
   if( op >= Quor::Op::firstModifying || at.isFunction() ) {
      if( const std::string harm = system.permissions->harm( change ); !harm.empty() ) {
         throw PathError( harm, PathError::Kind::refused );
      }
   }
   change.object->attributeOp( change.attribute.id, op, key, change.value );
}

/// One attempt; what it was, for the case that it does harm.
std::string attempt( ControlledSystem &system, Inventor &invent, Tally &tally ) {
   const PathAccess &access = *system.access;
   const Attribute *reached = nullptr;
   std::string path = invent.path( &reached );
   if( invent.roll( 10 ) == 0 ) {
      path = invent.spoilt( path );
   }
   std::string what = path;
   try {
      switch( invent.roll( 10 ) ) {
      case 0:
         drain( access.list( path ), tally );
         break;
      case 1:
         access.get( path );
         ++tally.reads;
         break;
      case 2:
         access.completions( path );
         break;
      case 3:
         what = "operate on " + path;
         operate( system, invent, path );
         ++tally.operations;
         break;
      case 4:
         what = "remove " + path;
         access.remove( path );
         ++tally.changes;
         break;
      default:
         if( reached && reached->kind == AttrKind::function ) {
            const Lines arguments = invent.arguments( *reached );
            for( const std::string &argument : arguments ) {
               what += " " + argument;
            }
            access.call( path, arguments );
            ++tally.calls;
         } else if( reached ) {
            const std::string value = invent.textFor( *reached->type() );
            what = "set " + path + " " + value;
            access.set( path, value );
            ++tally.changes;
         }
      }
   } catch( const PathError &error ) {
      ++( error.isRefusal() ? tally.refusals : tally.errors );
      what += ": " + std::string( error.what() );
   } catch( const Quor::Exception &error ) { // of an operation that was not made by path
      ++tally.errors;
      what += ": " + std::string( error.what() );
   }
   return what;
}

/// What the kernel tells of devices, in between.
void publish( ControlledSystem &system, Inventor &invent ) {
   const VirtualRouterMac record =
         recordOf( invent.roll( 2 ) == 0 ? "br10" : "br20", static_cast<U16>( invent.roll( 6 ) ) );
   if( invent.roll( 2 ) == 0 ) {
      system.status->vrrpVirtualMacIs( record, true );
   } else {
      system.status->vrrpVirtualMacDel( record );
   }
}

class PathFuzz : public testing::TestWithParam<U32> {};

INSTANTIATE_TEST_SUITE_P( Seeds, PathFuzz, testing::Values( 1u, 2u, 3u, 4u ) );

TEST_P( PathFuzz, LeavesARunningSystemSoundAtEveryStep ) {
   ControlledSystem system;
   Inventor invent( system, GetParam() );
   ASSERT_EQ( system.flaw(), "" );
   Tally tally;
   for( int step = 0; step < 12000; ++step ) {
      const std::string what = attempt( system, invent, tally );
      ASSERT_EQ( system.flaw(), "" ) << "step " << step << ": " << what;
      if( step % 10 == 0 ) {
         publish( system, invent );
         ASSERT_EQ( system.flaw(), "" ) << "step " << step;
      }
   }
   EXPECT_GT( tally.changes, 300 );
   EXPECT_GT( tally.calls, 30 );
   EXPECT_GT( tally.operations, 30 );
   EXPECT_GT( tally.reads, 500 );
   EXPECT_GT( tally.refusals, 1000 );
   EXPECT_GT( tally.errors, 1000 );
}

} // namespace
} // namespace OrloAgent
