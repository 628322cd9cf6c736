// A helper module with watchers of its own: they tell what they hear as trouble. It refuses to be
// made when its settings say "none", and throws what it is asked to add when they say "full".
#include "OrloVrrpHelper/HelperModule.h"
#include "quor/Exception.h"

namespace {

using OrloHelper::HelperSettings;
using OrloHelper::VrrpSmHelper;

template <class Base>
class Watcher : public Base {
 public:
   Watcher( const HelperSettings &settings, std::string name )
         : tell_( settings.trouble ), name_( std::move( name ) ) {}
   void onSyncCurrentStateOnInit() override { tell_( name_ ); }

 private:
   const std::function<void( const std::string & )> tell_;
   const std::string name_;
};

class WatchedHelper : public VrrpSmHelper {
 public:
   explicit WatchedHelper( const HelperSettings &settings )
         : VrrpSmHelper( "watched" ), isFull_( settings.settings.count( "full" ) != 0 ),
           reader_( Quor::make<Watcher<NotifieeConst>>( settings, "reader" ) ),
           writer_( Quor::make<Watcher<Notifiee>>( settings, "writer" ) ) {
      const auto self = Quor::ptrTo( *this );
      reader_->uncountedNotifierIs( self );
      reader_->isRegisteredNotifieeIs( true );
      writer_->uncountedNotifierIs( self );
      writer_->isRegisteredNotifieeIs( true );
   }
   void addVirtualRouterMac( const Pelmo::EthAddr &mac, Quor::U32, Quor::U32 ) override {
      if( isFull_ ) {
         throw Quor::RangeException( "no room for " + valueToStrep( mac ) );
      }
   }

 private:
   const bool isFull_;
   const Quor::Ptr<Watcher<NotifieeConst>> reader_;
   const Quor::Ptr<Watcher<Notifiee>> writer_;
};

} // namespace

VrrpSmHelper *orloHelperNew( const HelperSettings &settings ) {
   if( settings.settings.count( "none" ) != 0 ) {
      throw Quor::RangeException( "there is no such hardware" );
   }
   return Quor::make<WatchedHelper>( settings ).release();
}
