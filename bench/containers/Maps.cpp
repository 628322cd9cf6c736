#include "bench/comparison/Comparison.h"
#include "bench/comparison/Stopwatch.h"
#include "bench/containers/Cases.h"
#include "bench/subjects/Values.h"
#include "quor/HashMap.h"

#include <absl/container/node_hash_map.h>
#include <boost/unordered/unordered_flat_map.hpp>

#include <stdexcept>

namespace OrloBench {

namespace {

/// Owns nothing; a map wants to know whom its iterators keep alive.
class Owner : public Quor::PtrInterface {};

U64 keyOf( const VlanAndMac &pair ) {
   return U64{ pair.vlanId().number() } << 48 | pair.mac().number();
}

class ProductMap {
 public:
   static constexpr char kName[] = "product";
   void insert( const VlanAndMac &pair, U32 value ) { map_.set( pair, value ); }
   U32 value( const VlanAndMac &pair ) const { return map_.value( pair ); }
   void erase( const VlanAndMac &pair ) { map_.take( pair ); }
   U64 sum() const {
      U64 sum = 0;
      for( const auto &entry : map_ ) {
         sum += entry.value();
      }
      return sum;
   }
   std::size_t size() const { return map_.size(); }

 private:
   Quor::Ptr<Owner> owner_ = Quor::make<Owner>();
   Quor::HashMap<VlanAndMac, U32> map_{ owner_.get() };
};

template <class Map>
class OtherMap {
 public:
   void insert( const VlanAndMac &pair, U32 value ) { map_.try_emplace( keyOf( pair ), value ); }
   U32 value( const VlanAndMac &pair ) const {
      const auto at = map_.find( keyOf( pair ) );
      return at == map_.end() ? 0 : at->second;
   }
   void erase( const VlanAndMac &pair ) { map_.erase( keyOf( pair ) ); }
   U64 sum() const {
      U64 sum = 0;
      for( const auto &[key, value] : map_ ) {
         sum += value;
      }
      return sum;
   }
   std::size_t size() const { return map_.size(); }

 private:
   Map map_;
};

class AbslNodeMap : public OtherMap<absl::node_hash_map<U64, U32>> {
 public:
   static constexpr char kName[] = "absl::node_hash_map";
};
class BoostFlatMap : public OtherMap<boost::unordered_flat_map<U64, U32>> {
 public:
   static constexpr char kName[] = "boost::unordered_flat_map";
};

template <class Map>
Round useMap( const Pairs &pairs, const Pairs &mixed, const Pairs &others ) {
   Round round;
   const auto phase = [&]( const char *name, auto run ) {
      Stopwatch watch;
      round.digest = round.digest * 31 + run();
      round.phases[name] = watch.stop() / static_cast<double>( pairs.size() );
   };
   Map map;
   phase( "insert", [&] {
      U32 value = 0;
      for( const VlanAndMac &pair : pairs ) {
         map.insert( pair, ++value );
      }
      return map.size();
   } );
   const auto sumOf = [&]( const Pairs &keys ) {
      U64 sum = 0;
      for( const VlanAndMac &pair : keys ) {
         sum += map.value( pair );
      }
      return sum;
   };
   phase( "hit", [&] { return sumOf( pairs ); } );
   phase( "hit in random order", [&] { return sumOf( mixed ); } );
   phase( "miss", [&] { return sumOf( others ); } );
   phase( "iterate", [&] { return map.sum(); } );
   phase( "erase", [&] {
      for( const VlanAndMac &pair : pairs ) {
         map.erase( pair );
      }
      return map.size();
   } );
   return round;
}

} // namespace

void registerMaps() {
   const Macs present = macs( 255, MacKind::sequential );
   Macs absent = macs( 510, MacKind::sequential );
   absent.erase( absent.begin(), absent.begin() + 255 );
   for( const std::size_t count :
        { std::size_t{ 1'000 }, std::size_t{ 65'504 }, std::size_t{ 1'000'000 } } ) {
      const Pairs all = pairs( 4094, present, count );
      const Pairs others = pairs( 4094, absent, count );
      Pairs mixed = all;
      std::shuffle( mixed.begin(), mixed.end(), std::mt19937_64( 4 ) );
      Comparison comparison( "map/" + std::to_string( count ) );
      const auto add = [&]<class Map>() {
         comparison.subjectIs( Map::kName, [=] { return useMap<Map>( all, mixed, others ); } );
      };
      add.template operator()<ProductMap>();
      add.template operator()<AbslNodeMap>();
      add.template operator()<BoostFlatMap>();
      std::move( comparison )
            .registerIt( static_cast<int>( std::max<std::size_t>( 1, 200'000 / count ) ) );
   }
}

} // namespace OrloBench
