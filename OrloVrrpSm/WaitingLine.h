// The pairs that wait for a virtual router index.
#ifndef ORLOVRRPSM_WAITINGLINE_H
#define ORLOVRRPSM_WAITINGLINE_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"
#include "quor/LinkQueue.h"

#include <vector>

namespace Orlo {

/// Where the index of the waiting line leads from an entry: to the positions of other entries.
struct EqualPairLink;

using MacsNeedingVirtualRouterIndex =
      Quor::LinkQueue<VrrpPrivateVlanReflectorLib::VlanAndMac, EqualPairLink>;
using QuorMacsNeedingVirtualRouterIndex = MacsNeedingVirtualRouterIndex::Entry;

struct EqualPairLink {
   Quor::U32 younger = 0; ///< the next younger entry of the same pair; the youngest leads to the
                          ///< oldest
   Quor::U32 chain = 0;   ///< of the youngest of a pair: the youngest of another in its bucket
};

/// A queue of pairs, with an index beside it that finds the oldest entry of a pair without a walk,
/// however many pairs wait and however often one stands in line. Every change goes through here, so
/// that the index stays true. Removing a pair's oldest entry takes constant time; removing or
/// setting another one of it walks over those of the same pair.
///
/// 24 bytes for an entry; with its page and the index 30 to 35 bytes a pair.
class WaitingLine {
 public:
   using VlanAndMac = VrrpPrivateVlanReflectorLib::VlanAndMac;
   using Queue = MacsNeedingVirtualRouterIndex;
   using Entry = QuorMacsNeedingVirtualRouterIndex;
   using Iterator = Queue::Iterator;
   using U32 = Quor::U32;

   explicit WaitingLine( const Quor::PtrInterface *owner ) : queue_( owner ) {}

   const Queue &queue() const noexcept { return queue_; }
   Quor::Ptr<Entry> find( U32 key ) const noexcept { return queue_.find( key ); }
   Iterator begin() const { return queue_.begin(); }
   std::default_sentinel_t end() const noexcept { return {}; }
   void nextKeyIs( U32 key ) noexcept { queue_.nextKeyIs( key ); }

   class Oldest;
   /// The entry of the pair that is nearest to the head; none when the pair does not wait. `hash`:
   /// the pair's naturalHash().
   Oldest oldest( const VlanAndMac &pair, U32 hash ) noexcept;

   Entry &addLast( const VlanAndMac &pair );
   /// Puts the pair at a position, over what stands there; gives the entry, or null when it stood
   /// there already.
   Quor::Ptr<Entry> set( U32 key, const VlanAndMac &pair );
   /// Puts the pair at a free position; NameInUseException when it is taken.
   Quor::Ptr<Entry> insert( U32 key, const VlanAndMac &pair );

   /// Remove and give the entry at the head, at a position, under an iterator; null when there is
   /// none.
   Quor::Ptr<Entry> deq();
   Quor::Ptr<Entry> take( U32 key );
   Quor::Ptr<Entry> take( const Iterator &at ) {
      return at != queue_.end() && at->isMember() ? take( at->key() ) : nullptr;
   }
   /// Removes the oldest entry of a pair.
   Quor::Ptr<Entry> take( const Oldest &oldest );
   /// Remove an entry and give the pair alone; the default one when there is no entry.
   VlanAndMac extract( U32 key );
   VlanAndMac extract( const Oldest &oldest );
   VlanAndMac extractFirst();

 private:
   /// A pair's youngest entry, if there is one, and where in the bucket's chain its position stands
   /// or would be added.
   struct Youngest {
      U32 *place = nullptr;
      Entry *entry = nullptr;
   };
   /// Ends a chain. The entry at this position, if there is one, is not in the index.
   static constexpr U32 kNone = 0xFFFFFFFF;

   Youngest youngest( const VlanAndMac &pair, U32 hash ) noexcept;
   U32 &bucket( U32 hash ) noexcept { return buckets_[hash & mask_]; }
   /// Room in the index for one more pair.
   void reserve();
   void indexNew( Entry &entry ) noexcept;
   void indexDel( Entry &entry ) noexcept;
   void indexDel( const Oldest &oldest ) noexcept;

   Queue queue_;
   std::vector<U32> buckets_ = std::vector<U32>( 1, kNone );
   U32 mask_ = 0;  // of the hash bits that tell the bucket
   U32 pairs_ = 0; // different ones in the index
   Entry *atNone_ = nullptr;
};

/// An entry that is the first of its pair, in the line and in the index; good until either changes.
class WaitingLine::Oldest {
 public:
   explicit operator bool() const noexcept { return entry_ != nullptr; }

 private:
   friend class WaitingLine;
   Entry *entry_ = nullptr;
   Youngest youngest_; // without an entry: this one is not in the index
};

} // namespace Orlo

#endif
