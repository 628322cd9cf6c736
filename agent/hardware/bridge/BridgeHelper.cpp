#include "agent/hardware/bridge/BridgeHelper.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <utility>

namespace OrloAgent {

namespace {

using Bridging::VlanId;
using Quor::U32;

constexpr std::chrono::seconds kReadAgain{ 1 };
constexpr U32 kMostTold = 16;

std::map<VlanId, VlanId> primariesOf( const std::vector<OrloHelper::RoutedInterface> &interfaces ) {
   std::map<VlanId, VlanId> primaries;
   for( const OrloHelper::RoutedInterface &interface : interfaces ) {
      for( const VlanId vlan : interface.secondaryVlans ) {
         primaries.emplace( vlan, interface.vlan );
      }
   }
   return primaries;
}

U32 ruleNumber( U32 index ) {
   return index + 1;
}

/// Did the kernel remove it, or not find it? A rule is not found with EINVAL as well, where the
/// place of the rules is not there any more.
bool isGone( const BridgeKernel::Change &change ) {
   return change.error == 0 || change.error == ENOENT ||
          ( change.error == EINVAL && change.what == BridgeKernel::Change::What::ruleDel );
}

} // namespace

/// A pair on its way into the bridge.
struct BridgeHelper::Adding {
   Write *write;
   bool needsEntry; ///< the FDB does not have it yet, or not as it should
};

BridgeHelper::BridgeHelper( std::string bridge, const std::string &path,
                            const OrloHelper::HelperSettings &settings,
                            std::unique_ptr<BridgeKernel> kernel )
      : RetryingHelper( "bridge", settings ), bridge_( std::move( bridge ) ), path_( path ),
        kernel_( std::move( kernel ) ), primaries_( primariesOf( settings.interfaces ) ) {
   if( !settings.isReadOnly ) {
      // With less indexes than before it still has to say what is to be removed.
      slots_.emplace( path, settings.indexes, settings.trouble, SlotFile::Size::atLeast );
   }
   device_ = kernel_->device();
   syncCurrentStateOnInitIs( true );
}

BridgeHelper::~BridgeHelper() = default;

int BridgeHelper::fd() const {
   return kernel_->fd();
}

std::string BridgeHelper::whyNotUsable() const {
   if( device_.ifindex == 0 ) {
      return "there is no bridge " + bridge_;
   }
   if( !device_.isBridge ) {
      return bridge_ + " is not a bridge";
   }
   if( !device_.filtersVlans ) {
      return "bridge " + bridge_ + " does not filter VLANs: ip link set " + bridge_ +
             " type bridge vlan_filtering 1";
   }
   return {};
}

/// The same for everything that is refused for the same cause: it says nothing of the MAC.
std::string BridgeHelper::reason( const Change &change ) const {
   const bool isRule = change.what == Change::What::ruleAdd || change.what == Change::What::ruleDel;
   switch( change.error ) {
   case BridgeKernel::kNoAnswer:
      return "the kernel gave no answer";
   case EPERM:
   case EACCES:
      return "the agent may not change bridge " + bridge_ + ": it needs CAP_NET_ADMIN";
   case ENODEV:
      return "there is no bridge " + bridge_;
   case EINVAL:
      if( !isRule ) {
         const std::string vlan = valueToStrep( change.pair.vlanId() );
         return "VLAN " + vlan + " is not on bridge " + bridge_ + ": bridge vlan add dev " +
                bridge_ + " vid " + vlan + " self";
      }
      break;
   case ENOENT:
      if( isRule ) {
         return "the kernel lacks the flower classifier or the vlan action (modules cls_flower, "
                "act_vlan)";
      }
      break;
   default:
      break;
   }
   return std::string( "the kernel refuses the " ) + ( isRule ? "rule" : "FDB entry" ) + ": " +
          std::strerror( change.error ) + ( change.said.empty() ? "" : " (" + change.said + ")" );
}

std::optional<VlanRule> BridgeHelper::ruleFor( const Pair &pair ) const {
   const auto primary = primaries_.find( pair.vlanId() );
   return primary == primaries_.end() ? std::nullopt
                                      : std::optional( VlanRule{ pair, primary->second } );
}

bool BridgeHelper::isOurs( U32 index, const Pair &pair ) const {
   return slots_->slot( index ) == pair && !slots_->isForeign( index );
}

// Adding.

void BridgeHelper::add( std::span<Write> writes ) {
   slots_->needWhole();
   const BridgeDevice now = kernel_->device();
   std::string why;
   if( now.ifindex == device_.ifindex ) {
      device_ = now;
      why = whyNotUsable();
   } else {
      why = "bridge " + bridge_ + " has just come or gone"; // as is heard next
   }
   if( !why.empty() ) {
      for( Write &write : writes ) {
         write.refusal = why;
      }
      return;
   }
   std::vector<Adding> addings = lookUp( writes );
   addRules( addings );
   addEntries( addings );
}

/// What is not refused has its slot then.
std::vector<BridgeHelper::Adding> BridgeHelper::lookUp( std::span<Write> writes ) {
   std::vector<Pair> pairs;
   for( const Write &write : writes ) {
      pairs.push_back( write.pair );
   }
   const std::vector<FdbState> states = kernel_->entries( device_.ifindex, pairs );
   std::vector<Adding> addings;
   for( std::size_t i = 0; i < writes.size(); ++i ) {
      Write &write = writes[i];
      const bool isOurs = this->isOurs( write.index, write.pair );
      if( states[i] == FdbState::unknown ) {
         write.refusal = reason( {} );
         continue;
      }
      if( !isOurs && standsOtherwise( write, states[i] ) ) {
         write.refusal = "the slot table still holds what bridge " + bridge_ + " had before";
         continue; // only while the bridge could not be read
      }
      if( states[i] == FdbState::fixed && !isOurs ) {
         write.refusal = "somebody else has pinned the MAC to a port of bridge " + bridge_;
         continue;
      }
      if( states[i] == FdbState::local && !isOurs ) {
         useForeign( write );
      } else if( !isOurs ) {
         slots_->slotIs( write.index, write.pair );
      }
      addings.push_back( { &write, states[i] != FdbState::local } );
   }
   return addings;
}

/// Does the table have another pair at the index, or does it have what stands in the bridge as ours
/// at another index? Forgotten there it would stay in the bridge for ever, as somebody else's.
bool BridgeHelper::standsOtherwise( const Write &write, FdbState state ) const {
   if( slots_->slot( write.index ).value_or( write.pair ) != write.pair ) {
      return true;
   }
   for( U32 index = 0; state == FdbState::local && index < slots_->count(); ++index ) {
      if( index != write.index && isOurs( index, write.pair ) ) {
         return true;
      }
   }
   return false;
}

void BridgeHelper::useForeign( const Write &write ) {
   if( slots_->slot( write.index ) == write.pair ) {
      return; // since before
   }
   slots_->slotIs( write.index, write.pair, true );
   if( toldForeign_ < kMostTold ) {
      ++toldForeign_;
      tell( "VLAN " + valueToStrep( write.pair.vlanId() ) + "  " +
            valueToStrep( write.pair.mac() ) + " is in the FDB of bridge " + bridge_ +
            " already: the entry is not ours, it is used as it is and will stay" );
   }
}

/// Before the entry: with the entry alone frames would come up that nobody takes.
void BridgeHelper::addRules( std::vector<Adding> &addings ) {
   std::vector<Change> changes;
   std::vector<Write *> writes;
   for( const Adding &adding : addings ) {
      Write &write = *adding.write;
      const std::optional<VlanRule> rule = ruleFor( write.pair );
      const auto there = rules_.find( write.index );
      if( rule && ( there == rules_.end() || there->second != rule ) ) {
         changes.push_back(
               { Change::What::ruleAdd, write.pair, rule->primary, ruleNumber( write.index ) } );
      } else if( !rule && there != rules_.end() ) {
         changes.push_back( { Change::What::ruleDel, write.pair, {}, ruleNumber( write.index ) } );
      } else {
         continue;
      }
      rules_[write.index].reset();
      writes.push_back( &write );
   }
   kernel_->change( device_.ifindex, changes );
   for( std::size_t i = 0; i < changes.size(); ++i ) {
      if( changes[i].what == Change::What::ruleAdd && changes[i].error == 0 ) {
         rules_[writes[i]->index] = ruleFor( writes[i]->pair );
      } else if( changes[i].what == Change::What::ruleDel && isGone( changes[i] ) ) {
         rules_.erase( writes[i]->index );
      } else {
         writes[i]->refusal = reason( changes[i] );
      }
   }
}

void BridgeHelper::addEntries( std::vector<Adding> &addings ) {
   std::vector<Change> changes;
   std::vector<Write *> writes;
   for( const Adding &adding : addings ) {
      if( !adding.write->refusal.empty() ) {
         continue;
      }
      if( adding.needsEntry ) {
         changes.push_back( { Change::What::entryAdd, adding.write->pair } );
         writes.push_back( adding.write );
      } else {
         indexes_[adding.write->pair] = adding.write->index;
      }
   }
   kernel_->change( device_.ifindex, changes );
   for( std::size_t i = 0; i < changes.size(); ++i ) {
      if( changes[i].error == 0 ) {
         indexes_[writes[i]->pair] = writes[i]->index;
      } else {
         writes[i]->refusal = reason( changes[i] );
      }
   }
}

// Removing.

void BridgeHelper::remove( std::span<Write> writes ) {
   slots_->needWhole();
   const BridgeDevice now = kernel_->device();
   // With another bridge of this name nothing of ours is left.
   if( now.ifindex == device_.ifindex && now.isBridge ) {
      removeEntries( writes );
      removeRules( writes );
   }
   for( const Write &write : writes ) {
      if( write.refusal.empty() ) {
         forget( write );
      }
   }
}

void BridgeHelper::removeEntries( std::span<Write> writes ) {
   std::vector<Change> changes;
   std::vector<Write *> asked;
   for( Write &write : writes ) {
      if( write.index < slots_->count() && isOurs( write.index, write.pair ) ) {
         changes.push_back( { Change::What::entryDel, write.pair } );
         asked.push_back( &write );
      }
   }
   kernel_->change( device_.ifindex, changes );
   for( std::size_t i = 0; i < changes.size(); ++i ) {
      if( !isGone( changes[i] ) ) {
         asked[i]->refusal = reason( changes[i] );
      }
   }
}

void BridgeHelper::removeRules( std::span<Write> writes ) {
   std::vector<Change> changes;
   std::vector<Write *> asked;
   for( Write &write : writes ) {
      if( !write.refusal.empty() || !rules_.contains( write.index ) ) {
         continue;
      }
      if( slots_->slot( write.index ).value_or( write.pair ) == write.pair ) {
         changes.push_back( { Change::What::ruleDel, write.pair, {}, ruleNumber( write.index ) } );
         asked.push_back( &write );
      }
   }
   kernel_->change( device_.ifindex, changes );
   for( std::size_t i = 0; i < changes.size(); ++i ) {
      if( isGone( changes[i] ) ) {
         rules_.erase( asked[i]->index );
      } else {
         asked[i]->refusal = reason( changes[i] );
      }
   }
}

void BridgeHelper::forget( const Write &write ) {
   const auto at = indexes_.find( write.pair );
   if( at != indexes_.end() && at->second == write.index ) {
      indexes_.erase( at );
   }
   if( write.index < slots_->count() && slots_->slot( write.index ) == write.pair ) {
      slots_->slotDel( write.index );
   }
}

// Reading.

std::vector<BridgeHelper::Entry> BridgeHelper::readAll() const {
   if( slots_ ) {
      slots_->needWhole();
   }
   const BridgeDevice device = kernel_->device();
   if( !device.isBridge ) {
      return {};
   }
   std::vector<Pair> local = kernel_->localEntries( device.ifindex );
   std::set<Pair> left( local.begin(), local.end() );
   std::vector<Entry> entries;
   U32 index = 0;
   for( const std::optional<Pair> &pair : slots_ ? slots_->slots() : SlotFile::read( path_ ) ) {
      if( pair && left.erase( *pair ) != 0 ) {
         entries.push_back( { *pair, index } );
      }
      ++index;
   }
   return entries;
}

/// What is in the table and not in the bridge was on its way in or out when a process ended, or
/// somebody else has removed it meanwhile: it is nobody's.
void BridgeHelper::freeSlotsBut( const std::vector<Entry> &entries ) {
   std::set<U32> inUse;
   for( const Entry &entry : entries ) {
      inUse.insert( *entry.index );
   }
   for( U32 index = 0; index < slots_->count(); ++index ) {
      if( slots_->slot( index ) && !inUse.contains( index ) ) {
         slots_->slotDel( index );
      }
   }
}

void BridgeHelper::beforeReading() {
   mustRead_ = true; // until it has been
   device_ = kernel_->device();
   rules_.clear();
   if( device_.isBridge ) {
      for( const auto &[number, rule] : kernel_->allRules( device_.ifindex ) ) {
         rules_[number - 1] = rule;
      }
   }
   freeSlotsBut( readAll() );
   mustRead_ = false;
}

void BridgeHelper::afterReading() {
   indexes_.clear();
   for( U32 index = 0; index < indexes(); ++index ) {
      if( const std::optional<Pair> pair = slot( index ) ) {
         indexes_[*pair] = index;
      }
   }
   removeStrayRules();
   for( U32 index = 0; index < indexes(); ++index ) {
      const auto there = rules_.find( index );
      const std::optional<VlanRule> rule =
            wanted( index ) ? ruleFor( *wanted( index ) ) : std::nullopt;
      if( wanted( index ) &&
          ( rule ? there == rules_.end() || there->second != rule : there != rules_.end() ) ) {
         lost( index );
      }
   }
}

/// Rules of pairs that neither are in the bridge nor are to come there. What is to come may not
/// come after all: its rule is looked at again.
void BridgeHelper::removeStrayRules() {
   std::vector<Change> changes;
   bool isAwaited = false;
   for( const auto &[index, rule] : rules_ ) {
      if( index < slots_->count() && slots_->slot( index ) ) {
         continue;
      }
      if( index < indexes() && wanted( index ) ) {
         isAwaited = true;
      } else {
         changes.push_back( { Change::What::ruleDel, {}, {}, ruleNumber( index ) } );
      }
   }
   kernel_->change( device_.ifindex, changes );
   bool isRefused = false;
   for( const Change &change : changes ) {
      if( isGone( change ) ) {
         rules_.erase( change.number - 1 );
      } else if( !std::exchange( isRefused, true ) && !toldStrayRules_ ) {
         tell( "cannot remove a rule from bridge " + bridge_ + ": " + reason( change ) +
               "; it is tried again" );
      }
   }
   toldStrayRules_ = isRefused;
   hasStrayRules_ = isRefused || isAwaited;
}

void BridgeHelper::syncVrrpStateOnInit(
      const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &state ) {
   try {
      beforeReading();
   } catch( const std::exception &error ) {
      tell( "cannot look at bridge " + bridge_ + ": " + error.what() );
   }
   RetryingHelper::syncVrrpStateOnInit( state );
   afterReading();
}

void BridgeHelper::repair() {
   mendSlots();
   beforeReading();
   RetryingHelper::repair();
   afterReading();
}

/// Somebody may have cut the table short, or removed it.
void BridgeHelper::mendSlots() {
   if( slots_ ) {
      slots_->mend( [this]( const std::string &what ) { tell( what ); } );
   }
}

BridgeHelper::Time BridgeHelper::work( Time now ) {
   const Time next = RetryingHelper::work( now );
   return mustRead_ || hasStrayRules_ ? std::min( next, now + kReadAgain ) : next;
}

// Listening.

void BridgeHelper::interfacesAre( const std::vector<OrloHelper::RoutedInterface> &interfaces ) {
   const auto before = std::exchange( primaries_, primariesOf( interfaces ) );
   for( U32 index = 0; index < indexes(); ++index ) {
      if( !wanted( index ) ) {
         continue;
      }
      const VlanId vlan = wanted( index )->vlanId();
      const auto was = before.find( vlan );
      const auto is = primaries_.find( vlan );
      const bool stays = was == before.end() || is == primaries_.end()
                               ? was == before.end() && is == primaries_.end()
                               : was->second == is->second;
      if( !stays ) {
         outdated( index );
      }
   }
}

void BridgeHelper::hear() {
   try {
      const BridgeKernel::News news = kernel_->news();
      mendSlots();
      if( news.isLossy || mustRead_ ) {
         mustRead_ = true;
         repair();
         return;
      }
      if( news.isDevice ) {
         onDevice();
      }
      onEntries( news.entries );
      onRules( news.rules );
      if( hasStrayRules_ ) {
         removeStrayRules();
      }
   } catch( const std::exception &error ) {
      if( !mustRead_ ) {
         tell( "cannot look at bridge " + bridge_ + ": " + error.what() + "; it is tried again" );
      }
      mustRead_ = true;
   }
}

void BridgeHelper::onDevice() {
   const BridgeDevice before = std::exchange( device_, kernel_->device() );
   if( device_.ifindex != before.ifindex ) { // all that was ours has gone with it
      rules_.clear();
      indexes_.clear();
      freeSlotsBut( {} );
      lostAll();
   }
   tryAgainNow();
}

// News only say where to look: our own changes are among them, and what they tell may be over.

void BridgeHelper::onEntries( const std::vector<BridgeKernel::News::Entry> &news ) {
   std::set<Pair> doubtful;
   for( const BridgeKernel::News::Entry &entry : news ) {
      if( entry.state != FdbState::local && indexes_.contains( entry.pair ) ) {
         doubtful.insert( entry.pair );
      }
   }
   const std::vector<Pair> pairs( doubtful.begin(), doubtful.end() );
   const std::vector<FdbState> states = kernel_->entries( device_.ifindex, pairs );
   for( std::size_t i = 0; i < pairs.size(); ++i ) {
      if( states[i] != FdbState::local ) {
         lost( indexes_[pairs[i]] );
      }
   }
}

void BridgeHelper::onRules( const std::vector<BridgeKernel::News::Rule> &news ) {
   std::set<U32> doubtful;
   for( const BridgeKernel::News::Rule &rule : news ) {
      if( rule.number == 0 ) {
         for( const auto &[index, known] : rules_ ) {
            doubtful.insert( ruleNumber( index ) );
         }
         continue;
      }
      const auto known = rules_.find( rule.number - 1 );
      if( known == rules_.end() ? rule.rule.has_value() : known->second != rule.rule ) {
         doubtful.insert( rule.number );
      }
   }
   const std::vector<U32> numbers( doubtful.begin(), doubtful.end() );
   const std::vector<FoundRule> found = kernel_->rules( device_.ifindex, numbers );
   for( std::size_t i = 0; i < numbers.size(); ++i ) {
      const U32 index = numbers[i] - 1;
      if( found[i] ) {
         rules_[index] = found[i];
      } else {
         rules_.erase( index );
      }
      if( index < indexes() && wanted( index ) && ruleFor( *wanted( index ) ) != found[i] ) {
         lost( index );
      }
   }
}

} // namespace OrloAgent
