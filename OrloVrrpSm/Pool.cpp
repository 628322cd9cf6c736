// The programmer's collections: free indexes, indexes of pairs, pairs that wait.
#include "OrloVrrpSm/VrrpSm.h"

namespace Orlo {

using Quor::Ptr;
using Quor::U32;
using VrrpPrivateVlanReflectorLib::VlanAndMac;

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
   return freeVirtualRouterIndex_.value( key );
}

void VrrpSm::freeVirtualRouterIndexEnq( U32 index ) {
   freeVirtualRouterIndex_.append( index );
}

U32 VrrpSm::freeVirtualRouterIndexDeq() {
   return freeVirtualRouterIndex_.next();
}

void VrrpSm::freeVirtualRouterIndexIs( U32 key, U32 index ) {
   freeVirtualRouterIndex_.is( key, index );
}

Ptr<VrrpSm::QuorFreeVirtualRouterIndex> VrrpSm::newFreeVirtualRouterIndex( U32 key, U32 index ) {
   return freeVirtualRouterIndex_.insert( key, index );
}

U32 VrrpSm::freeVirtualRouterIndexDel( U32 key ) {
   return freeVirtualRouterIndex_.del( key );
}

U32 VrrpSm::freeVirtualRouterIndexDel( const FreeVirtualRouterIndexes::Iterator &at ) {
   return freeVirtualRouterIndex_.del( at );
}

void VrrpSm::freeVirtualRouterIndexDelAll() {
   freeVirtualRouterIndex_.delAll();
}

void VrrpSm::freeVirtualRouterIndexNotify( U32 key ) const {
   notify<NotifieeConst, U32, &NotifieeConst::onFreeVirtualRouterIndex>( kFreeVirtualRouterIndex,
                                                                         key );
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
   return macsNeedingVirtualRouterIndex_.value( key );
}

void VrrpSm::macsNeedingVirtualRouterIndexEnq( const VlanAndMac &vrMac ) {
   macsNeedingVirtualRouterIndex_.append( vrMac );
}

VlanAndMac VrrpSm::macsNeedingVirtualRouterIndexDeq() {
   return macsNeedingVirtualRouterIndex_.next();
}

void VrrpSm::macsNeedingVirtualRouterIndexIs( U32 key, const VlanAndMac &vrMac ) {
   macsNeedingVirtualRouterIndex_.is( key, vrMac );
}

Ptr<QuorMacsNeedingVirtualRouterIndex>
VrrpSm::newMacsNeedingVirtualRouterIndex( U32 key, const VlanAndMac &vrMac ) {
   return macsNeedingVirtualRouterIndex_.insert( key, vrMac );
}

VlanAndMac VrrpSm::macsNeedingVirtualRouterIndexDel( U32 key ) {
   return macsNeedingVirtualRouterIndex_.del( key );
}

VlanAndMac
VrrpSm::macsNeedingVirtualRouterIndexDel( const MacsNeedingVirtualRouterIndexes::Iterator &at ) {
   return macsNeedingVirtualRouterIndex_.del( at );
}

void VrrpSm::macsNeedingVirtualRouterIndexDelAll() {
   macsNeedingVirtualRouterIndex_.delAll();
}

void VrrpSm::macsNeedingVirtualRouterIndexNotify( U32 key ) const {
   notify<NotifieeConst, U32, &NotifieeConst::onMacsNeedingVirtualRouterIndex>(
         kMacsNeedingVirtualRouterIndex, key );
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
