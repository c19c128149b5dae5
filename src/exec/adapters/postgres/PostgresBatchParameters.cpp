#include "exec/adapters/postgres/PostgresBatchParameters.h"

namespace vorn {

PostgresBatchParameters::PostgresBatchParameters(const BatchColumns& columns, const std::vector<Oid>& types,
                                                 std::size_t rows)
    : m_columns(columns),
      m_forms(columns.size(), PostgresForm::None),
      m_numbers(new Number[rows * columns.size()]) {
  for (std::size_t index = 0; index < columns.size() && index < types.size(); ++index) {
    const PostgresForm form = postgresForm(columns[index], types[index]);
    if (form != PostgresForm::Text && hasPostgresForm(columns[index], form, columns.rows()))
      m_forms[index] = form;
  }
}

void PostgresBatchParameters::set(std::size_t first, std::size_t last) {
  const std::size_t count = (last - first) * m_columns.size();
  m_values.resize(count);
  m_lengths.resize(count);
  m_formats.resize(count);
  std::size_t at = 0;
  for (std::size_t row = first; row < last; ++row) {
    for (std::size_t index = 0; index < m_columns.size(); ++index)
      setOne(at++, m_columns[index], m_forms[index], row);
  }
}

void PostgresBatchParameters::setOne(std::size_t at, const BatchColumn& column, PostgresForm form,
                                     std::size_t row) {
  m_formats[at] = form == PostgresForm::None ? 0 : 1;
  if (column.isText()) {
    m_values[at] = column.text(row).c_str();
    return;
  }
  char* const number = m_numbers[at].bytes;
  m_values[at] = number;
  if (form == PostgresForm::None) {
    *writePostgresNumber(number, column, row) = '\0';
  } else {
    m_lengths[at] = static_cast<int>(writePostgresBinary(number, column, form, row) - number);
  }
}

}  // namespace vorn
