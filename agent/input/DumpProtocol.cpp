#include "agent/input/DumpProtocol.h"

#include <cstring>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace OrloAgent {

void DumpProtocol::datagram( std::span<const std::byte> bytes ) {
   DatagramReader reader( bytes );
   while( const std::optional<KernelMessage> message = reader.next() ) {
      const nlmsghdr &header = message->header;
      const KernelNews &news = message->news;
      if( const auto *broken = std::get_if<Malformed>( &news ) ) {
         malformed( broken->what );
         continue;
      }
      if( std::holds_alternative<Lost>( news ) ) {
         overrun();
         continue;
      }
      // Events carry port and sequence of whoever caused them, so neither tells a reply alone.
      const bool answers = std::holds_alternative<DumpReply>( news );
      const bool isReply =
            header.nlmsg_pid == port_ && ( answers || ( header.nlmsg_flags & NLM_F_MULTI ) != 0 );
      if( !isReply ) {
         event( news );
         continue;
      }
      if( !isDumping() || header.nlmsg_seq != sequence_ ) {
         continue; // the rest of a dump that was given up
      }
      interrupted_ = interrupted_ || ( header.nlmsg_flags & NLM_F_DUMP_INTR ) != 0;
      if( const auto *answer = std::get_if<DumpReply>( &news ) ) {
         if( answer->error != 0 ) {
            done( answer->error );
         }
      } else if( const auto *end = std::get_if<DumpDone>( &news ) ) {
         done( end->error );
      } else {
         row( news );
      }
   }
}

void DumpProtocol::overrun() {
   ++counters_.overruns;
   if( phase_ != Phase::Refused ) {
      phase_ = Phase::Wanted;
   }
   watcher_.onOverrun();
}

std::optional<DumpProtocol::Request> DumpProtocol::drained() {
   switch( phase_ ) {
   case Phase::Wanted:
      interrupted_ = false;
      links_.clear();
      goneLinks_.clear();
      addresses_.clear();
      phase_ = Phase::Links;
      watcher_.onReadingAll();
      return request( RTM_GETLINK, AF_UNSPEC );
   case Phase::AddressesNext:
      phase_ = Phase::Addresses;
      return request( RTM_GETADDR, family_ );
   case Phase::Links:
   case Phase::Addresses:
   case Phase::Complete:
   case Phase::Refused:
      break;
   }
   watcher_.onQuiet();
   return std::nullopt;
}

DumpProtocol::Request DumpProtocol::request( Quor::U16 type, Quor::U8 family ) {
   return { type, ++sequence_, family };
}

void DumpProtocol::refused( int error ) {
   ++counters_.refusals;
   phase_ = Phase::Refused;
   const std::string complaint = "the kernel would not list its links and addresses (" +
                                 std::string( std::strerror( error ) ) + "); trying again";
   if( complaint != complaint_ ) {
      complaint_ = complaint;
      watcher_.onTrouble( complaint );
   }
}

void DumpProtocol::retry() {
   if( phase_ == Phase::Refused ) {
      phase_ = Phase::Wanted;
   }
}

void DumpProtocol::done( int error ) {
   if( error != 0 ) {
      refused( error );
   } else if( interrupted_ ) {
      ++counters_.interruptedDumps;
      phase_ = Phase::Wanted;
   } else if( phase_ == Phase::Links ) {
      family_ = AF_INET;
      phase_ = Phase::AddressesNext;
   } else if( family_ == AF_INET ) {
      family_ = AF_INET6;
      phase_ = Phase::AddressesNext;
   } else {
      phase_ = Phase::Complete;
      ++counters_.readings;
      complaint_.clear();
      watcher_.onReadAll();
   }
}

void DumpProtocol::row( const KernelNews &news ) {
   if( const auto *link = std::get_if<Link>( &news ) ) {
      if( !links_.contains( link->ifindex ) ) {
         watcher_.onLink( *link );
      }
   } else if( const auto *address = std::get_if<Address>( &news ) ) {
      if( !addresses_.contains( *address ) && !goneLinks_.contains( address->ifindex ) ) {
         watcher_.onAddress( *address );
      }
   }
}

void DumpProtocol::event( const KernelNews &news ) {
   if( const auto *link = std::get_if<Link>( &news ) ) {
      if( isReading() ) {
         links_.insert( link->ifindex );
      }
      watcher_.onLink( *link );
   } else if( const auto *linkGone = std::get_if<LinkGone>( &news ) ) {
      if( isReading() ) {
         links_.insert( linkGone->ifindex );
         goneLinks_.insert( linkGone->ifindex );
      }
      watcher_.onLinkGone( linkGone->ifindex );
   } else if( const auto *address = std::get_if<Address>( &news ) ) {
      if( isReading() ) {
         addresses_.insert( *address );
      }
      watcher_.onAddress( *address );
   } else if( const auto *addressGone = std::get_if<AddressGone>( &news ) ) {
      if( isReading() ) {
         addresses_.insert( addressGone->address );
      }
      watcher_.onAddressGone( addressGone->address );
   }
}

void DumpProtocol::malformed( const char *what ) {
   ++counters_.malformed;
   if( counters_.malformed == 1 ) {
      watcher_.onTrouble( std::string( "the kernel sent " ) + what +
                          ", which is ignored; later ones are only counted" );
   }
}

} // namespace OrloAgent
