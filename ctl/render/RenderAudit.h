// The audit for people.
#ifndef ORLOCTL_RENDER_RENDERAUDIT_H
#define ORLOCTL_RENDER_RENDERAUDIT_H

#include "ctl/Failure.h"
#include "ctl/render/RenderShow.h"

namespace OrloCtl {

/// Whole lines; throws Failure when the result is not what it should be.
std::string renderAudit( const nlohmann::json &result, const Look &look );

/// Exit status: 0 when there is no difference now, 1 when there is one. Throws as above.
int statusOfAudit( const nlohmann::json &result );

/// What kept an audit from taking place, with a status that does not say that there are
/// differences.
Failure failureOfAudit( const Failure &failure );

} // namespace OrloCtl

#endif
