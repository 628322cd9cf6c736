// What people and VRRP daemons do to the links of a switch, in the steps in which the kernel does
// it and tells it.
#ifndef TESTS_SIMULATOR_WORLD_H
#define TESTS_SIMULATOR_WORLD_H

#include "agent/Clock.h"
#include "tests/simulator/SimulatedKernel.h"

#include <map>
#include <string>
#include <vector>

namespace Simulator {

using OrloAgent::Instant;

/// Three SVIs at most (br10, br20, br30), and the macvlans of virtual routers on them.
class World {
 public:
   World( Random &random, SimulatedKernel &kernel, Trace &trace )
         : random_( random ), kernel_( kernel ), trace_( trace ) {}

   /// Something happens, in whole: one of everything below.
   void happens( Instant now );
   /// What the kernel had put off until now: addresses appear when nobody else has them (DAD).
   void catchUp( Instant now );
   /// When the next of these is to come; Instant::max() without any.
   Instant next() const;
   /// Makes the SVIs, and some masters on them.
   void begins( Instant now );

   U64 happenings() const noexcept { return happenings_; }

 private:
   using Links = std::vector<Link>;

   Links svis() const;
   Links devices( IfIndex lower = 0 ) const;

   void sviComes( const std::string &name, IfIndex ifindex, Instant now );
   void sviGoes( const Link &svi );
   void sviIsUp( Link svi, bool isUp, Instant now );
   void sviCarrier( Link svi, bool hasCarrier );
   void sviIsMadeAgain( const Link &svi, Instant now );
   void sviNames();
   void lowerIs( const Link &svi );

   void deviceComes( const Link &svi );
   void deviceGoes( const Link &device );
   void deviceIsMadeAgain( const Link &device );
   void deviceIsUp( Link device, bool isUp );
   void deviceProtoDown( Link device, bool isDown );
   void deviceChanges( Link device );
   void becomesMaster( const Link &device );
   void becomesBackup( const Link &device );
   void peerTakesOver( Instant now );
   void storm();

   Address linkLocalOf( const Link &svi ) const;
   void copyLinkLocal( const Link &device );
   void later( Instant at, std::function<void()> what ) { later_.emplace( at, std::move( what ) ); }

   Random &random_;
   SimulatedKernel &kernel_;
   Trace &trace_;
   std::multimap<Instant, std::function<void()>> later_;
   U64 happenings_ = 0;
   U64 names_ = 0;
};

} // namespace Simulator

#endif
