// A helper for hardware that may say no: the whole bookkeeping, with the writing left to a
// platform.
//
//    class ChipHelper : public OrloHelper::RetryingHelper {
//       void add( std::span<Write> writes ) override {
//          for( Write &write : writes ) {
//             if( !chip_.slotIs( write.index, write.pair ) ) { write.refusal = "no room"; }
//          }
//       }
//       ...
//    };
#ifndef ORLOVRRPHELPER_RETRYINGHELPER_H
#define ORLOVRRPHELPER_RETRYINGHELPER_H

#include "OrloVrrpHelper/HardwareView.h"
#include "OrloVrrpHelper/HardwareWork.h"
#include "OrloVrrpHelper/VrrpSmHelper.h"

#include <set>
#include <span>
#include <unordered_map>
#include <utility>

namespace OrloHelper {

/// Remembers for each index what the programmer wants there and what the hardware holds, and makes
/// the second like the first in work(): one call of remove() and one of add() for everything that
/// an event has brought. What comes and goes within an event is not written at all.
///
/// The hardware never has two pairs under one index, nor one pair under two: an index is not
/// written before the pair that held it has gone, and a pair not before it has left the index that
/// it had. What the hardware refuses is tried again after 0.1 s, then after twice as long each
/// time, up to 30 s; the last wish wins. What somebody else takes out of the hardware is put back
/// at once, and more slowly when that happens again and again.
///
/// Has the lifetime and the thread of every helper. Costs 32 bytes an index; a call of the
/// programmer takes constant time.
class RetryingHelper : public VrrpSmHelper, public HardwareView, public HardwareWork {
 public:
   using Time = HardwareWork::Time;
   /// Something to do for the hardware. `refusal` is the answer: empty when it is done.
   struct Write {
      Quor::U32 index; ///< kNoIndex: of an entry without one, to be removed
      VlanAndMac pair;
      std::string refusal{};
   };
   static constexpr Quor::U32 kNoIndex = ~Quor::U32{ 0 };

   ~RetryingHelper() override;

   // What the programmer calls. Only remembers.
   void addVirtualRouterMac( const Pelmo::EthAddr &macAddr, Quor::U32 vlanId,
                             Quor::U32 index ) override;
   void deleteVirtualRouterMac( const Pelmo::EthAddr &macAddr, Quor::U32 vlanId,
                                Quor::U32 index ) override;
   /// Gives each pair once, under an index that no other has, and removes from the hardware what
   /// else it holds of ours: what has no index or one that there is not, VLAN 0 or 4095, a pair or
   /// an index a second time.
   void syncVrrpStateOnInit( const Quor::Ptr<CurrentVrrpStateForInit> &currentStatePtr ) override;

   std::optional<VlanAndMac> slot( Quor::U32 index ) const override;
   std::optional<Refusal> refusal( Quor::U32 index ) const override;
   Quor::U64 refusals() const override { return refusals_; }
   Quor::U64 writes() const override { return writes_; }

   Time work( Time now ) override;
   void repair() override;

 protected:
   RetryingHelper( Quor::Name name, const HelperSettings &settings );

   // The hardware. What these throw is taken as a refusal of every write without an answer.
   /// Removes these pairs. What the hardware does not hold is removed already; what it holds
   /// otherwise (another pair at the index, the pair at another index) is left alone. Of a refused
   /// one a part may have gone: it is added again if it is wanted again.
   virtual void remove( std::span<Write> writes ) = 0;
   /// Adds these pairs: they may be there already, in whole or in part. A refused one may be there
   /// in part: it is removed before anything else happens with its index.
   virtual void add( std::span<Write> writes ) = 0;
   // and HardwareView::readAll()

   /// Called first in each work(): hear what the hardware has to tell, and call the ones below.
   /// What it throws is told once.
   virtual void hear() {}

   /// The hardware does not hold the index's pair any more, or not as it should: it is written
   /// again if it is wanted: at once, and later each time when it is lost within a minute again.
   void lost( Quor::U32 index );
   /// The same for all.
   void lostAll();
   /// What the hardware needs with the index's pair has changed, an SVI or a VLAN: the pair is
   /// written again if it is wanted, at once however often that happens.
   void outdated( Quor::U32 index );
   /// What was refused may be done now: it is tried at the next work().
   void tryAgainNow();

   Quor::U32 indexes() const noexcept { return indexes_; }
   /// What the programmer wants at the index.
   const std::optional<VlanAndMac> &wanted( Quor::U32 index ) const {
      return places_[index].wanted;
   }
   /// To the administrator.
   void tell( const std::string &what ) const noexcept;

 private:
   /// What is wanted and held somewhere: under an index, or, behind those, by an entry that has no
   /// index of its own.
   struct Place {
      std::optional<VlanAndMac> wanted{};
      std::optional<VlanAndMac> held{}; ///< in the hardware, perhaps in part
      bool isWhole = false;             ///< held, with everything that belongs to it
      bool isQueued = false;

      bool needsRemoval() const { return held && held != wanted; }
      bool needsAdd() const { return wanted && ( held ? held == wanted && !isWhole : true ); }
   };
   struct Stuck { ///< a pair that cannot be removed from where it is
      Quor::U32 place;
      Quor::U32 waiter = kNoIndex; ///< the place that it is to go to
   };
   struct Loss {
      Quor::U32 times = 0;
      Time last{};
   };
   struct Hash {
      std::size_t operator()( const VlanAndMac &pair ) const noexcept { return pair.hash(); }
   };
   using Operation = void ( RetryingHelper::* )( std::span<Write> );

   Quor::U32 indexOf( Quor::U32 place ) const {
      return place < indexes_ ? place : extraIndexes_[place - indexes_];
   }
   void queue( Quor::U32 place );
   void listen();
   void readAgain();
   void queueDue();
   void removeQueued();
   void addQueued();
   void added( Quor::U32 place, const Write &write );
   void call( Operation operation, std::vector<Write> &writes );
   void removed( Quor::U32 place );
   bool mustWait( Quor::U32 place );
   void refused( Quor::U32 place, const Write &write, bool isRemoval );
   void settled( Quor::U32 place );
   void schedule( Quor::U32 place, Time time );
   void unschedule( Quor::U32 place );
   void misused( const char *doing, const VlanAndMac &pair, Quor::U32 index, const char *why );
   void hardwareHolds( const std::vector<Entry> &entries );

   const Quor::U32 indexes_;
   const std::function<void( const std::string & )> trouble_;
   std::vector<Place> places_;
   std::vector<Quor::U32> extraIndexes_; ///< of the places behind the indexes, as reported
   std::vector<Quor::U32> queue_;        ///< places to look at in the next work()
   std::unordered_map<Quor::U32, Refusal> refused_;
   std::unordered_map<VlanAndMac, Stuck, Hash> stuck_;
   std::unordered_map<Quor::U32, Loss> losses_;
   std::unordered_map<Quor::U32, const char *> strays_; ///< found at the start: why they have to go
   std::set<std::pair<Time, Quor::U32>> due_;           ///< places to look at later
   std::unordered_map<Quor::U32, Time> scheduled_;      ///< the same, by place
   std::set<std::string> told_;                         ///< reasons
   std::string deaf_;                                   ///< why it cannot hear, while that is so
   Time now_{};
   Time nextReading_ = kNever; ///< of hardware that could not be read when it was to be adopted
   Quor::U64 refusals_ = 0;
   Quor::U64 writes_ = 0;
};

} // namespace OrloHelper

#endif
