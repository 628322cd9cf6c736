// A port to a chip: this class is all that a platform has to write.
#ifndef CHIPHELPER_H
#define CHIPHELPER_H

#include "Chip.h"
#include "OrloVrrpHelper/RetryingHelper.h"

class ChipHelper : public OrloHelper::RetryingHelper {
 public:
   ChipHelper( Chip chip, const OrloHelper::HelperSettings &settings )
         : RetryingHelper( "chip", settings ), chip_( std::move( chip ) ) {
      syncCurrentStateOnInitIs( true ); // what the chip still holds is to be adopted
   }
   std::vector<Entry> readAll() const override {
      std::vector<Entry> entries;
      for( const auto &[index, pair] : chip_.slots() ) {
         entries.push_back( { pair, index } );
      }
      return entries;
   }

 private:
   void add( std::span<Write> writes ) override {
      for( Write &write : writes ) {
         if( !chip_.slotIs( write.index, write.pair ) ) {
            write.refusal = "the chip does not take it";
         }
      }
   }
   void remove( std::span<Write> writes ) override {
      for( Write &write : writes ) {
         if( !chip_.slotDel( write.index, write.pair ) ) {
            write.refusal = "the chip keeps it";
         }
      }
   }

   Chip chip_;
};

#endif
