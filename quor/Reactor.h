// The half of a reactor that listens: a watcher that passes what it hears to its owner.
//
//    class QuorVrrpMacStatus : public Reactor<VirtualRouterMacTable, VrrpSm> {
//       void onVirtualRouterMac( const VlanAndMac &key ) override {
//          if( const Ptr<VrrpSm> sm = awakeOwner() ) { sm->handleVrrpMac( key ); }
//       }
//    };
#ifndef QUOR_REACTOR_H
#define QUOR_REACTOR_H

#include "quor/Name.h"
#include "quor/Ptr.h"

namespace Quor {

/// The activity on which every reactor of this process runs: the agent's event loop.
inline const Name kEventLoopActivity = "eventLoop";

/// Listens to a Watched for an Owner. The owner holds the listener, the listener only points back;
/// the owner clears that pointer before it goes.
template <class Watched, class Owner>
class Reactor : public Watched::NotifieeConst {
 public:
   explicit Reactor( Owner *owner ) noexcept : owner_( owner ), awake_( owner ) {}

   /// A zombie hears nothing any more: its owner is being torn down.
   void quorDoZombieReactors( bool on ) noexcept {
      zombie_ = on;
      ownerIs( owner_ );
   }
   bool isZombie() const noexcept { return zombie_; }

 protected:
   void ownerIs( Owner *owner ) noexcept {
      owner_ = owner;
      awake_ = zombie_ ? nullptr : owner;
   }
   Owner *owner() const noexcept { return owner_; }
   /// The owner, kept alive for a call of one of its handlers; null when it is not to be called.
   Ptr<Owner> awakeOwner() const noexcept { return Ptr<Owner>::share( awake_ ); }

 private:
   Owner *owner_;
   Owner *awake_; // null for a zombie: one look tells whether to call
   bool zombie_ = false;
};

} // namespace Quor

#endif
