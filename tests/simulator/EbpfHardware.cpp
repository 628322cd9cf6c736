#include "tests/simulator/EbpfHardware.h"

#include "agent/hardware/ebpf/EbpfHelper.h"

#include <stdexcept>

namespace Simulator {

using OrloAgent::EbpfKernel;
using OrloAgent::EbpfSettings;
using OrloAgent::FakeEbpf;
using OrloAgent::FakeSwitch;

namespace {

constexpr char kPort[] = "swp1";
constexpr U32 kProgram = 1;

} // namespace

/// Between the helper and the switch.
class EbpfHardware::Kernel final : public EbpfKernel {
 public:
   explicit Kernel( EbpfHardware &hardware )
         : hardware_( hardware ), kernel_( hardware.switch_, kProgram ) {}

   std::vector<Entry> entries() const override {
      hardware_.needsLife();
      if( hardware_.faults.isUnreadable ||
          ( hardware_.faults.throws && hardware_.random_.chance( 300 ) ) ) {
         hardware_.excuseEverything();
         throw std::runtime_error( "the table cannot be read" );
      }
      return kernel_.entries();
   }
   std::optional<Entry> entry( const Pair &pair ) const override { return kernel_.entry( pair ); }
   Done put( std::span<const Entry> rows ) override {
      return each(
            rows, true, []( const Entry &row ) { return row.index; },
            [this]( const Entry &row ) {
               hardware_.isPut( row );
               return kernel_.put( { &row, 1 } ).error;
            } );
   }
   Done erase( std::span<const Pair> pairs ) override {
      return each(
            pairs, false,
            [this]( const Pair &pair ) {
               const auto row = kernel_.entry( pair );
               return row ? row->index : kStray;
            },
            [this]( const Pair &pair ) {
               const auto row = kernel_.entry( pair );
               const int error = kernel_.erase( { &pair, 1 } ).error;
               if( row ) {
                  hardware_.wrote( { row->index, pair, false } );
               }
               return error;
            } );
   }
   std::map<U32, U32> ports() const override { return kernel_.ports(); }
   int portIs( U32 ifindex, U32 accessVlan ) override {
      return hardware_.isDead() ? EIO : kernel_.portIs( ifindex, accessVlan );
   }
   int portDel( U32 ifindex ) override {
      return hardware_.isDead() ? EIO : kernel_.portDel( ifindex );
   }
   Filter filter( U32 ifindex ) const override { return kernel_.filter( ifindex ); }
   int attach( U32 ifindex ) override {
      return hardware_.isDead()              ? EIO
             : hardware_.faults.takesNothing ? EBUSY
                                             : kernel_.attach( ifindex );
   }
   int detach( U32 ifindex ) override {
      return hardware_.isDead() ? EIO : kernel_.detach( ifindex );
   }
   void unpin() override { kernel_.unpin(); }
   U32 ifindex( const std::string &name ) const override {
      const Link *const link = hardware_.kernel_.link( name );
      return link ? static_cast<U32>( link->ifindex ) : kernel_.ifindex( name );
   }
   int fd() const override { return 4; }
   News hear() override {
      hardware_.needsLife();
      hardware_.seesLinks();
      News news = kernel_.hear();
      if( hardware_.random_.chance( 50 ) ) {
         news = {};
         news.isIncomplete = true;
      }
      return news;
   }

 private:
   template <class T, class Index, class Operation>
   Done each( std::span<const T> all, bool isAdd, Index index, Operation operation ) {
      Done done;
      for( const T &one : all ) {
         done.error =
               hardware_.isDead() ? EIO : hardware_.refusal( index( one ), done.count, isAdd );
         if( done.error == 0 ) {
            done.error = operation( one );
         }
         if( done.error != 0 ) {
            break;
         }
         ++done.count;
      }
      return done;
   }

   EbpfHardware &hardware_;
   FakeEbpf kernel_;
};

EbpfHardware::EbpfHardware( Random &random, Trace &trace, const Plan &plan,
                            const SimulatedKernel &kernel )
      : Hardware( random, trace ), plan_( plan ), kernel_( kernel ) {
   switch_.lastIfindex = 1'000'000; // ports have other indexes than links
   switch_.comes( kPort );
}

OrloHelper::VrrpSmHelper *EbpfHardware::helper( const OrloHelper::HelperSettings &settings ) {
   if( faults.cannotBeOpened || isDead() ) {
      throw std::runtime_error( "the tables cannot be opened" );
   }
   seesLinks();
   const EbpfSettings own{ "pins", { { kPort, 10 } }, random_.between( 1, 8 ) };
   return Quor::make<OrloAgent::EbpfHelper>( std::make_unique<Kernel>( *this ), own, settings )
         .release();
}

U32 EbpfHardware::sviOf( Bridging::VlanId vlan ) const {
   const Link *const link = kernel_.link( plan_.sviOf( vlan ) );
   return link ? static_cast<U32>( link->ifindex ) : 0;
}

Hardware::Slots EbpfHardware::slots() const {
   Slots held;
   U32 stray = kStray;
   for( const auto &[pair, row] : switch_.rows ) {
      const U32 index = held.contains( row.index ) ? stray++ : row.index;
      held[index] = { .pair = pair, .isWhole = row.svi == sviOf( pair.vlanId() ), .svi = row.svi };
   }
   return held;
}

EbpfHardware::Names EbpfHardware::links() const {
   Names names;
   for( const auto &[ifindex, link] : kernel_.links() ) {
      names[link.name] = static_cast<U32>( ifindex );
   }
   return names;
}

bool EbpfHardware::hasNews() const {
   Names known = switch_.devices;
   known.erase( kPort );
   const EbpfKernel::News &news = switch_.news;
   return known != links() || !news.devices.empty() || !news.filtered.empty();
}

void EbpfHardware::seesLinks() {
   const Names now = links();
   for( const auto &[name, ifindex] : Names( switch_.devices ) ) {
      if( name != kPort && !now.contains( name ) ) {
         switch_.goes( name );
      }
   }
   for( const auto &[name, ifindex] : now ) {
      if( switch_.devices[name] != ifindex ) {
         switch_.devices[name] = ifindex;
         switch_.news.devices.push_back( { ifindex, name } );
      }
   }
}

int EbpfHardware::refusal( U32 index, std::size_t done, bool isAdd ) {
   const int error = done >= faults.atOnce ? ENOMEM
                     : ( isAdd ? faults.takesNothing : faults.keepsEverything )
                           ? ( isAdd ? E2BIG : EPERM )
                           : 0;
   if( error != 0 ) {
      refuses( index );
      trace_.line( "ebpf: refuses " + std::to_string( index ) );
   }
   return error;
}

/// Before it is.
void EbpfHardware::isPut( const Row &row ) {
   for( const auto &[pair, there] : switch_.rows ) {
      if( there.index == row.index && pair != row.pair ) {
         violate( "an index is written that another pair has", row.index, row.pair );
      }
   }
   const auto at = switch_.rows.find( row.pair );
   if( at != switch_.rows.end() && at->second.index != row.index ) {
      violate( "a pair is written that has another index", row.index, row.pair );
   }
   if( at != switch_.rows.end() && at->second == FakeSwitch::Row{ row.index, row.svi } ) {
      if( !isExcused( row.index ) ) {
         violate( "a row is written that is there", row.index, row.pair );
      }
      return;
   }
   wrote( { row.index, row.pair, true }, " svi " + std::to_string( row.svi ) );
}

Hardware::Loss EbpfHardware::loses( U32 index, bool ) {
   for( auto at = switch_.rows.begin(); at != switch_.rows.end(); ++at ) {
      if( at->second.index == index ) {
         trace_.line( "ebpf: loses index " + std::to_string( index ) );
         if( random_.chance( 500 ) ) {
            switch_.rows.erase( at );
         } else {
            at->second.svi = 999'999; // somebody's
         }
         return Loss::untold;
      }
   }
   return Loss::none;
}

/// Its port only: the table is the kernel's.
Hardware::Loss EbpfHardware::isReplaced() {
   trace_.line( "ebpf: the port is another, or without its filter" );
   if( random_.chance( 500 ) ) {
      switch_.goes( kPort );
      switch_.comes( kPort );
   } else {
      switch_.filterIs( kPort, random_.chance( 500 ) ? 0 : kProgram + 1 );
   }
   return Loss::none;
}

std::string EbpfHardware::flaw() const {
   const U32 port = switch_.devices.at( kPort );
   const auto filter = switch_.filters.find( port );
   if( filter == switch_.filters.end() || filter->second != kProgram ) {
      return "the port has not got its filter back";
   }
   if( switch_.ports != std::map<U32, U32>{ { port, 10 } } ) {
      return "the program knows other ports than there are";
   }
   return {};
}

} // namespace Simulator
