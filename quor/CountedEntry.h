// The entries of collections: small counted nodes.
#ifndef QUOR_COUNTEDENTRY_H
#define QUOR_COUNTEDENTRY_H

#include "quor/RefCount.h"

namespace Quor {

/// The collection holds one reference of an entry; who else holds it can read it after it has been
/// removed. `Entry` derives from it and is destroyed with the last reference.
template <class Entry>
class CountedEntry {
 public:
   CountedEntry( const CountedEntry & ) = delete;
   CountedEntry &operator=( const CountedEntry & ) = delete;

   /// The collection has not removed it.
   bool isMember() const noexcept { return member_; }

   void referenceNew() const noexcept { references_.up(); }
   void referenceDel() const noexcept {
      if( references_.down() ) {
         delete static_cast<const Entry *>( this );
      }
   }

 protected:
   CountedEntry() noexcept = default;
   ~CountedEntry() = default;
   void removed() noexcept { member_ = false; }

 private:
   mutable RefCount references_;
   bool member_ = true;
};

} // namespace Quor

#endif
