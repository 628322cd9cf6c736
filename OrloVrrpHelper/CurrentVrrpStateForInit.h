// What the hardware holds when the programmer starts.
#ifndef ORLOVRRPHELPER_CURRENTVRRPSTATEFORINIT_H
#define ORLOVRRPHELPER_CURRENTVRRPSTATEFORINIT_H

#include "OrloVrrpPrivateVlanReflectorLib/VlanAndMac.h"
#include "quor/HashMap.h"

namespace OrloHelper {

/// A snapshot of the (pair, virtual router index) entries that the hardware holds. The programmer
/// makes it empty, the helper fills it once in syncVrrpStateOnInit(), the programmer adopts the
/// indexes. A counted holder of values: nobody watches it.
class CurrentVrrpStateForInit : public Quor::PtrInterface {
 public:
   using GenericIf_ = Quor::EntityGenericIf<CurrentVrrpStateForInit>;
   using _Type = Quor::TypeObject<CurrentVrrpStateForInit>;
   enum Attr : Quor::AttrId { kVirtualRouterIndex = 130 };
   using VlanAndMac = Orlo::VrrpPrivateVlanReflectorLib::VlanAndMac;
   using VirtualRouterIndexes = Quor::HashMap<VlanAndMac, Quor::U32>;
   using QuorVirtualRouterIndex = VirtualRouterIndexes::Entry;

   const VirtualRouterIndexes &virtualRouterIndexes() const noexcept { return virtualRouterIndex_; }
   /// Null when the pair is absent.
   Quor::Ptr<const QuorVirtualRouterIndex> virtualRouterIndex( const VlanAndMac &key ) const {
      return virtualRouterIndex_.find( key );
   }
   /// Adds the pair, or overwrites its index.
   void virtualRouterIndexIs( const VlanAndMac &key, Quor::U32 index ) {
      if( virtualRouterIndex_.set( key, index ) ) {
         virtualRouterIndexNotify( key );
      }
   }
   /// Adds the pair; NameInUseException when it is there.
   Quor::Ptr<QuorVirtualRouterIndex> newVirtualRouterIndex( const VlanAndMac &key,
                                                            Quor::U32 index ) {
      return virtualRouterIndex_.insert( key, index );
   }
   /// Removes the pair and gives its index; 0 when it is absent (look it up first to tell them
   /// apart).
   Quor::U32 virtualRouterIndexDel( const VlanAndMac &key ) {
      return removed( virtualRouterIndex_.take( key ) );
   }
   Quor::U32 virtualRouterIndexDel( const VirtualRouterIndexes::Iterator &at ) {
      return removed( virtualRouterIndex_.take( at ) );
   }
   void virtualRouterIndexDelAll() { virtualRouterIndex_.clear(); }
   /// A change of a pair; there is nobody to tell.
   void virtualRouterIndexNotify( const VlanAndMac & ) {}

   static const Quor::Type *_fwkType() noexcept;
   const Quor::Type *fwkType() const override;

 private:
   Quor::U32 removed( const Quor::Ptr<QuorVirtualRouterIndex> &entry ) {
      if( !entry ) {
         return 0;
      }
      virtualRouterIndexNotify( entry->key() );
      return entry->value();
   }

   VirtualRouterIndexes virtualRouterIndex_{ this };
};

} // namespace OrloHelper

#endif
