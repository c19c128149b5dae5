#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "exec/adapters/store/BatchColumns.h"

/// Reads one text, whatever it is, and ends the program where something promised of it does not hold. Each target
/// defines this; the fuzzing engine calls it, or corpus_main.cpp.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

inline void require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", promise);
  std::abort();
}

/// @return the parts of an input between bytes that hardly any text has
inline std::vector<std::string> partsOf(const std::uint8_t* bytes, std::size_t size) {
  std::vector<std::string> parts(1);
  for (const std::uint8_t* at = bytes; at != bytes + size; ++at) {
    if (*at == 0x1e) {
      parts.emplace_back();
    } else {
      parts.back() += static_cast<char>(*at);
    }
  }
  return parts;
}

inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

/// Columns of a batch, which refer to the vectors that were added.
class Columns {
 public:
  template <typename Element>
  void add(const char* name, std::vector<Element>& values) {
    vorn::TypedRef& column = m_set[name];
    column.object = &values;
    vorn::TypeRegistry::registerVectorType<std::vector<Element>>(column.type, vorn::type_code::kVector, "",
                                                                 0);
  }
  vorn::BatchColumns read() {
    vorn::BatchColumns columns;
    vorn::TypedRef all{{vorn::type_code::kParameterSet, 0, nullptr}, &m_set};
    require(vorn::BatchColumns::read(all, columns).succeeded(),
            "columns of one length are columns of a batch");
    return columns;
  }

 private:
  vorn::ParamRefMap m_set;
};
