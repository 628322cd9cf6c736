#include "tests/model/Product.h"

#include <set>
#include <sstream>

#include <unistd.h>

namespace ModelTests {

// The helper

void RecordingHelper::record( const Call &call ) {
   calls.push_back( call );
   if( tellTo >= 0 ) {
      const std::string line = shown( call ) + "\n";
      if( write( tellTo, line.data(), line.size() ) != static_cast<ssize_t>( line.size() ) ) {
         _exit( 3 );
      }
   }
}

void RecordingHelper::addVirtualRouterMac( const EthAddr &mac, U32 vlan, U32 index ) {
   const Pair pair( VlanId( static_cast<U16>( vlan ) ), mac );
   record( { Call::kAdd, pair, index } );
   slots[index] = pair;
   happens( Moment::kHelperAdd );
}

void RecordingHelper::deleteVirtualRouterMac( const EthAddr &mac, U32 vlan, U32 index ) {
   record( { Call::kDelete, Pair( VlanId( static_cast<U16>( vlan ) ), mac ), index } );
   slots.erase( index );
   happens( Moment::kHelperDelete );
}

void RecordingHelper::syncVrrpStateOnInit(
      const Ptr<OrloHelper::CurrentVrrpStateForInit> &snapshot ) {
   record( { Call::kSync } );
   for( const auto &[index, pair] : slots ) {
      snapshot->virtualRouterIndexIs( pair, index );
   }
}

void RecordingHelper::syncCurrentStateOnInitIs( bool on ) {
   if( !on ) {
      record( { Call::kFlagCleared } );
   }
   VrrpSmHelper::syncCurrentStateOnInitIs( on );
}

// Who watches beside the reactors

class Product::StatusWatcher : public Routing::Fhrp::VirtualRouterMacStatus::NotifieeConst {
 public:
   StatusWatcher( const std::function<void( Moment )> &happens, Moment moment )
         : happens_( happens ), moment_( moment ) {}
   void onVrrpVirtualMac( const Record & ) override { happens_( moment_ ); }
   using NotifieeConst::onVrrpVirtualMac;

 private:
   const std::function<void( Moment )> &happens_;
   const Moment moment_;
};

class Product::TableWatcher : public VirtualRouterMacTable::NotifieeConst {
 public:
   TableWatcher( const std::function<void( Moment )> &happens, Moment moment )
         : happens_( happens ), moment_( moment ) {}
   void onVirtualRouterMac( const Pair & ) override { happens_( moment_ ); }
   using NotifieeConst::onVirtualRouterMac;

 private:
   const std::function<void( Moment )> &happens_;
   const Moment moment_;
};

void Product::watchersNew( Moment ofStatus, Moment ofTable ) {
   const auto statusWatcher = Quor::make<StatusWatcher>( happens_, ofStatus );
   statusWatcher->notifierIs( status );
   statusWatcher->isRegisteredNotifieeIs( true );
   statusWatchers_.push_back( statusWatcher );
   const auto tableWatcher = Quor::make<TableWatcher>( happens_, ofTable );
   tableWatcher->notifierIs( tables[Model::kOutput] );
   tableWatcher->isRegisteredNotifieeIs( true );
   tableWatchers_.push_back( tableWatcher );
}

// Life

Product::Product( const World &world, std::function<void( Moment )> happens )
      : happens_( std::move( happens ) ) {
   hardware->virtualRouterCountIs( world.indexes );
   for( auto &table : tables ) {
      table = Orlo::VrrpPrivateVlanReflectorLib::virtualRouterMacTableFactory();
   }
   for( std::size_t i = 1; i < world.intfs.size(); ++i ) {
      vlanSets->sviVlanSetIs( world.intfs[i] );
   }
}

Product::~Product() {
   statusWatchers_.clear();
   tableWatchers_.clear();
   helper->happens = []( Moment ) {};
   programmer = nullptr;
   reflector = nullptr;
}

void Product::starts() {
   if( happens_ ) {
      helper->happens = happens_;
      watchersNew( Moment::kStatusEarly, Moment::kTableEarly );
   }
   reflectorStarts();
   programmerStarts( false );
   if( happens_ ) {
      watchersNew( Moment::kStatusLate, Moment::kTableLate );
   }
}

void Product::sizeIs( U32 count ) {
   hardware->virtualRouterCountIs( count );
   helper->slots.erase( helper->slots.lower_bound( count ), helper->slots.end() );
}

void Product::reflectorStarts() {
   if( !reflector ) {
      reflector = Orlo::VrrpPrivateVlanReflectorLib::libSmFactory( status, vlanSets,
                                                                   tables[Model::kOutput] );
   }
}

void Product::reflectorStops( bool keepKeys ) {
   if( reflector ) {
      reflector->disableCleanupOnRestartIs( keepKeys );
      reflector = nullptr;
   }
}

void Product::programmerStarts( bool adopts ) {
   if( adopts ) {
      helper->syncCurrentStateOnInitIs( true );
   }
   programmer = Orlo::VrrpSmIs( tables[Model::kOutput], hardware, helper );
}

void Product::programmerStartsWithoutHelper() {
   programmer = nullptr;
   programmer = Orlo::VrrpSmIs( tables[Model::kOutput], hardware, nullptr );
}

void Product::watches( int table ) {
   programmer->vrrpMacStatusIs( table == Model::kNoTable ? nullptr : tables[table] );
}

// What can be seen

namespace {

template <class Container>
bool sameEntries( const Container &product, const auto &model ) {
   auto at = model.begin();
   for( const auto &entry : product ) {
      if( at == model.end() || !( entry.key() == at->first && entry.value() == at->second ) ) {
         return false;
      }
      ++at;
   }
   return at == model.end();
}

std::string text( U32 number ) {
   return std::to_string( number );
}
std::string text( const Pair &pair ) {
   return shown( pair );
}

template <class Container>
std::string productText( const Container &product ) {
   std::string result;
   for( const auto &entry : product ) {
      result += " " + text( entry.key() ) + "=" + text( entry.value() );
   }
   return result;
}

template <class Container>
std::string modelText( const Container &model ) {
   std::string result;
   for( const auto &[key, value] : model ) {
      result += " " + text( key ) + "=" + text( value );
   }
   return result;
}

template <class Container>
void compare( std::string &result, const char *what, const Container &product, const auto &model ) {
   if( !sameEntries( product, model ) ) {
      result += std::string( what ) + ":\n      product" + productText( product ) +
                "\n      model  " + modelText( model ) + "\n   ";
   }
}

void compareNumbers( std::string &result, const char *what, U32 product, U32 model ) {
   if( product != model ) {
      result += std::string( what ) + ": product " + std::to_string( product ) + ", model " +
                std::to_string( model ) + "\n   ";
   }
}

} // namespace

namespace {

/// The same interfaces have MACs, the same MACs, and a reactor that writes for these.
bool sameReflector( const Product &product, const Model &model ) {
   if( !product.reflector || !model.reflecting ) {
      return !product.reflector && !model.reflecting;
   }
   const auto &reflector = *product.reflector;
   auto at = model.macsOf.begin();
   for( const auto &entry : reflector.dmacsForIntfs() ) {
      if( at == model.macsOf.end() || entry.key() != at->first ||
          !sameEntries( entry.value()->ethAddrs(), *at->second ) ) {
         return false;
      }
      ++at;
   }
   auto with = model.reactors.begin();
   for( const auto &entry : reflector.vlanIntfSms() ) {
      if( with == model.reactors.end() || entry.key() != with->first ||
          !sameEntries( entry.value()->dmacList()->ethAddrs(), *with->second ) ) {
         return false;
      }
      ++with;
   }
   return at == model.macsOf.end() && with == model.reactors.end();
}

} // namespace

std::string difference( const Product &product, const Model &model ) {
   std::string result;
   if( product.helper->calls != model.calls ) {
      result += "calls:\n      product " + shown( product.helper->calls ) + "\n      model   " +
                shown( model.calls ) + "\n   ";
   }
   if( product.helper->slots != model.slots ) {
      result += "hardware:\n      product" + modelText( product.helper->slots ) +
                "\n      model  " + modelText( model.slots ) + "\n   ";
   }
   const Orlo::VrrpSm &sm = *product.programmer;
   compare( result, "output table", product.tables[0]->virtualRouterMacs(), model.tables[0].keys );
   compare( result, "other table", product.tables[1]->virtualRouterMacs(), model.tables[1].keys );
   compare( result, "indexes", sm.virtualRouterIndexes(), model.index );
   compare( result, "free indexes", sm.freeVirtualRouterIndexes(), model.free.entries );
   compare( result, "waiting pairs", sm.macsNeedingVirtualRouterIndexes(), model.waiting.entries );
   compareNumbers( result, "next position of the free indexes",
                   sm.freeVirtualRouterIndexMetadata().nextKey, model.free.nextKey );
   compareNumbers( result, "next position of the waiting pairs",
                   sm.macsNeedingVirtualRouterIndexMetadata().nextKey, model.waiting.nextKey );
   if( !sameReflector( product, model ) ) {
      result += "the reflector has other MACs or other reactors\n   ";
   }
   if( sm.vrrpMacStatus().get() !=
       ( model.watched == Model::kNoTable ? nullptr : product.tables[model.watched].get() ) ) {
      result += "watches another table\n   ";
   }
   return result;
}

namespace {

/// Is every index in exactly one place, does the hardware hold what is assigned?
std::string brokenIndexes( const Product &product ) {
   const Orlo::VrrpSm &sm = *product.programmer;
   const U32 count = product.hardware->virtualRouterCount();
   std::set<U32> places;
   U32 entries = 0;
   std::map<U32, Pair> assigned;
   for( const auto &entry : sm.virtualRouterIndexes() ) {
      places.insert( entry.value() );
      ++entries;
      if( entry.key().vlanId().number() != 0 ) {
         assigned[entry.value()] = entry.key();
      }
   }
   for( const auto &entry : sm.freeVirtualRouterIndexes() ) {
      places.insert( entry.value() );
      ++entries;
   }
   if( entries != count || places.size() != count ||
       ( count != 0 && *places.rbegin() != count - 1 ) ) {
      return "an index is not in exactly one place, or not one of the hardware's";
   }
   return assigned == product.helper->slots ? "" : "the hardware does not hold what is assigned";
}

std::string brokenLine( const Product &product ) {
   const Orlo::VrrpSm &sm = *product.programmer;
   std::set<Pair> waiting;
   for( const auto &entry : sm.macsNeedingVirtualRouterIndexes() ) {
      if( !waiting.insert( entry.value() ).second ) {
         return "a pair waits twice";
      }
   }
   if( !waiting.empty() && sm.freeVirtualRouterIndexes().count() != 0 ) {
      return "a pair waits while an index is free";
   }
   const auto &wanted = product.tables[Model::kOutput]->virtualRouterMacs();
   if( wanted.size() != sm.virtualRouterIndexes().size() + waiting.size() ) {
      return "what is wanted is not what is programmed and what waits";
   }
   for( const auto &entry : wanted ) {
      if( sm.virtualRouterIndexes().isMemberOf( entry.key() ) == waiting.contains( entry.key() ) ) {
         return "a wanted pair is not in exactly one place";
      }
   }
   return {};
}

/// Every VLAN of a record's interface, with the record's MAC.
std::string brokenTable( const Product &product, bool mayMiss ) {
   std::set<Pair> asked;
   for( const auto &record : product.status->vrrpVirtualMacs() ) {
      if( record.value() ) {
         for( const auto &vlan : product.vlanSets->sviVlanSet( record.key().intf() )->vlanIds() ) {
            asked.emplace( vlan.key(), record.key().mac() );
         }
      }
   }
   const auto &wanted = product.tables[Model::kOutput]->virtualRouterMacs();
   for( const auto &entry : wanted ) {
      if( !entry.value() || !asked.contains( entry.key() ) ) {
         return "nobody asks for " + shown( entry.key() );
      }
   }
   return mayMiss || wanted.size() == asked.size() ? "" : "what is asked for is not in the table";
}

} // namespace

std::string broken( const Product &product, bool sharesVlans, bool mutesVlans ) {
   std::string result = brokenIndexes( product );
   if( result.empty() ) {
      result = brokenLine( product );
   }
   if( result.empty() && product.reflector ) {
      result = brokenTable( product, sharesVlans || mutesVlans );
   }
   return result;
}

} // namespace ModelTests
