// The pairs that wait for a virtual router index.
#ifndef ORLOVRRPSM_WAITINGLINE_H
#define ORLOVRRPSM_WAITINGLINE_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"
#include "quor/LinkQueue.h"

#include <unordered_map>

namespace Orlo {

/// Where an entry finds the next younger entry of the same pair; the youngest leads back to the
/// oldest.
struct EqualPairLink;

using MacsNeedingVirtualRouterIndex =
      Quor::LinkQueue<VrrpPrivateVlanReflectorLib::VlanAndMac, EqualPairLink>;
using QuorMacsNeedingVirtualRouterIndex = MacsNeedingVirtualRouterIndex::Entry;

struct EqualPairLink {
   QuorMacsNeedingVirtualRouterIndex *younger = nullptr;
};

/// A queue of pairs, with an index beside it that finds the oldest entry of a pair without a walk,
/// however many pairs wait and however often one stands in line. Every change goes through here, so
/// that the index stays true.
class WaitingLine {
 public:
   using VlanAndMac = VrrpPrivateVlanReflectorLib::VlanAndMac;
   using Queue = MacsNeedingVirtualRouterIndex;
   using Entry = QuorMacsNeedingVirtualRouterIndex;

   explicit WaitingLine( const Quor::PtrInterface *owner ) noexcept : queue_( owner ) {}

   const Queue &queue() const noexcept { return queue_; }
   void nextKeyIs( Quor::U32 key ) noexcept { queue_.nextKeyIs( key ); }

   /// The entry of the pair that is nearest to the head; null when the pair does not wait.
   Entry *oldest( const VlanAndMac &pair ) const;

   Quor::Ptr<Entry> enq( const VlanAndMac &pair ) { return added( queue_.enq( pair ) ); }
   /// Puts the pair at a position, over what stands there; gives the entry, or null when it stood
   /// there already.
   Quor::Ptr<Entry> set( Quor::U32 key, const VlanAndMac &pair );
   /// Puts the pair at a free position; NameInUseException when it is taken.
   Quor::Ptr<Entry> insert( Quor::U32 key, const VlanAndMac &pair ) {
      return added( queue_.insert( key, pair ) );
   }

   /// Remove and give the entry at the head, at a position, under an iterator; null when there is
   /// none.
   Quor::Ptr<Entry> deq() { return removed( queue_.deq() ); }
   Quor::Ptr<Entry> take( Quor::U32 key ) { return removed( queue_.take( key ) ); }
   Quor::Ptr<Entry> take( const Queue::Iterator &at ) { return removed( queue_.take( at ) ); }

 private:
   struct Hash {
      std::size_t operator()( const VlanAndMac &pair ) const noexcept { return pair.hash(); }
   };

   void indexNew( Entry &entry );
   void indexDel( Entry &entry ) noexcept;
   Quor::Ptr<Entry> added( Quor::Ptr<Entry> entry );
   Quor::Ptr<Entry> removed( Quor::Ptr<Entry> entry ) noexcept;

   Queue queue_;
   std::unordered_map<VlanAndMac, Entry *, Hash> youngest_;
};

} // namespace Orlo

#endif
