// What the kernel tells the bridge hardware. The first byte says whether the rest is a datagram, or
// the damage that is done to a request of ours: then two bytes for what is asked, eight for a pair,
// two for a primary VLAN, and after these three for each byte that is another one (where, and
// what).
//
//    - Nothing is read outside of the datagram, which has memory of its own, to the byte.
//    - What is read is about a link, a VLAN or an errno that there can be. (A rule may say
//    anything:
//      it is only compared with the one that is wanted.)
//    - A request to add or to remove that comes back undamaged reads as what was asked.
#include "agent/hardware/bridge/BridgeMessages.h"
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"

#include <memory>

using Fuzz::check;
using namespace OrloAgent;
using Change = BridgeKernel::Change;
using News = std::vector<BridgeNews>;

namespace {

constexpr IfIndex kBridge = 7;

void checkOne( const DeviceNews &news ) {
   check( news.device.ifindex > 0 && news.name.find( '\0' ) == std::string::npos, "no link" );
}
void checkOne( const DeviceGone &news ) {
   check( news.ifindex > 0, "no link" );
}
void checkOne( const EntryNews &news ) {
   check( news.bridge > 0 && news.pair.vlanId().number() <= 4095, "an entry of no bridge" );
}
void checkOne( const RuleNews &news ) {
   check( news.ifindex > 0, "a rule of no link" );
}
void checkOne( const RulePlaceGone &news ) {
   check( news.ifindex > 0, "no link" );
}
void checkOne( const RequestAnswer &news ) {
   check( news.error >= 0 && news.said.find( '\0' ) == std::string::npos, "no errno" );
}
void checkOne( const DumpEnd &news ) {
   check( news.error >= 0, "no errno" );
}
void checkOne( const NewsLost & ) {}
void checkOne( const NoNews & ) {}

News read( std::string_view bytes ) {
   const auto own = std::make_unique<std::byte[]>( bytes.size() );
   std::copy( bytes.begin(), bytes.end(), reinterpret_cast<char *>( own.get() ) );
   NetlinkMessages messages( { own.get(), bytes.size() } );
   News all;
   while( const auto message = messages.next() ) {
      all.push_back( readBridgeMessage( *message ) );
      std::visit( []( const auto &news ) { checkOne( news ); }, all.back() );
   }
   return all;
}

Change asked( Fuzz::Input &input ) {
   Change change{ static_cast<Change::What>( input.below( 4 ) ), {} };
   change.number = 1 + Quor::U32{ input.byte() };
   const Bridging::VlanId vlan( static_cast<Quor::U16>( 1 + input.word() % 4094 ) );
   Pelmo::EthAddr::Octets mac{};
   for( Quor::U8 &octet : mac ) {
      octet = input.byte();
   }
   change.pair = Pair( vlan, Pelmo::EthAddr( mac ) );
   change.primary = Bridging::VlanId( static_cast<Quor::U16>( 1 + input.word() % 4094 ) );
   return change;
}

/// What comes back of it undamaged.
void checkUndamaged( const News &news, const Change &change ) {
   check( news.size() == 1, "one request, and other messages" );
   switch( change.what ) {
   case Change::What::entryAdd:
      check( news[0] == BridgeNews( EntryNews{ kBridge, change.pair, FdbState::local } ),
             "another entry" );
      break;
   case Change::What::entryDel:
      check( news[0] == BridgeNews( EntryNews{ kBridge, change.pair, FdbState::absent } ),
             "another entry" );
      break;
   case Change::What::ruleAdd:
   case Change::What::ruleDel: {
      const auto *const rule = std::get_if<RuleNews>( &news[0] );
      check( rule && rule->ifindex == kBridge && rule->number == change.number &&
                   rule->isGone == ( change.what == Change::What::ruleDel ),
             "another rule" );
   }
   }
}

void tryDamaged( Fuzz::Input &input ) {
   const Change change = asked( input );
   BridgeRequests requests;
   requests.change( kBridge, change, 1 );
   std::string bytes( reinterpret_cast<const char *>( requests.bytes().data() ),
                      requests.bytes().size() );
   checkUndamaged( read( bytes ), change );
   while( !input.empty() ) {
      const std::size_t where = input.word() % bytes.size();
      bytes[where] = static_cast<char>( input.byte() );
   }
   read( bytes );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t *bytes, std::size_t size ) {
   Fuzz::Input input( bytes, size );
   if( input.below( 2 ) == 0 ) {
      read( input.rest() );
   } else {
      tryDamaged( input );
   }
   return 0;
}
