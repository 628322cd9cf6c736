#include "bench/subjects/Naive.h"

namespace OrloBench {

Naive::Naive( Quor::Ptr<BenchHelper> helper, U32 indexes )
      : helper_( std::move( helper ) ), indexes_( indexes ) {}

void Naive::startReflector() {
   macWatchers_.push_back( [this]( const EthAddr &mac ) { macChanged( mac ); } );
   vlanWatchers_.push_back( [this]( const VlanId &vlan ) { vlanChanged( vlan ); } );
}

void Naive::startProgrammer() {
   pairWatchers_.push_back( [this]( const VlanAndMac &pair ) { handle( pair ); } );
   for( U32 index = 0; index < indexes_; ++index ) {
      free_.push_back( index );
   }
   const auto tableOrder = []( const auto &left, const auto &right ) {
      return InTableOrder()( left.pair, right.pair );
   };
   auto held = helper_->held();
   std::sort( held.begin(), held.end(), tableOrder );
   for( const Slot &slot : held ) {
      index_[slot.pair] = slot.index;
      free_.remove( slot.index );
      if( !wanted_.contains( slot.pair ) ) {
         handle( slot.pair );
      }
   }
   Pairs wanted( wanted_.begin(), wanted_.end() );
   std::sort( wanted.begin(), wanted.end(), InTableOrder() );
   for( const VlanAndMac &pair : wanted ) {
      if( !index_.contains( pair ) ) {
         handle( pair );
      }
   }
}

void Naive::vlanJoins( VlanId vlan ) {
   if( vlans_.insert( vlan ).second ) {
      tell( vlanWatchers_, vlan );
   }
}

void Naive::vlanLeaves( VlanId vlan ) {
   if( vlans_.erase( vlan ) != 0 ) {
      tell( vlanWatchers_, vlan );
   }
}

void Naive::publish( const EthAddr &mac ) {
   if( macs_.insert( mac ).second ) {
      tell( macWatchers_, mac );
   }
}

void Naive::withdraw( const EthAddr &mac ) {
   if( macs_.erase( mac ) != 0 ) {
      tell( macWatchers_, mac );
   }
}

void Naive::want( const VlanAndMac &pair ) {
   if( wanted_.insert( pair ).second ) {
      tell( pairWatchers_, pair );
   }
}

void Naive::unwant( const VlanAndMac &pair ) {
   if( wanted_.erase( pair ) != 0 ) {
      tell( pairWatchers_, pair );
   }
}

void Naive::tearDown() {
   for( const VlanId vlan : vlans_ ) {
      for( const EthAddr &mac : macs_ ) {
         unwant( { vlan, mac } );
      }
   }
   macs_.clear();
   macWatchers_.clear();
   vlanWatchers_.clear();
}

void Naive::macChanged( const EthAddr &mac ) {
   const bool isPresent = macs_.contains( mac );
   for( const VlanId vlan : vlans_ ) {
      isPresent ? want( { vlan, mac } ) : unwant( { vlan, mac } );
   }
}

void Naive::vlanChanged( VlanId vlan ) {
   const bool isPresent = vlans_.contains( vlan );
   for( const EthAddr &mac : macs_ ) {
      isPresent ? want( { vlan, mac } ) : unwant( { vlan, mac } );
   }
}

void Naive::handle( const VlanAndMac &pair ) {
   if( wanted_.contains( pair ) ) {
      program( pair );
      return;
   }
   const auto programmed = index_.find( pair );
   if( programmed == index_.end() ) {
      const auto waiting = std::find( line_.begin(), line_.end(), pair );
      if( waiting != line_.end() ) {
         line_.erase( waiting );
      }
      return;
   }
   const U32 index = programmed->second;
   index_.erase( programmed );
   helper_->deleteVirtualRouterMac( pair.mac(), pair.vlanId().number(), index );
   if( line_.empty() ) {
      free_.push_back( index );
      return;
   }
   const VlanAndMac next = line_.front();
   line_.pop_front();
   helper_->addVirtualRouterMac( next.mac(), next.vlanId().number(), index );
   index_[next] = index;
}

void Naive::program( const VlanAndMac &pair ) {
   if( free_.empty() ) {
      line_.push_back( pair );
      return;
   }
   const U32 index = free_.front();
   free_.pop_front();
   helper_->addVirtualRouterMac( pair.mac(), pair.vlanId().number(), index );
   index_[pair] = index;
}

} // namespace OrloBench
