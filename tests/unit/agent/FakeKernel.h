// A kernel of links and addresses in memory. What is done to it is told at once, as the real one
// does, unless messages get lost; when it is quiet is for the test to say.
#ifndef TESTS_UNIT_AGENT_FAKEKERNEL_H
#define TESTS_UNIT_AGENT_FAKEKERNEL_H

#include "agent/input/Kernel.h"

#include <map>
#include <set>
#include <string>

#include <arpa/inet.h>

namespace OrloAgent {

inline Pelmo::EthAddr mac( const std::string &text ) {
   return strepToValue( Quor::Strep<Pelmo::EthAddr>{}, text );
}

/// 00:00:5e:00:01:VRID, or :02: for IPv6.
inline Pelmo::EthAddr vrrpMac( Quor::U8 vrid, Quor::U8 family = 1 ) {
   return Pelmo::EthAddr( Pelmo::EthAddr::Octets{ 0, 0, 0x5e, 0, family, vrid } );
}

/// "192.0.2.1/24" (32 when no length is given) or "fe80::1".
inline Address address( IfIndex ifindex, const std::string &text ) {
   Address address;
   address.ifindex = ifindex;
   const bool is6 = text.find( ':' ) != std::string::npos;
   const std::size_t slash = text.find( '/' );
   address.family = is6 ? Address::Family::V6 : Address::Family::V4;
   inet_pton( is6 ? AF_INET6 : AF_INET, text.substr( 0, slash ).c_str(), address.local.data() );
   address.peer = address.local;
   if( !is6 ) {
      address.prefixLength = slash == std::string::npos
                                   ? Quor::U8{ 32 }
                                   : static_cast<Quor::U8>( std::stoi( text.substr( slash + 1 ) ) );
   }
   return address;
}

inline Link svi( IfIndex ifindex, const std::string &name ) {
   return { .ifindex = ifindex,
            .name = name,
            .kind = "bridge",
            .mac = mac( "02:00:00:00:00:01" ),
            .lower = 0,
            .up = true,
            .lowerUp = true,
            .protoDown = false };
}

inline Link macvlan( IfIndex ifindex, const std::string &name, IfIndex lower,
                     const Pelmo::EthAddr &mac ) {
   return { .ifindex = ifindex,
            .name = name,
            .kind = "macvlan",
            .mac = mac,
            .lower = lower,
            .up = true,
            .lowerUp = true,
            .protoDown = false };
}

class FakeKernel : public Kernel {
 public:
   void start( KernelWatcher &watcher ) override {
      watcher_ = &watcher;
      watcher.onReadingAll();
   }

   void stop() override { watcher_ = nullptr; }

   // What happens in the kernel.
   void linkIs( const Link &link ) {
      links_[link.ifindex] = link;
      tell( [&] { watcher_->onLink( link ); } );
   }
   /// Changes one link: linkIs( 7, []( Link &link ) { link.up = false; } ).
   template <class Change>
   void linkIs( IfIndex ifindex, const Change &change ) {
      Link link = links_.at( ifindex );
      change( link );
      linkIs( link );
   }
   void linkDel( IfIndex ifindex ) {
      links_.erase( ifindex );
      std::erase_if( addresses_, [&]( const Address &one ) { return one.ifindex == ifindex; } );
      tell( [&] { watcher_->onLinkGone( ifindex ); } );
   }
   void addressIs( const Address &address ) {
      addresses_.insert( address );
      tell( [&] { watcher_->onAddress( address ); } );
   }
   void addressDel( const Address &address ) {
      addresses_.erase( address );
      tell( [&] { watcher_->onAddressGone( address ); } );
   }

   // How the agent hears of it.
   /// Ends the reading that is under way, and is quiet.
   void read() {
      tellEverything();
      tell( [&] { watcher_->onReadAll(); } );
      quiet();
   }
   void quiet() {
      if( watcher_ ) {
         watcher_->onQuiet();
      }
   }
   /// From here on nothing arrives.
   void lose() { isLosing_ = true; }
   /// The loss is noticed, and a new reading begins.
   void overrun() {
      isLosing_ = false;
      tell( [&] {
         watcher_->onOverrun();
         watcher_->onReadingAll();
      } );
   }
   void tellEverything() {
      tell( [&] {
         for( const auto &[ifindex, link] : links_ ) {
            watcher_->onLink( link );
         }
         for( const Address &address : addresses_ ) {
            watcher_->onAddress( address );
         }
      } );
   }
   KernelWatcher &watcher() { return *watcher_; }

 private:
   template <class Call>
   void tell( const Call &call ) {
      if( watcher_ && !isLosing_ ) {
         call();
      }
   }

   KernelWatcher *watcher_ = nullptr;
   bool isLosing_ = false;
   std::map<IfIndex, Link> links_;
   std::set<Address> addresses_;
};

} // namespace OrloAgent

#endif
