#include "OrloVrrpHelper/RetryingHelper.h"

#include <algorithm>
#include <exception>
#include <new>

namespace OrloHelper {

namespace {

using Quor::U16;
using Quor::U32;
using VlanAndMac = HardwareView::VlanAndMac;
using Bridging::VlanId;

constexpr U16 kFirstVlan = 1;
constexpr U16 kLastVlan = 4094; // IEEE 802.1Q

constexpr std::chrono::milliseconds kFirstDelay{ 100 };
constexpr std::chrono::milliseconds kLongestDelay{ 30'000 };
constexpr U32 kMostDoublings = 9;
constexpr std::chrono::seconds kReadingDelay{ 1 };
// Longer than the longest delay: what is lost again as soon as it is back is not a new story.
constexpr auto kLossesForgotten = 2 * kLongestDelay;
constexpr std::size_t kMostTold = 16;

std::chrono::milliseconds delayAfter( U32 tries ) {
   return std::min( kLongestDelay, kFirstDelay * ( 1 << std::min( tries - 1, kMostDoublings ) ) );
}

VlanAndMac pairOf( const Pelmo::EthAddr &mac, U32 vlanId ) {
   return { VlanId( static_cast<U16>( vlanId ) ), mac };
}

bool hasVlan( const VlanAndMac &pair ) {
   return pair.vlanId().number() >= kFirstVlan && pair.vlanId().number() <= kLastVlan;
}

std::string text( const VlanAndMac &pair ) {
   return "VLAN " + valueToStrep( pair.vlanId() ) + "  " + valueToStrep( pair.mac() );
}

std::string text( const VlanAndMac &pair, U32 index ) {
   return text( pair ) +
          ( index == RetryingHelper::kNoIndex ? "" : "  index " + std::to_string( index ) );
}

} // namespace

RetryingHelper::RetryingHelper( Quor::Name name, const HelperSettings &settings )
      : VrrpSmHelper( std::move( name ) ), indexes_( settings.indexes ),
        trouble_( settings.trouble ), places_( settings.indexes ) {
   queue_.reserve( settings.indexes );
}

RetryingHelper::~RetryingHelper() = default;

void RetryingHelper::tell( const std::string &what ) const noexcept {
   try {
      trouble_( what );
   } catch( ... ) { // the hardware is as it is, only the telling failed
   }
}

void RetryingHelper::misused( const char *doing, const VlanAndMac &pair, U32 index,
                              const char *why ) {
   ++refusals_;
   tell( std::string( "cannot " ) + doing + " " + text( pair ) + "  index " +
         std::to_string( index ) + ": " + why );
}

void RetryingHelper::addVirtualRouterMac( const Pelmo::EthAddr &macAddr, U32 vlanId, U32 index ) {
   const VlanAndMac pair = pairOf( macAddr, vlanId );
   if( index >= indexes_ ) {
      misused( "program", pair, index, "the hardware has no such index" );
      return;
   }
   if( places_[index].wanted && places_[index].wanted != pair ) {
      misused( "program", pair, index, "the index is another pair's" );
      return;
   }
   if( places_[index].held == pair && refused_.contains( index ) ) {
      places_[index].isWhole = false; // its removal was refused: a part of it may have gone
   }
   places_[index].wanted = pair;
   queue( index );
}

void RetryingHelper::deleteVirtualRouterMac( const Pelmo::EthAddr &macAddr, U32 vlanId,
                                             U32 index ) {
   const VlanAndMac pair = pairOf( macAddr, vlanId );
   if( index >= indexes_ || places_[index].wanted != pair ) {
      misused( "remove", pair, index, "the index is not this pair's" );
      return;
   }
   places_[index].wanted.reset();
   queue( index );
}

void RetryingHelper::syncVrrpStateOnInit(
      const Quor::Ptr<CurrentVrrpStateForInit> &currentStatePtr ) {
   std::vector<Entry> entries;
   try {
      entries = readAll();
   } catch( const std::exception &error ) {
      tell( std::string( "cannot read what the hardware holds: " ) + error.what() +
            "; it is tried again" );
      nextReading_ = now_;
   }
   for( Place &place : places_ ) {
      place.wanted.reset();
   }
   hardwareHolds( entries );
   for( U32 index = 0; index < indexes_; ++index ) {
      Place &place = places_[index];
      if( place.held && hasVlan( *place.held ) &&
          !currentStatePtr->virtualRouterIndex( *place.held ) ) {
         place.wanted = place.held;
         currentStatePtr->virtualRouterIndexIs( *place.held, index );
      }
   }
   for( U32 place = 0; place < places_.size(); ++place ) {
      if( places_[place].needsRemoval() ) {
         strays_[place] = !hasVlan( *places_[place].held ) ? "there is no such VLAN"
                          : place < indexes_               ? "it stands twice"
                                                           : "it has no index of its own";
      }
   }
   removeQueued();
}

void RetryingHelper::hardwareHolds( const std::vector<Entry> &entries ) {
   refused_.clear();
   stuck_.clear();
   losses_.clear();
   strays_.clear();
   due_.clear();
   scheduled_.clear();
   queue_.clear();
   extraIndexes_.clear();
   places_.resize( indexes_ );
   for( Place &place : places_ ) {
      place.held.reset();
      place.isWhole = false;
      place.isQueued = false;
   }
   for( const Entry &entry : entries ) {
      const U32 index = entry.index ? *entry.index : kNoIndex;
      if( index < indexes_ && !places_[index].held ) {
         places_[index].held = entry.pair;
         places_[index].isWhole = true;
      } else {
         extraIndexes_.push_back( index );
         places_.push_back( { .held = entry.pair } );
      }
   }
   for( U32 place = 0; place < places_.size(); ++place ) {
      queue( place );
   }
}

std::optional<VlanAndMac> RetryingHelper::slot( U32 index ) const {
   const Place &place = places_[index];
   return place.isWhole ? place.held : std::nullopt;
}

std::optional<HardwareView::Refusal> RetryingHelper::refusal( U32 index ) const {
   const auto at = refused_.find( index );
   return at == refused_.end() ? std::nullopt : std::optional( at->second );
}

void RetryingHelper::lost( U32 index ) {
   if( !places_[index].isWhole ) {
      return; // it is known already
   }
   places_[index].isWhole = false;
   Loss &loss = losses_[index];
   if( now_ - loss.last > kLossesForgotten ) {
      loss.times = 0;
   }
   loss.last = now_;
   if( loss.times++ == 0 ) {
      queue( index );
   } else {
      schedule( index, now_ + delayAfter( loss.times - 1 ) );
   }
}

void RetryingHelper::lostAll() {
   for( U32 index = 0; index < indexes_; ++index ) {
      places_[index].isWhole = false;
      queue( index );
   }
}

void RetryingHelper::outdated( U32 index ) {
   if( places_[index].isWhole ) {
      places_[index].isWhole = false;
      queue( index );
   }
}

void RetryingHelper::tryAgainNow() {
   scheduled_.clear();
   for( const auto &[time, place] : std::exchange( due_, {} ) ) {
      queue( place );
   }
}

void RetryingHelper::repair() {
   hardwareHolds( readAll() );
}

HardwareWork::Time RetryingHelper::work( Time now ) {
   now_ = now;
   try {
      listen();
      readAgain();
      queueDue();
      removeQueued();
      addQueued();
      if( refused_.empty() && !told_.empty() ) {
         told_.clear();
         tell( "the hardware has taken everything now that it had refused" );
      }
   } catch( const std::bad_alloc & ) { // whatever was left undone, a reading finds it
      nextReading_ = now_ + kReadingDelay;
   }
   return std::min( nextReading_, due_.empty() ? kNever : due_.begin()->first );
}

void RetryingHelper::listen() {
   try {
      hear();
      deaf_.clear();
   } catch( const std::bad_alloc & ) { // what it heard may not have been written down
      throw;
   } catch( const std::exception &error ) {
      if( deaf_ != error.what() ) {
         deaf_ = error.what();
         tell( "cannot hear what the hardware tells: " + deaf_ );
      }
   }
}

/// What could not be adopted then is put right by now: the programmer has given out indexes.
void RetryingHelper::readAgain() {
   if( now_ < nextReading_ ) {
      return;
   }
   try {
      repair();
      nextReading_ = kNever;
   } catch( const std::exception & ) { // told of then
      nextReading_ = now_ + kReadingDelay;
   }
}

void RetryingHelper::queue( U32 place ) {
   if( places_[place].isQueued ) {
      return;
   }
   try {
      queue_.push_back( place );
      places_[place].isQueued = true;
   } catch( const std::bad_alloc & ) { // a reading of the hardware finds it as well
      nextReading_ = now_;
   }
}

void RetryingHelper::queueDue() {
   while( !due_.empty() && due_.begin()->first <= now_ ) {
      const U32 place = due_.begin()->second;
      unschedule( place );
      queue( place );
   }
}

void RetryingHelper::removeQueued() {
   std::vector<U32> places;
   std::vector<Write> writes;
   const auto isRemoval = [this]( U32 place ) { return places_[place].needsRemoval(); };
   const auto count = std::count_if( queue_.begin(), queue_.end(), isRemoval );
   places.reserve( static_cast<std::size_t>( count ) );
   writes.reserve( static_cast<std::size_t>( count ) );
   for( const U32 place : queue_ ) {
      if( places_[place].needsRemoval() ) {
         places.push_back( place );
         writes.push_back( { indexOf( place ), *places_[place].held } );
      }
   }
   call( &RetryingHelper::remove, writes );
   for( std::size_t i = 0; i < writes.size(); ++i ) {
      if( writes[i].refusal.empty() ) {
         removed( places[i] );
      } else {
         refused( places[i], writes[i], true );
         stuck_.try_emplace( writes[i].pair, Stuck{ places[i] } );
      }
   }
}

void RetryingHelper::removed( U32 place ) {
   const VlanAndMac pair = *std::exchange( places_[place].held, std::nullopt );
   places_[place].isWhole = false;
   const auto stray = strays_.find( place );
   if( stray != strays_.end() ) {
      tell( "removed " + text( pair, indexOf( place ) ) + ": " + stray->second );
      strays_.erase( stray );
   }
   const auto stuck = stuck_.find( pair );
   if( stuck == stuck_.end() || stuck->second.place != place ) {
      return;
   }
   if( stuck->second.waiter != kNoIndex ) {
      queue( stuck->second.waiter );
   }
   stuck_.erase( stuck );
}

void RetryingHelper::addQueued() {
   std::vector<U32> queued;
   queued.swap( queue_ );
   std::vector<U32> places;
   std::vector<Write> writes;
   const auto isAdd = [this]( U32 place ) { return places_[place].needsAdd(); };
   const auto count = std::count_if( queued.begin(), queued.end(), isAdd );
   places.reserve( static_cast<std::size_t>( count ) );
   writes.reserve( static_cast<std::size_t>( count ) );
   for( const U32 place : queued ) {
      places_[place].isQueued = false;
      if( places_[place].needsRemoval() ) {
         continue; // refused just now
      }
      if( !places_[place].needsAdd() ) {
         settled( place );
      } else if( !mustWait( place ) ) {
         places.push_back( place );
         writes.push_back( { place, *places_[place].wanted } );
      }
   }
   call( &RetryingHelper::add, writes );
   for( std::size_t i = 0; i < writes.size(); ++i ) {
      added( places[i], writes[i] );
   }
   if( queue_.empty() ) { // its room is used again
      queued.clear();
      queue_.swap( queued );
   }
}

void RetryingHelper::added( U32 place, const Write &write ) {
   places_[place].held = write.pair; // a refused one: perhaps in part
   places_[place].isWhole = write.refusal.empty();
   if( write.refusal.empty() ) {
      settled( place );
   } else {
      refused( place, write, false );
   }
}

bool RetryingHelper::mustWait( U32 place ) {
   const VlanAndMac &pair = *places_[place].wanted;
   const auto stuck = stuck_.find( pair );
   if( stuck == stuck_.end() || stuck->second.place == place ) {
      return false;
   }
   stuck->second.waiter = place;
   refused( place, { place, pair, "the pair is still in the hardware under its index before" },
            false );
   return true;
}

void RetryingHelper::call( Operation operation, std::vector<Write> &writes ) {
   if( writes.empty() ) {
      return;
   }
   writes_ += writes.size();
   const auto refuseAll = [&]( const char *why ) {
      for( Write &write : writes ) {
         write.refusal = write.refusal.empty() ? why : write.refusal;
      }
   };
   try {
      ( this->*operation )( writes );
   } catch( const std::exception &error ) {
      refuseAll( error.what() );
   } catch( ... ) {
      refuseAll( "the helper failed" );
   }
   refusals_ += static_cast<Quor::U64>(
         std::count_if( writes.begin(), writes.end(),
                        []( const Write &write ) { return !write.refusal.empty(); } ) );
}

void RetryingHelper::refused( U32 place, const Write &write, bool isRemoval ) {
   const auto [at, isNew] = refused_.try_emplace( place );
   Refusal &refusal = at->second;
   if( isNew || refusal.pair != write.pair || refusal.isRemoval != isRemoval ) {
      refusal = { write.pair, isRemoval, {}, 0, now_, {} };
   }
   refusal.reason = write.refusal;
   refusal.next = now_ + delayAfter( ++refusal.tries );
   schedule( place, refusal.next );
   if( told_.size() < kMostTold && told_.insert( write.refusal ).second ) {
      tell( std::string( "cannot " ) + ( isRemoval ? "remove " : "program " ) +
            text( write.pair, write.index ) + ": " + write.refusal + "; it is tried again" );
   }
}

void RetryingHelper::schedule( U32 place, Time time ) {
   unschedule( place );
   scheduled_[place] = time;
   due_.emplace( time, place );
}

void RetryingHelper::unschedule( U32 place ) {
   const auto at = scheduled_.find( place );
   if( at != scheduled_.end() ) {
      due_.erase( { at->second, place } );
      scheduled_.erase( at );
   }
}

/// The hardware is there as it is wanted.
void RetryingHelper::settled( U32 place ) {
   refused_.erase( place );
   strays_.erase( place );
   unschedule( place );
   const std::optional<VlanAndMac> &held = places_[place].held;
   const auto stuck = held ? stuck_.find( *held ) : stuck_.end();
   if( stuck != stuck_.end() && stuck->second.place == place ) { // wanted again where it is
      stuck_.erase( stuck );
   }
}

} // namespace OrloHelper
