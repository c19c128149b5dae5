#include "AlarmTable.h"

#include <stdexcept>

namespace {

constexpr int kOpen = 0;
constexpr int kClosed = 1;

void check(unsigned long code, const char* step) {
  if (code != 0) throw std::runtime_error(std::string(step) + ": " + vorn::describeError(code));
}

long milliseconds(AlarmTable::Clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

/// Runs a query and hands its rows to `take`, one at a time.
template <typename Take>
void forEachRow(CVORN& db, const CVORNBase& query, const Take& take) {
  CVORNReader reader;
  check(db.execReadSQL(query, reader), "query");
  while (reader.hasNextElement()) take(reader);
  check(vorn::lastResult().errorCode(),
        "fetch");  // a read that broke off ends as a result without further rows does
}

long number(CVORN& db, const CVORNBase& query) {
  long value = 0;
  forEachRow(db, query, [&value](CVORNReader& row) { row >> value; });
  return value;
}

}  // namespace

AlarmTable::AlarmTable() {
  for (const char* sql :
       {"create table if not exists alarm (id bigint primary key, level int, source varchar(40), "
        "text varchar(200), raised bigint, state int)",
        "create index if not exists alarm_raised on alarm (raised)"}) {
    CVORNsqlstr statement;
    statement.assign(sql);
    check(m_db.execWriteSQL(statement), "create");
  }
  CVORNSelector last;
  CVORNTable alarm = last.table("alarm");
  last << vornMax(alarm["id"]);
  m_nextId = number(m_db, last) + 1;
}

void AlarmTable::add(const std::vector<Alarm>& alarms) {
  const long now = milliseconds(Clock::now());
  BatchInserter batch;
  batch.table("alarm");
  for (const Alarm& alarm : alarms) {
    batch["id"] << m_nextId.fetch_add(1);
    batch["level"] << alarm.level;
    batch["source"] << alarm.source;
    batch["text"] << alarm.text;
    batch["raised"] << now;
    batch["state"] << kOpen;
  }
  // SQLite may be busy with another writer, and a server may end one of two transactions that wait for each
  // other.
  check(vorn::retryTransaction(m_db, [&batch](CVORN& db) { return db.ExecBatchInserter(batch); }), "add");
}

long AlarmTable::retire(std::chrono::milliseconds age) {
  const CVORNTable alarm("alarm");
  CVORNSelector closed;
  closed.table("alarm");
  closed << vornCount();
  closed.where(alarm["state"] == kClosed);

  CVORNDeleter deleter;
  deleter.table("alarm");
  deleter.where(alarm["state"] == kClosed);

  CVORNUpdater updater;
  updater.table("alarm");
  updater["state"].assign(kClosed);
  // The comparison with a bound takes an int, so the condition is written out. The number is the program's
  // own.
  updater.where(CVORNCriterion("(alarm.raised <= " + std::to_string(milliseconds(Clock::now() - age)) + ")"));

  long deleted = 0;
  const auto work = [&](CVORN& db) {
    deleted = number(db, closed);
    const unsigned long code = db.execWriteSQL(deleter);
    return code != 0 ? code : db.execWriteSQL(updater);
  };
  check(vorn::retryTransaction(m_db, work), "retire");
  return deleted;
}

long AlarmTable::size() {
  CVORNSelector all;
  all.table("alarm");
  all << vornCount();
  return number(m_db, all);
}

std::map<int, long> AlarmTable::openByLevel() {
  // The selector has no "group by", so this one is a raw statement.
  CVORNsqlstr query;
  query.assign("select level, count(*) from alarm where state = 0 group by level order by level");
  std::map<int, long> counts;
  forEachRow(m_db, query, [&counts](CVORNReader& row) {
    int level = 0;
    long count = 0;
    row >> level >> count;
    counts[level] = count;
  });
  return counts;
}

std::vector<std::string> AlarmTable::latest(int level, Clock::time_point since, unsigned count) {
  CVORNSelector selector;
  CVORNTable alarm = selector.table("alarm");
  selector.select("source");
  selector.select("text");
  selector.where((alarm["level"] >= level) &&
                 CVORNCriterion("(alarm.raised >= " + std::to_string(milliseconds(since)) + ")"));
  selector.orderBy("raised", false);
  selector.orderBy("id", false);
  selector.limit(count, 0);
  std::vector<std::string> texts;
  forEachRow(m_db, selector, [&texts](CVORNReader& row) {
    std::string source;
    std::string text;
    row >> source >> text;
    texts.push_back(source + ": " + text);
  });
  return texts;
}
