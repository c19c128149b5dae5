// A file that uses what soci/soci.h offers for the same. Compiled only, see compile_time.py.
#include <soci/soci.h>

struct Log : soci::logger_impl {
  void start_query(std::string const&) override {}

 private:
  logger_impl* do_clone() const override { return new Log; }
};

long useEverything(soci::backend_factory const& factory) {
  soci::connection_pool pool(4);
  for (std::size_t i = 0; i < 4; ++i) pool.at(i).open(factory, "file");
  soci::session db(pool);
  db.set_logger(new Log);
  db << "create table alarm (id integer, level integer, name text, ratio real)";
  long id = 1, level = 3;
  std::string name = "disk";
  double ratio = 0.5;
  soci::indicator none = soci::i_null;
  db << "insert into alarm values (:i, :l, :n, :r)", soci::use(id), soci::use(level), soci::use(name),
      soci::use(ratio, none);
  db << "update alarm set level = :l, name = :n where id = :i", soci::use(level), soci::use(name),
      soci::use(id);
  db << "delete from alarm where id = :i", soci::use(id);
  db << "drop table old";
  std::vector<long> ids(10);
  std::vector<std::string> names(10, "x");
  std::vector<double> ratios(10, 0.25);
  {
    soci::transaction transaction(db);
    db << "insert into alarm (id, name, ratio) values (:i, :n, :r)", soci::use(ids), soci::use(names),
        soci::use(ratios);
    transaction.commit();
  }
  soci::statement statement = (db.prepare << "select id, name, ratio from alarm where level >= :l",
                               soci::use(level), soci::into(id), soci::into(name, none), soci::into(ratio));
  statement.execute();
  long sum = 0;
  while (statement.fetch())
    sum += id + static_cast<long>(name.size()) + static_cast<long>(ratio) + (none == soci::i_null ? 1 : 0);
  soci::rowset<soci::row> rows = (db.prepare << "select id, name from alarm");
  for (soci::row const& row : rows)
    sum += row.get<int>(0) + static_cast<long>(row.get<std::string>(1).size());
  soci::blob blob(db);
  db << "select data from alarm", soci::into(blob);
  soci::procedure procedure = (db.prepare << "clean(:l)", soci::use(level));
  procedure.execute(true);
  try {
    db.once << "select nothing";
  } catch (soci::soci_error const& failure) {
    sum += static_cast<long>(failure.get_error_message().size());
  }
  return sum + static_cast<long>(blob.get_len());
}
