#include "agent/Hardware.h"

#include "OrloVrrpSm/VrrpSm.h"
#include "platform/HardwareStatus.h"

#include <algorithm>
#include <poll.h>

namespace OrloAgent {

namespace {

using Quor::U32;

/// Until the helper has something to do, or that time has come.
void waitFor( const OrloHelper::HardwareWork &work, Instant next ) {
   const auto delay = std::chrono::ceil<std::chrono::milliseconds>( next - steadyTime() );
   pollfd ready{ work.fd(), POLLIN, 0 };
   ::poll( &ready, 1, static_cast<int>( std::max<long>( delay.count(), 0 ) ) );
}

/// What the module throws is its own, and goes with it.
std::vector<Audit::Entry> readAll( const OrloHelper::HardwareView &view ) {
   try {
      return view.readAll();
   } catch( const std::exception &error ) {
      throw std::runtime_error( error.what() );
   } catch( ... ) {
      throw std::runtime_error( "the helper cannot read its hardware, and does not say why" );
   }
}

} // namespace

Hardware::Hardware( const Configuration &configuration, Use use, const Trouble &trouble )
      : interfaces_( configuration.interfaces ), indexes_( configuration.hardware.indexes ),
        plugin_( configuration.plugin ), module_( configuration.hardware.module ),
        helper_( module_.make( { indexes_, configuration.hardware.settings, trouble,
                                 routed( interfaces_ ), use == Use::look } ) ) {}

Audit Hardware::audit( const std::vector<Verdict> &verdicts ) const {
   const OrloHelper::HardwareView *const view = viewOf( helper_ );
   if( !view ) {
      throw std::runtime_error(
            "there is no audit of this hardware: its helper cannot read it back" );
   }
   // By a table like the reflector's, which has the order in which the programmer starts.
   const auto table = plugin_->virtualRouterMacTableFactory();
   for( const Verdict &verdict : verdicts ) {
      for( const InterfaceConfiguration &interface : interfaces_ ) {
         if( !verdict.published || interface.name != verdict.record.intf() ) {
            continue;
         }
         for( const Bridging::VlanId vlan : vlansOf( interface ) ) {
            table->virtualRouterMacIs( { vlan, verdict.record.mac() }, true );
         }
      }
   }
   std::vector<Pair> wanted;
   for( const auto &entry : table->virtualRouterMacs() ) {
      wanted.push_back( entry.key() );
   }
   return { wanted, readAll( *view ), indexes_ };
}

std::size_t Hardware::held( std::size_t asTold ) const {
   const OrloHelper::HardwareView *const view = viewOf( helper_ );
   return view ? readAll( *view ).size() : asTold;
}

Hardware::Flushed Hardware::flush( std::chrono::milliseconds limit ) {
   const Instant end = steadyTime() + limit;
   OrloHelper::HardwareWork *const work = workOf( helper_ );
   const std::size_t before = held( 0 );
   // A programmer that starts with nothing wanted removes what the helper says is there.
   const auto status = Quor::make<Routing::Fhrp::Hardware::Status>();
   status->virtualRouterCountIs( indexes_ );
   helper_->syncCurrentStateOnInitIs( true );
   const auto vrrpSm =
         plugin_->vrrpSmIs( plugin_->virtualRouterMacTableFactory(), status, helper_ );
   const std::size_t told = vrrpSm->currentVrrpStateForInit()->virtualRouterIndexes().size();
   Flushed flushed;
   for( ;; ) {
      const Instant next = work ? work->work( steadyTime() ) : OrloHelper::HardwareWork::kNever;
      flushed.left = held( 0 );
      if( flushed.left == 0 || !work || steadyTime() >= end ) {
         break;
      }
      waitFor( *work, std::min( next, end ) );
   }
   flushed.removed = std::max( before, told ) - flushed.left;
   if( flushed.left != 0 ) {
      countReasons( flushed );
   } else if( work ) {
      work->leave();
   }
   return flushed;
}

void Hardware::countReasons( Flushed &flushed ) const {
   const OrloHelper::HardwareView *const view = viewOf( helper_ );
   for( U32 index = 0; view && index < indexes_; ++index ) {
      if( const auto refusal = view->refusal( index ) ) {
         ++flushed.reasons[refusal->reason];
      }
   }
}

} // namespace OrloAgent
