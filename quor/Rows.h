// The inside of Describe.h: what the rows of values, pointers and collections do with an instance.
#ifndef QUOR_ROWS_H
#define QUOR_ROWS_H

#include "quor/HashMap.h"
#include "quor/LinkQueue.h"
#include "quor/Members.h"
#include "quor/Unwrap.h"

namespace Quor::Rows {

/// Is it a function, or the nullptr that stands for none?
template <auto F>
inline constexpr bool kIsGiven = !std::is_null_pointer_v<decltype( F )>;

// Values and pointers.

template <auto Read, auto Write>
Ptr<GenericIf> operateValue( void *instance, const Attribute &attribute, AttrOp op, GenericIf *,
                             GenericIf *value ) {
   auto &owner = *static_cast<OwnerOf<Read> *>( instance );
   if( op == Op::get ) {
      return wrap( ( owner.*Read )() );
   }
   if constexpr( kIsGiven<Write> ) {
      using Wanted = std::tuple_element_t<0, ArgumentsOf<Write>>;
      ( owner.*Write )( Unwrap<Wanted>::from( value, attribute.name ) );
      return nullptr;
   } else {
      throw OperationNotSupportedException( attribute.name, op );
   }
}

// Collections.

template <class C>
struct Collection;
template <class K, class V>
struct Collection<HashMap<K, V>> {
   using Key = K;
   using Value = V;
   static U32 size( const HashMap<K, V> &map ) { return map.size(); }
   static U32 capacity( const HashMap<K, V> &map ) { return map.bucketCount(); }
};
template <class V, class L>
struct Collection<LinkQueue<V, L>> {
   using Key = U32;
   using Value = V;
   static U32 size( const LinkQueue<V, L> &queue ) { return queue.count(); }
   static U32 capacity( const LinkQueue<V, L> &queue ) { return queue.pageCount(); }
};

template <auto Read>
using Of = Collection<ResultOf<Read>>;
template <auto Read>
using KeyOf = typename Of<Read>::Key;
template <auto Read>
using ValueOf = typename Of<Read>::Value;
template <class K>
using ByValueOrReference = std::conditional_t<( sizeof( K ) <= 4 ), K, const K &>;

template <auto Read>
using SetOf = void ( OwnerOf<Read>::* )( ByValueOrReference<KeyOf<Read>>,
                                         ByValueOrReference<ValueOf<Read>> );
template <auto Read>
using RemoveOf = ValueOf<Read> ( OwnerOf<Read>::* )( ByValueOrReference<KeyOf<Read>> );

/// `Set` is nullptr where members cannot be set.
template <auto Read, auto Set, auto Remove>
Ptr<GenericIf> operateCollection( void *instance, const Attribute &attribute, AttrOp op,
                                  GenericIf *key, GenericIf *value ) {
   using Here = Of<Read>;
   auto &owner = *static_cast<OwnerOf<Read> *>( instance );
   const auto &collection = ( owner.*Read )();
   if( op == Op::size ) {
      return genericIf( Here::size( collection ) );
   }
   if( op == Op::capacity ) {
      return genericIf( Here::capacity( collection ) );
   }
   const KeyOf<Read> at = Unwrap<KeyOf<Read>>::from( key, "quor_index" );
   if( op == Op::remove ) {
      return wrap( ( owner.*Remove )( at ) );
   }
   if( op == Op::set ) {
      if constexpr( kIsGiven<Set> ) {
         ( owner.*Set )( at, Unwrap<ValueOf<Read>>::from( value, attribute.name ) );
         return nullptr;
      } else {
         throw OperationNotSupportedException( attribute.name, op );
      }
   }
   const auto entry = collection.find( at );
   if( op == Op::isMember ) {
      return genericIf( static_cast<bool>( entry ) );
   }
   return wrap( entry ? entry->value() : ValueOf<Read>{} );
}

template <class C>
class CollectionWalk : public AttributeIterator {
 public:
   explicit CollectionWalk( typename C::Iterator at ) : at_( std::move( at ) ) {}

   bool nonNull() const override { return at_ != std::default_sentinel; }
   Ptr<GenericIf> iterKey() const override { return wrap( entry().key() ); }
   Ptr<GenericIf> iterObj() const override { return wrap( entry().value() ); }
   void iterInc() override {
      entry();
      ++at_;
   }
   void iterDel() override { at_ = {}; }
   std::unique_ptr<AttributeIterator> iterClone() const override {
      return std::make_unique<CollectionWalk>( at_ );
   }

 private:
   const typename C::Entry &entry() const {
      if( !nonNull() ) {
         throw RangeException( "the walk stands at no entry" );
      }
      return *at_;
   }

   typename C::Iterator at_;
};

template <auto Read>
std::unique_ptr<AttributeIterator> iterateCollection( void *instance, const Attribute &,
                                                      GenericIf *from ) {
   const auto &collection = ( static_cast<OwnerOf<Read> *>( instance )->*Read )();
   return std::make_unique<CollectionWalk<ResultOf<Read>>>(
         from ? collection.iteratorFrom( Unwrap<KeyOf<Read>>::from( from, "quor_index" ) )
              : collection.begin() );
}

template <class K>
Ptr<GenericIf> wrapKey( const void *key ) {
   return wrap( *static_cast<const K *>( key ) );
}

template <auto Read, auto Set, auto Remove>
constexpr Attribute collection( std::string_view name, AttrKind kind ) {
   return { .name = name,
            .kind = kind,
            .isWritable = kIsGiven<Set>,
            .key = &typeOf<KeyOf<Read>>,
            .type = &typeOf<Pointee<ValueOf<Read>>>,
            .operate = &operateCollection<Read, Set, Remove>,
            .iterate = &iterateCollection<Read>,
            .wrapKey = &wrapKey<KeyOf<Read>> };
}

} // namespace Quor::Rows

#endif
