// The base of every object that is shared by pointer: entities, reactors, watchers, snapshots.
#ifndef QUOR_PTRINTERFACE_H
#define QUOR_PTRINTERFACE_H

#include "quor/Ptr.h"
#include "quor/RefCount.h"
#include "quor/TypeFwd.h"

#include <vector>

namespace Quor {

/// Counts its references and goes when the last one is dropped. Not copyable. 16 bytes.
class PtrInterface {
 public:
   PtrInterface( const PtrInterface & ) = delete;
   PtrInterface &operator=( const PtrInterface & ) = delete;

   void referenceNew() const noexcept { references_.up(); }
   [[gnu::always_inline]] inline void referenceDel() const noexcept {
      if( references_.down() ) [[unlikely]] {
         const_cast<PtrInterface *>( this )->zeroReferencesIs();
      }
   }
   /// Somebody holds the object: its last reference has not gone.
   bool isHeld() const noexcept { return !references_.isGoing(); }

   /// Switches the reaction to changes of what the object watches; the base watches nothing.
   virtual void hasNotificationActiveIs( bool on );
   /// What the object finds inconsistent in itself, a line each; empty when it is sound. The first
   /// one covers the framework's own structures as well.
   virtual std::vector<String> quorAuditErrors() const;
   virtual std::vector<String> auditErrors() const;
   /// Called once, when the last reference has gone; the base destroys the object. Must not throw.
   virtual void zeroReferencesIs();
   /// The description of the object's type; null for types that have none.
   virtual const Type *fwkType() const;

 protected:
   PtrInterface() noexcept = default;
   /// Stops the process when somebody still refers to the object (one on the stack that outlived
   /// its scope in somebody's hands).
   virtual ~PtrInterface();

   U32 references() const noexcept { return references_.value(); }
   /// Somebody holds the object beside so many references.
   bool isHeldBeside( U32 others ) const noexcept { return references_.isHeldBeside( others ); }

 private:
   mutable RefCount references_;
};

} // namespace Quor

#endif
