// Walks over collections that may change under them.
#ifndef QUOR_PINNEDITERATOR_H
#define QUOR_PINNEDITERATOR_H

#include "quor/PtrInterface.h"

#include <iterator>

namespace Quor {

/// Visits the entries of a HashMap or LinkQueue in order. Keeps its entry and the owner of the
/// collection alive. An entry that was removed is not visited, none is visited twice, none that was
/// there throughout is missed; when the current entry has been removed the walk goes on at the
/// first one behind its place. A Collection gives after( entry, cursor ), and a default Cursor:
/// what it likes to remember about the place of the current entry.
template <class Collection>
class PinnedIterator {
 public:
   using Entry = typename Collection::Entry;
   using value_type = Entry;
   using difference_type = std::ptrdiff_t;

   PinnedIterator() = default;

   const Entry &operator*() const noexcept { return *entry_; }
   const Entry *operator->() const noexcept { return entry_.get(); }
   [[gnu::always_inline]] inline PinnedIterator &operator++() {
      entry_ = Ptr<Entry>::share( collection_->after( *entry_, cursor_ ) );
      return *this;
   }
   void operator++( int ) { ++*this; }
   bool operator==( std::default_sentinel_t ) const noexcept { return !entry_; }

   /// Is the key in the collection that is walked?
   template <class Key>
   bool isMemberOf( const Key &key ) const noexcept {
      return collection_->isMemberOf( key );
   }

 private:
   friend Collection;
   using Cursor = typename Collection::Cursor;
   PinnedIterator( const Collection *collection, Ptr<Entry> entry, const Cursor &cursor = {} )
         : collection_( collection ),
           owner_( Ptr<const PtrInterface>::share( collection->owner_ ) ),
           entry_( std::move( entry ) ), cursor_( cursor ) {}

   const Collection *collection_ = nullptr;
   Ptr<const PtrInterface> owner_;
   Ptr<Entry> entry_;
   [[no_unique_address]] Cursor cursor_{};
};

} // namespace Quor

#endif
