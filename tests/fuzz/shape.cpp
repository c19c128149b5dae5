// Statements of one store, one after the other: a shape that remembers those before reads each as a fresh one
// does, and its literals filled in make the text again. No value is shown, whatever follows the statement in
// the text.
#include <strings.h>

#include "exec/adapters/mariadb/MariaDbDialect.h"
#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/postgres/assignment_targets.h"
#include "exec/adapters/sql/StatementShape.h"
#include "exec/adapters/sqlite/SqliteDialect.h"
#include "fuzz.h"

namespace {

using vorn::StatementShape;
using Type = StatementShape::Type;

const std::string kValue = "7qQ7qQ";

std::string seen(const StatementShape& shape) {
  std::string all(shape.key());
  all += std::to_string(shape.hash()) + (shape.liftable() ? 'l' : 't') + static_cast<char>(shape.verb());
  for (const auto& literal : shape.literals()) {
    all.append(1, static_cast<char>(literal.type))
        .append(literal.bytes)
        .append(std::to_string(literal.integer));
  }
  return all;
}

// The text of a shape with `literal`, or in place of each of its own.
template <typename Write>
std::string filled(const StatementShape& shape, const Write& write) {
  std::string text;
  std::size_t literal = 0;
  for (const char c : shape.key()) {
    if (c == '\5') continue;
    if (c >= '\1' && c <= '\4') {
      write(text, literal++);
    } else {
      text += c;
    }
  }
  require(literal == shape.literals().size(), "a literal for each place of a shape");
  return text;
}

std::string quoted(std::string_view bytes) {
  std::string text = "'";
  for (const char c : bytes) text.append(c == '\'' ? 2 : 1, c);
  return text + '\'';
}

void check(const StatementShape& shape, const std::string& rest, const vorn::SqlDialect& dialect) {
  const auto& literals = shape.literals();
  const std::string text = filled(shape, [&](std::string& target, std::size_t at) {
    const auto& [type, integer, bytes] = literals[at];
    target += type == Type::Text   ? quoted(bytes)
              : type == Type::Null ? shape.sql().substr(target.size(), 4)
                                   : std::string(bytes);
    if (type == Type::Integer || type == Type::Long)
      require(std::to_string(integer) == std::to_string(std::stoll(std::string(bytes))),
              "the value of its digits");
    if (type == Type::Null) require(strncasecmp(target.data() + target.size() - 4, "null", 4) == 0, "a NULL");
  });
  require(text == shape.sql(), "a shape filled with its literals is the text");
  const std::string statement = filled(shape, [&dialect](std::string& target, std::size_t at) {
    target.append(1, dialect.parameterMark).append(dialect.numberedParameters ? std::to_string(at + 1) : "");
  });
  require(statement == shape.statement(), "a statement has its parameters where the literals were");
  vorn::assignmentTargets(statement);
  const std::string other = filled(shape, [&literals](std::string& target, std::size_t at) {
    target += literals[at].type == Type::Text ? quoted(kValue) : "7777777";
  });
  if (contains(shape.sql() + rest, "7qQ") || contains(shape.sql() + rest, "777")) return;
  StatementShape hiding;
  hiding.read(other + rest, dialect);
  const std::string masked = StatementShape::masked(hiding.key(), dialect);
  require(!contains(masked, "7qQ") && !contains(masked, "777"), "no value is shown");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto texts = partsOf(bytes, size);
  for (const vorn::SqlDialect* dialect :
       {&vorn::kSqliteDialect, &vorn::kPostgresDialect, &vorn::kMariaDbDialect}) {
    StatementShape warm;
    for (const std::string& text : texts) {
      StatementShape fresh;
      fresh.read(text, *dialect);
      warm.read(text, *dialect);
      require(seen(warm) == seen(fresh), "a text is read alike whatever was read before it");
      if (fresh.liftable()) check(fresh, texts.back(), *dialect);
    }
  }
  return 0;
}
