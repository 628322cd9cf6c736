// Everything that happens in a history, as one number and the last few lines of it.
#ifndef TESTS_SIMULATOR_TRACE_H
#define TESTS_SIMULATOR_TRACE_H

#include "quor/Types.h"

#include <cstdlib>
#include <deque>
#include <fstream>
#include <span>
#include <string>
#include <utility>

namespace Simulator {

/// Two runs are the same when their digests are: it is made of every byte that the kernel sent,
/// every write to the hardware, and every word that the agent said, in their order (FNV-1a).
class Trace {
 public:
   void bytes( std::span<const std::byte> all ) {
      for( const std::byte one : all ) {
         add( static_cast<unsigned char>( one ) );
      }
   }
   /// Left out of every line: a name that is another one in each run.
   void hides( std::string name ) { hidden_ = std::move( name ); }
   void line( std::string text ) {
      for( std::size_t at; !hidden_.empty() && ( at = text.find( hidden_ ) ) != text.npos; ) {
         text.erase( at, hidden_.size() );
      }
      if( const char *const path = std::getenv( "ORLO_SIM_TRACE" ) ) {
         std::ofstream( path, std::ios::app ) << text << '\n';
      }
      for( const char one : text ) {
         add( static_cast<unsigned char>( one ) );
      }
      add( '\n' );
      lines_.push_back( std::move( text ) );
      if( lines_.size() > kLines ) {
         lines_.pop_front();
      }
   }
   Quor::U64 digest() const noexcept { return digest_; }
   std::string lastLines() const {
      std::string all;
      for( const std::string &one : lines_ ) {
         all += "   " + one + "\n";
      }
      return all;
   }

 private:
   static constexpr std::size_t kLines = 120;

   void add( unsigned char byte ) { digest_ = ( digest_ ^ byte ) * 0x100000001b3; }

   std::string hidden_;
   Quor::U64 digest_ = 0xcbf29ce484222325;
   std::deque<std::string> lines_;
};

} // namespace Simulator

#endif
