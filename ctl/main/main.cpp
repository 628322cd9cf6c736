// orloctl: asks the running agent.
#include "ctl/CommandLine.h"
#include "ctl/Failure.h"
#include "ctl/Run.h"
#include "ctl/render/Words.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>

namespace {

int complain( int status, const std::string &what ) {
   std::fprintf( stderr, "orloctl: %s\n", OrloCtl::tamed( what ).c_str() );
   return status;
}

} // namespace

int main( int argc, char **argv ) {
   std::signal( SIGPIPE, SIG_DFL ); // `orloctl show pairs | head` ends quietly, whoever starts it
   try {
      return OrloCtl::run( OrloCtl::CommandLine::read( argc, argv ) );
   } catch( const OrloCtl::Failure &failure ) {
      return complain( failure.status(), failure.what() );
   } catch( const std::exception &error ) {
      return complain( OrloCtl::Failure::no, error.what() );
   }
}
