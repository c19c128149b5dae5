#include "exec/adapters/store/RowBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace vorn {

namespace {

// A small result takes little; a large one is freed in steps that are small beside it.
constexpr std::size_t kFirstBlock = 4096;
constexpr std::size_t kLargestBlock = std::size_t{1} << 20;

std::size_t packedSize(const RowValue& value) {
  switch (value.kind()) {
    case RowValue::Kind::Integer:
      return sizeof(RowValue::Kind) + sizeof(std::int64_t);
    case RowValue::Kind::Real:
      return sizeof(RowValue::Kind) + sizeof(double);
    case RowValue::Kind::Text:
      return sizeof(RowValue::Kind) + sizeof(std::size_t) + value.textBytes().size();
    default:
      return sizeof(RowValue::Kind);
  }
}

template <typename Value>
void append(char*& at, const Value& value) {
  std::memcpy(at, &value, sizeof value);
  at += sizeof value;
}

template <typename Value>
Value extract(const char*& at) {
  Value value;
  std::memcpy(&value, at, sizeof value);
  at += sizeof value;
  return value;
}

void pack(char*& at, const RowValue& value) {
  append(at, value.kind());
  if (value.kind() == RowValue::Kind::Integer) {
    append(at, value.integer());
  } else if (value.kind() == RowValue::Kind::Real) {
    append(at, value.real());
  } else if (value.kind() == RowValue::Kind::Text) {
    const std::string& text = value.textBytes();
    append(at, text.size());
    std::memcpy(at, text.data(), text.size());
    at += text.size();
  }
}

void unpack(const char*& at, RowValue& value) {
  switch (extract<RowValue::Kind>(at)) {
    case RowValue::Kind::Integer:
      return value.setInteger(extract<std::int64_t>(at));
    case RowValue::Kind::Real:
      return value.setReal(extract<double>(at));
    case RowValue::Kind::Text: {
      const auto size = extract<std::size_t>(at);
      value.setText(at, size);
      at += size;
      return;
    }
    default:
      return value.setNull();
  }
}

}  // namespace

RowBuffer::Block& RowBuffer::blockFor(std::size_t rowSize) {
  if (!m_blocks.empty() && m_blocks.back().capacity - m_blocks.back().used >= rowSize) return m_blocks.back();
  const std::size_t before = m_blocks.empty() ? 0 : m_blocks.back().capacity;
  Block block;
  block.capacity = std::max(std::clamp(2 * before, kFirstBlock, kLargestBlock), rowSize);
  block.bytes.reset(new char[block.capacity]);
  m_blocks.push_back(std::move(block));
  return m_blocks.back();
}

void RowBuffer::push(const std::vector<RowValue>& row) {
  std::size_t size = 0;
  for (const RowValue& value : row) size += packedSize(value);
  Block& block = blockFor(size);
  char* at = block.bytes.get() + block.used;
  for (const RowValue& value : row) pack(at, value);
  block.used += size;
  m_columns = row.size();
  ++m_rows;
}

bool RowBuffer::pop(std::vector<RowValue>& row) {
  if (m_rows == 0) return false;
  row.resize(m_columns);
  Block& block = m_blocks[m_first];
  const char* at = block.bytes.get() + m_read;
  for (RowValue& value : row) unpack(at, value);

  m_read = static_cast<std::size_t>(at - block.bytes.get());
  --m_rows;
  // A row without columns takes no room, so such rows are all in one block.
  if (m_rows == 0) {
    m_blocks.clear();
    m_first = m_read = 0;
  } else if (m_read == block.used && m_columns != 0) {
    block = {};
    ++m_first;
    m_read = 0;
  }
  return true;
}

}  // namespace vorn
