// Operations by name. Every line is one; its parts are separated by tabs:
//
//    g PATH   l PATH   c PATH         get, list, what a path can go on to
//    s PATH VALUE   r PATH            set, remove
//    f PATH ARGUMENT...               call
//    o CODE PATH TYPE KEY TYPE VALUE  any code on what a path leads to; a value of any type
//    n PATH TYPE TEXT...              an instance of the same type, made of these values
//    w PATH TYPE KEY                  begins a walk, at a key if there is one; + takes a step of it
//    p RECORD   q RECORD              the kernel's news: published, withdrawn
//
// A system is running, and beside it are objects that nobody watches ("loose").
//
//    - What is not done is refused with one of the errors of access by name, and what was to be
//      changed is as it was.
//    - The running system is sound after every line. What would stop the process on purpose is
//      known before: the rules of Permissions are asked, and what they refuse is not done.
//    - For the loose objects nothing is refused: no operation on them may stop the process.
#include "agent/control/TypedText.h"
#include "quor/GenericException.h"
#include "quor/GenericInstance.h"
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"
#include "tests/unit/control/ControlledSystem.h"

#include <algorithm>
#include <charconv>
#include <vector>

using Fuzz::check;
using namespace OrloAgent;
using Quor::GenericIf;
using Parts = std::vector<std::string>;

namespace {

constexpr std::size_t kMostLines = 60;
constexpr std::size_t kMostWalks = 4;
constexpr std::size_t kMostRows = 1000;
constexpr std::string_view kLoose = "loose";

Parts parted( std::string_view line ) {
   Parts parts;
   for( std::size_t tab = 0; tab != line.npos;
        line.remove_prefix( std::min( tab + 1, line.size() ) ) ) {
      tab = line.find( '\t' );
      parts.emplace_back( line.substr( 0, tab ) );
   }
   parts.resize( std::max<std::size_t>( parts.size(), 6 ) );
   return parts;
}

class World {
 public:
   World() {
      const auto set = make<SviVlanSet>( IntfId( "br10" ) );
      const auto snapshot = make<OrloHelper::CurrentVrrpStateForInit>();
      roots_ = system_.roots();
      roots_["looseStatus"] = genericIf( make<Routing::Fhrp::VirtualRouterMacStatus>() );
      roots_["looseSets"] = genericIf( make<IntfVlanIdSet::Table>() );
      roots_["looseSet"] = genericIf( set );
      roots_["looseTable"] =
            genericIf( Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory() );
      roots_["looseHardware"] = genericIf( make<Routing::Fhrp::Hardware::Status>() );
      roots_["looseSnapshot"] = genericIf( snapshot );
      guarded_.emplace( roots_, *system_.permissions );
   }

   void line( std::string_view text ) {
      const Parts parts = parted( text );
      try {
         perform( parts[0].empty() ? ' ' : parts[0][0], parts );
      } catch( const PathError &error ) {
         check( *error.what() != '\0', "an error without a word" );
      } catch( const Quor::Exception &error ) {
         check( *error.what() != '\0', "an error without a word" );
      }
      const std::string flaw = system_.flaw();
      check( flaw.empty(), flaw + ", after: " + std::string( text ) );
   }

 private:
   void perform( char what, const Parts &parts ) {
      switch( what ) {
      case 'g':
         guarded_->get( parts[1] );
         break;
      case 'l':
         list( parts[1] );
         break;
      case 'c':
         check( guarded_->completions( parts[1] ).size() <= PathAccess::kMostCompletions,
                "too many completions" );
         break;
      case 's':
         set( parts[1], parts[2] );
         break;
      case 'r':
         guarded_->remove( parts[1] );
         break;
      case 'f':
         guarded_->call( parts[1], { parts.begin() + 2,
                                     std::find( parts.begin() + 2, parts.end(), std::string() ) } );
         break;
      case 'o':
         operate( parts );
         break;
      case 'n':
         construct( parts );
         break;
      case 'w':
         walk( parts );
         break;
      case '+':
         goOn();
         break;
      case 'p':
      case 'q':
         publish( what == 'p', parts[1] );
         break;
      default:
         break;
      }
   }

   void list( const std::string &path ) {
      const PathAccess::Rows rows = guarded_->list( path );
      nlohmann::json row;
      for( std::size_t i = 0; i < kMostRows && rows( row ); ++i ) {
         check( row.is_object(), "a row that is none" );
      }
   }

   /// What was set is there, unless it is a matter of the attribute's own code.
   void set( const std::string &path, const std::string &value ) {
      guarded_->set( path, value );
      const Path at( roots_, path );
      if( isLoose( path ) && at.isCollection() ) {
         check( guarded_->get( path ) == jsonOf( typed( *at.attribute()->type(), value ) ),
                "set, and not there: " + path );
      }
   }

   void operate( const Parts &parts ) {
      Quor::AttrOp code = 0;
      std::from_chars( parts[1].data(), parts[1].data() + parts[1].size(), code );
      const Path at( roots_, parts[2] );
      if( !at.attribute() ) {
         return;
      }
      const Ptr<GenericIf> key = parts[3].empty() ? at.key() : value( parts[3], parts[4] );
      const Change change{ at.object(), *at.attribute(), code, key,
                           value( parts[5], parts.size() > 6 ? parts[6] : "" ) };
      const bool changes = code >= Quor::Op::firstModifying || at.isFunction();
      const bool loose = isLoose( parts[2] );
      if( changes && !loose && !harm( change ).empty() ) {
         return;
      }
      const std::string before = loose ? stateOf( *at.object() ) : "";
      try {
         at.object()->attributeOp( change.attribute.id, code, change.key, change.value );
         check( changes || !loose || stateOf( *at.object() ) == before,
                "read, and changed: " + parts[2] );
      } catch( const Quor::Exception & ) {
         check( !loose || stateOf( *at.object() ) == before, "refused, and changed: " + parts[2] );
         throw;
      }
   }
   /// What a refused change would do; a change that is not well formed does nothing.
   std::string harm( const Change &change ) const {
      try {
         return system_.permissions->harm( change );
      } catch( const Quor::Exception & ) {
         return "cannot be done";
      }
   }

   void construct( const Parts &parts ) {
      const Ptr<GenericIf> example = Path( roots_, parts[1] ).value();
      // A reactor that is made writes, and a second one beside that of the system writes what the
      // system does not know.
      if( !example || ( example->type()->isEntity && !isLoose( parts[1] ) ) ) {
         return;
      }
      std::vector<Quor::GenericList::Element> elements;
      for( std::size_t i = 2; i + 1 < parts.size(); i += 2 ) {
         if( !parts[i].empty() ) {
            elements.push_back( { "", value( parts[i], parts[i + 1] ) } );
         }
      }
      const Ptr<GenericIf> made =
            example->genericIfListConstructor( make<Quor::GenericList>( std::move( elements ) ) );
      check( made && *made->type() == *example->type(), "made something else" );
   }

   void walk( const Parts &parts ) {
      const Path at( roots_, parts[1] );
      if( !at.attribute() ) {
         return;
      }
      const Quor::AttrId id = at.attribute()->id;
      walks_.push_back( parts[2].empty() ? at.object()->attributeIteratorConst( id )
                                         : at.object()->attributeIteratorKeyConst(
                                                 id, value( parts[2], parts[3] ) ) );
      if( walks_.size() > kMostWalks ) {
         walks_.erase( walks_.begin() );
      }
   }
   void goOn() {
      for( const auto &walk : walks_ ) {
         const auto copy = walk->iterClone();
         if( walk->nonNull() ) {
            check( walk->iterKey()->strRep() == copy->iterKey()->strRep(), "a copy elsewhere" );
            walk->iterObj();
            walk->iterInc();
         } else {
            check( !copy->nonNull(), "a copy elsewhere" );
            walk->iterDel();
         }
      }
   }

   void publish( bool isThere, const std::string &text ) {
      const auto record = strepToValue( Quor::Strep<VirtualRouterMac>{}, text );
      if( !system_.vlanSets->sviVlanSet( record.intf() ) ) {
         return; // the agent publishes on its own interfaces alone
      }
      if( isThere ) {
         system_.status->vrrpVirtualMacIs( record, true );
      } else {
         system_.status->vrrpVirtualMacDel( record );
      }
   }

   static bool isLoose( const std::string &path ) { return path.starts_with( kLoose ); }
   /// An object by its path, a value by its type's short name; null when there is none.
   Ptr<GenericIf> value( const std::string &type, const std::string &text ) const {
      if( type == "path" ) {
         return Path( roots_, text ).value();
      }
      for( const Quor::Type *const known :
           { Quor::typeOf<bool>(), Quor::typeOf<U32>(), Quor::typeOf<VlanId>(),
             Quor::typeOf<EthAddr>(), Quor::typeOf<IntfId>(), Quor::typeOf<Pair>(),
             Quor::typeOf<VirtualRouterMac>(), Quor::typeOf<Quor::Name>(),
             Quor::typeOf<Orlo::QueueMetadata>() } ) {
         if( known->shortName() == type ) {
            return typed( *known, text );
         }
      }
      return nullptr;
   }
   static Ptr<GenericIf> typed( const Quor::Type &type, const std::string &text ) {
      return typedValue( type, text );
   }
   /// Every attribute, and every member.
   static std::string stateOf( GenericIf &object ) {
      std::string text;
      const auto textOf = []( const Ptr<GenericIf> &value ) {
         return value ? value->strRep() : "null";
      };
      for( const Quor::Attribute *const attribute : Path::attributesOf( *object.type() ) ) {
         text += "\n" + std::string( attribute->name );
         if( attribute->iterate ) {
            for( auto at = object.attributeIteratorConst( attribute->id ); at->nonNull();
                 at->iterInc() ) {
               text += " " + textOf( at->iterKey() ) + "=" + textOf( at->iterObj() );
            }
         } else if( attribute->kind != Quor::AttrKind::function ) {
            text += " " + textOf( object.attributeOp( attribute->id, Quor::Op::get ) );
         }
      }
      return text;
   }

   ControlledSystem system_;
   Roots roots_;
   std::optional<PathAccess> guarded_;
   std::vector<std::unique_ptr<Quor::AttributeIterator>> walks_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t *bytes, std::size_t size ) {
   Fuzz::Input input( bytes, size );
   World world;
   for( std::size_t i = 0; i < kMostLines && !input.empty(); ++i ) {
      world.line( input.line() );
   }
   return 0;
}
