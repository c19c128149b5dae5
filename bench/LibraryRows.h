#pragma once

#include "SampleRows.h"
#include "vorn/reader.h"

namespace bench {

/// Reads all rows (id, text, level, ratio) through the library.
inline void addRows(CVORNReader& reader, Checksum& checksum) {
  long id = 0;
  std::string text;
  int level = 0;
  double ratio = 0;
  while (reader.hasNextElement()) {
    reader >> id >> text >> level >> ratio;
    checksum.add(id, text, level, ratio);
  }
}

}  // namespace bench
