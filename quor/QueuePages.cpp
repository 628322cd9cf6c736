#include "quor/QueuePages.h"

#include <algorithm>
#include <new>
#include <utility>

namespace Quor {

QueuePages::~QueuePages() {
   for( QueuePage *const page : spare_ ) {
      if( page ) {
         page->letGo();
      }
   }
}

QueuePage *QueuePages::from( U64 number ) const noexcept {
   if( !tail_ || tail_->number < number ) {
      return nullptr;
   }
   if( head_->number >= number ) {
      return head_;
   }
   for( const U64 end = number + count_; number < end; ++number ) {
      if( QueuePage *const page = find( number ) ) {
         return page;
      }
   }
   QueuePage *page = tail_; // positions far apart
   while( page->before->number >= number ) {
      page = page->before;
   }
   return page;
}

QueuePage *QueuePages::make( U64 number ) {
   if( count_ == table_.size() ) {
      grow(); // here, so that link() cannot fail
   }
   for( QueuePage *&spare : spare_ ) {
      if( spare && spare->isUnused() ) {
         QueuePage *const page = std::exchange( spare, nullptr );
         page->number = number;
         return page;
      }
   }
   return new( ::operator new( pageSize_ ) ) QueuePage( number );
}

void QueuePages::link( QueuePage &page ) noexcept {
   page.behind = from( page.number );
   page.before = page.behind ? page.behind->before : tail_;
   ( page.before ? page.before->behind : head_ ) = &page;
   ( page.behind ? page.behind->before : tail_ ) = &page;
   page.next = std::exchange( table_[page.number & mask_], &page );
   ++count_;
}

void QueuePages::unlink( QueuePage &page ) noexcept {
   ( page.before ? page.before->behind : head_ ) = page.behind;
   ( page.behind ? page.behind->before : tail_ ) = page.before;
   QueuePage **at = &table_[page.number & mask_];
   while( *at != &page ) {
      at = &( *at )->next;
   }
   *at = page.next;
   --count_;
   drop( page );
}

void QueuePages::drop( QueuePage &page ) noexcept {
   auto place = std::find( spare_.begin(), spare_.end(), nullptr );
   if( place == spare_.end() ) { // who holds an entry of a spare page may do so for long
      place = std::find_if( spare_.begin(), spare_.end(),
                            []( const QueuePage *spare ) { return !spare->isUnused(); } );
   }
   QueuePage *const gone = place == spare_.end() ? &page : std::exchange( *place, &page );
   if( gone ) {
      gone->letGo();
   }
}

void QueuePages::grow() {
   Table( 2 * table_.size() ).swap( table_ );
   mask_ = table_.size() - 1;
   for( QueuePage *page = head_; page; page = page->behind ) {
      page->next = std::exchange( table_[page->number & mask_], page );
   }
}

} // namespace Quor
