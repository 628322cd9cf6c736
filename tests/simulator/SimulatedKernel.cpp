#include "tests/simulator/SimulatedKernel.h"

#include "agent/netlink/NetlinkMessages.h"
#include "tests/unit/agent/NetlinkBytes.h"

#include <algorithm>
#include <cerrno>
#include <deque>

namespace Simulator {

namespace {

using OrloAgent::NetlinkBytes;
using OrloAgent::NetlinkMessage;
using OrloAgent::NetlinkSpan;
using Quor::U16;

constexpr U32 kPort = 7001;

/// Of the news: whoever caused them.
struct Header {
   U16 flags = 0;
   U32 sequence = 0;
   U32 port = 0;
};

NetlinkBytes linkMessage( const Link &link, U16 type, const Header &header ) {
   NetlinkMessage message( type, header.flags, header.sequence, header.port );
   const U32 up = link.up ? U32{ IFF_UP } : 0;
   const U32 lowerUp = link.lowerUp ? U32{ 1 } << 16 : 0; // IFF_LOWER_UP
   message.with( OrloAgent::linkHeader( link.ifindex, up | lowerUp ) );
   message.attribute( IFLA_IFNAME, link.name );
   if( link.mac ) {
      const auto &octets = link.mac->octets();
      message.attribute( IFLA_ADDRESS, octets.data(), octets.size() );
   }
   if( link.lower != 0 ) {
      message.number( IFLA_LINK, static_cast<U32>( link.lower ) );
   }
   message.attribute( IFLA_PROTO_DOWN, { link.protoDown ? 1 : 0 } );
   if( !link.kind.empty() ) {
      message.nested( IFLA_LINKINFO, OrloAgent::attributeBytes( IFLA_INFO_KIND, link.kind ) );
   }
   return message.bytes();
}

NetlinkBytes addressMessage( const Address &address, U16 type, const Header &header ) {
   const bool isV4 = address.family == Address::Family::V4;
   NetlinkMessage message( type, header.flags, header.sequence, header.port );
   message.with( OrloAgent::addressHeader(
         static_cast<unsigned int>( address.ifindex ), isV4 ? AF_INET : AF_INET6,
         isV4 ? address.prefixLength : static_cast<unsigned char>( 64 ) ) );
   const std::size_t length = isV4 ? 4 : 16;
   message.attribute( IFA_ADDRESS, address.peer.data(), length );
   if( isV4 ) {
      message.attribute( IFA_LOCAL, address.local.data(), length );
   }
   return message.bytes();
}

NetlinkBytes numberMessage( U16 type, int number, const Header &header ) {
   return NetlinkMessage( type, header.flags, header.sequence, header.port ).with( number ).bytes();
}

} // namespace

/// The queue of the agent's socket, and the dump that fills it (af_netlink.c).
class SimulatedKernel::Socket final : public OrloAgent::NetlinkSource {
 public:
   explicit Socket( SimulatedKernel &kernel ) : kernel_( kernel ) { kernel_.socket_ = this; }
   ~Socket() override { kernel_.socket_ = nullptr; }

   int fd() const noexcept override { return 3; }
   U32 port() const noexcept override { return kPort; }
   NetlinkSpan datagram() const noexcept override { return datagram_.span(); }

   Received receive() override {
      kernel_.onReceive();
      datagram_ = {};
      if( hasError_ ) { // comes before what is queued
         hasError_ = false;
         isCongested_ = isCongested_ && !queue_.empty();
         return Received::lost;
      }
      if( queue_.empty() ) {
         return Received::nothing;
      }
      datagram_ = queue_.front();
      queue_.pop_front();
      bytes_ -= datagram_.size();
      if( dump_ && bytes_ <= kernel_.capacity_ / 2 ) {
         goOn();
      }
      isCongested_ = isCongested_ && !queue_.empty();
      return Received::datagram;
   }

   int send( NetlinkSpan request ) noexcept override {
      kernel_.trace_.bytes( request );
      const auto message = OrloAgent::NetlinkMessages( request ).next();
      if( !message || message->isTruncated ) {
         return EINVAL;
      }
      const bool isRefused = kernel_.refusals_ != 0;
      if( isRefused ) {
         --kernel_.refusals_;
         ++kernel_.refused_;
         if( kernel_.random_.chance( 300 ) ) {
            return ENOBUFS;
         }
      }
      const nlmsghdr &header = message->header;
      if( isRefused || dump_ ) {
         const Header answer{ 0, header.nlmsg_seq, kPort };
         queue( numberMessage( NLMSG_ERROR, isRefused ? -ENOMEM : -EBUSY, answer ) );
         return 0;
      }
      dump_.emplace( Dump{ header.nlmsg_type, header.nlmsg_seq } );
      const auto family = OrloAgent::leading<unsigned char>( message->body ).value_or( 0 );
      dump_->isOfAll = family == AF_UNSPEC;
      dump_->family = family == AF_INET6 ? Address::Family::V6 : Address::Family::V4;
      goOn();
      return 0;
   }

   /// News; lost when there is no room, and so is what follows until the queue has been emptied.
   void news( const NetlinkBytes &bytes ) {
      if( isCongested_ || bytes_ + bytes.size() > kernel_.capacity_ ) {
         ++kernel_.overruns_;
         hasError_ = hasError_ || !isCongested_;
         isCongested_ = true;
         return;
      }
      queue( bytes );
   }
   /// The next part of the dump, if one is under way.
   void goOn() {
      if( !dump_ || isBuilding_ ) {
         return;
      }
      isBuilding_ = true;
      NetlinkBytes part;
      bool isEnd = false;
      for( U64 rows = kernel_.random_.between( 1, 6 ); rows != 0 && !isEnd; --rows ) {
         isEnd = !row( part );
      }
      if( isEnd ) {
         part += numberMessage( NLMSG_DONE, 0, header() );
         dump_.reset();
      }
      if( kernel_.habits_.dumpsWithoutLock && kernel_.random_.chance( 100 ) &&
          !kernel_.isTelling_ ) {
         kernel_.onDump(); // its news overtake what has been read
      }
      isBuilding_ = false;
      queue( part );
   }
   bool isReadable() const { return hasError_ || !queue_.empty(); }
   bool isDumping() const { return dump_.has_value(); }

 private:
   struct Dump {
      U16 type;
      U32 sequence;
      IfIndex lastLink = 0;
      std::optional<Address> lastAddress{};
      std::size_t rows = 0; // so far, of this family
      Address::Family family = Address::Family::V4;
      bool isOfAll = true; // families of addresses, one after the other
      std::optional<U32> generation{};
   };

   U32 generation() const {
      return dump_->type == RTM_GETLINK
                   ? kernel_.linkGeneration_
                   : kernel_.linkGeneration_ +
                           kernel_.addressGeneration_[static_cast<int>( dump_->family )];
   }
   Header header() {
      const bool isInterrupted = dump_->generation && *dump_->generation != generation();
      kernel_.interruptions_ += isInterrupted ? 1 : 0;
      dump_->generation = generation();
      return { static_cast<U16>( NLM_F_MULTI | ( isInterrupted ? NLM_F_DUMP_INTR : 0 ) ),
               dump_->sequence, kPort };
   }
   bool isCounting() const { return kernel_.habits_.dumpsByCount; }
   template <class Map>
   static typename Map::const_iterator nth( const Map &map, std::size_t at ) {
      return at < map.size() ? std::next( map.begin(), static_cast<long>( at ) ) : map.end();
   }
   bool row( NetlinkBytes &part ) {
      if( dump_->type == RTM_GETLINK ) {
         const auto at = isCounting() ? nth( kernel_.links_, dump_->rows )
                                      : kernel_.links_.upper_bound( dump_->lastLink );
         if( at == kernel_.links_.end() ) {
            return false;
         }
         ++dump_->rows;
         dump_->lastLink = at->first;
         part += linkMessage( at->second, RTM_NEWLINK, header() );
         return true;
      }
      std::size_t row = 0;
      for( const Address &address : kernel_.addresses_ ) { // by family, as the kernel does
         if( address.family != dump_->family ) {
            continue;
         }
         const bool isNext = isCounting() ? row == dump_->rows
                                          : !dump_->lastAddress || *dump_->lastAddress < address;
         if( isNext ) {
            part += addressMessage( address, RTM_NEWADDR, header() );
            ++dump_->rows;
            dump_->lastAddress = address;
            return true;
         }
         ++row;
      }
      if( dump_->isOfAll && dump_->family == Address::Family::V4 ) {
         dump_->family = Address::Family::V6;
         dump_->lastAddress.reset();
         dump_->rows = 0;
         dump_->generation.reset(); // each family is a dump of its own
         return this->row( part );
      }
      return false;
   }
   void queue( const NetlinkBytes &bytes ) {
      kernel_.trace_.bytes( bytes.span() );
      ++kernel_.datagrams_;
      queue_.push_back( bytes );
      bytes_ += bytes.size();
   }

   SimulatedKernel &kernel_;
   std::deque<NetlinkBytes> queue_;
   std::size_t bytes_ = 0;
   bool hasError_ = false;
   bool isCongested_ = false;
   std::optional<Dump> dump_;
   bool isBuilding_ = false;
   NetlinkBytes datagram_;
};

std::set<Address> SimulatedKernel::addressesOf( IfIndex ifindex ) const {
   std::set<Address> all;
   for( const Address &address : addresses_ ) {
      if( address.ifindex == ifindex ) {
         all.insert( address );
      }
   }
   return all;
}

const Link *SimulatedKernel::link( const std::string &name ) const {
   for( const auto &[ifindex, link] : links_ ) {
      if( link.name == name ) {
         return &link;
      }
   }
   return nullptr;
}

/// A dump may show a change before the news of it are queued.
void SimulatedKernel::tell( const std::function<void()> &change,
                            const std::function<void()> &message ) {
   change();
   onChange();
   if( socket_ ) {
      if( socket_->isDumping() && random_.chance( 100 ) ) {
         isTelling_ = true; // changes wait for each other, so that news are in their order
         socket_->goOn();
         isTelling_ = false;
      }
      message();
      if( random_.chance( 20 ) ) {
         message();
      }
   }
}

void SimulatedKernel::linkIs( const Link &link ) {
   tell(
         [&] {
            const auto at = links_.find( link.ifindex );
            linkGeneration_ += at == links_.end() || at->second.name != link.name ? 1 : 0;
            links_[link.ifindex] = link;
         },
         [&] {
            socket_->news( linkMessage( link, RTM_NEWLINK, { 0, 17, 4242 } ) );
         } );
}

void SimulatedKernel::linkDel( IfIndex ifindex ) {
   for( const Address &address : addressesOf( ifindex ) ) {
      addressDel( address );
   }
   const auto at = links_.find( ifindex );
   if( at == links_.end() ) {
      return; // somebody else was faster, while a part of a dump went out
   }
   const Link link = at->second;
   tell(
         [&] {
            ++linkGeneration_;
            links_.erase( ifindex );
            lastLinkLocals_.erase( ifindex );
         },
         [&] { socket_->news( linkMessage( link, RTM_DELLINK, {} ) ); } );
}

void SimulatedKernel::addressIs( const Address &address ) {
   tell(
         [&] {
            ++addressGeneration_[static_cast<int>( address.family )];
            addresses_.insert( address );
            if( address.isLinkLocal() ) {
               lastLinkLocals_[address.ifindex] = address.local;
            }
         },
         [&] {
            socket_->news( addressMessage( address, RTM_NEWADDR, { 0, 18, 4243 } ) );
         } );
}

void SimulatedKernel::addressDel( const Address &address ) {
   tell(
         [&] {
            ++addressGeneration_[static_cast<int>( address.family )];
            addresses_.erase( address );
         },
         [&] {
            socket_->news( addressMessage( address, RTM_DELADDR, { 0, 19, 4243 } ) );
         } );
}

void SimulatedKernel::tellAgain( IfIndex ifindex ) {
   if( const auto at = links_.find( ifindex ); at != links_.end() ) {
      linkIs( Link( at->second ) );
   }
}

/// A bridge's and IPv6's views of a link, which say "gone" where nothing has gone.
void SimulatedKernel::noise() {
   if( !socket_ || links_.empty() ) {
      return;
   }
   const Link link = random_.pick( links_ ).second;
   const bool isBridge = random_.chance( 500 );
   const U16 type = isBridge && random_.chance( 500 ) ? RTM_DELLINK : RTM_NEWLINK;
   NetlinkMessage message( type );
   message.with( OrloAgent::linkHeader( link.ifindex, IFF_UP,
                                        isBridge ? static_cast<unsigned char>( AF_BRIDGE )
                                                 : static_cast<unsigned char>( AF_INET6 ) ) );
   message.attribute( IFLA_IFNAME, link.name );
   socket_->news( message.bytes() );
}

std::unique_ptr<OrloAgent::NetlinkSource> SimulatedKernel::socket() {
   return std::make_unique<Socket>( *this );
}

bool SimulatedKernel::isReadable() const {
   return socket_ && socket_->isReadable();
}

} // namespace Simulator
