// The same job, as one writes it at first.
#ifndef ORLOBENCH_SUBJECTS_NAIVE_H
#define ORLOBENCH_SUBJECTS_NAIVE_H

#include "bench/subjects/BenchHelper.h"
#include "bench/subjects/OrderedSet.h"

#include <functional>
#include <list>
#include <set>
#include <unordered_map>
#include <unordered_set>

namespace OrloBench {

/// The standard containers, a function for each watcher, and a waiting line that is searched from
/// its head: the time for that grows with the line. The operations are the product's (Product.h).
class Naive {
 public:
   static constexpr char kName[] = "naive";

   Naive( Quor::Ptr<BenchHelper> helper, U32 indexes );
   Naive( const Naive & ) = delete;
   Naive &operator=( const Naive & ) = delete;

   void startReflector();
   void startProgrammer();

   void vlanJoins( VlanId vlan );
   void vlanLeaves( VlanId vlan );
   void publish( const EthAddr &mac );
   void withdraw( const EthAddr &mac );
   void want( const VlanAndMac &pair );
   void unwant( const VlanAndMac &pair );
   void wait( const VlanAndMac &pair ) { line_.push_back( pair ); }
   void handle( const VlanAndMac &pair );
   void tearDown();

   std::size_t wanted() const { return wanted_.size(); }
   std::size_t programmed() const { return index_.size(); }
   std::size_t waiting() const { return line_.size(); }

 private:
   struct Hash {
      std::size_t operator()( const VlanAndMac &pair ) const noexcept {
         return std::hash<U64>()( U64{ pair.vlanId().number() } << 48 | pair.mac().number() );
      }
   };
   template <class Key>
   using Watchers = std::vector<std::function<void( const Key & )>>;

   template <class Key>
   static void tell( const Watchers<Key> &watchers, const Key &key ) {
      for( const auto &watcher : watchers ) {
         watcher( key );
      }
   }
   void macChanged( const EthAddr &mac );
   void vlanChanged( VlanId vlan );
   void program( const VlanAndMac &pair );

   const Quor::Ptr<BenchHelper> helper_;
   const U32 indexes_;
   std::set<VlanId, InTableOrder> vlans_;
   std::set<EthAddr, InTableOrder> macs_;
   std::unordered_set<VlanAndMac, Hash> wanted_;
   std::unordered_map<VlanAndMac, U32, Hash> index_;
   std::list<U32> free_;
   std::list<VlanAndMac> line_;
   Watchers<EthAddr> macWatchers_;
   Watchers<VlanId> vlanWatchers_;
   Watchers<VlanAndMac> pairWatchers_;
};

} // namespace OrloBench

#endif
