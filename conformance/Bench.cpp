#include "conformance/Bench.h"

#include "platform/HardwareStatus.h"

#include <algorithm>
#include <poll.h>
#include <set>

namespace OrloConformance {

using OrloHelper::HardwareView;
using OrloHelper::HardwareWork;
using Quor::U16;
using Quor::U32;
using std::chrono::steady_clock;

namespace {

constexpr U16 kFirstVlan = 1;
constexpr U16 kLastVlan = 4094; // IEEE 802.1Q
constexpr U32 kVrids = 255;     // RFC 9568
constexpr U16 kFamilies = 2;
constexpr U32 kFew = 8;
constexpr int kMostInARow = 64;
constexpr std::chrono::minutes kMinute{ 1 };
constexpr std::chrono::milliseconds kAnswer{ 20 }; // most hardware has answered by then

std::vector<Bridging::VlanId> vlansOf( const OrloHelper::HelperSettings &settings ) {
   std::vector<Bridging::VlanId> vlans;
   for( const OrloHelper::RoutedInterface &one : settings.interfaces ) {
      vlans.push_back( one.vlan );
      vlans.insert( vlans.end(), one.secondaryVlans.begin(), one.secondaryVlans.end() );
   }
   return vlans;
}

} // namespace

std::string text( const Pair &pair ) {
   return "VLAN " + valueToStrep( pair.vlanId() ) + " " + valueToStrep( pair.mac() );
}

std::string text( const Slots &slots ) {
   std::string all;
   for( const auto &[index, pair] : slots ) {
      all += ( all.empty() ? "" : ", " ) +
             ( index == Bench::kNoIndex ? "no index" : std::to_string( index ) ) + ": " +
             text( pair );
   }
   return all.empty() ? "nothing" : all;
}

Bench::Bench( const Subject &subject ) : subject_( subject ) {}

Bench::~Bench() {
   try {
      accept();
   } catch( ... ) { // the run has ended for that reason, or ends with its next fault
   }
   close();
}

Pair Bench::pair( U32 number ) const {
   const std::vector<Bridging::VlanId> vlans = vlansOf( subject_.settings );
   const U32 router = number / static_cast<U32>( vlans.size() );
   const auto family = static_cast<U16>( 1 + router / kVrids );
   const auto vrid = static_cast<U16>( 1 + router % kVrids );
   return { vlans[number % vlans.size()],
            Pelmo::EthAddr( 0x0000, 0x5e00, static_cast<U16>( family << 8 | vrid ) ) };
}

U32 Bench::pairs() const {
   return static_cast<U32>( vlansOf( subject_.settings ).size() ) * kVrids * kFamilies;
}

U32 Bench::few() const noexcept {
   return std::min( subject_.settings.indexes, kFew );
}

// Life

OrloHelper::HelperSettings Bench::settings( U32 indexes, bool isReadOnly ) {
   OrloHelper::HelperSettings all = subject_.settings;
   all.indexes = indexes;
   all.isReadOnly = isReadOnly;
   all.trouble = [this]( const std::string & ) { ++lines_; };
   return all;
}

Quor::Ptr<OrloHelper::VrrpSmHelper>
Bench::made( const OrloHelper::HelperSettings &settings ) const {
   Quor::Ptr<OrloHelper::VrrpSmHelper> made;
   called( "orloHelperNew()", [&] { made = subject_.make( settings ); } );
   return made;
}

void Bench::open( U32 indexes ) {
   close();
   helper_ = made( settings( indexes, false ) );
   indexes_ = indexes;
   Quor::PtrInterface *const base = helper_.get();
   view_ = dynamic_cast<const HardwareView *>( base );
   work_ = dynamic_cast<HardwareWork *>( base );
}

void Bench::close() {
   stop();
   view_ = nullptr;
   work_ = nullptr;
   helper_ = nullptr;
}

Slots Bench::start( const Pairs &wanted, U32 pool ) {
   table_ = subject_.plugin.virtualRouterMacTableFactory();
   for( const Pair &pair : wanted ) {
      table_->virtualRouterMacIs( pair, true );
   }
   const auto status = Quor::make<Routing::Fhrp::Hardware::Status>();
   status->virtualRouterCountIs( pool );
   called( "the start of the programmer",
           [&] { vrrpSm_ = subject_.plugin.vrrpSmIs( table_, status, helper_ ); } );
   Slots snapshot;
   for( const auto &entry : vrrpSm_->currentVrrpStateForInit()->virtualRouterIndexes() ) {
      snapshot.emplace_back( entry.value(), entry.key() );
   }
   std::sort( snapshot.begin(), snapshot.end() );
   check( snapshot, "the snapshot gives" );
   work();
   return snapshot;
}

void Bench::stop() {
   vrrpSm_ = nullptr;
   table_ = nullptr;
}

void Bench::openEmpty( U32 indexes ) {
   open( indexes );
   start( {}, indexes );
   stop();
   const auto isEmpty = [this] { return !hasView() || held().empty(); };
   if( !inAMinute( isEmpty ) ) {
      throw Broken( "after a start with nothing to program the hardware holds " + text( held() ),
                    text( Slots{} ) );
   }
}

void Bench::called( const char *what, const std::function<void()> &call ) const {
   std::string threw;
   try {
      call();
      return;
   } catch( const std::exception &error ) {
      threw = error.what();
   } catch( ... ) {
      threw = "something that is no exception";
   }
   throw Broken( std::string( what ) + " threw " + threw, "nothing is thrown" );
}

// The programmer's calls

void Bench::add( const Pair &pair, U32 index ) {
   called( "addVirtualRouterMac()",
           [&] { helper_->addVirtualRouterMac( pair.mac(), pair.vlanId().number(), index ); } );
}

void Bench::remove( const Pair &pair, U32 index ) {
   called( "deleteVirtualRouterMac()",
           [&] { helper_->deleteVirtualRouterMac( pair.mac(), pair.vlanId().number(), index ); } );
}

void Bench::put( const Slots &slots ) {
   for( const auto &[index, pair] : slots ) {
      add( pair, index );
   }
   expectHeld( slots, "after an event that adds" );
}

void Bench::wanted( const Pair &pair ) {
   called( "the programmer's call", [&] { table_->virtualRouterMacIs( pair, true ); } );
}

void Bench::unwanted( const Pair &pair ) {
   called( "the programmer's call", [&] { table_->virtualRouterMacDel( pair ); } );
}

Slots Bench::programmed() const {
   Slots slots;
   for( const auto &entry : vrrpSm_->virtualRouterIndexes() ) {
      slots.emplace_back( entry.value(), entry.key() );
   }
   std::sort( slots.begin(), slots.end() );
   return slots;
}

std::size_t Bench::waiting() const {
   return vrrpSm_->macsNeedingVirtualRouterIndexes().count();
}

// Work

Bench::Time Bench::workOnce() {
   Time next = HardwareWork::kNever;
   if( hasWork() ) {
      called( "work()", [&] { next = work_->work( now_ ); } );
   }
   if( hasView() && !isPlanted_ ) {
      check( held(), "after work() the hardware holds" );
   }
   return next;
}

Bench::Time Bench::work() {
   Time next = workOnce();
   for( int i = 0; i < kMostInARow && ( next <= now_ || hears( steady_clock::now() ) ); ++i ) {
      next = workOnce();
   }
   return next;
}

bool Bench::hears( steady_clock::time_point until ) const {
   const int fd = hasWork() ? work_->fd() : -1;
   if( fd < 0 ) {
      return false;
   }
   const auto left = std::chrono::ceil<std::chrono::milliseconds>( until - steady_clock::now() );
   pollfd readable{ fd, POLLIN, 0 };
   return poll( &readable, 1, static_cast<int>( std::max<long>( left.count(), 0 ) ) ) > 0;
}

bool Bench::eventually( const std::function<bool()> &is ) {
   const auto until = steady_clock::now() + subject_.patience;
   work();
   while( !is() ) {
      if( !hears( until ) || steady_clock::now() > until ) {
         return false;
      }
      work();
   }
   return true;
}

bool Bench::inAMinute( const std::function<bool()> &is ) {
   const Time end = now_ + kMinute;
   for( Time next = work(); !is(); next = work() ) {
      if( hears( steady_clock::now() + kAnswer ) ) {
         continue;
      }
      if( next > end || next <= now_ ) {
         return eventually( is );
      }
      now_ = next;
   }
   return true;
}

void Bench::repair() {
   called( "repair()", [this] { work_->repair(); } );
}

void Bench::interfacesAre( const std::vector<OrloHelper::RoutedInterface> &interfaces ) {
   called( "interfacesAre()", [&] { work_->interfacesAre( interfaces ); } );
}

// What is seen

namespace {

Slots slotsOf( const std::vector<HardwareView::Entry> &entries ) {
   Slots slots;
   for( const HardwareView::Entry &entry : entries ) {
      slots.emplace_back( entry.index.value_or( Bench::kNoIndex ), entry.pair );
   }
   std::sort( slots.begin(), slots.end() );
   return slots;
}

} // namespace

Slots Bench::held() const {
   Slots slots;
   called( "readAll()", [&] { slots = slotsOf( view_->readAll() ); } );
   return slots;
}

Slots Bench::looked() const {
   OrloHelper::HelperSettings all = subject_.settings;
   all.isReadOnly = true;
   const Quor::Ptr<OrloHelper::VrrpSmHelper> other = made( all );
   const auto *const view =
         dynamic_cast<const HardwareView *>( static_cast<Quor::PtrInterface *>( other.get() ) );
   Slots slots;
   if( view ) {
      called( "readAll() of a helper that only looks",
              [&] { slots = slotsOf( view->readAll() ); } );
   }
   return slots;
}

void Bench::check( const Slots &slots, const char *where ) const {
   std::set<U32> indexes;
   std::set<Pair> pairs;
   const auto refuse = [&]( const char *why ) {
      throw Broken( std::string( where ) + " " + text( slots ), why );
   };
   for( const auto &[index, pair] : slots ) {
      if( index >= indexes_ ) {
         refuse( "every pair is under an index below the number of indexes" );
      }
      if( !indexes.insert( index ).second ) {
         refuse( "an index has one pair" );
      }
      if( !pairs.insert( pair ).second ) {
         refuse( "a pair has one index" );
      }
      if( pair.vlanId().number() < kFirstVlan || pair.vlanId().number() > kLastVlan ) {
         refuse( "VLANs are 1 to 4094" );
      }
   }
}

void Bench::expect( bool is, const std::string &seen, const std::string &shouldBe ) const {
   if( !is ) {
      throw Broken( seen, shouldBe );
   }
}

void Bench::expectHeld( const Slots &slots, const std::string &after ) {
   Slots inOrder = slots;
   std::sort( inOrder.begin(), inOrder.end() );
   const auto is = [&] { return !hasView() || held() == inOrder; };
   if( !eventually( is ) ) {
      throw Broken( after + " the hardware holds " + text( held() ), text( inOrder ) );
   }
}

void Bench::expectWrites( Quor::U64 writes, const std::string &after ) const {
   if( hasView() ) {
      expect( this->writes() == writes,
              after + " there were " + std::to_string( this->writes() ) + " writes",
              std::to_string( writes ) );
   }
}

// The hardware's own life

void Bench::refuse() {
   if( !std::exchange( isRefusing_, true ) ) {
      faults().refuse();
   }
}

void Bench::refuseRemovals() {
   if( !std::exchange( isRefusingRemovals_, true ) ) {
      faults().refuseRemovals();
   }
}

void Bench::accept() {
   const bool isRefusing = std::exchange( isRefusing_, false );
   if( std::exchange( isRefusingRemovals_, false ) || isRefusing ) {
      faults().accept();
   }
}

void Bench::lose( const Slot &slot ) {
   faults().lose( slot.second, slot.first );
}

void Bench::plant( const Slot &slot ) {
   isPlanted_ = true;
   faults().plant( slot.second, slot.first );
}

} // namespace OrloConformance
