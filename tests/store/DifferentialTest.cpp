#include "store/DifferentialTest.h"

#include <chrono>

namespace {

constexpr std::size_t kRound = 2000;      // statements on the same stores
constexpr std::size_t kMostReadings = 4;  // at a time

bool returnsRows(const std::string& sql) {
  const std::size_t word = sql.find_first_not_of(" \n");
  return word != std::string::npos && std::string("sSvVwW").find(sql[word]) != std::string::npos;
}

}  // namespace

DifferentialTest::DifferentialTest(const std::string& pieces) : m_generator(pieces, m_seed) {
  vorn::setLogSink([](const vorn::LogRecord&) {});
}

std::string DifferentialTest::shown(const std::vector<vorn::RowValue>& row) {
  std::string all;
  for (const vorn::RowValue& value : row) {
    const bool isNull = value.kind() == vorn::RowValue::Kind::Null;
    all += "NIRT"[static_cast<int>(value.kind())] + (isNull ? " " : ":" + value.text() + " ");
  }
  return all;
}

void DifferentialTest::run(std::size_t usually) {
  const char* const chosen = std::getenv("VORN_TEST_STATEMENTS");
  const std::size_t count = chosen == nullptr ? usually : std::strtoul(chosen, nullptr, 10);
  const auto start = std::chrono::steady_clock::now();
  while (m_done < count && !HasFailure()) {
    if (m_done % kRound == 0) startRound();
    step();
    if (++m_done % kRound != 0 && m_done != count) continue;
    finishReadings(0);
    while (plainInTransaction() && !HasFailure()) expectSame(chance(2) ? "commit" : "rollback");
    compareContents();
    finishReadings(0);
    m_held.reset();
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  std::printf("%zu statements, of which %zu failed; %zu rows; %.0f statements a second\n", m_done, m_failures,
              m_rows, static_cast<double>(m_done) / seconds.count());
}

void DifferentialTest::step() {
  if (chance(6)) finishReadings(m_generator.below(kMostReadings));
  if (chance(100)) change();
  if (plainInTransaction() ? endsTransaction() : chance(40)) {
    expectSame(!plainInTransaction() ? "begin" : chance(3) ? "rollback" : "commit");
  } else {
    expectSame(m_generator.statement());
  }
}

void DifferentialTest::expectSame(const std::string& sql) {
  if (HasFailure()) return;  // the rest would only follow from the first difference
  const bool reads = returnsRows(sql) != chance(20);
  const bool inTransaction = plainInTransaction();
  finishReadings(kMostReadings - 1);
  auto& [text, plain, ours, reader] = m_readings.emplace_back();
  text = sql;
  plain = runPlain(sql, reads);
  ours.end = describe(reads ? db->execReadSQL(raw(sql), reader) : db->execWriteSQL(raw(sql)));
  if (plain.end != kSuccess && inTransaction && !plainInTransaction()) db->rollbackTransaction();
  if (ours.end == kSuccess && reads) takeRow(m_readings.back());
  if (ours.rows.empty() || !chance(8)) finishReading(std::prev(m_readings.end()));
}

bool DifferentialTest::takeRow(Reading& reading) {
  const vorn::TypedRef target{{vorn::type_code::kRow, 0, nullptr}, &m_row};
  vorn::ExecResult status;
  const bool taken = reading.reader.initializeSession("")->fetchRow(status, target, 1);
  if (taken) reading.ours.rows.push_back(shown(m_row));
  reading.ours.end = describe(status.errorCode());
  return taken;
}

void DifferentialTest::finishReadings(std::size_t left) {
  while (m_readings.size() > left) finishReading(m_readings.begin());
}

void DifferentialTest::finishReading(std::list<Reading>::iterator reading) {
  auto& [sql, plain, ours, reader] = *reading;
  while (!ours.rows.empty() && takeRow(*reading)) {
  }
  for (Outcome* const outcome : {&plain, &ours}) {
    if (outcome->end != kSuccess) outcome->rows.clear();
    if (!m_hasOrder && sql.find("order by") == std::string::npos)
      std::sort(outcome->rows.begin(), outcome->rows.end());
  }
  m_failures += plain.end == kSuccess ? 0 : 1;
  m_rows += plain.rows.size();
  EXPECT_TRUE(isSame(plain.end, ours.end) && plain.rows == ours.rows)
      << "statement " << m_done << " of VORN_TEST_SEED=" << m_seed << "\n"
      << sql << "\nplain: " << plain.end << testing::PrintToString(plain.rows) << "\nours:  " << ours.end
      << testing::PrintToString(ours.rows);
  m_readings.erase(reading);
}
