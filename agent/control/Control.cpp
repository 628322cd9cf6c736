#include "agent/control/Control.h"

#include "agent/control/AuditAnswer.h"
#include "agent/control/Explain.h"
#include "agent/control/PathAccess.h"
#include "agent/control/PathError.h"
#include "agent/control/Permissions.h"
#include "agent/control/TypedText.h"
#include "agent/control/View.h"
#include "platform/Descriptions.h"
#include "text/Nearest.h"

#include <algorithm>
#include <array>

namespace OrloAgent {

using Json = nlohmann::json;
using Kind = ControlError::Kind;
using Quor::GenericIf;
using Quor::Ptr;

namespace {

constexpr std::array<std::string_view, 17> kCommands{
      "show",  "show pairs", "show waiting", "show slots", "show interfaces", "explain", "list",
      "get",   "set",        "remove",       "call",       "complete",        "reload",  "metrics",
      "watch", "trace",      "audit" };

[[noreturn]] void refuseUnknown( const std::string &command ) {
   throw ControlError( Kind::usage, "no command " + command.substr( 0, 40 ) +
                                          OrloText::didYouMean(
                                                command, { kCommands.begin(), kCommands.end() } ) );
}

void needMayChange( const std::string &command, const Peer &peer ) {
   if( !peer.mayChange ) {
      throw ControlError( Kind::refused,
                          command + " needs root, or the group in \"control\" of the agent's "
                                    "configuration" );
   }
}

template <class Object>
Ptr<GenericIf> byItsType( const Ptr<Object> &object ) {
   return object ? object->fwkType()->wrap( object.get(), false ) : nullptr;
}

} // namespace

/// The arguments of a request, each of the type that its command wants.
class Control::Arguments {
 public:
   explicit Arguments( const Json &all ) : all_( all ) {}

   bool has( const char *name ) const { return all_.contains( name ); }
   std::string text( const char *name ) const {
      const auto at = all_.find( name );
      if( at == all_.end() || !at->is_string() ) {
         refuse( name, "a text" );
      }
      return at->get<std::string>();
   }
   bool flag( const char *name ) const {
      const auto at = all_.find( name );
      if( at != all_.end() && !at->is_boolean() ) {
         refuse( name, "true or false" );
      }
      return at != all_.end() && at->get<bool>();
   }
   std::string textOr( const char *name, const char *otherwise ) const {
      return has( name ) ? text( name ) : otherwise;
   }
   std::vector<std::string> texts( const char *name ) const {
      const auto at = all_.find( name );
      std::vector<std::string> all;
      if( at == all_.end() ) {
         return all;
      }
      const bool isGood =
            at->is_array() && std::all_of( at->begin(), at->end(),
                                           []( const Json &one ) { return one.is_string(); } );
      if( !isGood ) {
         refuse( name, "an array of texts" );
      }
      return at->get<std::vector<std::string>>();
   }
   Bridging::VlanId vlan() const {
      const auto at = all_.find( "vlan" );
      if( at == all_.end() || !at->is_number_unsigned() || at->get<Quor::U64>() < kFirstVlan ||
          at->get<Quor::U64>() > kLastVlan ) {
         refuse( "vlan", "a VLAN number, 1 to 4094" );
      }
      return Bridging::VlanId( at->get<Quor::U16>() );
   }
   Pelmo::EthAddr mac() const {
      try {
         return strepToValue( Quor::Strep<Pelmo::EthAddr>{}, text( "mac" ) );
      } catch( const Quor::RangeException & ) {
         refuse( "mac", "a MAC address such as 00:00:5e:00:01:33" );
      }
   }
   Pelmo::IntfId interface() const {
      try {
         return Pelmo::IntfId( text( "interface" ) );
      } catch( const Quor::RangeException & ) {
         refuse( "interface", "an interface name of at most 15 characters" );
      }
   }

 private:
   [[noreturn]] static void refuse( const char *name, const char *allowed ) {
      throw ControlError( Kind::usage, std::string( name ) + " must be " + allowed );
   }

   const Json &all_;
};

/// The rows of an answer that hold on to the objects which they are read from.
struct Control::Walk {
   PathAccess::Rows rows;
};

/// A client that watches, from before one start of the programmer to after the next.
class Control::Watch : public Watching {
 public:
   Watch( Control &control, std::string path, Filter filter, Emit emit )
         : Watching( control.agent_.clock(), std::move( filter ), std::move( emit ) ),
           control_( control ), path_( std::move( path ) ) {
      lookAgain();
      control_.watches_.push_back( this );
   }
   ~Watch() override { control_.watches_.remove( this ); }

   void lookAgain() { objectsAre( objectsIn( control_.roots() ) ); }
   /// Goes on watching what outlives the programmer.
   void letGo() { objectsAre( objectsIn( control_.inputs() ) ); }

 private:
   Objects objectsIn( const Roots &all ) const;

   Control &control_;
   const std::string path_; // of an object; empty: of everything
};

Control::Control( Agent &agent, Tracing &tracing, Reload reload )
      : agent_( agent ), tracing_( tracing ), reload_( std::move( reload ) ),
        vlanSets_( Quor::genericIf( agent_.programming().vlanSets() ), *this ) {
   agent_.programming().onRestart = [this]( bool isOver ) { isOver ? lookAgain() : letGo(); };
}

Control::~Control() {
   agent_.programming().onRestart = []( bool ) {};
}

/// Whoever still held the programmer or the helper would keep it, and the hardware with it.
void Control::letGo() {
   for( const std::weak_ptr<Walk> &walk : walks_ ) {
      if( const auto open = walk.lock() ) {
         open->rows = nullptr;
      }
   }
   walks_.clear();
   for( Watch *const watch : watches_ ) {
      watch->letGo();
   }
}

/// An interface has come or gone: its set is an object of its own.
void Control::onAttribute( const Quor::Attribute &, const Ptr<GenericIf> & ) {
   lookAgain();
}

void Control::lookAgain() {
   for( Watch *const watch : watches_ ) {
      watch->lookAgain();
   }
}

Roots Control::inputs() const {
   const Programming &programming = agent_.programming();
   return { { "virtualRouterMacStatus", Quor::genericIf( programming.status() ) },
            { "intfVlanIdSetTable", Quor::genericIf( programming.vlanSets() ) },
            { "vrrpHwStatus", Quor::genericIf( programming.hardwareStatus() ) },
            { "virtualRouterMacTable", byItsType( programming.table() ) } };
}

Roots Control::roots() const {
   const Programming &programming = agent_.programming();
   Roots roots = inputs();
   roots["vrrpHelper"] = byItsType( programming.helper() );
   roots["libSm"] = byItsType( programming.libSm() );
   roots["vrrpSm"] = byItsType( programming.vrrpSm() );
   std::erase_if( roots, []( const auto &root ) { return !root.second; } ); // not started yet
   return roots;
}

Answer Control::answer( const std::string &command, const Json &all, const Peer &peer ) {
   const Arguments arguments( all );
   constexpr std::array<std::string_view, 4> changing{ "set", "remove", "call", "reload" };
   if( std::find( changing.begin(), changing.end(), command ) != changing.end() ) {
      needMayChange( command, peer );
      return change( command, arguments );
   }
   if( command == "show" || command.starts_with( "show " ) ) {
      return show( command, arguments );
   }
   if( command == "audit" ) {
      const bool isToRepair = arguments.flag( "repair" );
      if( isToRepair ) {
         needMayChange( "a repair", peer );
      }
      return auditAnswer( agent_, isToRepair );
   }
   Answer answer;
   if( command == "explain" ) {
      answer.result = explain( agent_, { arguments.vlan(), arguments.mac() } );
      return answer;
   }
   if( command == "metrics" ) {
      answer.result["text"] = View( agent_ ).metrics();
      return answer;
   }
   if( command == "list" ) {
      return list( arguments );
   }
   const Permissions nobody( {} ); // reading asks nobody
   const PathAccess access( roots(), nobody );
   try {
      if( command == "get" ) {
         answer.result = { { "path", arguments.text( "path" ) },
                           { "value", access.get( arguments.text( "path" ) ) } };
         return answer;
      }
      if( command == "complete" ) {
         answer.result["completions"] = access.completions( arguments.text( "prefix" ) );
         return answer;
      }
   } catch( const PathError &error ) {
      throw ControlError( Kind::no, error.what() );
   }
   refuseUnknown( command );
}

Answer Control::show( const std::string &command, const Arguments &arguments ) const {
   const View view( agent_ );
   if( command == "show" ) {
      Answer answer;
      answer.result = view.summary();
      return answer;
   }
   if( command == "show pairs" ) {
      PairFilter filter;
      if( arguments.has( "vlan" ) ) {
         filter.vlan = arguments.vlan();
      }
      if( arguments.has( "mac" ) ) {
         filter.mac = arguments.mac();
      }
      if( arguments.has( "interface" ) ) {
         filter.interface = arguments.interface();
      }
      return view.pairs( filter );
   }
   if( command == "show waiting" ) {
      return view.waiting();
   }
   if( command == "show slots" ) {
      return view.slots();
   }
   if( command == "show interfaces" ) {
      return view.interfaces();
   }
   refuseUnknown( command );
}

Answer Control::list( const Arguments &arguments ) {
   const Permissions nobody( {} );
   const auto walk = std::make_shared<Walk>();
   try {
      walk->rows = PathAccess( roots(), nobody ).list( arguments.textOr( "path", "" ) );
   } catch( const PathError &error ) {
      throw ControlError( Kind::no, error.what() );
   }
   std::erase_if( walks_, []( const auto &one ) { return one.expired(); } );
   walks_.push_back( walk );
   Answer answer;
   answer.rowsName = "members";
   answer.nextRow = [walk]( Json &row ) {
      if( !walk->rows ) {
         throw ControlError( Kind::failed, "the programmer was started anew meanwhile: ask again" );
      }
      return walk->rows( row );
   };
   return answer;
}

Answer Control::change( const std::string &command, const Arguments &arguments ) {
   Answer answer;
   if( command == "reload" ) {
      const Agent::Reloaded done = reload_();
      answer.result = { { "calls", done.calls }, { "changes", done.changes } };
      return answer;
   }
   const Programming &programming = agent_.programming();
   if( !programming.isRunning() ) {
      throw ControlError( Kind::failed, "the agent is not ready: it does not know the kernel's "
                                        "state yet" );
   }
   const Permissions permissions( { programming.status(), programming.vlanSets(),
                                    programming.table(), programming.libSm(), programming.vrrpSm(),
                                    programming.helper() } );
   const PathAccess access( roots(), permissions );
   const std::string path = arguments.text( "path" );
   try {
      if( command == "set" ) {
         access.set( path, arguments.text( "value" ) );
      } else if( command == "remove" ) {
         answer.result["value"] = access.remove( path );
      } else {
         answer.result["value"] = access.call( path, arguments.texts( "arguments" ) );
      }
   } catch( const PathError &error ) {
      throw ControlError( error.isRefusal() ? Kind::refused : Kind::no, error.what() );
   }
   agent_.work();
   return answer;
}

Watching::Objects Control::Watch::objectsIn( const Roots &all ) const {
   Watching::Objects objects;
   if( path_.empty() ) {
      objects.insert( all.begin(), all.end() );
      for( const auto &entry : control_.agent_.programming().vlanSets()->sviVlanSets() ) {
         objects["intfVlanIdSetTable/sviVlanSet[" + valueToStrep( entry.key() ) + "]"] =
               Quor::genericIf( entry.value() );
      }
      return objects;
   }
   try {
      const Path at( all, path_ );
      objects[path_] = at.attribute() ? at.value() : at.object();
   } catch( const PathError & ) { // gone, as it may be after a new start
   }
   return objects;
}

std::unique_ptr<Following> Control::follow( const std::string &command, const Json &all,
                                            const Peer &peer, Emit emit ) {
   const Arguments arguments( all );
   if( command == "trace" ) {
      needMayChange( command, peer );
      try {
         const std::string facility = arguments.text( "facility" );
         return tracing_.follow( facility, arguments.text( "levels" ), std::move( emit ) );
      } catch( const Quor::RangeException &error ) {
         throw ControlError( Kind::usage, error.what() );
      }
   }
   if( command != "watch" ) {
      return nullptr;
   }
   std::string path = arguments.textOr( "path", "" );
   Watching::Filter filter;
   if( !path.empty() ) {
      const Roots begin = roots();
      try {
         const Path at( begin, path );
         if( at.isFunction() ) {
            throw ControlError( Kind::no, path + " is a function, which never changes" );
         }
         const bool isOne = at.attribute() && ( !at.isCollection() || at.key() );
         const bool isObject =
               !at.attribute() || ( isOne && at.attribute()->type()->isEntity && at.value() );
         // An object is watched itself; what else has an attribute, in its owner. A member may
         // still have to come.
         if( !isObject ) {
            filter.attribute = at.attribute()->name;
            filter.key = at.key() ? shortText( at.key() ) : "";
            path.resize( path.rfind( "/" + filter.attribute ) );
         }
      } catch( const PathError &error ) {
         throw ControlError( Kind::no, error.what() );
      }
   }
   auto watch = std::make_unique<Watch>( *this, path, filter, std::move( emit ) );
   if( watch->watched() == 0 ) {
      throw ControlError( Kind::no, path + " tells nobody of its changes; what it holds may: see "
                                           "list" );
   }
   return watch;
}

} // namespace OrloAgent
