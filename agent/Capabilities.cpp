#include "agent/Capabilities.h"

#include <cerrno>
#include <memory>
#include <sys/capability.h>
#include <system_error>

namespace OrloAgent {

namespace {

struct Free {
   void operator()( void *made ) const noexcept { cap_free( made ); }
};
using State = std::unique_ptr<std::remove_pointer_t<cap_t>, Free>;

[[noreturn]] void fail( const char *doing ) {
   throw std::system_error( errno, std::generic_category(),
                            std::string( "cannot " ) + doing + " the capabilities" );
}

} // namespace

Capabilities::Capabilities( std::initializer_list<int> numbers ) {
   for( const int number : numbers ) {
      bits_ |= Quor::U64{ 1 } << number;
   }
}

Capabilities Capabilities::of( Quor::U64 bits ) {
   Capabilities made;
   made.bits_ = bits;
   return made;
}

Capabilities Capabilities::all() {
   return of( ( Quor::U64{ 1 } << cap_max_bits() ) - 1 );
}

Capabilities Capabilities::held() {
   const State state( cap_get_proc() );
   if( !state ) {
      fail( "read" );
   }
   Capabilities found;
   for( cap_value_t number = 0; number < cap_max_bits(); ++number ) {
      cap_flag_value_t value = CAP_CLEAR;
      if( cap_get_flag( state.get(), number, CAP_PERMITTED, &value ) == 0 && value == CAP_SET ) {
         found = found.with( { number } );
      }
   }
   return found;
}

std::optional<Capabilities> Capabilities::named( const std::string &name ) {
   cap_value_t number = 0;
   // It takes numbers as well.
   if( name.find_first_of( "0123456789" ) == 0 || cap_from_name( name.c_str(), &number ) != 0 ) {
      return std::nullopt;
   }
   return Capabilities{ number };
}

std::string Capabilities::text() const {
   std::string text;
   for( int number = 0; number < cap_max_bits(); ++number ) {
      if( !has( number ) ) {
         continue;
      }
      const std::unique_ptr<char, Free> name( cap_to_name( number ) );
      text += text.empty() ? "" : " ";
      for( const char *at = name ? name.get() : ""; *at != '\0'; ++at ) {
         text += static_cast<char>( *at >= 'a' && *at <= 'z' ? *at - 'a' + 'A' : *at );
      }
   }
   return text.empty() ? "none" : text;
}

void Capabilities::keepOnly( const Capabilities &kept, const Capabilities &bounding ) {
   for( cap_value_t number = 0; number < cap_max_bits(); ++number ) {
      if( !bounding.has( number ) && cap_get_bound( number ) == CAP_SET ) {
         cap_drop_bound( number ); // refused to whoever is not privileged, and has nothing of it
      }
   }
   cap_reset_ambient();
   const State state( cap_init() );
   if( !state ) {
      fail( "drop" );
   }
   for( cap_value_t number = 0; number < cap_max_bits(); ++number ) {
      if( kept.has( number ) ) {
         cap_set_flag( state.get(), CAP_PERMITTED, 1, &number, CAP_SET );
         cap_set_flag( state.get(), CAP_EFFECTIVE, 1, &number, CAP_SET );
      }
   }
   if( cap_set_proc( state.get() ) == 0 ) {
      return;
   }
   const int error = errno;
   if( held() != kept ) { // a service's system call filter may forbid it to one that has no more
      errno = error;
      fail( "drop" );
   }
}

} // namespace OrloAgent
