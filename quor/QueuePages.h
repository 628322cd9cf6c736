// The pages of a queue.
#ifndef QUOR_QUEUEPAGES_H
#define QUOR_QUEUEPAGES_H

#include "quor/QueuePage.h"

#include <array>
#include <cstddef>
#include <vector>

namespace Quor {

/// The pages in which entries of one queue stand, in order and by number. Numbers that follow one
/// another, as they do unless somebody chooses positions, have a bucket each. Keeps two pages that
/// have become empty, so that a queue that something enters and leaves all the time needs no
/// memory. Belongs to a queue.
class QueuePages {
 public:
   /// `pageSize`: bytes, with the entries.
   explicit QueuePages( std::size_t pageSize ) : pageSize_( pageSize ) {}
   QueuePages( const QueuePages & ) = delete;
   QueuePages &operator=( const QueuePages & ) = delete;
   /// All pages are out of the order already.
   ~QueuePages();

   /// How many are in order.
   U32 count() const noexcept { return count_; }
   QueuePage *head() const noexcept { return head_; }
   QueuePage *tail() const noexcept { return tail_; }
   /// Null when none of the pages in order has the number.
   QueuePage *find( U64 number ) const noexcept {
      QueuePage *page = bucket( number );
      while( page && page->number != number ) {
         page = page->next;
      }
      return page;
   }
   /// The pages with the number, and others that have the same low bits: the first one, which leads
   /// to the next.
   QueuePage *bucket( U64 number ) const noexcept { return table_[number & mask_]; }
   /// The first page in order whose number is not below this one; null when there is none. Costs a
   /// step for each number that is missing, at most one for each page.
   QueuePage *from( U64 number ) const noexcept;

   /// An empty page, not in order yet.
   QueuePage *make( U64 number );
   /// Puts a new page in order.
   void link( QueuePage &page ) noexcept;
   /// Takes an empty page out of the order.
   void unlink( QueuePage &page ) noexcept;
   /// Takes back an empty page that is not in order.
   void drop( QueuePage &page ) noexcept;

 private:
   using Table = std::vector<QueuePage *>;

   void grow();

   const std::size_t pageSize_;
   Table table_ = Table( 1 ); // by the low bits of the number
   U64 mask_ = 0;             // which these are
   QueuePage *head_ = nullptr;
   QueuePage *tail_ = nullptr;
   std::array<QueuePage *, 2> spare_{};
   U32 count_ = 0;
};

} // namespace Quor

#endif
