// Slots in a mapped file, and nothing else.
#ifndef ORLOBENCH_ADDS_MEMORYLOOP_H
#define ORLOBENCH_ADDS_MEMORYLOOP_H

#include "agent/FileDescriptor.h"
#include "bench/adds/Way.h"
#include "quor/Types.h"

namespace OrloBench {

/// One store of 64 bits a pair.
class MemoryLoop final : public Way {
 public:
   /// `job` must outlive this object.
   explicit MemoryLoop( const Job &job );
   ~MemoryLoop() override;

   void add() override;
   void remove() override;
   std::vector<Pair> held() override;

 private:
   std::size_t bytes() const { return job_.pairs.size() * sizeof( Quor::U64 ); }

   const Job &job_;
   const OrloAgent::FileDescriptor file_;
   Quor::U64 *words_;
};

} // namespace OrloBench

#endif
