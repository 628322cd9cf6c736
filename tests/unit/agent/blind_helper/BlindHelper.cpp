// A helper module for hardware that cannot be read back. Its settings say whether it fails, and
// how: "throws" a reason, "throws something" that is no exception, makes "nothing", has
// no more than "most" indexes. With "shows" it can be read back, and nothing more.
#include "OrloVrrpHelper/HardwareView.h"
#include "OrloVrrpHelper/HelperModule.h"

#include <stdexcept>

namespace {

class BlindHelper : public OrloHelper::VrrpSmHelper {
 public:
   BlindHelper() : VrrpSmHelper( "blind" ) {}
   void addVirtualRouterMac( const Pelmo::EthAddr &, Quor::U32, Quor::U32 ) override {}
   void deleteVirtualRouterMac( const Pelmo::EthAddr &, Quor::U32, Quor::U32 ) override {}
};

class ShowingHelper : public BlindHelper, public OrloHelper::HardwareView {
 public:
   std::optional<VlanAndMac> slot( Quor::U32 ) const override { return {}; }
   std::optional<Refusal> refusal( Quor::U32 ) const override { return {}; }
   Quor::U64 refusals() const override { return 0; }
   Quor::U64 writes() const override { return 0; }
   std::vector<Entry> readAll() const override { return {}; }
};

} // namespace

OrloHelper::VrrpSmHelper *orloHelperNew( const OrloHelper::HelperSettings &settings ) {
   const auto is = [&]( const char *name ) { return settings.settings.count( name ) != 0; };
   if( is( "throws" ) ) {
      throw std::runtime_error( settings.settings.at( "throws" ) );
   }
   if( is( "throws something" ) ) {
      throw 42;
   }
   if( is( "most" ) && settings.indexes > std::stoul( settings.settings.at( "most" ) ) ) {
      throw std::runtime_error( "there are not that many" );
   }
   if( is( "nothing" ) ) {
      return nullptr;
   }
   if( is( "shows" ) ) {
      return Quor::make<ShowingHelper>().release();
   }
   return Quor::make<BlindHelper>().release();
}
