#include "tests/simulator/Chip.h"

#include <stdexcept>

namespace Simulator {

/// As a chip's vendor writes it.
class Chip::Helper final : public OrloHelper::RetryingHelper {
 public:
   Helper( Chip &chip, const OrloHelper::HelperSettings &settings )
         : RetryingHelper( "chip", settings ), chip_( chip ) {
      syncCurrentStateOnInitIs( true );
      chip_.lost_.clear(); // whoever comes reads
      chip_.canAgain_ = false;
   }

   int fd() const override { return 4; }
   std::vector<Entry> readAll() const override {
      if( chip_.faults.isUnreadable || chip_.isDead() ) {
         throw std::runtime_error( "the chip does not answer" );
      }
      std::vector<Entry> entries;
      for( const auto &[index, slot] : chip_.slots_ ) {
         entries.push_back( { slot.pair, index } );
      }
      return entries;
   }
   void
   syncVrrpStateOnInit( const Quor::Ptr<OrloHelper::CurrentVrrpStateForInit> &state ) override {
      if( chip_.faults.isUnreadable ) {
         chip_.excuseEverything();
      }
      RetryingHelper::syncVrrpStateOnInit( state );
      halvesAreLost();
   }
   void repair() override {
      RetryingHelper::repair();
      halvesAreLost();
   }

 private:
   void hear() override {
      for( const U32 index : std::exchange( chip_.lost_, {} ) ) {
         if( index < indexes() ) {
            lost( index );
         }
      }
      if( std::exchange( chip_.canAgain_, false ) ) {
         tryAgainNow();
      }
   }
   void add( std::span<Write> writes ) override {
      each( writes, [this]( const Write &write ) { return chip_.add( write.index, write.pair ); } );
   }
   void remove( std::span<Write> writes ) override {
      each( writes,
            [this]( const Write &write ) { return chip_.remove( write.index, write.pair ); } );
   }
   template <class Operation>
   void each( std::span<Write> writes, Operation operation ) {
      U32 done = 0;
      for( Write &write : writes ) {
         if( chip_.faults.throws && chip_.random_.chance( 300 ) ) {
            for( const Write &rest : writes ) { // those without an answer are taken as refused
               chip_.refuses( rest.index );
            }
            throw std::runtime_error( "the chip has stopped" );
         }
         write.refusal = done < chip_.faults.atOnce ? operation( write )
                                                    : chip_.refuse( write.index, "busy" );
         done += write.refusal.empty() ? 1 : 0;
      }
   }
   /// An entry that is there in part is none.
   void halvesAreLost() {
      for( const auto &[index, slot] : chip_.slots_ ) {
         if( !slot.isWhole && index < indexes() ) {
            lost( index );
         }
      }
   }

   Chip &chip_;
};

OrloHelper::VrrpSmHelper *Chip::helper( const OrloHelper::HelperSettings &settings ) {
   if( faults.cannotBeOpened || isDead() ) {
      throw std::runtime_error( "the chip is not there" );
   }
   return Quor::make<Helper>( *this, settings ).release();
}

Hardware::Loss Chip::loses( U32 index, bool isTold ) {
   trace_.line( "chip: loses slot " + std::to_string( index ) );
   slots_.erase( index );
   if( isTold ) {
      lost_.insert( index );
   }
   return isTold ? Loss::told : Loss::untold;
}

std::string Chip::refuse( U32 index, const std::string &why ) {
   refuses( index );
   trace_.line( "chip: refuses " + std::to_string( index ) + ": " + why );
   return why;
}

void Chip::write( U32 index, const std::optional<Slot> &slot ) {
   needsLife();
   const auto at = slots_.find( index );
   const Pair pair = slot ? slot->pair : at->second.pair;
   if( slot ) {
      slots_[index] = *slot;
   } else {
      slots_.erase( at );
   }
   wrote( { index, pair, slot.has_value() }, slot && !slot->isWhole ? " half" : "" );
}

std::string Chip::add( U32 index, const Pair &pair ) {
   const auto at = slots_.find( index );
   const bool isThere = at != slots_.end();
   if( isThere && at->second.pair != pair ) {
      violate( "a slot is written that holds another pair", index, pair );
      return refuse( index, "the slot is taken" );
   }
   for( const auto &[other, slot] : slots_ ) {
      if( other != index && slot.pair == pair ) {
         violate( "a pair is written a second time", index, pair );
      }
   }
   if( faults.takesNothing ) {
      if( faults.doesHalves && !isThere && random_.chance( 300 ) ) {
         write( index, Slot{ .pair = pair, .isWhole = false } );
      }
      return refuse( index, "the chip takes nothing" );
   }
   if( isThere && at->second.isWhole ) {
      if( !isExcused( index ) ) {
         violate( "a pair is written that is there", index, pair );
      }
      return {};
   }
   write( index, Slot{ .pair = pair } );
   return {};
}

std::string Chip::remove( U32 index, const Pair &pair ) {
   const auto at = slots_.find( index );
   if( at == slots_.end() || at->second.pair != pair ) {
      return {};
   }
   if( faults.keepsEverything ) {
      if( faults.doesHalves && at->second.isWhole && random_.chance( 300 ) ) {
         write( index, Slot{ .pair = pair, .isWhole = false } );
      }
      return refuse( index, "the chip keeps it" );
   }
   write( index, std::nullopt );
   return {};
}

} // namespace Simulator
