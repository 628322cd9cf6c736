#include "agent/Library.h"

#include <cstdlib>
#include <dlfcn.h>
#include <exception>
#include <iostream>

namespace OrloAgent {

namespace {

/// What a library does when it is loaded may throw, and nothing that is thrown gets out of
/// dlopen(): the process ends there. While this lives it does so with a reason, and with the status
/// of an agent that cannot run.
class LoadingEnds {
 public:
   explicit LoadingEnds( const std::string &what ) : before_( std::set_terminate( &end ) ) {
      what_ = what;
   }
   ~LoadingEnds() { std::set_terminate( before_ ); }
   LoadingEnds( const LoadingEnds & ) = delete;
   LoadingEnds &operator=( const LoadingEnds & ) = delete;

 private:
   [[noreturn]] static void end() noexcept {
      std::string why;
      try {
         if( const std::exception_ptr thrown = std::current_exception() ) {
            std::rethrow_exception( thrown );
         }
      } catch( const std::exception &error ) {
         why = std::string( ": " ) + error.what();
      } catch( ... ) { // whatever it is, it has no words
      }
      std::cerr << "orlo-agent: cannot load " << what_ << ": its start-up failed" << why
                << std::endl;
      std::_Exit( 1 );
   }

   static inline std::string what_;
   const std::terminate_handler before_;
};

void *opened( const std::string &path, const std::string &what, const std::string &advice ) {
   const std::string named = what + " " + path;
   const LoadingEnds ends( named );
   void *const handle = dlopen( path.c_str(), RTLD_NOW | RTLD_LOCAL );
   if( !handle ) {
      throw LibraryError( "cannot load " + named + ": " + dlerror() + "; " + advice );
   }
   return handle;
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
      throw LibraryError( "the plug-in " + path + " is of another version: its interface is " +
                          std::to_string( plugin_->abi ) + " (" + plugin_->version +
                          "), this agent needs " + std::to_string( Orlo::Plugin::kAbi ) +
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

// Asked of the framework's base: the agent is not linked against the helper's own class.

const OrloHelper::HardwareView *viewOf( const Quor::Ptr<OrloHelper::VrrpSmHelper> &helper ) {
   Quor::PtrInterface *const base = helper.get();
   return dynamic_cast<const OrloHelper::HardwareView *>( base );
}

OrloHelper::HardwareWork *workOf( const Quor::Ptr<OrloHelper::VrrpSmHelper> &helper ) {
   Quor::PtrInterface *const base = helper.get();
   return dynamic_cast<OrloHelper::HardwareWork *>( base );
}

} // namespace OrloAgent
