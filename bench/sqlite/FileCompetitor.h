#pragma once

#include <functional>
#include <string>
#include <utility>

#include "Harness.h"
#include "sqlite/Scratch.h"

namespace bench {

enum class InTransaction { No, Yes };

/// A competitor that works on a fresh data file through one of the stores.
template <typename Store>
class FileCompetitor : public Competitor {
 public:
  /// @return the checksum of what was read
  using Body = std::function<std::uint64_t(Store&)>;

  /// @param transaction  whether one is open around the body; its begin and commit are not timed
  /// @param verification  a query whose only field is the checksum of what was written; empty for reads
  FileCompetitor(std::string name, DataFiles& files, InTransaction transaction, std::string verification,
                 Body body)
      : Competitor(std::move(name)),
        m_files(files),
        m_transaction(transaction),
        m_verification(std::move(verification)),
        m_body(std::move(body)) {}

  void prepare() override {
    m_path = m_files.make();
    m_store.open(m_path);
    if (m_transaction == InTransaction::Yes) m_store.begin();
  }

  void run() override { m_checksum = m_body(m_store); }

  Outcome finish() override {
    if (m_transaction == InTransaction::Yes) m_store.commit();
    if (!m_verification.empty()) m_checksum = std::hash<std::string>{}(m_store.first(m_verification));
    m_store.close();
    DataFiles::remove(m_path);
    return {m_checksum, 0};
  }

 private:
  DataFiles& m_files;
  const InTransaction m_transaction;
  const std::string m_verification;
  const Body m_body;
  Store m_store;
  std::string m_path;
  std::uint64_t m_checksum = 0;
};

}  // namespace bench
