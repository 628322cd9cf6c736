#include "agent/main/Visit.h"

#include "agent/Hardware.h"
#include "agent/Privileges.h"
#include "agent/Text.h"
#include "agent/control/AuditAnswer.h"
#include "agent/input/KernelReading.h"
#include "agent/input/Rtnetlink.h"
#include "ctl/Connection.h"
#include "ctl/Failure.h"
#include "ctl/render/RenderAudit.h"

#include <ctime>
#include <iostream>
#include <unistd.h>

namespace OrloAgent::Visit {

namespace {

constexpr std::chrono::seconds kPatience{ 5 }; // with the kernel, and with hardware that refuses
constexpr double kAnswerSeconds = 30;

void complain( const std::string &what ) {
   std::cerr << "orlo-agent: " + what + "\n" << std::flush;
}

int show( const nlohmann::json &result ) {
   const OrloCtl::Look look{ isatty( STDOUT_FILENO ) == 1, std::time( nullptr ) };
   std::cout << OrloCtl::renderAudit( result, look ) << std::flush;
   return OrloCtl::statusOfAudit( result );
}

int auditAlone( const Configuration &configuration ) {
   EventLoop loop;
   Rtnetlink kernel( loop );
   const Hardware hardware( configuration, Hardware::Use::look, &complain );
   const std::vector<Verdict> verdicts =
         readKernel( loop, kernel, namesOf( configuration ), kPatience );
   const Audit audit = hardware.audit( verdicts );
   std::cout << "no agent answers at " + configuration.control.path +
                      ": the hardware is held against what the kernel shows\n";
   return show( whole( auditAnswer( audit, configuration.hardware.indexes ) ) );
}

int auditAsked( const Configuration &configuration ) {
   try {
      OrloCtl::Connection connection( configuration.control.path, kAnswerSeconds );
      return show( connection.ask( "audit", nlohmann::json::object() ) );
   } catch( const OrloCtl::NoAgent & ) {
      return auditAlone( configuration );
   } catch( const OrloCtl::Failure &failure ) {
      complain( failure.what() );
      return OrloCtl::failureOfAudit( failure ).status();
   }
}

} // namespace

int audit( const Configuration &configuration ) {
   try {
      const Privileges privileges( configuration, Privileges::Use::look );
      return auditAsked( configuration );
   } catch( const std::exception &error ) {
      complain( error.what() );
      return OrloCtl::Failure::noAudit;
   }
}

int flush( const Configuration &configuration ) {
   const Privileges privileges( configuration, Privileges::Use::change );
   Hardware hardware( configuration, Hardware::Use::change, &complain );
   const Hardware::Flushed flushed = hardware.flush( kPatience );
   std::cout << "flushed: " + counted( flushed.removed, "pair", "pairs" ) +
                      " removed from the hardware\n"
             << std::flush;
   if( flushed.left == 0 ) {
      return 0;
   }
   std::string why;
   for( const auto &[reason, count] : flushed.reasons ) {
      why += ( why.empty() ? ": " : "; " ) + reason +
             ( count == 1 ? "" : " (" + std::to_string( count ) + " times)" );
   }
   complain( "the hardware keeps " + counted( flushed.left, "pair", "pairs" ) + why );
   return 1;
}

} // namespace OrloAgent::Visit
