#include "agent/Service.h"

#include <cstdlib>
#include <ctime>
#include <sys/stat.h>
#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-daemon.h>
#include <systemd/sd-journal.h>
#include <unistd.h>
#include <vector>

namespace OrloAgent::Service {

namespace {

bool isConnectedToJournal() {
   const char *const stream = std::getenv( "JOURNAL_STREAM" );
   struct stat status {};
   return stream && fstat( STDOUT_FILENO, &status ) == 0 &&
          std::to_string( status.st_dev ) + ":" + std::to_string( status.st_ino ) == stream;
}

void send( const std::string &message, const Report::Fields &fields ) {
   std::vector<std::string> texts{ "MESSAGE=" + message, "PRIORITY=" + std::to_string( LOG_INFO ),
                                   "SYSLOG_IDENTIFIER=orlo-agent" };
   for( const auto &[name, value] : fields ) {
      texts.push_back( std::string( "ORLO_" ).append( name ).append( "=" ).append( value ) );
   }
   std::vector<iovec> parts;
   parts.reserve( texts.size() );
   for( std::string &text : texts ) {
      parts.push_back( { text.data(), text.size() } );
   }
   sd_journal_sendv( parts.data(), static_cast<int>( parts.size() ) );
}

} // namespace

void ready( const std::string &status ) {
   sd_notify( 0, ( "READY=1\nSTATUS=" + status ).c_str() );
}

void reloading() {
   timespec now{};
   clock_gettime( CLOCK_MONOTONIC, &now );
   const long long microseconds = now.tv_sec * 1'000'000LL + now.tv_nsec / 1000;
   sd_notify( 0, ( "RELOADING=1\nMONOTONIC_USEC=" + std::to_string( microseconds ) ).c_str() );
}

void stopping() {
   sd_notify( 0, "STOPPING=1" );
}

Report::Journal journal() {
   return isConnectedToJournal() ? &send : Report::Journal();
}

} // namespace OrloAgent::Service
