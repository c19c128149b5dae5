// A file that uses every class of the library. Compiled only, see compile_time.py.
#include <vorn/vorn.h>

struct Truncation : CVORNBase {
  CVORNTable table(const std::string& name) override { return CVORNBase::table(name); }
  std::string toString() const override { return "truncate table " + m_table; }
  void clear() override { CVORNBase::clear(); }
};

long useEverything() {
  if (!vorn::bindStore("default", "sqlite::memory:").succeeded()) return 1;
  vorn::setLogSink([](const vorn::LogRecord& record) {
    if (record.level == vorn::LogLevel::Error) throw record.code;
  });
  vorn::setSlowStatementThreshold(std::chrono::milliseconds(5));
  CVORN* db = nullptr;
  GuardDB guard(vorn::kTaskDB, db, false);
  CVORNsqlstr create;
  create.assign("create table alarm (id integer, level integer, name text, ratio real)");
  unsigned long code = db->execWriteSQL(create);
  CVORNInserter inserter;
  inserter.table("alarm");
  inserter["id"]["level"]["name"]["ratio"] << 1 << 3L << "disk" << 0.5 << CVORNNull();
  code |= db->execWriteSQL(inserter);
  CVORNUpdater updater;
  CVORNTable alarm = updater.table("alarm");
  updater["level"].assign(2);
  updater["name"].assign(std::string("fan"));
  updater.where(alarm["id"] == 1 && alarm["name"].like("d%"));
  code |= db->execWriteSQL(updater);
  CVORNDeleter deleter;
  deleter.where(deleter.table("alarm")["id"] == 2);
  code |= db->execWriteSQL(deleter);
  CVORNDroper dropper;
  dropper.table("old");
  code |= db->execWriteSQL(dropper);
  Truncation truncation;
  code |= db->execWriteSQL(truncation);
  BatchInserter batch;
  batch.table("alarm");
  for (long i = 0; i < 10; ++i) {
    batch["id"] << i;
    batch["name"] << std::string("x");
    batch["ratio"] << 0.25;
  }
  vorn::Transaction transaction(*db);
  code |= db->ExecBatchInserter(batch);
  code |= transaction.commit();
  code |= vorn::retryTransaction(*db, [&](CVORN& store) { return store.execWriteSQL(updater); });
  CVORNSelector selector;
  CVORNCriterion where = alarm["level"] >= 1;
  selector.table("alarm");
  selector.where(where);
  selector.select("id");
  selector.select("name");
  selector << vornMax(alarm["ratio"]) << vornCount();
  CVORNReader reader;
  code |= db->execReadSQL(selector, reader);
  long sum = static_cast<long>(code);
  while (reader.hasNextElement()) {
    long id = 0;
    CVORNNull noName;
    std::string name;
    double ratio = 0;
    reader >> id >> noName >> name >> ratio;
    sum += id + static_cast<long>(name.size()) + static_cast<long>(ratio) + (noName ? 1 : 0);
  }
  for (const vorn::ShapeStatistics& each : vorn::shapeStatistics()) sum += static_cast<long>(each.calls);
  for (const vorn::StatementStatistics& each : vorn::statementStatistics())
    sum += static_cast<long>(each.calls);
  sum += static_cast<long>(CSQLiteUtil::getInstance()->replaceSpecialChar(vorn::describeError(code)).size());
  sum += vorn::errorClass(code) == vorn::ErrorClass::Retry ? 1 : 0;
  return sum + static_cast<long>(vorn::lastResult().detail().value_or("").size());
}
