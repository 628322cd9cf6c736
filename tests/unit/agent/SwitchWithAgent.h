// The whole agent between a fake kernel and a real slot table.
#ifndef TESTS_UNIT_AGENT_SWITCHWITHAGENT_H
#define TESTS_UNIT_AGENT_SWITCHWITHAGENT_H

#include "agent/Agent.h"
#include "agent/hardware/memory/MemoryHelper.h"
#include "tests/unit/agent/FakeKernel.h"
#include "tests/unit/agent/TemporaryFolder.h"

#include <memory>
#include <sstream>

namespace OrloAgent {

inline constexpr IfIndex kSvi = 3;
inline constexpr IfIndex kDevice51 = 7;
inline constexpr IfIndex kDevice52 = 8;

/// A switch with br10, a VLAN interface with VLAN 10 and the private VLANs 11 and 12. It outlives
/// its agents, which come and go.
class SwitchWithAgent {
 public:
   SwitchWithAgent() { kernel_.linkIs( svi( kSvi, "br10" ) ); }

   Configuration configuration( Quor::U32 indexes ) const {
      return {
            PluginLibrary::kDefaultPath,
            { "memory", indexes, "orlo-helper-memory.so", { { "path", folder_.path( "slots" ) } } },
            {},
            { { Pelmo::IntfId( "br10" ),
                Bridging::VlanId( 10 ),
                { Bridging::VlanId( 11 ), Bridging::VlanId( 12 ) } },
              { Pelmo::IntfId( "br20" ), Bridging::VlanId( 20 ), {} } } };
   }
   void start( const Configuration &configuration ) {
      agent_ = std::make_unique<Agent>(
            configuration, kernel_, out_, err_, [this] { return now_; }, Report::Journal(),
            [this] { return Instant( now_.time_since_epoch() ); } );
      agent_->start();
   }
   void start( Quor::U32 indexes = 8 ) { start( configuration( indexes ) ); }
   void startAndRead( Quor::U32 indexes = 8 ) {
      start( indexes );
      kernel_.read();
   }
   /// What is said since the last call.
   std::string said() {
      std::string text = out_.str();
      out_.str( "" );
      return text;
   }
   std::string table() {
      agent_->printTable();
      return said();
   }

   /// Of the hardware, so far.
   Quor::U64 writes() const { return helper().slots().writes(); }
   const MemoryHelper &helper() const {
      return dynamic_cast<const MemoryHelper &>( *agent_->programming().helper() );
   }

   void later( int seconds ) { now_ += std::chrono::seconds( seconds ); }

   // What VRRP daemons do.
   void deviceIs( IfIndex ifindex, Quor::U8 vrid ) {
      kernel_.linkIs( macvlan( ifindex, "vrrp." + std::to_string( vrid ), kSvi, vrrpMac( vrid ) ) );
   }
   void becomeMaster( IfIndex ifindex ) { kernel_.addressIs( address( ifindex, "10.0.0.1/24" ) ); }
   void becomeBackup( IfIndex ifindex ) { kernel_.addressDel( address( ifindex, "10.0.0.1/24" ) ); }
   void masters( std::initializer_list<std::pair<IfIndex, Quor::U8>> devices ) {
      for( const auto &[ifindex, vrid] : devices ) {
         deviceIs( ifindex, vrid );
         becomeMaster( ifindex );
      }
   }

   TemporaryFolder folder_;
   FakeKernel kernel_;
   Time now_{ std::chrono::seconds( 1000000000 ) };
   std::ostringstream out_, err_;
   std::unique_ptr<Agent> agent_;
};

} // namespace OrloAgent

#endif
