// The same job, written by hand for speed.
#ifndef ORLOBENCH_SUBJECTS_FLOOR_H
#define ORLOBENCH_SUBJECTS_FLOOR_H

#include "bench/subjects/BenchHelper.h"
#include "bench/subjects/FloorLine.h"
#include "bench/subjects/IndexRing.h"
#include "bench/subjects/OrderedSet.h"

#include <boost/unordered/unordered_flat_set.hpp>

namespace OrloBench {

/// What the product does, and nothing else: the wanted pairs can be read, every pair has its index,
/// the line is fair, the order is the same. Flat hash tables of 8-byte keys (boost mixes their
/// bits), a ring, an indexed line; the helper's virtual functions are the only calls. No watchers,
/// no counts, no traces, no text. The operations are the product's (Product.h).
class Floor {
 public:
   static constexpr char kName[] = "floor";

   Floor( Quor::Ptr<BenchHelper> helper, U32 indexes )
         : held_( std::move( helper ) ), helper_( *held_ ), indexes_( indexes ), free_( indexes ) {}

   void startReflector() noexcept {} // there is nothing between the sets and the pairs
   void startProgrammer() {
      programs_ = true;
      std::vector<bool> isTaken( indexes_ );
      for( const Slot &slot : held_->held() ) {
         index_.try_emplace( keyOf( slot.pair ), slot.index );
         isTaken[slot.index] = true;
      }
      for( U32 index = 0; index < indexes_; ++index ) {
         if( !isTaken[index] ) {
            free_.push( index );
         }
      }
      Pairs changed; // in the order in which the product comes by
      for( const Slot &slot : held_->held() ) {
         if( !wanted_.contains( keyOf( slot.pair ) ) ) {
            changed.push_back( slot.pair );
         }
      }
      std::sort( changed.begin(), changed.end(), InTableOrder() );
      for( const VlanAndMac &pair : changed ) {
         handle( pair );
      }
      changed.clear();
      for( const U64 key : wanted_ ) {
         if( !index_.contains( key ) ) {
            changed.push_back( pairOf( key ) );
         }
      }
      std::sort( changed.begin(), changed.end(), InTableOrder() );
      for( const VlanAndMac &pair : changed ) {
         program( keyOf( pair ) );
      }
   }

   void vlanJoins( VlanId vlan ) {
      if( vlans_.insert( vlan ) ) {
         for( const EthAddr &mac : macs_ ) {
            add( keyOf( vlan, mac ) );
         }
      }
   }
   void vlanLeaves( VlanId vlan ) {
      if( vlans_.erase( vlan ) ) {
         for( const EthAddr &mac : macs_ ) {
            remove( keyOf( vlan, mac ) );
         }
      }
   }
   void publish( const EthAddr &mac ) {
      if( macs_.insert( mac ) ) {
         for( const VlanId vlan : vlans_ ) {
            add( keyOf( vlan, mac ) );
         }
      }
   }
   void withdraw( const EthAddr &mac ) {
      if( macs_.erase( mac ) ) {
         for( const VlanId vlan : vlans_ ) {
            remove( keyOf( vlan, mac ) );
         }
      }
   }
   void want( const VlanAndMac &pair ) { add( keyOf( pair ) ); }
   void unwant( const VlanAndMac &pair ) { remove( keyOf( pair ) ); }
   void wait( const VlanAndMac &pair ) { line_.push( keyOf( pair ) ); }
   void handle( const VlanAndMac &pair ) {
      const U64 key = keyOf( pair );
      if( wanted_.contains( key ) ) {
         program( key );
      } else {
         unprogram( key );
      }
   }
   void tearDown() {
      for( const VlanId vlan : vlans_ ) {
         for( const EthAddr &mac : macs_ ) {
            remove( keyOf( vlan, mac ) );
         }
      }
      macs_.clear();
   }

   std::size_t wanted() const { return wanted_.size(); }
   std::size_t programmed() const { return index_.size(); }
   std::size_t waiting() const { return line_.size(); }

 private:
   static U64 keyOf( VlanId vlan, const EthAddr &mac ) noexcept {
      return U64{ vlan.number() } << 48 | mac.number();
   }
   static U64 keyOf( const VlanAndMac &pair ) noexcept {
      return keyOf( pair.vlanId(), pair.mac() );
   }
   static VlanAndMac pairOf( U64 key ) noexcept { return { vlan( key >> 48 ), mac( key ) }; }

   void add( U64 key ) {
      if( wanted_.insert( key ).second && programs_ ) {
         program( key );
      }
   }
   void remove( U64 key ) {
      if( wanted_.erase( key ) != 0 && programs_ ) {
         unprogram( key );
      }
   }
   void program( U64 key ) {
      if( free_.empty() ) {
         line_.push( key );
      } else {
         programAt( key, free_.pop() );
      }
   }
   void programAt( U64 key, U32 index ) {
      helper_.addVirtualRouterMac( mac( key ), static_cast<U32>( key >> 48 ), index );
      index_.try_emplace( key, index );
   }
   void unprogram( U64 key ) {
      const auto at = index_.find( key );
      if( at == index_.end() ) {
         line_.erase( key );
         return;
      }
      const U32 index = at->second;
      index_.erase( at );
      helper_.deleteVirtualRouterMac( mac( key ), static_cast<U32>( key >> 48 ), index );
      if( line_.empty() ) {
         free_.push( index );
      } else {
         programAt( line_.pop(), index );
      }
   }

   const Quor::Ptr<BenchHelper> held_;
   OrloHelper::VrrpSmHelper &helper_;
   const U32 indexes_;
   bool programs_ = false;
   OrderedSet<VlanId> vlans_;
   OrderedSet<EthAddr> macs_;
   boost::unordered_flat_set<U64> wanted_;
   boost::unordered_flat_map<U64, U32> index_;
   IndexRing free_;
   FloorLine line_;
};

} // namespace OrloBench

#endif
