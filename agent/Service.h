// The agent as a service of systemd: sd_notify(3), its watchdog, and the fields of its journal.
#ifndef ORLOAGENT_SERVICE_H
#define ORLOAGENT_SERVICE_H

#include "agent/Report.h"

#include <string>

namespace OrloAgent {

/// Tells the service manager how the agent is; without one, nothing. The watchdog is the event
/// loop's own (EventLoop::keepWatchdog()).
namespace Service {

/// READY=1, with a line that the manager shows.
void ready( const std::string &status );
/// RELOADING=1; ready() ends it.
void reloading();
/// STOPPING=1
void stopping();

/// What takes the report's lines: the journal with their fields (ORLO_EVENT, ORLO_VLAN, ORLO_MAC,
/// ORLO_INDEX, ORLO_PLACE, ORLO_INTERFACE, ORLO_DEVICE) when standard output is connected to it
/// (JOURNAL_STREAM, systemd.exec(5)); else nothing, and they go to standard output.
Report::Journal journal();

} // namespace Service

} // namespace OrloAgent

#endif
