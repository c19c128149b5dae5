#include "exec/adapters/store/BatchColumns.h"

#include "exec/adapters/base/Failure.h"

namespace vorn {

namespace {

bool isKnownElement(std::uint32_t code) {
  return code == element_code::kString || code == element_code::kSigned64 ||
         code == element_code::kUnsigned64 || code == element_code::kFloat || code == element_code::kDouble;
}

}  // namespace

ExecResult BatchColumns::read(const TypedRef& parameters, BatchColumns& result) {
  if (parameters.type.code != type_code::kParameterSet || parameters.object == nullptr) {
    return makeFailure(Failure::InvalidReference, "the parameters do not refer to a parameter set");
  }
  const auto& set = *static_cast<const ParamRefMap*>(parameters.object);
  result.m_columns.clear();
  result.m_columns.reserve(set.size());
  for (const auto& [name, reference] : set) {
    const ContainerRecord* record = reference.type.record;
    if (reference.type.code != type_code::kVector || record == nullptr || reference.object == nullptr ||
        !isKnownElement(record->elementCode)) {
      return makeFailure(Failure::InvalidReference, "parameter '" + name + "' does not refer to a column");
    }
    const std::size_t rows = record->count(reference.object);
    if (!result.m_columns.empty() && rows != result.m_rows) {
      return makeFailure(Failure::ParameterMismatch, "parameter '" + name + "' has " + std::to_string(rows) +
                                                         " values where others have " +
                                                         std::to_string(result.m_rows));
    }
    result.m_rows = rows;
    result.m_columns.push_back({&name, record->elementCode, record->first(reference.object)});
  }
  return {};
}

}  // namespace vorn
