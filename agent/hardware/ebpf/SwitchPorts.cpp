#include "agent/hardware/ebpf/SwitchPorts.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <utility>

namespace OrloAgent {

namespace {

using Quor::U32;
using Filter = EbpfKernel::Filter;

constexpr std::chrono::milliseconds kFirstDelay{ 100 };
constexpr std::chrono::milliseconds kLongestDelay{ 30'000 };
constexpr U32 kMostDoublings = 9;

std::chrono::milliseconds delayAfter( U32 times ) {
   return std::min( kLongestDelay, kFirstDelay * ( 1 << std::min( times, kMostDoublings ) ) );
}

} // namespace

SwitchPorts::SwitchPorts( EbpfKernel &kernel, const std::vector<EbpfSettings::Port> &ports,
                          Tell tell )
      : kernel_( kernel ), tell_( std::move( tell ) ), table_( kernel.ports() ) {
   ports_.reserve( ports.size() );
   for( const EbpfSettings::Port &port : ports ) {
      ports_.push_back( { port, kernel_.ifindex( port.name ) } );
   }
   for( const auto &[ifindex, vlan] : std::map<U32, U32>( table_ ) ) {
      if( !isPort( ifindex ) ) {
         leave( ifindex );
      }
   }
   work( Time{} );
}

bool SwitchPorts::isPort( U32 ifindex ) const {
   return std::any_of( ports_.begin(), ports_.end(),
                       [ifindex]( const Port &port ) { return port.ifindex == ifindex; } );
}

void SwitchPorts::heardNothing() {
   for( Port &port : ports_ ) {
      port.isDue = true;
   }
   due_ = {};
}

void SwitchPorts::heard( const EbpfKernel::News &news ) {
   if( news.isIncomplete ) {
      heardNothing();
      return;
   }
   if( news.devices.empty() && news.filtered.empty() ) {
      return;
   }
   std::set<std::string> names;
   std::set<U32> ifindexes( news.filtered.begin(), news.filtered.end() );
   for( const EbpfKernel::News::Device &device : news.devices ) {
      names.insert( device.name );
      ifindexes.insert( device.ifindex );
   }
   for( Port &port : ports_ ) {
      if( names.contains( port.setting.name ) || ifindexes.contains( port.ifindex ) ) {
         port.isDue = true;
         due_ = {};
      }
   }
}

SwitchPorts::Time SwitchPorts::work( Time now ) {
   if( due_ > now ) {
      return due_;
   }
   due_ = Time::max();
   // A device may have another port's name now: what each is called first, then what is done.
   std::set<U32> left;
   for( Port &port : ports_ ) {
      if( port.isDue ) {
         const U32 ifindex = kernel_.ifindex( port.setting.name );
         if( const U32 before = std::exchange( port.ifindex, ifindex ); before != ifindex ) {
            left.insert( before );
            port.times = 0;
            port.next = {};
         }
      }
   }
   for( const U32 ifindex : left ) {
      if( ifindex != 0 && !isPort( ifindex ) ) {
         leave( ifindex );
      }
   }
   for( Port &port : ports_ ) {
      if( std::exchange( port.isDue, false ) ) {
         look( port, now );
      }
      if( port.isDue ) {
         due_ = std::min( due_, port.next );
      }
   }
   return due_;
}

void SwitchPorts::look( Port &port, Time now ) {
   if( port.ifindex == 0 ) {
      tellOnce( port, "there is no port " + port.setting.name +
                            ": it is taken into service when it comes" );
      return;
   }
   if( port.next > now ) {
      port.isDue = true;
      return;
   }
   // First, so that whoever finds the filter finds the row.
   if( const int error = inTable( port.ifindex, port.setting.accessVlan ) ) {
      failed( port, now, error );
      return;
   }
   switch( kernel_.filter( port.ifindex ) ) {
   case Filter::current:
      port.told.clear();
      break;
   case Filter::foreign:
      isForeign( port );
      break;
   default:
      attach( port, now );
   }
}

void SwitchPorts::attach( Port &port, Time now ) {
   if( now - port.last > kLongestDelay ) {
      port.times = 0;
   }
   port.last = now;
   const int error = kernel_.attach( port.ifindex );
   if( error == EEXIST ) {
      isForeign( port );
      return;
   }
   if( error != 0 ) {
      failed( port, now, error );
      return;
   }
   // The first time that somebody takes it away it is back at once.
   port.next = port.times == 0 ? now : now + delayAfter( port.times - 1 );
   ++port.times;
   port.told.clear();
}

void SwitchPorts::failed( Port &port, Time now, int error ) {
   port.next = now + delayAfter( port.times++ );
   port.isDue = true;
   tellOnce( port, "cannot take port " + port.setting.name +
                         " into service: " + std::strerror( error ) + "; it is tried again" );
}

/// Until it goes, which the kernel tells.
void SwitchPorts::isForeign( Port &port ) {
   tellOnce( port, "port " + port.setting.name + " is not in service: at the place of our filter " +
                         "it has one that is not ours (tc filter show dev " + port.setting.name +
                         " ingress)" );
}

void SwitchPorts::leaveAll() {
   ports_.clear();
   while( !table_.empty() ) {
      leave( table_.begin()->first );
   }
}

void SwitchPorts::leave( U32 ifindex ) {
   const Filter filter = kernel_.filter( ifindex );
   if( filter == Filter::current || filter == Filter::outdated ) {
      kernel_.detach( ifindex );
   }
   kernel_.portDel( ifindex );
   table_.erase( ifindex );
}

int SwitchPorts::inTable( U32 ifindex, U32 accessVlan ) {
   const auto [at, isNew] = table_.emplace( ifindex, accessVlan );
   if( !isNew && at->second == accessVlan ) {
      return 0;
   }
   const int error = kernel_.portIs( ifindex, accessVlan );
   at->second = accessVlan;
   if( error != 0 ) {
      table_.erase( at );
   }
   return error;
}

void SwitchPorts::tellOnce( Port &port, const std::string &what ) {
   if( std::exchange( port.told, what ) != what ) {
      tell_( what );
   }
}

} // namespace OrloAgent
