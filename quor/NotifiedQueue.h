// A queue that tells its owner's watchers of every change.
#ifndef QUOR_NOTIFIEDQUEUE_H
#define QUOR_NOTIFIEDQUEUE_H

#include "quor/LinkQueue.h"

namespace Quor {

/// The storage of a watched queue attribute, as NotifiedMap is that of a map. `Notify` is the
/// owner's const member function that tells the watchers of one position key; `Queue` is a
/// LinkQueue, or what keeps an index beside one.
///
/// The changed entry is held until the watchers have been told: they may destroy entry, queue and
/// owner.
template <class Queue, auto Notify>
class NotifiedQueue : public Queue {
 public:
   using typename Queue::Entry;
   using typename Queue::Iterator;
   using Value = std::remove_cvref_t<decltype( std::declval<const Entry &>().value() )>;

   explicit NotifiedQueue( const PtrInterface *owner ) : Queue( owner ), owner_( owner ) {}

   /// The value at a position; `Value{}` where no entry stands.
   Value value( U32 key ) const { return valueOf( this->find( key ) ); }

   void append( const Value &value ) {
      Entry &added = this->addLast( value );
      if( isWatched() ) {
         told( ptrTo( added ) );
      }
   }
   /// Removes the head, notifies and gives its value; `Value{}` when the queue is empty.
   Value next() { return isWatched() ? told( this->deq() ) : this->extractFirst(); }
   /// Puts a value at a position and notifies; the value that stands there already does nothing.
   void is( U32 key, const Value &value ) { told( this->set( key, value ) ); }
   /// Removes what stands there, notifies and gives the removed value; `Value{}` for nothing.
   Value del( const Iterator &at ) { return told( this->take( at ) ); }
   /// The same with a position, or with whatever else the queue knows an entry by.
   template <class Found>
   Value del( const Found &found ) {
      return isWatched() ? told( this->take( found ) ) : this->extract( found );
   }
   /// Removes the entries one by one in order, each with its own notification.
   void delAll() {
      for( Iterator at = this->begin(); at != this->end(); ++at ) {
         del( at );
      }
   }

 private:
   static Value valueOf( const Ptr<Entry> &entry ) { return entry ? entry->value() : Value{}; }
   template <class Owner>
   const Owner &ownerFor( void ( Owner::* /*notify*/ )( U32 ) const ) const {
      return *static_cast<const Owner *>( owner_ );
   }
   bool isWatched() const { return ownerFor( Notify ).isWatched(); }
   Value told( const Ptr<Entry> &entry ) const {
      if( entry && isWatched() ) {
         ( ownerFor( Notify ).*Notify )( entry->key() );
      }
      return valueOf( entry );
   }

   const PtrInterface *const owner_;
};

} // namespace Quor

#endif
