// Lets user-mode Linux run on processors whose extended registers are larger than it knows.
//
// That kernel gives a process its vector registers back with 2,696 bytes, which is all there was
// before matrix tiles (AMX) came. The machine's kernel takes a whole state or none: with tiles it
// answers EFAULT, and the guest ends at its first program. Preloaded, this completes the state:
// what the guest has saved, and tiles that nobody has used.
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <dlfcn.h>
#include <elf.h>
#include <sys/types.h>
#include <sys/uio.h>

namespace {

using Ptrace = long ( * )( int, ... );

constexpr int getRegisterSet = 0x4204;
constexpr int setRegisterSet = 0x4205;
constexpr std::size_t headerAt = 512;  // which of the components are in the state: one bit each
constexpr std::uint64_t known = 0x2ff; // the components that fit into 2,696 bytes

// The guest's stacks are too small for it; its kernel is one thread at a time.
alignas( std::uint64_t ) char state[65536];

// How large the machine's state is: asked once.
std::size_t stateSize( Ptrace next, pid_t process ) {
   static std::size_t size = 0;
   if( size == 0 ) {
      iovec whole{ state, sizeof state };
      if( next( getRegisterSet, process, NT_X86_XSTATE, &whole ) == 0 ) {
         size = whole.iov_len;
      }
   }
   return size;
}

} // namespace

// Not the declaration of <sys/ptrace.h>: its enum would have to be named, and the C library reads
// the same registers.
extern "C" long ptrace( int request, ... );

extern "C" long ptrace( int request, ... ) {
   va_list more;
   va_start( more, request );
   const pid_t process = va_arg( more, pid_t );
   void *const address = va_arg( more, void * );
   void *const data = va_arg( more, void * );
   va_end( more );

   static const auto next = reinterpret_cast<Ptrace>( dlsym( RTLD_NEXT, "ptrace" ) );
   if( request != setRegisterSet || reinterpret_cast<std::uintptr_t>( address ) != NT_X86_XSTATE ) {
      return next( request, process, address, data );
   }
   const std::size_t size = stateSize( next, process );
   const auto *const given = static_cast<const iovec *>( data );
   if( size <= given->iov_len ) {
      return next( request, process, address, data );
   }
   std::memset( state, 0, size );
   std::memcpy( state, given->iov_base, given->iov_len );
   std::uint64_t components = 0;
   std::memcpy( &components, state + headerAt, sizeof components );
   components &= known;
   std::memcpy( state + headerAt, &components, sizeof components );
   iovec whole{ state, size };
   return next( request, process, address, &whole );
}
