// A helper under test, what can be done to it, and what can be seen of it.
#ifndef ORLOCONFORMANCE_BENCH_H
#define ORLOCONFORMANCE_BENCH_H

#include "conformance/Broken.h"
#include "conformance/Subject.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace OrloConformance {

/// A pair and where it is.
using Slot = std::pair<Quor::U32, Pair>;
/// In order.
using Slots = std::vector<Slot>;
using Pairs = std::vector<Pair>;

/// "0: VLAN 10 00:00:5e:00:01:01, 2: VLAN 11 00:00:5e:00:01:01", or "nothing".
std::string text( const Slots &slots );
std::string text( const Pair &pair );

/// Owns the helper and, while there is one, a real programmer. All that a helper does wrong while
/// it is called (throws; gives an impossible snapshot; has two pairs under one index, or one pair
/// under two) is thrown as Broken at once, whichever rule is tried.
class Bench {
 public:
   using Time = OrloHelper::HardwareWork::Time;
   using Refusal = OrloHelper::HardwareView::Refusal;
   static constexpr Quor::U32 kNoIndex = ~Quor::U32{ 0 };

   explicit Bench( const Subject &subject );
   /// The hardware accepts again; the helper goes.
   ~Bench();
   Bench( const Bench & ) = delete;
   Bench &operator=( const Bench & ) = delete;

   const Subject &subject() const noexcept { return subject_; }
   const Faults &faults() const noexcept { return subject_.faults; }
   /// One of the pairs that the suite programs: each number below pairs() gives another.
   Pair pair( Quor::U32 number ) const;
   Quor::U32 pairs() const;
   /// Of the helper.
   Quor::U32 indexes() const noexcept { return indexes_; }
   /// As many as most rules use: enough for every situation, and soon full.
   Quor::U32 few() const noexcept;

   // Life
   void open() { open( subject_.settings.indexes ); }
   void open( Quor::U32 indexes );
   /// The helper goes, and the programmer with it, as by kill -9: nobody calls it.
   void close();
   /// The programmer starts, with `pool` indexes and these pairs in its table; gives the snapshot,
   /// and has worked.
   Slots start( const Pairs &wanted, Quor::U32 pool );
   /// The programmer goes: no call.
   void stop();
   /// open(), start() with nothing in the table, stop(): the hardware is empty.
   void openEmpty( Quor::U32 indexes );
   bool isOpen() const noexcept { return static_cast<bool>( helper_ ); }
   OrloHelper::VrrpSmHelper &helper() const noexcept { return *helper_; }

   // As the programmer calls
   void add( const Pair &pair, Quor::U32 index );
   void remove( const Pair &pair, Quor::U32 index );
   /// In an event of its own, until it is in the hardware.
   void put( const Slots &slots );

   // By the programmer, which has been started
   void wanted( const Pair &pair );
   void unwanted( const Pair &pair );
   Slots programmed() const;
   std::size_t waiting() const;

   // Between the calls
   bool hasView() const noexcept { return view_ != nullptr; }
   bool hasWork() const noexcept { return work_ != nullptr; }
   /// The end of an event, and whatever the helper can hear at once; gives when it wants to work
   /// again.
   Time work();
   /// Works, and waits for the helper's descriptor, until `is`.
   bool eventually( const std::function<bool()> &is );
   /// The same; the clock goes on to the times that the helper gives, a minute at most.
   bool inAMinute( const std::function<bool()> &is );
   Time now() const noexcept { return now_; }
   void nowIs( Time now ) noexcept { now_ = now; }
   void repair();
   void interfacesAre( const std::vector<OrloHelper::RoutedInterface> &interfaces );

   // What is seen
   Slots held() const;
   std::optional<Pair> slot( Quor::U32 index ) const { return view_->slot( index ); }
   std::optional<Refusal> refusal( Quor::U32 index ) const { return view_->refusal( index ); }
   Quor::U64 refusals() const { return view_->refusals(); }
   Quor::U64 writes() const { return view_->writes(); }
   std::size_t lines() const noexcept { return lines_; } ///< told to the administrator

   // Throw Broken when it is not so. `after` is what has been done: "after an add".
   void expect( bool is, const std::string &seen, const std::string &shouldBe ) const;
   /// Where it can be read back.
   void expectHeld( const Slots &slots, const std::string &after );
   void expectWrites( Quor::U64 writes, const std::string &after ) const;

   // The hardware's own life; what it does already is not played again.
   void refuse();
   void refuseRemovals();
   void accept();
   void lose( const Slot &slot );
   /// It may look impossible until the helper has put it right.
   void plant( const Slot &slot );
   /// Every index and every pair stands once again, at every work() from now on.
   void isInOrder() noexcept { isPlanted_ = false; }

   /// A helper that is only to look, beside this one; what it reads.
   Slots looked() const;

 private:
   void called( const char *what, const std::function<void()> &call ) const;
   OrloHelper::HelperSettings settings( Quor::U32 indexes, bool isReadOnly );
   Quor::Ptr<OrloHelper::VrrpSmHelper> made( const OrloHelper::HelperSettings &settings ) const;
   Time workOnce();
   bool hears( std::chrono::steady_clock::time_point until ) const;
   void check( const Slots &slots, const char *where ) const;

   const Subject &subject_;
   Quor::U32 indexes_ = 0;
   Quor::Ptr<OrloHelper::VrrpSmHelper> helper_;
   const OrloHelper::HardwareView *view_ = nullptr; // a part of the helper
   OrloHelper::HardwareWork *work_ = nullptr;       // so is this
   Quor::Ptr<Orlo::VrrpSm::VirtualRouterMacTable> table_;
   Quor::Ptr<Orlo::VrrpSm> vrrpSm_;
   Time now_ = std::chrono::steady_clock::now();
   std::size_t lines_ = 0;
   bool isRefusing_ = false;
   bool isRefusingRemovals_ = false;
   bool isPlanted_ = false;
};

} // namespace OrloConformance

#endif
