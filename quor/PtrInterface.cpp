#include "quor/PtrInterface.h"

namespace Quor {

PtrInterface::~PtrInterface() {
   require( references_.isUnshared(), { "references_.isUnshared()", __LINE__, "QuorPtrInterface",
                                        "virtual Quor::PtrInterface::~PtrInterface()" } );
}

void PtrInterface::hasNotificationActiveIs( bool ) {}

std::vector<String> PtrInterface::quorAuditErrors() const {
   return auditErrors();
}

std::vector<String> PtrInterface::auditErrors() const {
   return {};
}

void PtrInterface::zeroReferencesIs() {
   delete this;
}

const Type *PtrInterface::fwkType() const {
   return nullptr;
}

} // namespace Quor
