// A shared object that is loaded while the test runs.
#ifndef TESTS_UNIT_PLUGIN_LIBRARY_H
#define TESTS_UNIT_PLUGIN_LIBRARY_H

#include "OrloVrrpHelper/HelperModule.h"
#include "types/Plugin.h"

#include <dlfcn.h>
#include <fstream>
#include <stdexcept>

namespace PluginTests {

using Quor::Ptr;
using Quor::String;
using Quor::U16;
using Quor::U32;

/// Loaded for as long as it lives, as an agent loads it.
class Library {
 public:
   explicit Library( const char *path ) : handle_( dlopen( path, RTLD_NOW | RTLD_GLOBAL ) ) {
      if( !handle_ ) {
         throw std::runtime_error( dlerror() );
      }
   }
   ~Library() { dlclose( handle_ ); }
   Library( const Library & ) = delete;
   Library &operator=( const Library & ) = delete;

   void *find( const char *symbol ) const { return dlsym( handle_, symbol ); }

   static bool isLoaded( const String &path ) {
      const String name = path.substr( path.rfind( '/' ) + 1 );
      std::ifstream maps( "/proc/self/maps" );
      for( String line; std::getline( maps, line ); ) {
         if( line.find( "/" + name ) != String::npos ) {
            return true;
         }
      }
      return false;
   }

 private:
   void *const handle_;
};

class LoadedPlugin : public Library {
 public:
   LoadedPlugin() : Library( PLUGIN ) {}
   /// The functions that it has told of.
   const Orlo::Plugin &record() const {
      return *static_cast<const Orlo::Plugin *>( find( "orloVrrpPlugin" ) );
   }
};

class LoadedModule : public Library {
 public:
   using Library::Library;
   Ptr<OrloHelper::VrrpSmHelper> helper( const OrloHelper::HelperSettings &settings ) const {
      const auto make = reinterpret_cast<decltype( &orloHelperNew )>( find( "orloHelperNew" ) );
      return Ptr<OrloHelper::VrrpSmHelper>::adopt( make( settings ) );
   }
};

} // namespace PluginTests

#endif
