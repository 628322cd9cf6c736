// What the ebpf hardware needs of the kernel, as plain values. LinuxEbpf is the real one; tests and
// simulators bring theirs.
#ifndef ORLOAGENT_HARDWARE_EBPF_EBPFKERNEL_H
#define ORLOAGENT_HARDWARE_EBPF_EBPFKERNEL_H

#include "agent/Pair.h"
#include "quor/Types.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace OrloAgent {

/// Two tables, the filters of the ports, and what there is of devices. Nothing blocks, and nothing
/// throws but entries(). Errors are errno values, 0 when it is done.
class EbpfKernel {
 public:
   /// A row of the table that the program at the ports looks up.
   struct Entry {
      Pair pair;
      Quor::U32 index;
      Quor::U32 svi; ///< the interface index of the SVI that frames go up into
      bool operator==( const Entry & ) const = default;
   };

   /// How far an operation on several rows came. The rows before `count` are done; the row at it is
   /// not, for `error`; those behind it have not been looked at.
   struct Done {
      std::size_t count = 0;
      int error = 0;
   };

   /// What a port has where our filter belongs.
   enum class Filter {
      none,
      current,  ///< our program on our tables
      outdated, ///< our program as it was, or on other tables
      foreign   ///< something that is not ours
   };

   /// What has changed since it was last heard.
   struct News {
      struct Device {
         Quor::U32 ifindex;
         std::string name;
      };
      bool isIncomplete = false;       ///< anything may have changed
      std::vector<Device> devices;     ///< that came, changed or went
      std::vector<Quor::U32> filtered; ///< interfaces where a filter came or went
   };

   virtual ~EbpfKernel() = default;

   /// Every row. Throws std::runtime_error.
   virtual std::vector<Entry> entries() const = 0;
   virtual std::optional<Entry> entry( const Pair &pair ) const = 0;
   /// Puts rows in or over those of the same pairs; one message to the kernel.
   virtual Done put( std::span<const Entry> rows ) = 0;
   /// ENOENT for a pair without a row; one message to the kernel.
   virtual Done erase( std::span<const Pair> pairs ) = 0;

   /// The access VLAN, 0 for none, of every port that is in the program's table, by interface
   /// index.
   virtual std::map<Quor::U32, Quor::U32> ports() const = 0;
   virtual int portIs( Quor::U32 ifindex, Quor::U32 accessVlan ) = 0;
   virtual int portDel( Quor::U32 ifindex ) = 0;

   virtual Filter filter( Quor::U32 ifindex ) const = 0;
   /// Puts our filter there, also over an outdated one: no frame passes unfiltered in between.
   /// EEXIST when something that is not ours stands there.
   virtual int attach( Quor::U32 ifindex ) = 0;
   virtual int detach( Quor::U32 ifindex ) = 0;

   /// Program and tables go with this object: nobody finds them again. Throws HardwareError.
   virtual void unpin() = 0;

   /// The interface index of the device with this name; 0 when there is none.
   virtual Quor::U32 ifindex( const std::string &name ) const = 0;
   /// Becomes readable when there is news; -1: never.
   virtual int fd() const = 0;
   virtual News hear() = 0;
};

} // namespace OrloAgent

#endif
