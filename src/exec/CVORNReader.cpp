#include "vorn/reader.h"

#include <memory>
#include <new>
#include <utility>

#include "exec/field_conversion.h"
#include "vorn/platform/data_session.h"

namespace {

/// The number of rows that the reader announces to the data-access layer.
constexpr int kFetchHint = 100;

}  // namespace

CVORNReader::~CVORNReader() {
  m_nullFlag = nullptr;
  CVORNReader::clear();
}

vorn::DataSession* CVORNReader::initializeSession(const std::string& sessionName) {
  if (m_session == nullptr) m_session = new (std::nothrow) vorn::DataSession(sessionName.c_str());
  return m_session;
}

bool CVORNReader::hasNextElement() {
  m_fetched = true;
  if (m_session == nullptr) return false;
  vorn::ExecResult status;
  vorn::TypedRef target;
  target.type.code = vorn::type_code::kRow;
  target.object = &m_row;
  const bool delivered = m_session->fetchRow(status, target, kFetchHint);
  if (delivered) m_fieldIndex = 0;
  return delivered;
}

bool CVORNReader::operator()() {
  return hasNextElement();
}

void CVORNReader::clear() noexcept {
  delete m_session;
  m_session = nullptr;
  m_row.clear();
  m_fieldIndex = 0;
  m_fetched = false;
}

// Kept out of the way of the fields of a row that is there.
[[gnu::noinline, gnu::cold]] bool CVORNReader::fetchFirstRow() {
  return hasNextElement();
}

/// @return the next field of the current row, or null; the first one fetches the first row
inline vorn::RowValue* CVORNReader::nextValue() {
  if (!m_fetched && !fetchFirstRow()) return nullptr;
  // Compared as addresses: the number of values would cost a division for every field.
  vorn::RowValue* const value = m_row.data() + m_fieldIndex;
  if (value >= std::to_address(m_row.end())) return nullptr;
  ++m_fieldIndex;
  return value;
}

std::string CVORNReader::getNextField() {
  std::string text;
  if (vorn::RowValue* const value = nextValue()) value->takeText(text);
  return text;
}

CVORNReader& CVORNReader::operator>>(CVORNNull& marker) {
  m_nullFlag = &marker.m_isNull;
  return *this;
}

// NULL and numbers take no call. There are values only once a row was fetched.
template <typename Target>
inline CVORNReader& CVORNReader::extract(Target& value) {
  using Kind = vorn::RowValue::Kind;
  const vorn::RowValue* const field = m_row.data() + m_fieldIndex;
  if (field >= std::to_address(m_row.end())) return extractOther(value);
  if (field->kind() == Kind::Integer) {
    if (!vorn::convertInteger(field->integer(), value)) return extractOther(value);
  } else if (field->kind() == Kind::Null) {
    if (m_nullFlag != nullptr) *m_nullFlag = true;
  } else if (field->kind() != Kind::Real || !vorn::convertReal(field->real(), value)) {
    return extractOther(value);
  }
  m_nullFlag = nullptr;
  ++m_fieldIndex;
  return *this;
}

template <typename Target>
[[gnu::noinline]] CVORNReader& CVORNReader::extractOther(Target& value) {
  // Taken first: a marker watches this one field, even one whose row cannot be fetched for an exception.
  bool* const marker = std::exchange(m_nullFlag, nullptr);
  const vorn::RowValue* const field = nextValue();
  if (field == nullptr || vorn::isEmptyField(*field)) {
    if (marker != nullptr) *marker = true;
  } else if (!vorn::convertDirectly(*field, value)) {
    vorn::convertThroughText(*field, value);
  }
  return *this;
}

CVORNReader& CVORNReader::operator>>(char& value) {
  return extract(value);
}
CVORNReader& CVORNReader::operator>>(short& value) {
  return extract(value);
}
CVORNReader& CVORNReader::operator>>(int& value) {
  return extract(value);
}
CVORNReader& CVORNReader::operator>>(unsigned int& value) {
  return extract(value);
}
CVORNReader& CVORNReader::operator>>(unsigned short& value) {
  return extract(value);
}
CVORNReader& CVORNReader::operator>>(unsigned long& value) {
  return extract(value);
}
CVORNReader& CVORNReader::operator>>(long& value) {
  return extract(value);
}
CVORNReader& CVORNReader::operator>>(float& value) {
  return extract(value);
}
CVORNReader& CVORNReader::operator>>(double& value) {
  return extract(value);
}

CVORNReader& CVORNReader::operator>>(std::string& value) {
  bool* const marker = std::exchange(m_nullFlag, nullptr);
  if (vorn::RowValue* const field = nextValue()) {
    field->takeText(value);
  } else {
    value.clear();
  }
  // The stores write a single blank for an empty text.
  if (value.size() == 1 && value.front() == ' ') value.clear();
  if (value.empty() && marker != nullptr) *marker = true;
  return *this;
}
