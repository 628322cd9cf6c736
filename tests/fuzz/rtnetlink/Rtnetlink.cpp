// What the kernel sends. A byte says what happens next; a datagram is its length (two bytes) and
// its bytes. Every datagram also comes cut off somewhere, and twice. Whatever the bytes are:
//
//    - nothing is read outside of them (each datagram has memory of its own, to the byte);
//    - what is told is a link with a number and a name, or an address of a link;
//    - a datagram that comes again changes nothing, unless a reading ends in it;
//    - what is published is what the rule says of the links and addresses that were told, kept in
//      a second, simpler account; and the status table has just these records.
#include "agent/input/DumpProtocol.h"
#include "agent/input/Publisher.h"
#include "tests/fuzz/Check.h"
#include "tests/fuzz/Input.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <utility>

using Fuzz::check;
using namespace OrloAgent;

namespace {

constexpr Quor::U32 kPort = 0x0101;
constexpr int kMostSteps = 64;

/// Links and addresses as they were told, in sets that are exchanged when a reading ends.
class Account {
 public:
   void link( const Link &link ) { links_[link.ifindex] = { link, reading_ }; }
   void linkGone( IfIndex ifindex ) {
      links_.erase( ifindex );
      std::erase_if( addresses_, [&]( const auto &one ) { return one.first.ifindex == ifindex; } );
   }
   void address( const Address &address ) { addresses_[address] = reading_; }
   void addressGone( const Address &address ) { addresses_.erase( address ); }
   void readingAll() { ++reading_; }
   void readAll() {
      std::erase_if( links_, [&]( const auto &one ) { return one.second.second != reading_; } );
      std::erase_if( addresses_, [&]( const auto &one ) {
         return one.second != reading_ || !links_.contains( one.first.ifindex );
      } );
   }

   /// Does the rule allow it? All of it but which link-local address it has.
   bool mayBePublished( IfIndex ifindex, const Verdict &verdict ) const {
      const Link &link = links_.at( ifindex ).first;
      const auto lower = links_.find( link.lower );
      return link.name == verdict.device && link.mac == verdict.record.mac() &&
             link.kind == "macvlan" && link.up && link.lowerUp && !link.protoDown &&
             lower != links_.end() && lower->second.first.up &&
             lower->second.first.name == verdict.record.intf().name() &&
             has( ifindex, []( const Address & ) { return true; } );
   }
   bool mustBePublished( IfIndex ifindex, const Verdict &verdict ) const {
      return mayBePublished( ifindex, verdict ) &&
             has( ifindex, []( const Address &one ) { return !one.isLinkLocal(); } );
   }
   std::vector<IfIndex> vrrpLinks() const {
      std::vector<IfIndex> all;
      for( const auto &[ifindex, known] : links_ ) {
         if( known.first.mac && isVrrpMac( *known.first.mac ) ) {
            all.push_back( ifindex );
         }
      }
      return all;
   }

 private:
   template <class Wanted>
   bool has( IfIndex ifindex, const Wanted &isWanted ) const {
      return std::any_of( addresses_.begin(), addresses_.end(), [&]( const auto &one ) {
         return one.first.ifindex == ifindex && isWanted( one.first );
      } );
   }

   Quor::U64 reading_ = 0;
   std::map<IfIndex, std::pair<Link, Quor::U64>> links_;
   std::map<Address, Quor::U64> addresses_;
};

/// What the agent makes of it, and the account beside it.
class Reader : private KernelWatcher, private PublisherWatcher {
 public:
   void datagram( std::string_view bytes, std::size_t cutAt ) {
      feed( bytes.substr( 0, std::min( cutAt, bytes.size() ) ) );
      feed( bytes );
      const std::vector<Verdict> once = devices_.verdicts();
      const bool isNews = !std::exchange( hasRead_, false ); // and no end of a reading
      feed( bytes );
      check( !isNews || devices_.verdicts() == once,
             "a datagram that came twice has changed something" );
   }
   void overrun() { protocol_.overrun(); }
   void drained() { protocol_.drained(); }
   void refused( int error ) { protocol_.refused( error ); }
   void retry() { protocol_.retry(); }

   void judge() {
      const std::vector<Verdict> verdicts = devices_.verdicts();
      const std::vector<IfIndex> links = account_.vrrpLinks();
      check( verdicts.size() == links.size(), "a verdict for each device" );
      std::set<Routing::Fhrp::VirtualRouterMac> published;
      for( std::size_t i = 0; i < verdicts.size(); ++i ) {
         const Verdict &one = verdicts[i];
         check( !one.reason.empty() && !one.device.empty(), "a verdict without a reason" );
         check( !one.published || account_.mayBePublished( links[i], one ),
                "published: " + one.device );
         check( one.published || !account_.mustBePublished( links[i], one ),
                "not published: " + one.device );
         if( one.published ) {
            published.insert( one.record );
         }
      }
      publisher_.verdictsAre( verdicts );
      std::set<Routing::Fhrp::VirtualRouterMac> inTable;
      for( const auto &entry : status_->vrrpVirtualMacs() ) {
         check( entry.value(), "a record that is not published" );
         inTable.insert( entry.key() );
      }
      check( inTable == published, "the table has other records" );
   }

 private:
   void feed( std::string_view bytes ) {
      const auto own = std::make_unique<std::byte[]>( bytes.size() );
      std::copy( bytes.begin(), bytes.end(), reinterpret_cast<char *>( own.get() ) );
      protocol_.datagram( { own.get(), bytes.size() } );
   }

   void onLink( const Link &link ) override {
      check( link.ifindex > 0 && !link.name.empty() && link.name.size() <= 15 &&
                   link.name.find( '\0' ) == std::string::npos,
             "a link without a number or a name" );
      devices_.linkIs( link );
      account_.link( link );
   }
   void onLinkGone( IfIndex ifindex ) override {
      check( ifindex > 0, "a link without a number" );
      devices_.linkDel( ifindex );
      account_.linkGone( ifindex );
   }
   void onAddress( const Address &address ) override {
      check( address.ifindex > 0 && !addressText( address ).empty(), "an address of no link" );
      devices_.addressIs( address );
      account_.address( address );
   }
   void onAddressGone( const Address &address ) override {
      devices_.addressDel( address );
      account_.addressGone( address );
   }
   void onReadingAll() override {
      devices_.readingBegins();
      account_.readingAll();
   }
   void onReadAll() override {
      hasRead_ = true;
      devices_.readingEnds();
      account_.readAll();
   }
   void onOverrun() override {}
   void onQuiet() override {}
   void onTrouble( const std::string &what ) override { check( !what.empty(), "trouble" ); }
   void onPublished( const Routing::Fhrp::VirtualRouterMac &, const std::string &device ) override {
      check( !device.empty(), "published by nobody" );
   }
   void onWithdrawn( const Routing::Fhrp::VirtualRouterMac &, const std::string &,
                     const std::string &reason ) override {
      check( !reason.empty(), "withdrawn without a reason" );
   }

   Quor::Ptr<Routing::Fhrp::VirtualRouterMacStatus> status_ =
         Quor::make<Routing::Fhrp::VirtualRouterMacStatus>();
   Devices devices_{ { Pelmo::IntfId( "br10" ), Pelmo::IntfId( "br20" ) } };
   Account account_;
   Publisher publisher_{ status_, *this };
   bool hasRead_ = false;
   DumpProtocol protocol_{ kPort, 0, *this };
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t *bytes, std::size_t size ) {
   Fuzz::Input input( bytes, size );
   Reader reader;
   reader.drained(); // the dump of the links is number 1, that of the addresses number 2
   for( int step = 0; step < kMostSteps && !input.empty(); ++step ) {
      switch( input.below( 8 ) ) {
      case 0:
         reader.overrun();
         break;
      case 1:
         reader.refused( input.byte() );
         break;
      case 2:
         reader.retry();
         break;
      case 3:
         reader.drained();
         break;
      default: {
         const std::size_t length = input.word();
         const std::size_t cutAt = input.byte();
         reader.datagram( input.take( length ), cutAt );
      }
      }
      reader.judge();
   }
   return 0;
}
