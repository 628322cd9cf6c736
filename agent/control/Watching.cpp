#include "agent/control/Watching.h"

#include "agent/control/TypedText.h"

namespace OrloAgent {

using Quor::GenericIf;
using Quor::Ptr;

class Watching::Watcher final : private Quor::GenericObserver {
 public:
   Watcher( const Watching &watching, std::string path, const Ptr<GenericIf> &object )
         : watching_( watching ), path_( std::move( path ) ), object_( object ),
           notifiee_( object, *this ) {}

   bool isOf( const Ptr<GenericIf> &object ) const {
      return object_->voidPtrIs( object_->type() ) == object->voidPtrIs( object_->type() );
   }

 private:
   void onAttribute( const Quor::Attribute &attribute, const Ptr<GenericIf> &key ) override {
      watching_.changed( path_, object_, attribute, key );
   }

   const Watching &watching_;
   const std::string path_;
   const Ptr<GenericIf> object_;
   const Quor::GenericNotifiee notifiee_;
};

Watching::Watching( Clock clock, Filter filter, ControlHandler::Emit emit )
      : clock_( std::move( clock ) ), filter_( std::move( filter ) ), emit_( std::move( emit ) ) {}

Watching::~Watching() = default;

void Watching::objectsAre( const Objects &objects ) {
   std::erase_if( watchers_, [&]( const auto &watcher ) {
      const auto at = objects.find( watcher.first );
      return at == objects.end() || !watcher.second->isOf( at->second );
   } );
   for( const auto &[path, object] : objects ) {
      if( object->type()->watch && !watchers_.contains( path ) ) {
         watchers_.emplace( path, std::make_unique<Watcher>( *this, path, object ) );
      }
   }
}

void Watching::changed( const std::string &path, const Ptr<GenericIf> &object,
                        const Quor::Attribute &attribute, const Ptr<GenericIf> &key ) const {
   const std::string keyText = key ? shortText( key ) : std::string();
   if( ( !filter_.attribute.empty() && filter_.attribute != attribute.name ) ||
       ( !filter_.key.empty() && filter_.key != keyText ) ) {
      return;
   }
   nlohmann::json event{
         { "at", timeText( clock_() ) }, { "path", path }, { "attribute", attribute.name } };
   if( key ) {
      event["key"] = keyText;
      if( object->attributeOp( attribute.id, Quor::Op::isMember, key )->strRep() != "true" ) {
         event["gone"] = true;
         emit_( std::move( event ) );
         return;
      }
   }
   event["value"] = jsonOf( object->attributeOp( attribute.id, Quor::Op::get, key ) );
   emit_( std::move( event ) );
}

} // namespace OrloAgent
