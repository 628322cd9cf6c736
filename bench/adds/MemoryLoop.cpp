#include "bench/adds/MemoryLoop.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <system_error>

namespace OrloBench {

namespace {

using Quor::U16;
using Quor::U64;

void store( U64 &word, U64 value ) {
   std::atomic_ref<U64>( word ).store( value, std::memory_order_release );
}

} // namespace

MemoryLoop::MemoryLoop( const Job &job )
      : job_( job ),
        file_( open( ( job.folder + "/words" ).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600 ) ) {
   const int error = posix_fallocate( file_.get(), 0, static_cast<off_t>( bytes() ) );
   void *const memory =
         mmap( nullptr, bytes(), PROT_READ | PROT_WRITE, MAP_SHARED, file_.get(), 0 );
   if( error != 0 || memory == MAP_FAILED ) {
      throw std::system_error( error != 0 ? error : errno, std::generic_category(),
                               "cannot map a file in " + job.folder );
   }
   words_ = static_cast<U64 *>( memory );
}

MemoryLoop::~MemoryLoop() {
   munmap( words_, bytes() );
}

void MemoryLoop::add() {
   for( std::size_t i = 0; i < job_.pairs.size(); ++i ) {
      const Pair &pair = job_.pairs[i];
      store( words_[i], ( U64{ pair.vlanId().number() } << 48 ) | pair.mac().number() );
   }
}

void MemoryLoop::remove() {
   for( std::size_t i = 0; i < job_.pairs.size(); ++i ) {
      store( words_[i], 0 );
   }
}

std::vector<Pair> MemoryLoop::held() {
   std::vector<Pair> pairs;
   for( std::size_t i = 0; i < job_.pairs.size(); ++i ) {
      if( const U64 word = words_[i] ) {
         pairs.emplace_back( Bridging::VlanId( static_cast<U16>( word >> 48 ) ),
                             Pelmo::EthAddr( static_cast<U16>( word >> 32 ),
                                             static_cast<U16>( word >> 16 ),
                                             static_cast<U16>( word ) ) );
      }
   }
   return pairs;
}

} // namespace OrloBench
