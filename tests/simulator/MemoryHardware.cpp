#include "tests/simulator/MemoryHardware.h"

#include "agent/hardware/memory/MemoryHelper.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace Simulator {

using OrloAgent::SlotFile;

/// The agent's, slot by slot.
class MemoryHardware::Helper final : public OrloAgent::MemoryHelper {
 public:
   Helper( MemoryHardware &hardware, const OrloHelper::HelperSettings &settings )
         : MemoryHelper( hardware.path_, settings ), hardware_( hardware ) {}

   std::vector<Entry> readAll() const override {
      hardware_.needsLife();
      if( hardware_.faults.isUnreadable ) {
         hardware_.excuseEverything();
         throw std::runtime_error( "the file cannot be read" );
      }
      return MemoryHelper::readAll();
   }
   void repair() override {
      hardware_.needsLife();
      MemoryHelper::repair();
   }

 private:
   void hear() override {
      hardware_.needsLife();
      MemoryHelper::hear();
   }
   void add( std::span<Write> writes ) override {
      each( writes, true, [this]( std::span<Write> one ) { MemoryHelper::add( one ); } );
   }
   void remove( std::span<Write> writes ) override {
      each( writes, false, [this]( std::span<Write> one ) { MemoryHelper::remove( one ); } );
   }

   template <class Operation>
   void each( std::span<Write> writes, bool isAdd, Operation operation ) {
      try {
         U32 done = 0;
         for( Write &write : writes ) {
            hardware_.needsLife();
            if( hardware_.faults.throws && hardware_.random_.chance( 300 ) ) {
               throw std::runtime_error( "the file has gone" );
            }
            write.refusal = fault( done, isAdd );
            const std::optional<Pair> before = slot( write.index );
            if( write.refusal.empty() ) {
               operation( std::span( &write, 1 ) );
            }
            if( !write.refusal.empty() ) {
               hardware_.refuses( write.index );
            } else if( before != slot( write.index ) ) {
               ++done;
               hardware_.wrote( { write.index, write.pair, isAdd } );
            } else if( isAdd && !hardware_.isExcused( write.index ) ) {
               hardware_.violate( "a pair is written that is there", write.index, write.pair );
            }
         }
      } catch( const std::exception & ) { // what has no answer is taken as refused
         for( const Write &write : writes ) {
            hardware_.refuses( write.index );
         }
         throw;
      }
   }
   std::string fault( U32 done, bool isAdd ) const {
      const Faults &faults = hardware_.faults;
      if( done >= faults.atOnce ) {
         return "busy";
      }
      return ( isAdd ? faults.takesNothing : faults.keepsEverything ) ? "out of order" : "";
   }

   MemoryHardware &hardware_;
};

MemoryHardware::MemoryHardware( Random &random, Trace &trace ) : Hardware( random, trace ) {
   trace.hides( folder_.path( "" ) );
}

OrloHelper::VrrpSmHelper *MemoryHardware::helper( const OrloHelper::HelperSettings &settings ) {
   if( faults.cannotBeOpened || isDead() ) {
      throw std::runtime_error( "the file cannot be opened" );
   }
   return Quor::make<Helper>( *this, settings ).release();
}

Hardware::Slots MemoryHardware::slots() const {
   Slots held;
   try {
      U32 index = 0;
      for( const std::optional<Pair> &pair : SlotFile::read( path_ ) ) {
         if( pair ) {
            held[index] = { .pair = *pair };
         }
         ++index;
      }
   } catch( const OrloAgent::HardwareError & ) { // it has been cut short: nothing can be relied on
      held.clear();
   }
   return held;
}

Hardware::Loss MemoryHardware::loses( U32 index, bool ) {
   constexpr U64 kUsed = U64{ 0xA } << 60;
   constexpr U64 kMac = 0x00'00'5e'00'01'fe;
   constexpr U32 kFirstSlot = 64; // bytes before it, and each has 8
   static const std::array<U64, 4> contents{ 0, kUsed | kMac, kUsed | U64{ 99 } << 48 | kMac,
                                             kUsed | U64{ 4095 } << 48 | kMac };
   const U64 word = random_.pick( contents );
   trace_.line( "memory: slot " + std::to_string( index ) + " becomes " + std::to_string( word ) );
   std::fstream file( path_, std::ios::in | std::ios::out | std::ios::binary );
   file.seekp( kFirstSlot + 8 * std::streamoff{ index } );
   file.write( reinterpret_cast<const char *>( &word ), sizeof( word ) );
   return Loss::untold;
}

Hardware::Loss MemoryHardware::isReplaced() {
   const bool isCut = random_.chance( 500 );
   trace_.line( isCut ? "memory: is cut short" : "memory: is removed" );
   if( !std::filesystem::exists( path_ ) ) {
      return Loss::none;
   }
   if( isCut ) {
      std::filesystem::resize_file( path_,
                                    random_.below( std::filesystem::file_size( path_ ) + 1 ) );
   } else {
      std::filesystem::remove( path_ );
   }
   return Loss::untold;
}

} // namespace Simulator
