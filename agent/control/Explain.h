// Why a pair is, or is not, programmed: the causal chain from the kernel's device to what is read
// back from the hardware.
#ifndef ORLOAGENT_CONTROL_EXPLAIN_H
#define ORLOAGENT_CONTROL_EXPLAIN_H

#include "agent/Agent.h"

#include <nlohmann/json.hpp>

namespace OrloAgent {

/// {"vlan", "mac", "verdict", "steps": [{"step", "ok", "text"}], "change"}, in words for people.
/// "verdict" is one word for programs:
///
///    programmed   the hardware routes it
///    waiting      there is no slot for it yet
///    refused      it has a slot, and the hardware has said why it does not hold it
///    differs      it has a slot, and the hardware does not hold it, for whatever reason
///    unpublished  there are devices, none of which stands for a master here
///    unknown      there is no such device, or no interface of ours serves the VLAN
///    leftover     the hardware holds it, and nobody wants it
///    starting     the agent does not know the kernel's state yet
nlohmann::json explain( const Agent &agent, const Pair &pair );

} // namespace OrloAgent

#endif
