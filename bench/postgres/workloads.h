#pragma once

#include "Harness.h"
#include "postgres/ServerTable.h"

namespace bench {

// Each measures one file's groups of workloads, and needs nothing of the others.
void measureBatches(Harness& harness, ServerTable& table);
void measureReads(Harness& harness, ServerTable& table);
void measureCalls(Harness& harness, ServerTable& table);

}  // namespace bench
