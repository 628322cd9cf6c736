// What bench_pipeline measures. Each function registers a group of benchmarks; their names begin
// with the group.
#ifndef ORLOBENCH_PIPELINE_CASES_H
#define ORLOBENCH_PIPELINE_CASES_H

namespace OrloBench {

/// cycle/SIZE/MACS/POOL: all MACs are published, withdrawn, and published again.
void registerCycles();
/// vlan/SIZE: VLANs leave and join. handover/SIZE: programmed pairs go while others wait.
void registerBulk();
/// waiting/ORDER/COUNT and duplicates/ORDER/COUNT: pairs leave the line.
void registerLines();
/// start/SIZE: with all of it in the hardware, and with nothing. teardown/SIZE, destruction/SIZE.
void registerStartAndEnd();
/// longest: of all single events while the system grows to 2 million pairs.
void registerLongestEvent();

} // namespace OrloBench

#endif
