#pragma once

#include "Harness.h"

namespace bench {

// Each measures one file's groups of workloads, and needs nothing of the others.
void measureReads(Harness& harness);
void measureCalls(Harness& harness);
void measureFields(Harness& harness);
void measureInserts(Harness& harness);
void measureSessions(Harness& harness);
void measureThreads(Harness& harness);
void measureSweeps(Harness& harness);

/// Measures the memory that a batch and a read need beside their data, each in a process of its own.
void measureMemory(Harness& harness);

/// The work of such a process: runs one case and prints the kibibytes it needed at its peak.
int probeMemory(const std::string& what, std::size_t rows, const std::string& directory);

}  // namespace bench
