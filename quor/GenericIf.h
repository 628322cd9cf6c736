// Access by name: an instance of any described type, without compiled knowledge of the type.
//
//    const Ptr<GenericIf> table = genericIf( ptrToTable );
//    const AttrId macs = table->attributeId( "virtualRouterMac" );
//    table->attributeOp( macs, Op::set, pairType->parse( text, true ), genericIf( true ) );
//
// A change made here runs the code of a typed change, and notifies exactly as that does.
#ifndef QUOR_GENERICIF_H
#define QUOR_GENERICIF_H

#include "quor/Type.h"

namespace Quor {

/// Walks over a collection attribute. The collection may change under the walk (PinnedIterator.h).
class AttributeIterator {
 public:
   virtual ~AttributeIterator() = default;
   /// Stands at an entry; iterKey, iterObj and iterInc need that, and throw RangeException
   /// elsewhere.
   virtual bool nonNull() const = 0;
   virtual Ptr<GenericIf> iterKey() const = 0;
   virtual Ptr<GenericIf> iterObj() const = 0;
   virtual void iterInc() = 0;
   /// Ends the walk and lets go of the collection.
   virtual void iterDel() = 0;
   virtual std::unique_ptr<AttributeIterator> iterClone() const = 0;
};

/// A value or a reference to an entity, with its type. Counted; one thread, like what it wraps.
class GenericIf : public PtrInterface {
 public:
   using List_ = GenericList;

   virtual const Type *type() const = 0;
   bool isConst() const noexcept { return isConst_; }

   /// The identifier of an attribute of the type or of its bases; NoSuchAttributeException.
   AttrId attributeId( const String &name ) const;
   /// Performs one operation on one attribute. Gives what was read or removed, null for a change
   /// and for a null pointer. Throws ConstException, NoSuchAttributeException, BadIndexException,
   /// TypeException, OperationNotSupportedException, UnknownArgumentException, and what the
   /// attribute's own code throws. A function is called by Op::get with a GenericList of its
   /// arguments as the key; a const interface calls functions that leave the object as it is.
   Ptr<GenericIf> attributeOp( AttrId id, AttrOp op, const Ptr<GenericIf> &key = nullptr,
                               const Ptr<GenericIf> &value = nullptr );
   /// At the first entry of a collection.
   std::unique_ptr<AttributeIterator> attributeIteratorConst( AttrId id ) const;
   /// At the first entry that does not come before `key` in the collection's order.
   std::unique_ptr<AttributeIterator> attributeIteratorKeyConst( AttrId id,
                                                                 const Ptr<GenericIf> &key ) const;
   /// A new instance of the same type, from the values of its constructor parameters (a
   /// GenericList).
   Ptr<GenericIf> genericIfListConstructor( const Ptr<GenericIf> &list ) const;

   /// The text form.
   String strRep() const;
   /// Another interface to the same entity, or to a copy of the value, just as const.
   virtual Ptr<GenericIf> clone() const = 0;
   /// The instance itself when it is of this type, else null.
   void *voidPtrIs( const Type *wanted ) {
      return wanted && *wanted == *type() ? instance() : nullptr;
   }

   /// The entity's own switches; nothing for a value.
   virtual void quorDoZombieReactors( bool ) {}

 protected:
   explicit GenericIf( bool isConst ) noexcept : isConst_( isConst ) {}
   virtual void *instance() const = 0;

 private:
   struct Place {
      void *instance;
      const Attribute *attribute;
   };
   Place find( AttrId id ) const;
   std::unique_ptr<AttributeIterator> iterate( AttrId id, const Ptr<GenericIf> &from ) const;

   const bool isConst_;
};

/// Values with names or without: the arguments of a call, the parameters of a constructor.
class GenericList : public GenericIf {
 public:
   struct Element {
      String name; ///< empty: meant by its place
      Ptr<GenericIf> value;
   };

   GenericList() noexcept : GenericIf( true ) {}
   explicit GenericList( std::vector<Element> elements )
         : GenericIf( true ), elements_( std::move( elements ) ) {}

   const std::vector<Element> &elements() const noexcept { return elements_; }
   const Type *type() const override;
   Ptr<GenericIf> clone() const override { return make<GenericList>( elements_ ); }

 protected:
   void *instance() const override { return const_cast<GenericList *>( this ); }

 private:
   std::vector<Element> elements_;
};

template <>
struct Describe<GenericList> {
   static String text( const void *list );
   static constexpr Type type{ .name = "Quor::GenericIf::List_", .text = &text };
};

/// The argument as a list; TypeException when it is none.
const GenericList &needList( GenericIf *argument );

} // namespace Quor

#endif
