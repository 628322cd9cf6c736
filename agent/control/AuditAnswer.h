// The audit as it is answered.
#ifndef ORLOAGENT_CONTROL_AUDITANSWER_H
#define ORLOAGENT_CONTROL_AUDITANSWER_H

#include "agent/Agent.h"
#include "agent/control/ControlHandler.h"

namespace OrloAgent {

/// {"agent", "wanted", "assigned", "waiting", "held", "indexes", "repaired", "writes", "left",
/// "total", "differences": [{"what", "vlan", "mac", "assigned", "held", "why", "repaired"}]}
///
/// "what" is a word for programs: "missing", "extra", "wrong index", "twice", "forgotten",
/// "unwanted" or "idle" (Audit::Kind), "why" is in words for people; "left" counts the differences
/// that there are now. "repaired" and "writes", the entries that were written for it, are null when
/// nobody asked for a repair.
///
/// Reads the hardware, all of it, and with `isToRepair` has the helper put right what is wrong.
/// Throws ControlError when the agent is not ready, or its hardware cannot do that.
Answer auditAnswer( Agent &agent, bool isToRepair );

/// The same of an audit without an agent: "assigned" and "waiting" are null.
Answer auditAnswer( const Audit &audit, Quor::U32 indexes );

} // namespace OrloAgent

#endif
