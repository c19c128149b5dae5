#pragma once

#include "SampleRows.h"
#include "vorn/batch_inserter.h"

namespace bench {

template <typename Value>
void fillColumn(BatchInserter& batch, const std::string& name, const std::vector<Value>& values) {
  batch[name];
  for (const Value& value : values) batch << value;
}

inline void fillByColumn(BatchInserter& batch, const SampleRows& rows) {
  fillColumn(batch, "id", rows.ids);
  fillColumn(batch, "text", rows.texts);
  fillColumn(batch, "level", rows.levels);
  fillColumn(batch, "ratio", rows.ratios);
}

/// A batch for the sample table, kept out of the measurement of its execution.
inline BatchInserter makeBatch(const SampleRows& rows) {
  BatchInserter batch;
  batch.table("sample");
  fillByColumn(batch, rows);
  return batch;
}

}  // namespace bench
