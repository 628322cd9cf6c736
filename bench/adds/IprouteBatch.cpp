#include "bench/adds/IprouteBatch.h"

#include <cerrno>
#include <fstream>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace OrloBench {

namespace {

constexpr char kProgram[] = "bridge"; // of the package iproute2

void write( const Job &job, const std::string &file, const std::string &command ) {
   std::ofstream out( job.folder + file );
   for( const Pair &pair : job.pairs ) {
      out << "fdb " << command << ' ' << valueToStrep( pair.mac() ) << " dev " << kBridge
          << " self permanent vlan " << pair.vlanId().number() << '\n';
   }
   if( !out.flush() ) {
      throw std::runtime_error( "cannot write a file of commands in " + job.folder );
   }
}

} // namespace

IprouteBatch::IprouteBatch( const Job &job ) : job_( job ) {
   write( job, "/add", "replace" );
   write( job, "/remove", "del" );
}

void IprouteBatch::run( const char *file ) const {
   std::string program = kProgram;
   std::string option = "-batch";
   std::string path = job_.folder + file;
   char *const arguments[] = { program.data(), option.data(), path.data(), nullptr };
   pid_t child = 0;
   const int error = posix_spawnp( &child, kProgram, nullptr, nullptr, arguments, environ );
   if( error != 0 ) {
      throw std::system_error( error, std::generic_category(), "cannot run bridge(8)" );
   }
   int status = 0;
   while( waitpid( child, &status, 0 ) < 0 && errno == EINTR ) {
   }
   if( status != 0 ) {
      throw std::runtime_error( "bridge(8) has failed" );
   }
}

} // namespace OrloBench
