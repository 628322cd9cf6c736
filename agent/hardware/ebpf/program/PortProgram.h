// The program at the switch ports (port.bpf.c), as it is loaded into the kernel.
#ifndef ORLOAGENT_HARDWARE_EBPF_PROGRAM_PORTPROGRAM_H
#define ORLOAGENT_HARDWARE_EBPF_PROGRAM_PORTPROGRAM_H

#include "quor/Types.h"

#include <array>
#include <memory>

struct port_object;

namespace OrloAgent {

/// Owns the program and its tables; in the kernel they live on for as long as somebody else holds
/// them, by a pin or as a filter of a port.
class PortProgram {
 public:
   enum Table : std::size_t { kRouterMacs, kFrameCounts, kPorts, kTables };
   static constexpr std::array<const char *, kTables> kTableNames = { "router_macs", "frame_counts",
                                                                      "ports" };
   static constexpr char kName[] = "orlo_port"; ///< as the kernel shows it

   /// What a table must be like for the program to work with it.
   struct Shape {
      Quor::U32 type;
      Quor::U32 keySize;
      Quor::U32 valueSize;
      Quor::U32 entries;
      Quor::U32 flags;
      bool operator==( const Shape & ) const = default;
   };

   /// For that many indexes; nothing is loaded yet. Throws std::system_error.
   explicit PortProgram( Quor::U32 indexes );
   ~PortProgram();
   PortProgram( const PortProgram & ) = delete;
   PortProgram &operator=( const PortProgram & ) = delete;

   Shape shape( Table table ) const;
   /// The table is this one, which has the right shape, instead of a new one. Before load(). `fd`
   /// stays the caller's.
   void tableIs( Table table, int fd );
   /// Loads it, which takes about a millisecond. Throws std::system_error: EPERM without CAP_BPF
   /// and CAP_NET_ADMIN.
   void load();

   // Once it is loaded. The descriptors are this object's.
   int fd() const;
   int table( Table table ) const;

 private:
   struct Destroy {
      void operator()( port_object *object ) const noexcept;
   };
   std::unique_ptr<port_object, Destroy> object_;
};

} // namespace OrloAgent

#endif
