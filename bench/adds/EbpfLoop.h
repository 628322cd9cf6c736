// Rows of the kernel's table of virtual router MACs, and nothing else.
#ifndef ORLOBENCH_ADDS_EBPFLOOP_H
#define ORLOBENCH_ADDS_EBPFLOOP_H

#include "agent/hardware/ebpf/program/PortProgram.h"
#include "agent/hardware/ebpf/program/RouterMacTables.h"
#include "bench/adds/Way.h"

namespace OrloBench {

class EbpfLoop final : public Way {
 public:
   /// `batch` rows in one system call; 1 uses the call for a single row. `job` must outlive this
   /// object.
   EbpfLoop( const Job &job, std::size_t batch );

   void add() override;
   void remove() override;
   std::vector<Pair> held() override;

 private:
   RouterMacKey key( std::size_t i ) const;
   RouterMacValue value( std::size_t i ) const;
   int table() const { return program_.table( OrloAgent::PortProgram::kRouterMacs ); }

   const Job &job_;
   const std::size_t batch_;
   const Quor::U32 svi_;
   OrloAgent::PortProgram program_;
};

} // namespace OrloBench

#endif
