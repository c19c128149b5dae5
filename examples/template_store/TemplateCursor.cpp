#include "template_store/TemplateCursor.h"

#include <utility>

namespace vorn {

namespace {

// Values come as the engine has them: what is no number and not NULL is a text, binary data too. Setting a
// value again keeps the storage of its text, so a row that is filled again and again stops allocating.
void setValue(RowValue& target, const scripted::Value& value) {
  if (const auto* const integer = std::get_if<std::int64_t>(&value)) {
    target.setInteger(*integer);
  } else if (const auto* const real = std::get_if<double>(&value)) {
    target.setReal(*real);
  } else if (const auto* const text = std::get_if<std::string>(&value)) {
    target.setText(text->data(), text->size());
  } else {
    target.setNull();
  }
}

}  // namespace

TemplateCursor::TemplateCursor(TemplateDatabase& database, TemplateStatement statement)
    : m_database(database), m_statement(std::move(statement)) {
  database.startStreaming(this);
}

// Here and not in the base class: letGo() is this class's own.
TemplateCursor::~TemplateCursor() {
  end({});
}

ExecResult TemplateCursor::start() {
  m_atRow = step();
  return failure();
}

// The statement goes back as soon as the last row was seen, so that the connection is free.
bool TemplateCursor::step() {
  const scripted::Code code = m_statement->step(m_row);
  if (code == scripted::Code::Row) return true;
  end(code == scripted::Code::Done ? ExecResult() : m_database.failure(code));
  return false;
}

bool TemplateCursor::take(std::vector<RowValue>& row) {
  if (!m_atRow && !step()) return false;
  m_atRow = false;
  row.resize(m_row.size());
  for (std::size_t column = 0; column < row.size(); ++column) setValue(row[column], m_row[column]);
  return true;
}

void TemplateCursor::letGo() noexcept {
  m_database.stopStreaming();
  m_database.finish(std::move(m_statement));
}

void TemplateCursor::forget() noexcept {
  m_statement = {};
}

}  // namespace vorn
