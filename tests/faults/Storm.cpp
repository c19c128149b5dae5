#include "faults/Storm.h"

#include <random>
#include <vector>

#include "store/store_fixture.h"

class Storm::Worker {
 public:
  Worker(Storm& storm, unsigned number) : m_storm(storm), m_random(storm.m_seed + number) {}

  void work() {
    while (!m_storm.m_isOver) step(), ++m_storm.m_steps;
    m_db.rollbackTransaction();
    for (int attempt = 0; attempt < 3; ++attempt) {
      if (insert() == Ledger::Told::Done && ask()) return;
    }
    report("the thread does not find its way back: " + vorn::lastResult().detail().value_or(""));
  }

 private:
  using Told = Ledger::Told;
  static constexpr long kMostRows = 100000;

  long below(long limit) { return static_cast<long>(m_random() % static_cast<unsigned long>(limit)); }

  void report(const std::string& violation) {
    if (++m_storm.m_violations <= 10) ADD_FAILURE() << violation;
  }

  Told told(unsigned long code) const {
    return code == 0 ? Told::Done : m_storm.m_isUndone(vorn::describeError(code)) ? Told::Undone : Told::Unknown;
  }

  void step() {
    switch (below(6)) {
      case 0:
        insert();
        break;
      case 1:
        insertBatch(1 + below(30));
        break;
      case 2:
        insertBatch(100 + below(below(2) == 0 ? 200 : 4000));
        break;
      case 3:
        readInPart();
        break;
      case 4:
        ask();
        break;
      default:
        runTransaction();
    }
  }

  unsigned long send(long operation, long row) {
    return m_db.execWriteSQL(
        raw("insert into t values(" + std::to_string(operation * kMostRows + row) + ", " + std::to_string(operation) + ")"));
  }

  unsigned long sendBatch(long operation, long row, long rows) {
    BatchInserter batch;
    batch.table("t");
    for (long end = row + rows; row < end; ++row) batch["n"] << operation * kMostRows + row, batch["v"] << operation;
    return m_db.ExecBatchInserter(batch);
  }

  Told insert() {
    const long operation = m_storm.m_ledger.begin();
    const Told outcome = told(send(operation, 0));
    return m_storm.m_ledger.note(operation, 1, outcome), outcome;
  }

  void insertBatch(long rows) {
    const long operation = m_storm.m_ledger.begin();
    m_storm.m_ledger.note(operation, rows, told(sendBatch(operation, 0, rows)));
  }

  /// Selects a number that nobody else asks for. @return whether it came back
  bool ask() {
    const std::string question = std::to_string(m_storm.m_ledger.begin());
    CVORNReader reader;
    if (m_db.execReadSQL(raw("select " + question), reader) != 0) return false;
    const bool hasAnswer = reader.hasNextElement();
    if (!hasAnswer && vorn::lastResult().succeeded()) return report("a question without an answer is no success"), false;
    const std::string answer = hasAnswer ? reader.getNextField() : question;
    if (answer != question) report("asked for " + question + ", was told " + answer);
    if (hasAnswer && reader.hasNextElement()) report("asked for one number, was told two");
    return hasAnswer;
  }

  void readInPart() {
    CVORNReader reader;
    if (m_db.execReadSQL(raw("select n from r order by n"), reader) != 0) return;
    read(reader, below(2) == 0 ? kReadRows + 1 : below(kReadRows));
  }

  void read(CVORNReader& reader, long rows) {
    for (long expected = 1; expected <= rows; ++expected) {
      if (!reader.hasNextElement()) {
        if (expected <= kReadRows && vorn::lastResult().succeeded()) report("a read ended early, as a success");
        return;
      }
      long n = 0;
      reader >> n;
      if (n != expected) return report("row " + std::to_string(expected) + " is " + std::to_string(n));
    }
  }

  void runTransaction() {
    const long operation = m_storm.m_ledger.begin(), more = below(300);
    CVORNReader reader;
    unsigned long code = m_db.beginTransaction();
    if (code == 0) code = send(operation, 0);
    if (code == 0 && below(2) == 0) code = m_db.execReadSQL(raw("select n from r order by n"), reader);
    if (code == 0) code = sendBatch(operation, 1, more + 1);
    if (code == 0) ask();
    const bool commits = code == 0 && below(4) != 0;
    const Told outcome = commits ? told(m_db.commitTransaction()) : Told::Undone;
    if (outcome != Told::Done) m_db.rollbackTransaction();
    m_storm.m_ledger.note(operation, more + 2, outcome);
  }

  Storm& m_storm;
  std::mt19937_64 m_random;
  MIRAsqlDB m_db{false};
};

void Storm::rage(int harms, const std::function<int()>& harm) {
  m_isOver = false;
  std::vector<std::thread> threads;
  for (unsigned number = 0; number < kThreads; ++number) {
    threads.emplace_back([this, number] { Worker(*this, number).work(); });
  }
  int done = 0;
  while (done < harms) done += harm();
  m_isOver = true;
  for (std::thread& thread : threads) thread.join();
  std::printf("harm done: %d, operations under it: %ld, acknowledged writes: %ld\n", done, m_steps.load(), m_ledger.done());
  EXPECT_EQ(m_violations, 0);
  EXPECT_GT(m_ledger.done(), kThreads);
}
