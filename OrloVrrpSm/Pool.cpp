// The programmer's collections: free indexes, indexes of pairs, pairs that wait.
#include "OrloVrrpSm/VrrpSm.h"

namespace Orlo {

using Quor::Ptr;
using Quor::U32;
using VrrpPrivateVlanReflectorLib::VlanAndMac;

namespace {

/// The value of an entry that was found or removed; the default value when there was none.
template <class Entry>
auto valueOf( const Ptr<Entry> &entry ) -> std::decay_t<decltype( entry->value() )> {
   return entry ? entry->value() : std::decay_t<decltype( entry->value() )>{};
}

} // namespace

Quor::String valueToStrep( const QueueMetadata &metadata ) {
   return "nextKey " + std::to_string( metadata.nextKey ) + ", count " +
          std::to_string( metadata.count );
}

void sequenceToValue( Quor::StringIterator &at, Quor::StringIterator end,
                      QueueMetadata &metadata ) {
   Quor::StringIterator here = at;
   QueueMetadata read;
   Quor::needString( here, end, "nextKey " );
   Quor::sequenceToValue( here, end, read.nextKey );
   Quor::needString( here, end, ", count " );
   Quor::sequenceToValue( here, end, read.count );
   metadata = read;
   at = here;
}

// Free indexes

U32 VrrpSm::freeVirtualRouterIndex( U32 key ) const {
   return valueOf( freeVirtualRouterIndex_.find( key ) );
}

void VrrpSm::freeVirtualRouterIndexEnq( U32 index ) {
   freeChanged( freeVirtualRouterIndex_.enq( index ) );
}

U32 VrrpSm::freeVirtualRouterIndexDeq() {
   return freeChanged( freeVirtualRouterIndex_.deq() );
}

void VrrpSm::freeVirtualRouterIndexIs( U32 key, U32 index ) {
   freeChanged( freeVirtualRouterIndex_.set( key, index ) );
}

Ptr<VrrpSm::QuorFreeVirtualRouterIndex> VrrpSm::newFreeVirtualRouterIndex( U32 key, U32 index ) {
   return freeVirtualRouterIndex_.insert( key, index );
}

U32 VrrpSm::freeVirtualRouterIndexDel( U32 key ) {
   return freeChanged( freeVirtualRouterIndex_.take( key ) );
}

U32 VrrpSm::freeVirtualRouterIndexDel( const FreeVirtualRouterIndexes::Iterator &at ) {
   return freeChanged( freeVirtualRouterIndex_.take( at ) );
}

void VrrpSm::freeVirtualRouterIndexDelAll() {
   for( auto at = freeVirtualRouterIndex_.begin(); at != freeVirtualRouterIndex_.end(); ++at ) {
      freeVirtualRouterIndexDel( at );
   }
}

void VrrpSm::freeVirtualRouterIndexNotify( U32 key ) const {
   notify<NotifieeConst, U32, &NotifieeConst::onFreeVirtualRouterIndex>( kFreeVirtualRouterIndex,
                                                                         key );
}

U32 VrrpSm::freeChanged( const Ptr<QuorFreeVirtualRouterIndex> &entry ) const {
   if( entry ) {
      freeVirtualRouterIndexNotify( entry->key() );
   }
   return valueOf( entry );
}

VrrpSm::FreeVirtualRouterIndexMetadata VrrpSm::freeVirtualRouterIndexMetadata() const {
   return { freeVirtualRouterIndex_.nextKey(), freeVirtualRouterIndex_.count() };
}

void VrrpSm::freeVirtualRouterIndexMetadataIs( const FreeVirtualRouterIndexMetadata &metadata ) {
   freeVirtualRouterIndex_.nextKeyIs( metadata.nextKey );
}

// Indexes of pairs

void VrrpSm::virtualRouterIndexNotify( const VlanAndMac &vrMac ) const {
   notify<NotifieeConst, const VlanAndMac &, &NotifieeConst::onVirtualRouterIndex>(
         kVirtualRouterIndex, vrMac );
}

// Pairs that wait

VlanAndMac VrrpSm::macsNeedingVirtualRouterIndex( U32 key ) const {
   return valueOf( macsNeedingVirtualRouterIndex_.queue().find( key ) );
}

void VrrpSm::macsNeedingVirtualRouterIndexEnq( const VlanAndMac &vrMac ) {
   waitingChanged( macsNeedingVirtualRouterIndex_.enq( vrMac ) );
}

VlanAndMac VrrpSm::macsNeedingVirtualRouterIndexDeq() {
   return waitingChanged( macsNeedingVirtualRouterIndex_.deq() );
}

void VrrpSm::macsNeedingVirtualRouterIndexIs( U32 key, const VlanAndMac &vrMac ) {
   waitingChanged( macsNeedingVirtualRouterIndex_.set( key, vrMac ) );
}

Ptr<QuorMacsNeedingVirtualRouterIndex>
VrrpSm::newMacsNeedingVirtualRouterIndex( U32 key, const VlanAndMac &vrMac ) {
   return macsNeedingVirtualRouterIndex_.insert( key, vrMac );
}

VlanAndMac VrrpSm::macsNeedingVirtualRouterIndexDel( U32 key ) {
   return waitingChanged( macsNeedingVirtualRouterIndex_.take( key ) );
}

VlanAndMac
VrrpSm::macsNeedingVirtualRouterIndexDel( const MacsNeedingVirtualRouterIndexes::Iterator &at ) {
   return waitingChanged( macsNeedingVirtualRouterIndex_.take( at ) );
}

void VrrpSm::macsNeedingVirtualRouterIndexDelAll() {
   const MacsNeedingVirtualRouterIndexes &line = macsNeedingVirtualRouterIndexes();
   for( auto at = line.begin(); at != line.end(); ++at ) {
      macsNeedingVirtualRouterIndexDel( at );
   }
}

void VrrpSm::macsNeedingVirtualRouterIndexNotify( U32 key ) const {
   notify<NotifieeConst, U32, &NotifieeConst::onMacsNeedingVirtualRouterIndex>(
         kMacsNeedingVirtualRouterIndex, key );
}

VlanAndMac VrrpSm::waitingChanged( const Ptr<QuorMacsNeedingVirtualRouterIndex> &entry ) const {
   if( entry ) {
      macsNeedingVirtualRouterIndexNotify( entry->key() );
   }
   return valueOf( entry );
}

VrrpSm::MacsNeedingVirtualRouterIndexMetadata
VrrpSm::macsNeedingVirtualRouterIndexMetadata() const {
   const MacsNeedingVirtualRouterIndexes &line = macsNeedingVirtualRouterIndexes();
   return { line.nextKey(), line.count() };
}

void VrrpSm::macsNeedingVirtualRouterIndexMetadataIs(
      const MacsNeedingVirtualRouterIndexMetadata &metadata ) {
   macsNeedingVirtualRouterIndex_.nextKeyIs( metadata.nextKey );
}

} // namespace Orlo
