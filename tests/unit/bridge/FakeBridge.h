// A bridge in memory, which outlives the helpers that program it, and the kernel's side of it.
#ifndef TESTS_UNIT_BRIDGE_FAKEBRIDGE_H
#define TESTS_UNIT_BRIDGE_FAKEBRIDGE_H

#include "agent/hardware/bridge/BridgeKernel.h"

#include <cerrno>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace OrloAgent {

/// What somebody does to it without us is done by its members, and then heard as news where there
/// is a function for it.
struct FakeBridge {
   BridgeDevice device{ 3, true, true };
   std::set<Quor::U16> vlans{ 1, 10, 11, 12, 20 };
   std::map<Pair, FdbState> entries;
   std::map<Quor::U32, FoundRule> rules;

   std::map<Pair, int> refusals; ///< errnos for whatever is to be done to the entries of these
   int ruleRefusal = 0;
   bool answers = true;
   bool isUnreadable = false;
   int writesLeft = -1; ///< before the process is dead; -1: it lives
   BridgeKernel::News news;
   std::vector<std::string> calls; ///< what was written, a line for each change
   int messages = 0;               ///< in which it was written

   // Somebody else.
   void entryIs( const Pair &pair, FdbState state ) {
      if( state == FdbState::absent ) {
         entries.erase( pair );
      } else {
         entries[pair] = state;
      }
      news.entries.push_back( { pair, state } );
   }
   void ruleIs( Quor::U32 number, const FoundRule &rule ) {
      if( rule ) {
         rules[number] = rule;
      } else {
         rules.erase( number );
      }
      news.rules.push_back( { number, rule } );
   }
   void rulesGo() {
      rules.clear();
      news.rules.push_back( { 0, std::nullopt } );
   }
   void deviceIs( const BridgeDevice &next ) {
      if( next.ifindex != device.ifindex ) {
         entries.clear();
         rules.clear();
      }
      device = next;
      news.isDevice = true;
   }

   std::vector<std::string> takeCalls() { return std::exchange( calls, {} ); }
};

class FakeBridgeKernel : public BridgeKernel {
 public:
   explicit FakeBridgeKernel( FakeBridge &bridge ) : bridge_( bridge ) {}

   int fd() const override { return 42; }
   News news() override { return std::exchange( bridge_.news, {} ); }
   BridgeDevice device() override {
      live();
      return bridge_.device;
   }
   std::vector<Pair> localEntries( IfIndex bridge ) override {
      live();
      if( bridge_.isUnreadable ) {
         throw std::runtime_error( "the kernel does not list its entries" );
      }
      std::vector<Pair> pairs;
      for( const auto &[pair, state] : bridge_.entries ) {
         if( bridge == bridge_.device.ifindex && state == FdbState::local ) {
            pairs.push_back( pair );
         }
      }
      return pairs;
   }
   std::vector<FdbState> entries( IfIndex, std::span<const Pair> pairs ) override {
      live();
      std::vector<FdbState> states;
      for( const Pair &pair : pairs ) {
         const auto at = bridge_.entries.find( pair );
         states.push_back( !bridge_.answers              ? FdbState::unknown
                           : at == bridge_.entries.end() ? FdbState::absent
                                                         : at->second );
      }
      return states;
   }
   std::vector<std::pair<Quor::U32, FoundRule>> allRules( IfIndex ) override {
      live();
      return { bridge_.rules.begin(), bridge_.rules.end() };
   }
   std::vector<FoundRule> rules( IfIndex, std::span<const Quor::U32> numbers ) override {
      live();
      std::vector<FoundRule> found;
      for( const Quor::U32 number : numbers ) {
         const auto at = bridge_.rules.find( number );
         found.push_back( at == bridge_.rules.end() ? std::nullopt : at->second );
      }
      return found;
   }
   void change( IfIndex, std::span<Change> changes ) override {
      bridge_.messages += changes.empty() ? 0 : 1;
      for( Change &change : changes ) {
         live();
         if( bridge_.writesLeft > 0 ) {
            --bridge_.writesLeft;
         }
         live();
         const int error = does( change );
         change.error = bridge_.answers ? error : kNoAnswer;
      }
   }

 private:
   void live() const {
      if( bridge_.writesLeft == 0 ) {
         throw std::runtime_error( "dead" );
      }
   }

   static std::string text( const Pair &pair ) {
      return valueToStrep( pair.vlanId() ) + "/" + std::to_string( pair.mac().octets()[5] );
   }

   int does( const Change &change ) {
      const std::string what = text( change.pair );
      const std::string rule = std::to_string( change.number );
      const auto refused = bridge_.refusals.find( change.pair );
      const int error = refused == bridge_.refusals.end() ? 0 : refused->second;
      const bool hasVlan = bridge_.vlans.contains( change.pair.vlanId().number() );
      switch( change.what ) {
      case Change::What::entryAdd:
         bridge_.calls.push_back( "entry " + what );
         if( error != 0 || !hasVlan ) {
            return error != 0 ? error : EINVAL;
         }
         bridge_.entryIs( change.pair, FdbState::local );
         bridge_.news.entries.push_back( { change.pair, FdbState::local } ); // told twice
         return 0;
      case Change::What::entryDel: {
         bridge_.calls.push_back( "no entry " + what );
         const auto at = bridge_.entries.find( change.pair );
         if( error != 0 || !hasVlan ) {
            return error != 0 ? error : EINVAL;
         }
         if( at == bridge_.entries.end() || at->second != FdbState::local ) {
            return ENOENT;
         }
         bridge_.entryIs( change.pair, FdbState::absent );
         return 0;
      }
      case Change::What::ruleAdd:
         bridge_.calls.push_back( "rule " + rule + ": " + what + " to " +
                                  valueToStrep( change.primary ) );
         if( bridge_.ruleRefusal != 0 ) {
            return bridge_.ruleRefusal;
         }
         bridge_.ruleIs( change.number, VlanRule{ change.pair, change.primary } );
         return 0;
      case Change::What::ruleDel:
         bridge_.calls.push_back( "no rule " + rule );
         if( bridge_.ruleRefusal != 0 ) {
            return bridge_.ruleRefusal;
         }
         if( !bridge_.rules.contains( change.number ) ) {
            return ENOENT;
         }
         bridge_.ruleIs( change.number, std::nullopt );
         return 0;
      }
      return EPROTO;
   }

   FakeBridge &bridge_;
};

} // namespace OrloAgent

#endif
