#pragma once

#include <soci/mysql/soci-mysql.h>
#include <soci/soci.h>

#include <memory>
#include <string>

#include "Checksum.h"
#include "Place.h"

namespace bench {

/// SOCI with its mysql backend.
class SociMysqlStore {
 public:
  void open(const Place& place) {
    const int port = std::stoi(place.address.substr(place.address.rfind(':') + 1));
    m_session = std::make_unique<soci::session>(soci::mysql,
                                                "host=127.0.0.1 port=" + std::to_string(port) +
                                                    " db=mysql user=bench password=bench charset=utf8mb4");
    *m_session << "set sql_mode = concat(@@sql_mode, ',PIPES_AS_CONCAT')";
  }
  void close() { m_session.reset(); }
  void begin() { *m_session << "begin"; }
  void commit() { *m_session << "commit"; }
  std::string first(const std::string& sql) {
    std::string text;
    *m_session << sql, soci::into(text);
    return text;
  }

  /// Fills the sample table in one bulk.
  void insert(const SampleRows& rows) {
    soci::transaction transaction(*m_session);
    *m_session << "insert into sample (id,text,level,ratio) values(:id,:text,:level,:ratio)",
        soci::use(rows.ids, "id"), soci::use(rows.texts, "text"), soci::use(rows.levels, "level"),
        soci::use(rows.ratios, "ratio");
    transaction.commit();
  }

 private:
  std::unique_ptr<soci::session> m_session;
};

}  // namespace bench
