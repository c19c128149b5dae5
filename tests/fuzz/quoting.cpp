// Values on their way into PostgreSQL: what is written of a column is read back to the same values, from a
// copy in text form and from a literal. The channel is the target's own; it keeps what it is sent.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "exec/adapters/postgres/PostgresDialect.h"
#include "exec/adapters/postgres/PostgresTextCopy.h"
#include "exec/adapters/postgres/postgres_literal.h"
#include "exec/adapters/sql/SqlScanner.h"
#include "fuzz.h"

namespace vorn {

static std::string sent;

PostgresChannel::PostgresChannel(const PostgresKeywords&) {}
ExecResult PostgresChannel::connect(const PostgresKeywords& keywords,
                                    std::unique_ptr<PostgresChannel>& channel) {
  channel.reset(new PostgresChannel(keywords));
  return {};
}
bool PostgresChannel::putCopyData(const char* bytes, int size) {
  sent.append(bytes, static_cast<std::size_t>(size));
  return true;
}

static void checkLiteral(const BatchColumn& column, std::size_t row) {
  std::string sql, text;
  appendPostgresLiteral(sql, column, row);
  const std::size_t quote = sql[0] == 'E' ? 1 : 0;
  const SqlScanner scanner(sql, kPostgresDialect);
  std::size_t end = quote;
  while (end < sql.size() && sql[end] == '\'' && (end == quote || quote == 0)) end = scanner.opaqueEnd(end);
  require(end == sql.size(), "a literal is one");
  for (std::size_t at = quote + 1; at + 1 < sql.size(); ++at) {
    if (sql[at] == '\'' || (quote == 1 && sql[at] == '\\')) ++at;
    text += sql[at];
  }
  require(text == column.text(row), "a literal read back is its text");
}

static std::vector<std::string> fieldsSent() {
  std::vector<std::string> fields(1);
  for (std::size_t at = 0; at < sent.size(); ++at) {
    const std::size_t letter = sent[at] == '\\' ? std::string("ntr\\").find(sent[++at]) : 4;
    require(letter <= 4 && sent[at] != '\r', "an escape of a copy");
    if (letter < 4) {
      fields.back() += "\n\t\r\\"[letter];
    } else if (sent[at] == '\t' || sent[at] == '\n') {
      fields.emplace_back();
    } else {
      fields.back() += sent[at];
    }
  }
  return fields;
}

}  // namespace vorn

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  auto texts = partsOf(bytes, size);
  std::vector<double> reals(texts.size());
  for (std::size_t row = 0; row < texts.size(); ++row) {
    std::memcpy(&reals[row], texts[row].data(), std::min(texts[row].size(), sizeof(double)));
    if (row == 1 && texts[row].size() % 3 == 0)
      texts[row].insert(0, 8190, 'x');  // over the limit of one piece
  }
  Columns set;
  set.add("r", reals);
  set.add("t", texts);
  const vorn::BatchColumns columns = set.read();
  std::unique_ptr<vorn::PostgresChannel> channel;
  static_cast<void>(vorn::PostgresChannel::connect({}, channel));
  vorn::sent.clear();
  require(vorn::PostgresTextCopy(columns).send(*channel), "a copy is sent");
  const auto fields = vorn::fieldsSent();
  require(fields.size() == 2 * texts.size() + 1, "as many fields as values");
  for (std::size_t row = 0; row < texts.size(); ++row) {
    const double real = std::strtod(fields[2 * row].c_str(), nullptr);
    require(std::isnan(reals[row]) || std::memcmp(&real, &reals[row], sizeof real) == 0,
            "a number of a copy");
    require(fields[2 * row + 1] == texts[row], "a text of a copy");
    checkLiteral(columns[1], row);
  }
  return 0;
}
