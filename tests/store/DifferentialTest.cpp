#include "store/DifferentialTest.h"

#include <array>
#include <charconv>
#include <climits>

namespace {

constexpr std::size_t kRound = 400;       // steps on the same stores
constexpr std::size_t kMostReadings = 4;  // at a time
constexpr std::size_t kLastSteps = 25;    // that a failure shows

constexpr std::size_t kClassSize = sizeof "postgresql 22" - 1;  // of a failure, without its last places

const std::string kLost = "vorn 10 TRANSACTION_LOST";
const std::string kNone = "vorn 9 NO_TRANSACTION";

bool returnsRows(const std::string& sql) {
  const std::size_t word = sql.find_first_not_of(" \n");
  return word != std::string::npos && std::string("sSvVwW").find(sql[word]) != std::string::npos;
}

bool isLocked(const std::string& end) {
  return end.find("SQLITE_BUSY") != std::string::npos || end.rfind("postgresql 55P03", 0) == 0 ||
         end.rfind("mariadb 1205", 0) == 0;
}

}  // namespace

DifferentialTest::DifferentialTest(const std::string& pieces) : m_generator(pieces) {
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

std::string DifferentialTest::textOf(const Value& value) {
  if (const auto* const text = std::get_if<std::string>(&value)) return *text;
  if (const auto* const integer = std::get_if<long>(&value)) return std::to_string(*integer);
  if (const auto* const integer = std::get_if<unsigned long>(&value)) return std::to_string(*integer);
  char digits[40];
  return {
      digits,
      std::to_chars(digits, digits + sizeof digits, std::get<double>(value), std::chars_format::fixed).ptr};
}

std::string DifferentialTest::literal(const Value& value) {
  const std::string text = textOf(value);
  if (std::holds_alternative<std::string>(value)) return "'" + replaced(text, "'", "''") + "'";
  return text + (std::holds_alternative<double>(value) ? "e0" : "");
}

void DifferentialTest::run(std::size_t usually) {
  const char* const chosen = std::getenv("VORN_TEST_STATEMENTS");
  const std::size_t count = chosen == nullptr ? usually : std::strtoul(chosen, nullptr, 10);
  const unsigned seed = testSeed(1);
  std::size_t done = 0;
  while (done < count && !HasFailure()) {
    const unsigned round = seed + static_cast<unsigned>(done / kRound);
    if (done % kRound == 0) startRound(round);
    step();
    reconnectTwins();
    expectSameStored();
    if (++done % kRound == 0 || done == count) endRound();
    if (HasFailure()) report(round, (done - 1) % kRound + 1);
  }
  std::printf("%zu steps, of which %zu failed; %zu rows\n", done, m_failures, m_rows);
}

void DifferentialTest::report(unsigned seed, std::size_t steps) const {
  const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
  std::string last;
  for (const std::string& each : m_last) last += each + "\n";
  ADD_FAILURE() << "The last steps:\n"
                << last << "To repeat them:\nVORN_TEST_SEED=" << seed << " VORN_TEST_STATEMENTS=" << steps
                << " " << std::filesystem::read_symlink("/proc/self/exe").string()
                << " --gtest_filter=" << test.test_suite_name() << "." << test.name();
}

void DifferentialTest::startRound(unsigned seed) {
  vorn::unbindStores();
  m_generator.restart(seed);
  m_last.clear();
  startStores();
  for (const Side side : {kOurs, kTwins}) {
    for (std::size_t store : {0U, 1U}) m_observers[side][store] = connect(side, store);
  }
  for (std::size_t number : {0U, 1U}) {
    Name& on = m_names[number];
    on.ours = number == 0 ? db : &m_other;
    on.name = number == 0 ? "default" : "NeUpgradeDB";
    on.store = m_isShared ? 0 : number;
    bind(on);
  }
  reconnectTwins();
  for (std::size_t store : {0U, 1U}) makeTables(store);
}

void DifferentialTest::makeTables(std::size_t store) {
  for (const std::string& sql : setup(store)) {
    if (!m_observers[kOurs][store]) {
      expectSame(m_names[store], raw(sql), Effect::None);
      continue;
    }
    for (const auto& observers : m_observers)
      ASSERT_EQ(observers[store]->run(sql, false).end, kSuccess) << sql;
  }
}

void DifferentialTest::endRound() {
  finishReadings(0);
  for (Name& on : m_names) {
    on.holder.reset();
    if (on.twin && (on.lost || on.twin->inTransaction())) expectSameCall(on, Effect::Rollback);
    if (on.ours != nullptr) on.ours->rollbackTransaction();
  }
  if (m_names[0].twin) expectSameStored();
  for (Name& on : m_names) on.twin.reset();
}

void DifferentialTest::step() {
  Name& on = m_names[chance(4) ? 1 : 0];
  if (chance(6)) finishReadings(m_generator.below(kMostReadings));
  const bool isInside = on.lost || on.twin->inTransaction();
  if (chance(!isInside ? 25 : on.lost || on.twin->hasFailed() ? 2 : 12)) {
    moveTransaction(on);
  } else if (chance(15)) {
    expectSameBatch(on);
  } else if (chance(40)) {
    rebind(on);
  } else if (chance(60)) {
    changeElsewhere();
  } else {
    takeStatement(on);
  }
  if ((!m_isShared || on.twin->inTransaction()) && !chance(3)) expectSameInside(on);
}

void DifferentialTest::takeStatement(Name& on) {
  const std::size_t choice = m_generator.below(50);
  if (choice == 0) {
    expectSame(on, raw(m_generator.text("SESSION")), Effect::None);
    on.isChanged = true;
  } else if (choice == 1) {
    finishReadings(0, &on);  // a read may hold what the twin's has let go
    expectSame(on, raw(m_generator.text("CHANGE")), Effect::None);
  } else if (choice < 4) {
    expectSame(on, raw(m_generator.text("SAVEPOINT")), Effect::None);
  } else if (choice < 10) {
    expectSame(on, *anyBuilder(), Effect::None);
  } else {
    expectSame(on, raw(m_generator.statement()), Effect::None);
  }
}

void DifferentialTest::moveTransaction(Name& on) {
  const bool isInside = on.lost || on.twin->inTransaction();
  const bool begins = isInside == chance(8);
  const Effect effect = begins ? Effect::Begin : chance(3) ? Effect::Rollback : Effect::Commit;
  if (chance(2)) return expectSameCall(on, effect);
  const std::array<const char*, 4> pieces = {"", "BEGIN", "COMMIT", "ROLLBACK"};
  expectSame(on, raw(m_generator.text(pieces[static_cast<std::size_t>(effect)])), effect);
}

void DifferentialTest::rebind(Name& on) {
  if (chance(2)) {
    if (on.holder || on.lost) return on.holder.reset();
    on.holder.emplace(on.name.c_str());
    return expectSame(on, raw("select 1"), Effect::None);  // now there is a connection to hold
  }
  if (!m_isShared) return;
  if (chance(3)) {
    note(on, "is bound anew after unbindStores()");
    vorn::unbindStores();
    for (Name& each : m_names) bind(each);
  } else {
    on.store = m_generator.below(2);
    note(on, "is bound to store " + std::to_string(on.store));
    bind(on);
  }
}

void DifferentialTest::bind(Name& on) {
  ASSERT_TRUE(vorn::bindStore(on.name, url(on.store)).succeeded());
  on.isChanged = true;
}

void DifferentialTest::changeElsewhere() {
  if (!m_isShared) return;
  const std::string sql = m_generator.text("CHANGE");
  const Outcome ours = m_observers[kOurs][0]->run(sql, false);
  if (isLocked(ours.end)) return;
  m_last.push_back("elsewhere: " + sql + " => " + ours.end);
  expectEqual("elsewhere: " + sql, m_observers[kTwins][0]->run(sql, false), ours);
}

/// A connection that is given back is as a fresh one when it comes again.
void DifferentialTest::reconnectTwins() {
  for (Name& on : m_names) {
    if (!on.isChanged || usesOf(on) > 0) continue;
    on.twin = connect(kTwins, on.store);
    on.isChanged = false;
  }
}

/// @return how much there is that keeps the connection
std::size_t DifferentialTest::usesOf(const Name& on) const {
  const auto readings = std::count_if(m_readings.begin(), m_readings.end(),
                                      [&](const Reading& reading) { return reading.on == &on; });
  return (on.holder ? 1 : 0) + (on.twin && on.twin->inTransaction() ? 1 : 0) +
         static_cast<std::size_t>(readings);
}

/// @return what the library says of a transaction that it has lost, or else what the twin does
template <typename Work>
DifferentialTest::Outcome DifferentialTest::onTwin(Name& on, Effect effect, const Work& work) {
  reconnectTwins();
  if (on.lost) {
    if (effect == Effect::None) return {{}, kLost};
    const bool undone = *std::exchange(on.lost, {});
    if (effect != Effect::Begin) return {{}, !undone ? kNone : effect == Effect::Commit ? kLost : kSuccess};
  }
  const bool wasInside = on.twin->inTransaction();
  Outcome outcome = work(wasInside);
  const bool ended = wasInside && !on.twin->inTransaction();
  if (ended && outcome.end != kSuccess && effect == Effect::None) on.lost = undoes(outcome.end);
  return outcome;
}

void DifferentialTest::expectSame(Name& on, const CVORNBase& statement, Effect effect) {
  if (HasFailure()) return;  // the rest would only follow from the first difference
  const std::string sql = statement.toString();
  const bool reads = returnsRows(sql) != chance(20);
  finishReadings(kMostReadings - 1);
  Outcome expected = onTwin(on, effect, [&](bool inside) {
    const bool isRefused = inside && effect == Effect::Begin && m_refusesNestedBegin;
    return isRefused ? Outcome{{}, "vorn 8 TRANSACTION_OPEN"} : on.twin->run(sql, reads);
  });
  auto& [name, text, twins, ours, reader] = m_readings.emplace_back();
  name = &on;
  text = sql;
  twins = std::move(expected);
  ours.end = describe(reads ? on.ours->execReadSQL(statement, reader) : on.ours->execWriteSQL(statement));
  note(on, (reads ? "reads " : "writes ") + sql + " => " + ours.end);
  if (ours.end == kSuccess && reads) takeRow(m_readings.back());
  const bool locks = sql.find("for update") != std::string::npos;
  if (ours.rows.empty() || locks || !chance(8)) finishReading(std::prev(m_readings.end()));
}

void DifferentialTest::expectSameCall(Name& on, Effect effect) {
  if (HasFailure()) return;
  const bool begins = effect == Effect::Begin;
  const Outcome twins = onTwin(on, effect, [&](bool inside) {
    if (inside == begins) return Outcome{{}, inside ? "vorn 8 TRANSACTION_OPEN" : kNone};
    return on.twin->run(begins ? m_beginning : effect == Effect::Commit ? "commit" : "rollback", false);
  });
  const unsigned long code = begins                     ? on.ours->beginTransaction()
                             : effect == Effect::Commit ? on.ours->commitTransaction()
                                                        : on.ours->rollbackTransaction();
  const std::string what = begins ? "begins" : effect == Effect::Commit ? "commits" : "rolls back";
  note(on, what + " by call => " + describe(code));
  expectEqual(on.name + " " + what, twins, {{}, describe(code)});
}

void DifferentialTest::expectSameBatch(Name& on) {
  if (HasFailure()) return;
  const std::vector<std::string> words = split(m_generator.text("BATCH"), ",");
  std::vector<std::string> rows(chance(10) ? 60 + 70 * m_generator.below(2) : 1 + m_generator.below(3));
  BatchInserter batch;
  batch.table(words[0]);
  std::string columns;
  for (const std::string& column : std::set<std::string>(words.begin() + 1, words.end())) {
    const std::size_t kind = m_generator.below(4);
    const bool counts = column == words[1] && !chance(3);
    const long first = static_cast<long>(m_generator.below(900));
    columns += (columns.empty() ? "" : ", ") + column;
    for (std::size_t row = 0; row < rows.size(); ++row) {
      const Value value = counts ? Value(first + static_cast<long>(row)) : anyValue(kind);
      std::visit([&](const auto& each) { batch[column] << each; }, value);
      rows[row] += (rows[row].empty() ? "" : ", ") + literal(value);
    }
  }
  const std::string insert = "insert into " + words[0] + " (" + columns + ") values(";
  const Outcome twins = onTwin(on, Effect::None, [&](bool) { return insertOnTwin(*on.twin, insert, rows); });
  const std::string end = describe(on.ours->ExecBatchInserter(batch));
  note(on, "inserts a batch of " + std::to_string(rows.size()) + ": " + insert + rows[0] + "), … => " + end);
  const bool isOneOf = std::any_of(twins.rows.begin(), twins.rows.end(), [&](const std::string& failure) {
    return m_checksRowsTogether && failure.compare(0, kClassSize, end, 0, kClassSize) == 0;
  });
  expectEqual(insert + rows[0] + "), …", {{}, isOneOf ? end : twins.end}, {{}, end});
}

/// @return the failures of the rows, each of which is tried if the outcome of a batch may be that of any; one ends it
DifferentialTest::Outcome DifferentialTest::insertOnTwin(Client& twin, const std::string& insert,
                                                         const std::vector<std::string>& rows) {
  const bool isInside = twin.inTransaction();
  Outcome outcome{{}, kSuccess};
  const auto succeeds = [&](const std::string& sql) {
    const std::string end = twin.run(sql, false).end;
    if (end == kSuccess) return true;
    outcome.rows.push_back(end);
    outcome.end = outcome.rows[0];
    return false;
  };
  if (!isInside && !succeeds(m_beginning)) return outcome;
  if (!succeeds("savepoint batch_rows")) return outcome;
  for (const std::string& row : rows) {
    twin.run("savepoint one_row", false);
    if (succeeds(insert + row + ")")) continue;
    if (!m_checksRowsTogether || !twin.inTransaction()) break;
    twin.run("rollback to one_row", false);
  }
  if (!outcome.rows.empty() && m_checksRowsTogether && twin.inTransaction()) {
    std::string nothing = "null";  // an insert may be refused whatever its values are
    for (std::size_t column = split(insert, ", ").size(); column > 1; --column) nothing += ", null";
    succeeds("explain " + insert + nothing + ")");
  }
  if (!outcome.rows.empty() && isOfAllRows(outcome.end)) {
    outcome = twin.run("rollback to batch_rows", false);
    std::string all;
    for (const std::string& row : rows) all += (all.empty() ? insert : ", (") + row + ")";
    succeeds(all);
  }
  if (outcome.rows.empty()) succeeds(isInside ? "release savepoint batch_rows" : "commit");
  if (outcome.rows.empty() || !twin.inTransaction()) return outcome;
  twin.run(isInside ? "rollback to batch_rows" : "rollback", false);
  if (isInside) twin.run("release savepoint batch_rows", false);
  return outcome;
}

void DifferentialTest::expectSameInside(Name& on) {
  if (HasFailure() || on.lost || on.twin->hasFailed()) return;
  reconnectTwins();
  Reading reading;
  const std::string sql = contentsSql(*on.twin);
  if (sql.empty()) return;
  Outcome twins = on.twin->run(sql, true);
  reading.ours.end = describe(on.ours->execReadSQL(raw(sql), reading.reader));
  while (reading.ours.end == kSuccess && takeRow(reading)) {
  }
  for (Outcome* const outcome : {&twins, &reading.ours})
    std::sort(outcome->rows.begin(), outcome->rows.end());
  expectEqual("what is stored as " + on.name + " sees it", twins, reading.ours);
}

void DifferentialTest::expectSameStored() {
  if (HasFailure()) return;
  for (std::size_t store : {0U, 1U}) {
    const auto& ours = m_observers[kOurs][store];
    if (!ours) continue;
    std::vector<std::string> rows[2] = {contents(*ours), contents(*m_observers[kTwins][store])}, different;
    for (auto& each : rows) std::sort(each.begin(), each.end());
    std::ranges::set_symmetric_difference(rows[kOurs], rows[kTwins], std::back_inserter(different));
    EXPECT_EQ(different, std::vector<std::string>()) << "on one side of store " << store << " alone";
  }
}

void DifferentialTest::expectEqual(const std::string& what, const Outcome& twins, const Outcome& ours) {
  m_failures += twins.end == kSuccess ? 0 : 1;
  m_rows += twins.rows.size();
  EXPECT_TRUE(isSame(twins.end, ours.end) && twins.rows == ours.rows)
      << what << "\ntwin: " << twins.end << testing::PrintToString(twins.rows) << "\nours: " << ours.end
      << testing::PrintToString(ours.rows);
}

void DifferentialTest::note(const Name& on, const std::string& what) {
  m_last.push_back(on.name + " " + what);
  if (m_last.size() > kLastSteps) m_last.pop_front();
}

bool DifferentialTest::takeRow(Reading& reading) {
  const vorn::TypedRef target{{vorn::type_code::kRow, 0, nullptr}, &m_row};
  vorn::ExecResult status;
  const bool taken = reading.reader.initializeSession("")->fetchRow(status, target, 1);
  if (taken) reading.ours.rows.push_back(shown(m_row));
  reading.ours.end = describe(status.errorCode());
  return taken;
}

void DifferentialTest::finishReadings(std::size_t left, const Name* except) {
  for (auto next = m_readings.begin(); next != m_readings.end() && m_readings.size() > left;) {
    const auto reading = next++;
    if (reading->on != except) finishReading(reading);
  }
  reconnectTwins();
}

/// Takes the rows that are left, or gives them up.
void DifferentialTest::finishReading(std::list<Reading>::iterator reading) {
  auto& [on, sql, twins, ours, reader] = *reading;
  // A read that is given up may cost its connection where the store is slow.
  const bool isGivenUp = usesOf(*on) == 1 && chance(8);
  while (!isGivenUp && !ours.rows.empty() && takeRow(*reading)) {
  }
  for (Outcome* const outcome : {&twins, &ours}) {
    if (outcome->end != kSuccess) outcome->rows.clear();
    if (isGivenUp || (!m_hasOrder && sql.find("order by") == std::string::npos))
      std::sort(outcome->rows.begin(), outcome->rows.end());
  }
  if (isGivenUp && (twins.end != kSuccess ||
                    std::includes(twins.rows.begin(), twins.rows.end(), ours.rows.begin(), ours.rows.end())))
    ours = twins;
  expectEqual(on->name + ": " + sql, twins, ours);
  m_readings.erase(reading);
}

DifferentialTest::Value DifferentialTest::anyValue(std::size_t kind) {
  constexpr std::array<long, 8> integers = {0, 1, 5, -5, 7, 32768, 2147483648, LONG_MAX};
  constexpr std::array<double, 8> reals = {0, 0.5, -1.5, 5, 0.1, 99.995, 1e15, 70000};
  const std::size_t at = m_generator.below(8);
  if (kind == 0) return integers[at];
  if (kind == 1) return static_cast<unsigned long>(integers[at]) % 4294967296;
  if (kind == 2) return reals[at];
  return replaced(replaced(m_generator.text("WORD_"), "''", "'"), "\\", "/");  // a session may escape by it
}

CVORNCriterion DifferentialTest::anyCondition(const CVORNTable& table) {
  CVORNCriterionItem column = table[m_generator.text("COL")];
  const std::size_t choice = m_generator.below(8);
  if (choice == 0) return column == table[m_generator.text("COL")];
  if (choice == 1) return column >= static_cast<int>(m_generator.below(9));
  if (choice == 2) return column.like(m_generator.text("WORD_") + "%");
  if (choice == 3) return column.in("5,7");
  if (choice == 4) return anyCondition(table) && anyCondition(table);
  if (choice == 5) return anyCondition(table) || anyCondition(table);
  return std::visit([&](const auto& value) { return choice == 6 ? column != value : column == value; },
                    anyValue(m_generator.below(4)));
}

std::unique_ptr<CVORNBase> DifferentialTest::anyBuilder() {
  const auto column = [&] { return m_generator.text("COL"); };
  const auto made = [&](auto statement, const auto& fill) -> std::unique_ptr<CVORNBase> {
    const CVORNTable table = statement->table(m_generator.text("TAB"));
    std::visit([&](const auto& value) { fill(*statement, table, value); }, anyValue(m_generator.below(4)));
    return statement;
  };
  const std::size_t kind = m_generator.below(5);
  if (kind == 0) {
    return made(std::make_unique<CVORNInserter>(), [&](auto& statement, const auto&, const auto& value) {
      statement[column()] << value;
      statement[column()] << CVORNNull();
    });
  }
  if (kind == 1) {
    return made(std::make_unique<CVORNUpdater>(), [&](auto& statement, const auto& table, const auto& value) {
      statement[column()].assign(value);
      statement.where(anyCondition(table));
    });
  }
  if (kind == 2) {
    return made(std::make_unique<CVORNDeleter>(), [&](auto& statement, const auto& table, const auto& value) {
      statement.where(table[column()] == value && anyCondition(table));
    });
  }
  return made(std::make_unique<CVORNSelector>(), [&](auto& statement, auto table, const auto&) {
    if (chance(2)) statement.select(table.column(column()));
    if (chance(4)) statement.distinct();
    statement.where(anyCondition(table));
    if (m_hasOrder && chance(2)) statement.orderBy(column(), chance(2));
    if (m_hasOrder && chance(4)) statement.limit(1 + static_cast<unsigned>(m_generator.below(4)), 1);
  });
}
