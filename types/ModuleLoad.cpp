// What happens when the plug-in is loaded, and when it is unloaded.
#include "quor/Introspection.h"
#include "types/Modules.h"

#include <ios>

namespace {

/// A module's place in the registry, for as long as the plug-in is loaded. Types mention each other
/// by name: what is registered first may mention what is registered later.
class Module {
 public:
   Module( void ( *registerTypes )(), std::span<const Quor::Type *const> types ) : types_( types ) {
      registerTypes();
   }
   ~Module() {
      for( const Quor::Type *const type : types_ ) {
         Quor::IntrospectionReactor::instance().typeDel( type );
      }
   }
   Module( const Module & ) = delete;
   Module &operator=( const Module & ) = delete;

 private:
   const std::ios_base::Init streams_; // a module may write to the standard streams from here on
   const std::span<const Quor::Type *const> types_;
};

namespace Reflector = Orlo::VrrpPrivateVlanReflectorLib;

// In the order in which they stand here.
const Module helper( &OrloHelper::quorInitOrloVrrpHelper, OrloHelper::orloVrrpHelperTypes() );
const Module programmer( &Orlo::quorInitOrloVrrpSm, Orlo::orloVrrpSmTypes() );
const Module reflector( &Reflector::quorInitOrloVrrpPrivateVlanReflectorLib,
                        Reflector::orloVrrpPrivateVlanReflectorLibTypes() );

} // namespace
