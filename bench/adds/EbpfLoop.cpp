#include "bench/adds/EbpfLoop.h"

#include <algorithm>
#include <bpf/bpf.h>
#include <cerrno>
#include <net/if.h>
#include <system_error>

namespace OrloBench {

namespace {

using Quor::U32;

void check( int result, const char *doing ) {
   if( result != 0 ) {
      throw std::system_error( -result, std::generic_category(), doing );
   }
}

} // namespace

EbpfLoop::EbpfLoop( const Job &job, std::size_t batch )
      : job_( job ), batch_( batch ), svi_( if_nametoindex( kSvi ) ),
        program_( static_cast<U32>( job.pairs.size() ) ) {
   program_.load();
}

RouterMacKey EbpfLoop::key( std::size_t i ) const {
   RouterMacKey key{ job_.pairs[i].vlanId().number(), {} };
   const Pelmo::EthAddr::Octets octets = job_.pairs[i].mac().octets();
   std::copy( octets.begin(), octets.end(), key.mac );
   return key;
}

RouterMacValue EbpfLoop::value( std::size_t i ) const {
   return { static_cast<U32>( i ), svi_ };
}

void EbpfLoop::add() {
   if( batch_ == 1 ) {
      for( std::size_t i = 0; i < job_.pairs.size(); ++i ) {
         const RouterMacKey key = this->key( i );
         const RouterMacValue value = this->value( i );
         check( bpf_map_update_elem( table(), &key, &value, BPF_ANY ), "update" );
      }
      return;
   }
   std::vector<RouterMacKey> keys( batch_ );
   std::vector<RouterMacValue> values( batch_ );
   for( std::size_t done = 0; done < job_.pairs.size(); done += batch_ ) {
      U32 count = static_cast<U32>( std::min( batch_, job_.pairs.size() - done ) );
      for( std::size_t i = 0; i < count; ++i ) {
         keys[i] = key( done + i );
         values[i] = value( done + i );
      }
      check( bpf_map_update_batch( table(), keys.data(), values.data(), &count, nullptr ),
             "update" );
   }
}

void EbpfLoop::remove() {
   if( batch_ == 1 ) {
      for( std::size_t i = 0; i < job_.pairs.size(); ++i ) {
         const RouterMacKey key = this->key( i );
         check( bpf_map_delete_elem( table(), &key ), "delete" );
      }
      return;
   }
   std::vector<RouterMacKey> keys( batch_ );
   for( std::size_t done = 0; done < job_.pairs.size(); done += batch_ ) {
      U32 count = static_cast<U32>( std::min( batch_, job_.pairs.size() - done ) );
      for( std::size_t i = 0; i < count; ++i ) {
         keys[i] = key( done + i );
      }
      check( bpf_map_delete_batch( table(), keys.data(), &count, nullptr ), "delete" );
   }
}

std::vector<Pair> EbpfLoop::held() {
   std::vector<Pair> pairs;
   for( std::size_t i = 0; i < job_.pairs.size(); ++i ) {
      const RouterMacKey key = this->key( i );
      RouterMacValue found{};
      if( bpf_map_lookup_elem( table(), &key, &found ) == 0 && found.index == i ) {
         pairs.push_back( job_.pairs[i] );
      }
   }
   return pairs;
}

} // namespace OrloBench
