// orlo-agent: the command line.
#include "agent/Agent.h"
#include "agent/Configuration.h"
#include "agent/EventLoop.h"
#include "agent/HardwareWaiting.h"
#include "agent/Privileges.h"
#include "agent/Service.h"
#include "agent/StandardOutput.h"
#include "agent/control/Control.h"
#include "agent/control/ControlServer.h"
#include "agent/control/MetricsServer.h"
#include "agent/control/View.h"
#include "agent/input/Rtnetlink.h"
#include "agent/main/Visit.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <optional>
#include <string>
#include <unistd.h>

namespace {

using namespace OrloAgent;

constexpr int kClean = 0;
constexpr int kCannotRun = 1;
constexpr int kBadInput = 2;

void complain( const std::string &what ) {
   std::cerr << "orlo-agent: " << what << std::endl;
}

/// What the command line asks for.
struct Wanted {
   std::string file;
   bool checkOnly = false;
   bool audit = false;
   bool flush = false;
   std::vector<std::string> traces; ///< FACILITY=LEVELS each
};

/// The running agent with everything that people and programs reach it by.
class Process {
 public:
   Process( const Configuration &configuration, const Wanted &wanted )
         : privileges_( configuration, Privileges::Use::run ), file_( wanted.file ),
           kernel_( loop_ ), tracing_( &systemTime ),
           agent_( configuration, kernel_, std::cout, std::cerr, &systemTime, Service::journal() ),
           control_( agent_, tracing_, [this] { return reloadForClient(); } ) {
      for( const std::string &trace : wanted.traces ) {
         const std::size_t equals = trace.find( '=' );
         tracing_.levelsAre( trace.substr( 0, equals ),
                             equals == std::string::npos ? "all" : trace.substr( equals + 1 ) );
      }
      serve( configuration.control );
      privileges_.startIsOver();
      complain( "capabilities kept: " + privileges_.text() );
      if( faccessat( AT_FDCWD, file_.c_str(), R_OK, AT_EACCESS ) != 0 ) {
         complain( file_ + " cannot be read by this user any more: a reload will be refused" );
      }
      agent_.onReady = [this] { Service::ready( status() ); };
      agent_.programming().onWait = [this]( int fd, Instant next ) {
         hardware_.waitFor( fd, next );
      };
   }

   int run() {
      const auto onTerminate = loop_.onSignal( SIGTERM, [this] { loop_.stop(); } );
      const auto onInterrupt = loop_.onSignal( SIGINT, [this] { loop_.stop(); } );
      const auto onUser1 = loop_.onSignal( SIGUSR1, [this] { agent_.printTable(); } );
      const auto onHangUp = loop_.onSignal( SIGHUP, [this] { reloadForSignal(); } );
      loop_.keepWatchdog();
      agent_.start();
      loop_.run();
      Service::stopping();
      if( isLost_ ) {
         return kCannotRun;
      }
      agent_.printTable();
      agent_.stop();
      return kClean;
   }

 private:
   /// Routing does not depend on being looked at: what cannot be served is said, and the agent
   /// runs.
   void serve( const ControlConfiguration &control ) {
      try {
         server_.emplace( loop_, control_,
                          ControlServer::Settings{ .path = control.path,
                                                   .group = control.group,
                                                   .notice = &complain } );
      } catch( const std::exception &error ) {
         complain( std::string( error.what() ) + "; orloctl cannot reach this agent" );
      }
      if( control.metricsPort == 0 ) {
         return;
      }
      const bool isV6 = control.metricsAddress.find( ':' ) != std::string::npos;
      const std::string address =
            ( isV6 ? "[" + control.metricsAddress + "]" : control.metricsAddress ) + ":" +
            std::to_string( control.metricsPort );
      try {
         metrics_.emplace( loop_, LoopbackAddress( address ),
                           [this] { return View( agent_ ).metrics(); } );
      } catch( const std::exception &error ) {
         complain( "cannot serve metrics on " + address + ": " + error.what() );
      }
   }

   std::string status() const {
      const nlohmann::json all = View( agent_ ).summary();
      return all["pairs"]["programmed"].dump() + " of " + all["pairs"]["wanted"].dump() +
             " pairs programmed, " + all["pairs"]["waiting"].dump() + " waiting";
   }

   Agent::Reloaded reload() {
      if( !agent_.isReady() ) { // the start-up pass will say when it is
         return agent_.reload( readConfigurationFile( file_ ) );
      }
      Service::reloading();
      struct Over {
         ~Over() { Service::ready( process.status() ); }
         const Process &process;
      } const over{ *this };
      return agent_.reload( readConfigurationFile( file_ ) );
   }

   void reloadForSignal() {
      try {
         reload();
      } catch( const std::exception &error ) {
         complain( whyNot( error ) );
      }
   }

   Agent::Reloaded reloadForClient() {
      try {
         return reload();
      } catch( const std::exception &error ) {
         throw ControlError( ControlError::Kind::failed, whyNot( error ) );
      }
   }

   /// Only hardware that is lost ends the agent: whoever supervises it starts it again.
   std::string whyNot( const std::exception &error ) {
      std::string what = error.what();
      if( dynamic_cast<const ConfigurationError *>( &error ) ) {
         return what + "; nothing has been changed";
      }
      if( dynamic_cast<const ReloadError *>( &error ) ) {
         return file_ + ": " + what;
      }
      if( !agent_.programming().helper() ) {
         isLost_ = true;
         loop_.stop();
         return what;
      }
      return what + "; going on with the number of indexes before";
   }

   Privileges privileges_; // first: before anything is loaded or heard
   const std::string file_;
   bool isLost_ = false; // the hardware
   EventLoop loop_;
   // Whoever reads them may stop to do so: routing does not wait for that.
   StandardOutput out_{ loop_, std::cout, STDOUT_FILENO };
   StandardOutput err_{ loop_, std::cerr, STDERR_FILENO };
   Rtnetlink kernel_;
   Tracing tracing_;
   HardwareWaiting hardware_{ loop_, &steadyTime, [this] { agent_.work(); } };
   Agent agent_;
   Control control_;
   std::optional<ControlServer> server_;
   std::optional<MetricsServer> metrics_;
};

} // namespace

int main( int argc, char **argv ) {
   CLI::App app( "Programs the virtual router MACs of the VRRP daemons on this switch into its "
                 "hardware table.\nPrints every change; SIGUSR1 prints the table, SIGHUP reads the "
                 "configuration again.\nWhat is programmed stays when it ends. orloctl looks into "
                 "it while it runs.",
                 "orlo-agent" );
   Wanted wanted;
   app.add_option( "CONFIG.json", wanted.file, "The configuration file" )->required();
   CLI::App *const only = app.add_option_group( "Instead of running" );
   only->require_option( 0, 1 );
   only->add_flag( "--check", wanted.checkOnly, "Only check the configuration, start nothing" );
   only->add_flag(
         "--audit", wanted.audit,
         "Compare what is wanted with what the hardware holds; asks the running agent, if "
         "there is one" );
   only->add_flag( "--flush", wanted.flush,
                   "Remove what is programmed from the hardware; no agent may run" );
   app.add_option( "--trace", wanted.traces,
                   "FACILITY=LEVELS, such as OrloVrrp=0-4,8: traces to standard error" );
   app.footer( "Exit status: 0 clean stop, 1 cannot run, 2 bad configuration or usage.\n"
               "--audit: 0 no difference, 1 differences, 3 the running agent does not answer, "
               "4 no audit. "
               "--flush: 1 the hardware keeps something." );
   try {
      app.parse( argc, argv );
   } catch( const CLI::ParseError &error ) {
      if( error.get_exit_code() == 0 ) { // --help
         return app.exit( error );
      }
      complain( std::string( error.what() ) + "; try orlo-agent --help" );
      return kBadInput;
   }

   // A line at a time also into a pipe; a reader that goes away does not take the agent with it.
   std::setvbuf( stdout, nullptr, _IOLBF, BUFSIZ );
   std::signal( SIGPIPE, SIG_IGN );
   try {
      const Configuration configuration = readConfigurationFile( wanted.file );
      if( wanted.checkOnly ) {
         std::cout << wanted.file << ": good: " << summary( configuration ) << '\n';
         return kClean;
      }
      if( wanted.audit ) {
         return Visit::audit( configuration );
      }
      if( wanted.flush ) {
         return Visit::flush( configuration );
      }
      return Process( configuration, wanted ).run();
   } catch( const ConfigurationError &error ) {
      complain( error.what() );
      return kBadInput;
   } catch( const Quor::RangeException &error ) { // in --trace
      complain( std::string( error.what() ) + "; try orlo-agent --help" );
      return kBadInput;
   } catch( const std::exception &error ) {
      complain( error.what() );
      return kCannotRun;
   }
}
