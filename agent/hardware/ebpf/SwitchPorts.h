// Keeps our filter on the switch ports.
#ifndef ORLOAGENT_HARDWARE_EBPF_SWITCHPORTS_H
#define ORLOAGENT_HARDWARE_EBPF_SWITCHPORTS_H

#include "agent/hardware/ebpf/EbpfKernel.h"
#include "agent/hardware/ebpf/EbpfSettings.h"

#include <chrono>
#include <functional>

namespace OrloAgent {

/// Attaches the program to each port as soon as there is a device of its name, and again when the
/// device is a new one or somebody took the filter away: at once, and less and less often when
/// that goes on. The ports in the program's table are the ones that it may be attached to, so that
/// the next agent knows what to leave alone no longer.
class SwitchPorts {
 public:
   using Time = std::chrono::steady_clock::time_point;
   using Tell = std::function<void( const std::string & )>;

   /// Detaches the program from every port of the agents before that is not among these, and
   /// attaches it to these. `kernel` must outlive this object; `tell` hears what the administrator
   /// has to know, and throws nothing.
   SwitchPorts( EbpfKernel &kernel, const std::vector<EbpfSettings::Port> &ports, Tell tell );

   /// Takes note; work() looks at what it concerns.
   void heard( const EbpfKernel::News &news );
   /// All of them are to be looked at.
   void heardNothing();
   /// Detaches the program from all of them, for good.
   void leaveAll();
   /// Puts right what it has heard of. Gives when to come back at the latest.
   Time work( Time now );

 private:
   struct Port {
      const EbpfSettings::Port setting;
      Quor::U32 ifindex = 0; // as last seen
      bool isDue = true;
      Quor::U32 times = 0; // attached, lately
      Time last{};
      Time next{}; // not touched before
      std::string told{};
   };

   void look( Port &port, Time now );
   void attach( Port &port, Time now );
   void isForeign( Port &port );
   void failed( Port &port, Time now, int error );
   void leave( Quor::U32 ifindex );
   bool isPort( Quor::U32 ifindex ) const;
   int inTable( Quor::U32 ifindex, Quor::U32 accessVlan );
   void tellOnce( Port &port, const std::string &what );

   EbpfKernel &kernel_;
   const Tell tell_;
   std::vector<Port> ports_;
   std::map<Quor::U32, Quor::U32> table_; // what the kernel's table has
   Time due_{};                           // the earliest, of those that are
};

} // namespace OrloAgent

#endif
