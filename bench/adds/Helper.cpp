#include "bench/adds/Helper.h"

#include <algorithm>
#include <poll.h>
#include <stdexcept>

namespace OrloBench {

namespace {

using Bridging::VlanId;
using Quor::U16;
using Quor::U32;

std::vector<OrloHelper::RoutedInterface> interfacesOf( const std::string &name, const Job &job ) {
   std::vector<OrloHelper::RoutedInterface> interfaces;
   if( name == "ebpf" ) { // one that is there, for every VLAN
      interfaces.push_back( { kSvi, VlanId( OrloAgent::kFirstVlan ) } );
      for( U16 vlan = OrloAgent::kFirstVlan + 1; vlan <= OrloAgent::kLastVlan; ++vlan ) {
         interfaces.back().secondaryVlans.emplace_back( vlan );
      }
      return interfaces;
   }
   for( U16 vlan = OrloAgent::kFirstVlan; vlan <= OrloAgent::kLastVlan; ++vlan ) {
      if( job.hasSecondaries && vlan % 2 == 0 ) {
         interfaces.back().secondaryVlans.emplace_back( vlan );
      } else {
         interfaces.push_back( { std::to_string( vlan ), VlanId( vlan ) } );
      }
   }
   return interfaces;
}

std::map<std::string, std::string> settingsOf( const std::string &name, const Job &job ) {
   if( name == "ebpf" ) {
      return { { "pins", job.folder } };
   }
   std::map<std::string, std::string> settings{ { "path", job.folder + "/slots" } };
   if( name == "bridge" ) {
      settings.emplace( "bridge", kBridge );
   }
   return settings;
}

OrloHelper::HardwareWork::Time now() {
   return std::chrono::steady_clock::now();
}

} // namespace

Helper::Helper( const std::string &name, const Job &job )
      : job_( job ), plugin_( OrloAgent::PluginLibrary::kDefaultPath ),
        module_( "orlo-helper-" + name + ".so" ) {
   OrloHelper::HelperSettings settings;
   settings.indexes = static_cast<U32>( job.pairs.size() );
   settings.settings = settingsOf( name, job );
   settings.trouble = []( const std::string &what ) {
      std::fprintf( stderr, "%s\n", what.c_str() );
   };
   settings.interfaces = interfacesOf( name, job );
   helper_ = module_.make( settings );
   Quor::PtrInterface *const base = helper_.get();
   view_ = dynamic_cast<const OrloHelper::HardwareView *>( base );
   work_ = dynamic_cast<OrloHelper::HardwareWork *>( base );
   if( !view_ || !work_ ) {
      throw std::runtime_error( "the helper cannot be worked and looked at" );
   }
   // As at the agent's start, on empty hardware.
   helper_->syncVrrpStateOnInit( Quor::make<OrloHelper::CurrentVrrpStateForInit>() );
   work_->work( now() );
   settle();
}

void Helper::add() {
   for( U32 index = 0; index < job_.pairs.size(); ++index ) {
      const Pair &pair = job_.pairs[index];
      helper_->addVirtualRouterMac( pair.mac(), pair.vlanId().number(), index );
   }
   work_->work( now() );
   confirmed( true );
}

void Helper::remove() {
   for( U32 index = 0; index < job_.pairs.size(); ++index ) {
      const Pair &pair = job_.pairs[index];
      helper_->deleteVirtualRouterMac( pair.mac(), pair.vlanId().number(), index );
   }
   work_->work( now() );
   confirmed( false );
}

void Helper::confirmed( bool isAdded ) const {
   for( U32 index = 0; index < job_.pairs.size(); ++index ) {
      if( view_->slot( index ).has_value() != isAdded ) {
         const auto refusal = view_->refusal( index );
         throw std::runtime_error( "index " + std::to_string( index ) + " is not confirmed: " +
                                   ( refusal ? refusal->reason : "no reason" ) );
      }
   }
}

void Helper::settle() {
   pollfd readable{ work_->fd(), POLLIN, 0 };
   while( poll( &readable, 1, 0 ) > 0 ) {
      work_->work( now() );
   }
}

std::vector<Pair> Helper::held() {
   std::vector<Pair> pairs;
   for( const OrloHelper::HardwareView::Entry &entry : view_->readAll() ) {
      pairs.push_back( entry.pair );
   }
   return pairs;
}

} // namespace OrloBench
