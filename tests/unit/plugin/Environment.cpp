#include "tests/unit/plugin/Environment.h"

#include <cstdlib>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace {

std::vector<std::string> *names = nullptr; // none is recorded until somebody asks

}

namespace PluginTests {

std::vector<std::string> lookedUp() {
   static std::vector<std::string> recorded;
   names = &recorded;
   return std::exchange( recorded, {} );
}

} // namespace PluginTests

/// Instead of the C library's, for all shared objects of the process.
extern "C" char *getenv( const char *name ) noexcept {
   if( names ) {
      names->emplace_back( name );
   }
   const std::string_view wanted( name );
   for( char **at = environ; at && *at; ++at ) {
      if( std::string_view( *at ).starts_with( wanted ) && ( *at )[wanted.size()] == '=' ) {
         return *at + wanted.size() + 1;
      }
   }
   return nullptr;
}
