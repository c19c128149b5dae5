#include "faults/Storm.h"

#include <random>
#include <vector>

#include "faults/HarmTest.h"

constexpr long kFirstHot = 90000;  // the first row of an operation on the hot rows, above those of all others

class Storm::Worker {
  using Told = Ledger::Told;

 public:
  Worker(Storm& storm, unsigned number) : m_storm(storm), m_random(storm.m_seed + number) {}

  void work() {
    for (; !m_storm.m_isOver; ++m_storm.m_steps) step();
    m_db.rollbackTransaction();
    for (int attempt = 0; attempt < 3; ++attempt) {
      if (insert(1) == Told::Done && raiseHotRows() == Told::Done && ask()) return;
    }
    report("the thread does not find its way back: " + vorn::lastResult().detail().value_or(""));
  }

 private:
  long below(long limit) { return static_cast<long>(m_random() % static_cast<unsigned long>(limit)); }

  void report(const std::string& violation) {
    if (++m_storm.m_violations <= 10) ADD_FAILURE() << violation;
  }

  /// A conflict and a time limit are answers: nothing was kept. Any other failure may hide one.
  Told told(unsigned long code) {
    const vorn::ErrorClass outcome = vorn::errorClass(code);
    if (outcome == vorn::ErrorClass::Success) return Told::Done;
    if (outcome == vorn::ErrorClass::Refused) report("a call out of place: " + describe(code));
    const bool isAnswer = outcome == vorn::ErrorClass::Retry || outcome == vorn::ErrorClass::Timeout;
    return isAnswer ? Told::Undone : Told::Unknown;
  }

  void step() {
    const long choice = below(7);
    if (choice == 0) insert(1);
    if (choice == 1) insert(1 + below(30));
    if (choice == 2) insert(100 + below(below(2) == 0 ? 200 : 4000));
    if (choice == 3) readInPart();
    if (choice == 4) ask();
    if (choice == 5) runTransaction();
    if (choice == 6) raiseHotRows();
  }

  Told insert(long rows) {
    const long operation = m_storm.m_ledger.begin();
    const Told outcome = told(HarmTest::send(&m_db, operation, 0, rows));
    m_storm.m_ledger.note(operation, rows, outcome);
    return outcome;
  }

  /// Selects a number that nobody else asks for. @return whether it came back
  bool ask() {
    const std::string question = std::to_string(m_storm.m_ledger.begin());
    CVORNReader reader;
    if (m_db.execReadSQL(raw("select " + question), reader) != 0) return false;
    const bool hasAnswer = reader.hasNextElement();
    if (!hasAnswer && vorn::lastResult().succeeded()) report("a question without an answer is no success");
    const std::string answer = hasAnswer ? reader.getNextField() : question;
    if (answer != question) report("asked for " + question + ", was told " + answer);
    if (hasAnswer && reader.hasNextElement()) report("asked for one number, was told two");
    return hasAnswer;
  }

  void readInPart() {
    HarmTest::Reading reading;
    if (reading.start(&m_db) != 0) return;
    if (below(2) == 0)
      reading.take(below(HarmTest::kReadRows));
    else if (!reading.endsWell())
      report("a read ended after row " + std::to_string(reading.last));
    if (!reading.isInOrder) report("a row is not in its place before row " + std::to_string(reading.last));
  }

  void runTransaction() {
    const long operation = m_storm.m_ledger.begin(), more = below(300);
    HarmTest::Reading reading;
    unsigned long code = m_db.beginTransaction();
    if (code == 0) code = HarmTest::send(&m_db, operation, 0, 1);
    if (code == 0 && below(2) == 0) code = reading.start(&m_db);
    if (code == 0) code = HarmTest::send(&m_db, operation, 1, more + 1);
    if (code == 0) ask();
    const bool commits = code == 0 && below(4) != 0;
    if (code != 0) told(code);  // for the report
    const Told outcome = commits ? told(m_db.commitTransaction()) : Told::Undone;
    if (outcome != Told::Done) m_db.rollbackTransaction();
    m_storm.m_ledger.note(operation, more + 2, outcome);
  }

  /// Begun again also when the connection is lost, which may not do the work twice. The rows are locked in either
  /// order.
  Told raiseHotRows() {
    const long operation = m_storm.m_ledger.begin(), rows = 1 + below(30), first = 1 + below(2);
    vorn::RetryPolicy policy;
    policy.classes.push_back(vorn::ErrorClass::ConnectionLost);
    long attempts = 0;
    const auto work = [&](CVORN& store) {
      ++attempts;
      for (const long n : {first, 3 - first}) {
        const std::string raise = "update hot set v = v + 1 where n = " + std::to_string(n);
        const unsigned long code = store.execWriteSQL(raw(raise));
        if (code != 0) return code;
      }
      return HarmTest::send(&store, operation, kFirstHot, rows);
    };
    const Told outcome = told(vorn::retryTransaction(m_db, work, policy));
    m_storm.m_ledger.note(operation, rows, outcome);
    m_storm.m_repeats += std::max(attempts - 1, 0L);
    return outcome;
  }

  Storm& m_storm;
  std::mt19937_64 m_random;
  MIRAsqlDB m_db{false};
};

void Storm::rage(int harms, const std::function<int()>& harm) {
  m_isOver = false;
  m_ledger.startClock();
  std::vector<std::thread> threads;
  for (unsigned number = 0; number < kThreads; ++number) {
    threads.emplace_back([this, number] { Worker(*this, number).work(); });
  }
  int done = 0;
  try {
    while (done < harms) done += harm();
  } catch (const std::exception& failure) {
    ADD_FAILURE() << failure.what();
  }
  m_isOver = true;
  for (std::thread& thread : threads) thread.join();
  std::printf("harm done: %d, operations under it: %ld, ", done, m_steps.load());
  printProgress();
  EXPECT_EQ(m_violations, 0);
  EXPECT_GT(m_ledger.done(), kThreads);
}

void Storm::workInPeace() {
  vorn::setLogSink([](const vorn::LogRecord& record) {
    const bool isConflict = record.text.find("eadlock") != std::string::npos;
    if (record.level != vorn::LogLevel::Trace && !isConflict) ADD_FAILURE() << record.text;
  });
  rage(1, [] {
    sleep(1);
    return 1;
  });
}

void Storm::printProgress() {
  m_pauses = m_ledger.pauses();
  std::printf(
      "acknowledged writes: %ld, seconds without one: %.2f at most, %.2f in all pauses above 1, transactions "
      "run again: %ld\n",
      m_ledger.done(), m_pauses.longest, m_pauses.all, repeats());
  std::fflush(stdout);
}

void Storm::expectOn(CVORN* db) const {
  m_ledger.expectIn(rowsOf(db, Ledger::kQuery));
  const std::string hot = "(select count(distinct v) from t where n % " +
                          std::to_string(HarmTest::kMostRows) + " >= " + std::to_string(kFirstHot) + ")";
  EXPECT_EQ(rowsOf(db, "select v - " + hot + " from hot"), "0;0");
}
