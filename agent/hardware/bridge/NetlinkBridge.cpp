#include "agent/hardware/bridge/NetlinkBridge.h"

#include "agent/hardware/Failpoint.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace OrloAgent {

namespace {

using Quor::U32;
using Received = NetlinkSocket::Received;

constexpr int kDatagramsAtOnce = 256; // then others have their turn
constexpr int kMostReadings = 5;      // of one dump, while somebody changes what is read

U32 firstSequence() {
   // Two sockets that use the same port one after the other do not count from the same number.
   const auto now = std::chrono::steady_clock::now().time_since_epoch();
   return static_cast<U32>( now.count() / 1000 );
}

[[noreturn]] void cannotRead( const char *what, const std::string &why ) {
   throw std::runtime_error( std::string( "the kernel does not tell the " ) + what + ": " + why );
}

} // namespace

NetlinkBridge::NetlinkBridge( std::string name, U32 batch )
      : name_( std::move( name ) ), batch_( std::clamp( batch, U32{ 1 }, kMostBatch ) ),
        heard_( { RTNLGRP_LINK, RTNLGRP_NEIGH, RTNLGRP_TC } ), sequence_( firstSequence() ) {
   asked_.flagIs( NETLINK_CAP_ACK, true );
   asked_.flagIs( NETLINK_EXT_ACK, true );
   // Without it the kernel does not look at what a dump is limited to.
   if( !asked_.flagIs( NETLINK_GET_STRICT_CHK, true ) ) {
      throw std::runtime_error( "this kernel is too old: it has no strict netlink dumps" );
   }
   heard_.joins( RTNLGRP_BRVLAN );
   // An answer to each of our changes, and two news of it.
   asked_.readAheadIs( NetlinkSocket::kMostAhead );
   heard_.readAheadIs( NetlinkSocket::kMostAhead );
}

/// Sends the requests in batches and hears the answers. Gives an errno when the kernel did not take
/// a batch; then the answers to it and to the ones behind it are missing.
int NetlinkBridge::ask( std::size_t count, const char *writing, const Request &request,
                        const Answer &answer ) {
   for( std::size_t done = 0; done < count; ) {
      const std::size_t end = std::min( count, done + batch_ );
      const U32 first = sequence_;
      requests_.clear();
      for( std::size_t i = done; i < end; ++i ) {
         request( requests_, i, sequence_++ );
      }
      if( writing ) {
         Failpoint::hit( writing );
      }
      if( const int error = asked_.send( requests_.bytes() ) ) {
         return error;
      }
      hearAnswers( first, end - done,
                   [&]( std::size_t i, const BridgeNews &news ) { answer( done + i, news ); } );
      done = end;
   }
   return 0;
}

/// Whatever is not there yet does not come any more: it was lost for want of room.
void NetlinkBridge::hearAnswers( U32 first, std::size_t count, const Answer &answer ) {
   std::size_t missing = count;
   while( missing != 0 ) {
      const Received received = asked_.receive();
      if( received == Received::nothing ) {
         return;
      }
      NetlinkMessages messages( asked_.datagram() );
      while( const auto message = messages.next() ) {
         const U32 at = message->header.nlmsg_seq - first;
         if( at < count ) { // otherwise late, to a request before
            answer( at, readBridgeMessage( *message ) );
            --missing;
         }
      }
   }
}

void NetlinkBridge::dump( const char *what, const Dump &request, const Row &row ) {
   for( int i = 0; i < kMostReadings; ++i ) {
      if( dumpOnce( what, request, row ) ) {
         return;
      }
   }
   cannotRead( what, "it changes all the time" );
}

/// False when something changed while it was read.
bool NetlinkBridge::dumpOnce( const char *what, const Dump &request, const Row &row ) {
   const U32 sequence = sequence_++;
   requests_.clear();
   request( requests_, sequence );
   if( const int error = asked_.send( requests_.bytes() ) ) {
      cannotRead( what, std::strerror( error ) );
   }
   bool isWhole = true;
   for( ;; ) {
      switch( asked_.receive() ) {
      case Received::nothing:
         cannotRead( what, "no answer" );
      case Received::lost:
         cannotRead( what, "answers were lost" );
      case Received::datagram:
         break;
      }
      NetlinkMessages messages( asked_.datagram() );
      while( const auto message = messages.next() ) {
         if( message->header.nlmsg_seq != sequence ) {
            continue;
         }
         isWhole = isWhole && ( message->header.nlmsg_flags & NLM_F_DUMP_INTR ) == 0;
         const BridgeNews news = readBridgeMessage( *message );
         const auto *const end = std::get_if<DumpEnd>( &news );
         const auto *const answer = std::get_if<RequestAnswer>( &news );
         const int error = end ? end->error : answer ? answer->error : 0;
         if( error != 0 ) {
            cannotRead( what, std::strerror( error ) );
         }
         if( end ) {
            return isWhole;
         }
         row( news );
      }
   }
}

BridgeDevice NetlinkBridge::device() {
   std::optional<BridgeDevice> found;
   int error = EAGAIN; // no answer
   const int unsent = ask(
         1, nullptr,
         [&]( BridgeRequests &requests, std::size_t, U32 sequence ) {
            requests.getDevice( name_, sequence );
         },
         [&]( std::size_t, const BridgeNews &news ) {
            if( const auto *const device = std::get_if<DeviceNews>( &news ) ) {
               found = device->device;
            } else if( const auto *const answer = std::get_if<RequestAnswer>( &news ) ) {
               error = answer->error;
            }
         } );
   error = unsent != 0 ? unsent : error;
   if( !found && error != ENODEV ) {
      cannotRead( "bridge", std::strerror( error ) );
   }
   const BridgeDevice device = found.value_or( BridgeDevice{} );
   bridge_ = device.ifindex;
   return device;
}

std::vector<Pair> NetlinkBridge::localEntries( IfIndex bridge ) {
   std::vector<Pair> pairs;
   dump(
         "bridge's FDB",
         [&]( BridgeRequests &requests, U32 sequence ) {
            pairs.clear();
            requests.dumpEntries( bridge, sequence );
         },
         [&]( const BridgeNews &news ) {
            const auto *const entry = std::get_if<EntryNews>( &news );
            if( entry && entry->bridge == bridge && entry->state == FdbState::local &&
                entry->pair.vlanId().number() != 0 ) {
               pairs.push_back( entry->pair );
            }
         } );
   return pairs;
}

std::vector<FdbState> NetlinkBridge::entries( IfIndex bridge, std::span<const Pair> pairs ) {
   std::vector<FdbState> states( pairs.size(), FdbState::unknown );
   ask(
         pairs.size(), nullptr,
         [&]( BridgeRequests &requests, std::size_t i, U32 sequence ) {
            requests.getEntry( bridge, pairs[i], sequence );
         },
         [&]( std::size_t i, const BridgeNews &news ) {
            const auto *const answer = std::get_if<RequestAnswer>( &news );
            if( answer && answer->error == ENOENT ) {
               states[i] = FdbState::absent;
            } else if( const auto *const entry = std::get_if<EntryNews>( &news ) ) {
               states[i] = entry->state;
            }
         } );
   return states;
}

std::vector<std::pair<U32, FoundRule>> NetlinkBridge::allRules( IfIndex bridge ) {
   std::vector<std::pair<U32, FoundRule>> rules;
   dump(
         "rules at the bridge",
         [&]( BridgeRequests &requests, U32 sequence ) {
            rules.clear();
            requests.dumpRules( bridge, sequence );
         },
         [&]( const BridgeNews &news ) {
            const auto *const rule = std::get_if<RuleNews>( &news );
            if( rule && rule->ifindex == bridge ) {
               rules.emplace_back( rule->number, rule->rule );
            }
         } );
   return rules;
}

std::vector<FoundRule> NetlinkBridge::rules( IfIndex bridge, std::span<const U32> numbers ) {
   std::vector<FoundRule> found( numbers.size() );
   ask(
         numbers.size(), nullptr,
         [&]( BridgeRequests &requests, std::size_t i, U32 sequence ) {
            requests.getRule( bridge, numbers[i], sequence );
         },
         [&]( std::size_t i, const BridgeNews &news ) {
            if( const auto *const rule = std::get_if<RuleNews>( &news ) ) {
               found[i] = rule->rule;
            }
         } );
   return found;
}

void NetlinkBridge::change( IfIndex bridge, std::span<Change> changes ) {
   const auto isRule = []( const Change &change ) { return change.what == Change::What::ruleAdd; };
   if( std::any_of( changes.begin(), changes.end(), isRule ) ) {
      // Somebody's may be there already, and be removed by anybody. What is wrong with it shows in
      // the answers to the rules.
      ask(
            1, "the place of the rules",
            [&]( BridgeRequests &requests, std::size_t, U32 sequence ) {
               requests.makeRulePlace( bridge, sequence );
            },
            []( std::size_t, const BridgeNews & ) {} );
   }
   const int unsent = ask(
         changes.size(), "the bridge",
         [&]( BridgeRequests &requests, std::size_t i, U32 sequence ) {
            requests.change( bridge, changes[i], sequence );
         },
         [&]( std::size_t i, const BridgeNews &news ) {
            if( const auto *const answer = std::get_if<RequestAnswer>( &news ) ) {
               changes[i].error = answer->error;
               changes[i].said = answer->said;
            }
         } );
   if( unsent != 0 ) {
      for( Change &change : changes ) {
         change.error = change.error == kNoAnswer ? unsent : change.error;
      }
   }
}

BridgeKernel::News NetlinkBridge::news() {
   News news;
   for( int i = 0; i < kDatagramsAtOnce || heard_.isAhead(); ++i ) {
      const Received received = heard_.receive();
      if( received == Received::nothing ) {
         break;
      }
      news.isLossy = news.isLossy || received == Received::lost;
      NetlinkMessages messages( heard_.datagram() );
      while( const auto message = messages.next() ) {
         take( readBridgeMessage( *message ), news );
      }
   }
   return news;
}

void NetlinkBridge::take( const BridgeNews &one, News &news ) const {
   if( const auto *const device = std::get_if<DeviceNews>( &one ) ) {
      news.isDevice |= device->device.ifindex == bridge_ || device->name == name_;
   } else if( const auto *const gone = std::get_if<DeviceGone>( &one ) ) {
      news.isDevice |= gone->ifindex == bridge_;
   } else if( const auto *const entry = std::get_if<EntryNews>( &one ) ) {
      if( entry->bridge == bridge_ && entry->pair.vlanId().number() != 0 ) {
         news.entries.push_back( { entry->pair, entry->state } );
      }
   } else if( const auto *const rule = std::get_if<RuleNews>( &one ) ) {
      if( rule->ifindex == bridge_ ) {
         news.rules.push_back( { rule->number, rule->rule } );
      }
   } else if( const auto *const place = std::get_if<RulePlaceGone>( &one ) ) {
      if( place->ifindex == bridge_ ) {
         news.rules.push_back( { 0, std::nullopt } );
      }
   } else if( std::holds_alternative<NewsLost>( one ) ) {
      news.isLossy = true;
   }
}

} // namespace OrloAgent
