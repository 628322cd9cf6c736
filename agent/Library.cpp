#include "agent/Library.h"

#include <dlfcn.h>

namespace OrloAgent {

namespace {

void *opened( const std::string &path, const std::string &what, const std::string &advice ) {
   const auto refuse = [&]( const std::string &why ) {
      throw LibraryError( "cannot load " + what + " " + path + ": " + why + "; " + advice );
   };
   try {
      void *const handle = dlopen( path.c_str(), RTLD_NOW | RTLD_LOCAL );
      if( !handle ) {
         refuse( dlerror() );
      }
      return handle;
   } catch( const Quor::Exception &error ) { // out of what it does when it is loaded
      refuse( std::string( "its start-up failed: " ) + error.what() );
   }
   return nullptr;
}

} // namespace

Library::Library( std::string path, const std::string &what, const std::string &advice )
      : path_( std::move( path ) ), handle_( opened( path_, what, advice ) ) {}

Library::~Library() {
   dlclose( handle_ );
}

void *Library::symbol( const char *name ) const {
   return dlsym( handle_, name );
}

PluginLibrary::PluginLibrary( const std::string &path )
      : library_( path, "the plug-in", "is the path in \"plugin\" of the configuration right?" ),
        plugin_( static_cast<const Orlo::Plugin *>( library_.symbol( "orloVrrpPlugin" ) ) ) {
   if( !plugin_ ) {
      throw LibraryError( path + " is not the plug-in: it has no orloVrrpPlugin; is the path in "
                                 "\"plugin\" of the configuration right?" );
   }
   if( plugin_->abi != Orlo::Plugin::kAbi ) {
      throw LibraryError( "the plug-in " + path + " is of another version: it is " +
                          plugin_->version + " and its interface is " +
                          std::to_string( plugin_->abi ) + ", this agent needs " +
                          std::to_string( Orlo::Plugin::kAbi ) +
                          "; install the plug-in that belongs to this agent" );
   }
}

HelperLibrary::HelperLibrary( const std::string &path )
      : library_( path, "the helper module",
                  "is the hardware in the configuration right, and was the module built for this "
                  "version?" ),
        new_( reinterpret_cast<decltype( new_ )>( library_.symbol( "orloHelperNew" ) ) ) {
   if( !new_ ) {
      throw LibraryError( path + " is not a helper module: it has no orloHelperNew" );
   }
}

Quor::Ptr<OrloHelper::VrrpSmHelper>
HelperLibrary::make( const OrloHelper::HelperSettings &settings ) const {
   OrloHelper::VrrpSmHelper *made = nullptr;
   try {
      made = new_( settings );
   } catch( const std::exception &error ) {
      throw LibraryError( error.what() );
   } catch( ... ) {
      throw LibraryError( "the helper module " + library_.path() +
                          " threw something that is no exception" );
   }
   if( !made ) {
      throw LibraryError( "the helper module " + library_.path() + " made no helper" );
   }
   return Quor::Ptr<OrloHelper::VrrpSmHelper>::adopt( made );
}

} // namespace OrloAgent
