#include "agent/Privileges.h"

#include <cerrno>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <system_error>

namespace OrloAgent {

namespace {

constexpr Quor::U16 kFirstUnprivilegedPort = 1024;

/// None: only the module knows.
std::optional<Capabilities> neededBy( const HardwareConfiguration &hardware ) {
   if( hardware.kind == "memory" ) {
      return Capabilities();
   }
   if( hardware.kind == "bridge" ) {
      return Capabilities{ CAP_NET_ADMIN };
   }
   if( hardware.kind == "ebpf" ) {
      return Capabilities{ CAP_NET_ADMIN, CAP_BPF };
   }
   return hardware.capabilities;
}

/// Used once, if it is there: without it the agent says what it cannot do, and runs.
Capabilities usefulAtStart( const ControlConfiguration &control ) {
   Capabilities useful;
   if( !control.group.empty() ) { // the socket is given to it
      useful = useful.with( { CAP_CHOWN } );
   }
   if( control.metricsPort != 0 && control.metricsPort < kFirstUnprivilegedPort ) {
      useful = useful.with( { CAP_NET_BIND_SERVICE } );
   }
   return useful;
}

} // namespace

Privileges::Plan Privileges::plan( const Configuration &configuration, Use use,
                                   const Capabilities &held ) {
   const std::optional<Capabilities> needed = neededBy( configuration.hardware );
   if( !needed ) {
      return { held, held, {}, true };
   }
   if( use == Use::run ) {
      const Capabilities kept = needed->commonWith( held );
      const Capabilities useful = usefulAtStart( configuration.control ).commonWith( held );
      return { kept.with( useful ), kept, needed->without( held ), false };
   }
   // Files and socket may belong to the user of the agent.
   const Capabilities kept = needed->with( { CAP_DAC_OVERRIDE } ).commonWith( held );
   return { kept, kept, use == Use::look ? Capabilities() : needed->without( held ), false };
}

Privileges::Privileges( const Configuration &configuration, Use use )
      : plan_( plan( configuration, use, Capabilities::held() ) ) {
   if( !plan_.missing.isEmpty() ) {
      const std::string &kind = configuration.hardware.kind;
      throw PrivilegesError( "the " + kind + " hardware needs " + plan_.missing.text() +
                             ", and this process does not have it: start it as root, or add it to "
                             "CapabilityBoundingSet= and AmbientCapabilities= of the service" );
   }
   if( prctl( PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0 ) != 0 ) {
      throw std::system_error( errno, std::generic_category(), "cannot set no_new_privs" );
   }
   if( !plan_.isWhole ) {
      Capabilities::keepOnly( plan_.atStart, plan_.kept );
   }
}

void Privileges::startIsOver() {
   if( plan_.atStart != plan_.kept ) {
      Capabilities::keepOnly( plan_.kept, plan_.kept );
   }
}

std::string Privileges::text() const {
   return plan_.isWhole && !plan_.kept.isEmpty() ? "all that it was started with"
                                                 : plan_.kept.text();
}

} // namespace OrloAgent
