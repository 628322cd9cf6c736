// How much memory the process uses.
#ifndef ORLOBENCH_MEMORY_MEMORYUSE_H
#define ORLOBENCH_MEMORY_MEMORYUSE_H

#include <fstream>
#include <malloc.h>
#include <unistd.h>

namespace OrloBench {

struct MemoryUse {
   double heap;     ///< bytes that malloc has handed out, with what it adds to each piece
   double resident; ///< bytes of memory that the process occupies

   static MemoryUse now() {
      const struct mallinfo2 info = mallinfo2();
      std::ifstream statm( "/proc/self/statm" );
      double total = 0;
      double resident = 0;
      statm >> total >> resident;
      return { static_cast<double>( info.uordblks + info.hblkhd ),
               resident * static_cast<double>( sysconf( _SC_PAGESIZE ) ) };
   }
};

} // namespace OrloBench

#endif
