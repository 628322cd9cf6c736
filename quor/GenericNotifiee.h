// Watching by name: every entity of a described type can be watched, without compiled knowledge of
// the type.
//
//    class Printer : public GenericObserver {
//       void onAttribute( const Attribute &attribute, const Ptr<GenericIf> &key ) override {
//          std::cout << attribute.name << ' ' << ( key ? key->strRep() : "" ) << '\n';
//       }
//    };
//    Printer printer;
//    const GenericNotifiee watcher( any, printer );
#ifndef QUOR_GENERICNOTIFIEE_H
#define QUOR_GENERICNOTIFIEE_H

#include "quor/GenericObserver.h"
#include "quor/Notifiee.h"

namespace Quor {

/// A watcher for as long as it lives: registered when it is made, gone from the entity's list when
/// it goes, which may be at any time, also inside the observer's own call. Keeps the entity alive
/// until then, unless the binding is uncounted: then it hears of the entity's end, and of nothing
/// after it. The observer must outlive it.
class GenericNotifiee {
 public:
   /// Reading is enough: an interface that is const can be watched as well. TypeException for null,
   /// NotWatchableException when the instance is a value or of a type that tells nobody.
   GenericNotifiee( const Ptr<GenericIf> &any, GenericObserver &observer,
                    Binding binding = Binding::counted );
   ~GenericNotifiee();
   GenericNotifiee( const GenericNotifiee & ) = delete;
   GenericNotifiee &operator=( const GenericNotifiee & ) = delete;

   bool isRegisteredNotifiee() const noexcept { return adapter_->isRegisteredNotifiee(); }
   /// Interrupts the watching, and goes on with it.
   void isRegisteredNotifieeIs( bool on ) { adapter_->isRegisteredNotifieeIs( on ); }

 private:
   const Ptr<NotifieeConst> adapter_;
};

} // namespace Quor

#endif
