// Every change of an object, as it happens, to whoever follows.
#ifndef ORLOAGENT_CONTROL_WATCHING_H
#define ORLOAGENT_CONTROL_WATCHING_H

#include "agent/Clock.h"
#include "agent/control/ControlHandler.h"
#include "quor/GenericNotifiee.h"

#include <map>

namespace OrloAgent {

/// Watches some objects by name and emits for every change {"at", "path", "attribute", "key"} with
/// "value", or "gone": true. The objects may be let go of and replaced meanwhile. One thread.
class Watching : public Following {
 public:
   struct Filter {
      std::string attribute; ///< empty: all of them
      std::string key;       ///< its text; empty: all of them
   };
   using Objects = std::map<std::string, Quor::Ptr<Quor::GenericIf>>; // by path

   Watching( Clock clock, Filter filter, ControlHandler::Emit emit );
   ~Watching() override;

   /// Watches these, and nothing else any more. An object that tells nobody is passed over.
   void objectsAre( const Objects &objects );
   std::size_t watched() const noexcept { return watchers_.size(); }

 private:
   class Watcher;

   void changed( const std::string &path, const Quor::Ptr<Quor::GenericIf> &object,
                 const Quor::Attribute &attribute, const Quor::Ptr<Quor::GenericIf> &key ) const;

   const Clock clock_;
   const Filter filter_;
   const ControlHandler::Emit emit_;
   std::map<std::string, std::unique_ptr<Watcher>> watchers_; // by path
};

} // namespace OrloAgent

#endif
