// What bench_containers measures.
#ifndef ORLOBENCH_CONTAINERS_CASES_H
#define ORLOBENCH_CONTAINERS_CASES_H

namespace OrloBench {

/// map/PAIRS: insert, hit, miss, iterate, erase.
void registerMaps();
/// queue/ENTRIES: enq and deq.
void registerQueues();
/// Prints which share of the keys stands in chains of which length.
void printChains();

} // namespace OrloBench

#endif
