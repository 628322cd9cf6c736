// A helper module for hardware that says no. It takes nothing while the file "full" of its settings
// is there, and gives nothing up while the file "keeps" is; it cannot be read while "broken" is.
// What it tells is lost while "lossy" is, so that it is read again whenever it is worked. It has no
// more slots than "most" says. What it holds outlives the helper, and is kept by the name in
// "device".
#include "OrloVrrpHelper/HelperModule.h"
#include "OrloVrrpHelper/RetryingHelper.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <stdexcept>

namespace {

using Entry = OrloHelper::HardwareView::Entry;

std::vector<Entry> &device( const std::string &name ) {
   static std::map<std::string, std::vector<Entry>> devices;
   return devices[name];
}

class StubbornHelper : public OrloHelper::RetryingHelper {
 public:
   explicit StubbornHelper( const OrloHelper::HelperSettings &settings )
         : RetryingHelper( "stubborn", settings ), settings_( settings.settings ),
           held_( device( settings_.at( "device" ) ) ) {
      const auto most = settings_.find( "most" );
      if( most != settings_.end() && settings.indexes > std::stoul( most->second ) ) {
         throw std::runtime_error( "the device has no more than " + most->second + " slots" );
      }
      syncCurrentStateOnInitIs( true );
   }
   std::vector<Entry> readAll() const override {
      if( is( "broken" ) ) {
         throw std::runtime_error( "the device does not answer" );
      }
      return held_;
   }

 private:
   void hear() override {
      if( is( "lossy" ) ) {
         repair();
      }
   }
   void remove( std::span<Write> writes ) override {
      for( Write &write : writes ) {
         if( is( "keeps" ) ) {
            write.refusal = "the device keeps it";
         } else {
            std::erase( held_, entryOf( write ) );
         }
      }
   }
   void add( std::span<Write> writes ) override {
      for( Write &write : writes ) {
         if( is( "full" ) ) {
            write.refusal = "the device is full";
         } else if( std::find( held_.begin(), held_.end(), entryOf( write ) ) == held_.end() ) {
            held_.push_back( entryOf( write ) );
         }
      }
   }
   static Entry entryOf( const Write &write ) {
      return { write.pair, write.index == kNoIndex ? std::nullopt : std::optional( write.index ) };
   }
   bool is( const char *what ) const {
      const auto path = settings_.find( what );
      return path != settings_.end() && std::filesystem::exists( path->second );
   }

   const std::map<std::string, std::string> settings_;
   std::vector<Entry> &held_;
};

} // namespace

OrloHelper::VrrpSmHelper *orloHelperNew( const OrloHelper::HelperSettings &settings ) {
   return Quor::make<StubbornHelper>( settings ).release();
}
