#pragma once

#include "Harness.h"
#include "SampleRows.h"
#include "sqlite/Scratch.h"
#include "vorn/batch_inserter.h"

namespace bench {

/// The table of most workloads, for SampleRows.
inline constexpr const char* kSampleTable =
    "create table sample (id integer primary key, text text, level integer, ratio real)";

/// Its rows in one checksum.
inline constexpr const char* kSampleVerification =
    "select count(*) || '/' || sum(id) || '/' || sum(length(text)) || '/' || sum(level) || '/' || sum(ratio) "
    "from sample";

// Each measures one group of workloads and needs nothing of the others.
void measureRead(Harness& harness, Scratch& scratch);
void measureWrite(Harness& harness, Scratch& scratch);
void measureBatch(Harness& harness, Scratch& scratch);
void measureFill(Harness& harness);
void measureLookup(Harness& harness, Scratch& scratch);
void measureThreads(Harness& harness, Scratch& scratch);
void measureSession(Harness& harness, Scratch& scratch);
void measureRowSweep(Harness& harness, Scratch& scratch);
void measureColumnSweep(Harness& harness, Scratch& scratch);
void measureTextSweep(Harness& harness, Scratch& scratch);

/// Measures the memory that a batch and a read need beside their data, each in a process of its own.
void measureMemory(Harness& harness);

/// The work of such a process: runs one case and prints the kibibytes it needed at its peak.
int probeMemory(const std::string& what, std::size_t rows, const std::string& directory);

/// Fills the sample table through the C interface, as its user would: one prepared statement in a loop.
void insertPrepared(RawStore& store, const SampleRows& rows);

void fillByColumn(BatchInserter& batch, const SampleRows& rows);

}  // namespace bench
