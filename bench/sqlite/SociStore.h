#pragma once

#include <soci/soci.h>

#include "sqlite/RawStore.h"

// SOCI's header for this backend declares the C interface a second time, so its one function is named here.
extern "C" const soci::backend_factory* factory_sqlite3();

namespace bench {

/// SOCI with its sqlite3 backend.
class SociStore {
 public:
  void open(const Place& place) {
    const std::string timeout = std::to_string(kBusyTimeout / 1000);
    m_session = std::make_unique<soci::session>(*factory_sqlite3(),
                                                "dbname=" + place.address + " timeout=" + timeout);
    for (const std::string& setting : settingsOf(place)) execute(setting);
  }
  void close() { m_session.reset(); }
  void begin() { execute("begin immediate"); }
  void commit() { execute("commit"); }
  void execute(const std::string& text) { *m_session << text; }
  std::string first(const std::string& sql) {
    std::string text;
    *m_session << sql, soci::into(text);
    return text;
  }

  /// Fills the sample table in one bulk.
  void insert(const SampleRows& rows) {
    soci::statement statement =
        (m_session->prepare << "insert into sample (id,text,level,ratio) values(:id,:text,:level,:ratio)",
         soci::use(rows.ids, "id"), soci::use(rows.texts, "text"), soci::use(rows.levels, "level"),
         soci::use(rows.ratios, "ratio"));
    statement.execute(true);
  }

  soci::session& session() { return *m_session; }

 private:
  std::unique_ptr<soci::session> m_session;
};

}  // namespace bench
