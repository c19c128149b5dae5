#include "postgres/ServerTable.h"

#include <utility>

namespace bench {

ServerTable::ServerTable(std::string url) : m_url(std::move(url)) {
  m_libpq.open(m_url);
  m_libpq.execute("set client_min_messages = warning");
  m_libpq.execute("create table sample (id bigint, text text, level integer, ratio double precision)");
}

void ServerTable::fill(std::size_t rows) {
  m_libpq.execute("truncate sample");
  m_libpq.execute("drop index if exists sample_id");
  if (rows == 0) return;
  m_libpq.copy(SampleRows::make(rows));
  m_libpq.execute("create unique index sample_id on sample (id)");
  m_libpq.execute("vacuum analyze sample");
}

StoreWorkload ServerTable::onTable(Workload workload) const {
  StoreWorkload result(std::move(workload));
  result.makeData = [this] { return Place(m_url); };
  result.staysOpen = true;
  result.dropData = [](const Place&) {};
  return result;
}

StoreWorkload ServerTable::onFresh(Workload workload, std::size_t rows) {
  StoreWorkload result = onTable(std::move(workload));
  result.makeData = [this, rows] {
    fill(rows);
    return Place(m_url);
  };
  result.verification = kSampleVerification;
  return result;
}

}  // namespace bench
