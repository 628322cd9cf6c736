// In a build that counts which lines run: a process that an assertion stops writes down its counts
// as well. Linked into every program and shared object, since each keeps counts of its own.
#include <csignal>

extern "C" void __gcov_dump();

namespace {

using Handler = void ( * )( int );
Handler before = SIG_DFL;

void flush( int signal ) {
   __gcov_dump();
   if( before != SIG_DFL && before != SIG_IGN ) {
      before( signal );
   }
}

[[gnu::constructor]] void install() {
   before = std::signal( SIGABRT, flush );
}

} // namespace
