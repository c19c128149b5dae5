// Reads a Debian package database into the embedded store and asks it questions.
//
//   package_inventory [FILE]      FILE is /var/lib/dpkg/status unless given

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "StatusFile.h"
#include "vorn/vorn.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void check(unsigned long code, const char* step) {
  if (code == 0) return;
  throw std::runtime_error(std::string(step) + ": " + vorn::describeError(code) + ": " +
                           vorn::lastResult().detail().value_or("no detail"));
}

void runRaw(CVORN* db, const std::string& sql) {
  CVORNsqlstr statement;
  statement.assign(sql);
  check(db->execWriteSQL(statement), "create");
}

/// Runs a query and hands its rows to `take`, one at a time.
template <typename Take>
long forEachRow(CVORN* db, const CVORNBase& query, const Take& take) {
  CVORNReader reader;
  check(db->execReadSQL(query, reader), "query");
  long rows = 0;
  for (; reader.hasNextElement(); ++rows) take(reader);
  if (!vorn::lastResult().succeeded()) throw std::runtime_error("query broke off");
  return rows;
}

/// One line that is written over again on a terminal, and nothing in a pipe.
class Progress {
 public:
  void show(const char* step, std::size_t done, std::size_t all) const {
    if (m_terminal) std::fprintf(stderr, "\r\033[K%s %zu of %zu", step, done, all);
  }
  ~Progress() {
    if (m_terminal) std::fprintf(stderr, "\r\033[K");
  }

 private:
  const bool m_terminal = isatty(STDERR_FILENO) != 0;
};

/// A directory for the database that is gone with the object.
class Workspace {
 public:
  Workspace() {
    std::string pattern = (std::filesystem::temp_directory_path() / "package-inventory-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a temporary directory");
    m_path = pattern;
  }
  ~Workspace() {
    vorn::unbindStores();
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;
  const std::string& path() const { return m_path; }

 private:
  std::string m_path;
};

class Inventory {
 public:
  Inventory() {
    if (!vorn::bindStore("default", "sqlite:" + m_workspace.path() + "/inventory.db").succeeded()) {
      throw std::runtime_error("cannot bind the store");
    }
    runRaw(m_db, "create table section (id integer primary key, name text unique)");
    runRaw(m_db,
           "create table package (name text, version text, section integer references section(id), size "
           "integer, "
           "installed integer, maintainer text)");
  }

  void load(const std::vector<Package>& packages) {
    const Clock::time_point start = Clock::now();
    check(m_db->beginTransaction(), "begin");
    loadSections(packages);
    loadPackages(packages, true);
    loadPackages(packages, false);
    check(m_db->commitTransaction(), "commit");
    m_writeSeconds = secondsSince(start);
  }

  void report() {
    const long packages = reportTotals();
    reportLargest();
    reportSections();
    reportWithoutMaintainer();
    std::printf("\n%ld rows written in %.0f rows a second, %ld read in %.0f rows a second\n", packages,
                static_cast<double>(packages) / m_writeSeconds, packages, readEverything());
  }

  /// Update, delete and drop: what is left when the packages that are not installed are forgotten.
  void prune() {
    CVORNTable package("package");
    CVORNUpdater unknownSize;
    unknownSize.table("package");
    unknownSize["size"].assign(CVORNNull());
    unknownSize.where(package["size"] == 0);
    check(m_db->execWriteSQL(unknownSize), "update");

    CVORNDeleter removed;
    removed.table("package");
    removed.where(package["installed"] == 0);
    check(m_db->execWriteSQL(removed), "delete");

    CVORNSelector left;
    left.table("package");
    left << vornCount() << vornCount(package["size"]);
    forEachRow(m_db, left, [](CVORNReader& row) {
      long count = 0;
      long sized = 0;
      row >> count >> sized;
      std::printf("installed: %ld, of which %ld have a size\n", count, sized);
    });
    for (const char* name : {"package", "section"}) {
      CVORNDroper drop;
      drop.table(name);
      check(m_db->execWriteSQL(drop), "drop");
    }
  }

 private:
  void loadSections(const std::vector<Package>& packages) {
    for (const Package& package : packages) m_sections.emplace(package.section, 0);
    long id = 0;
    for (auto& [name, number] : m_sections) {
      number = ++id;
      CVORNInserter inserter;
      inserter.table("section");
      inserter["id"]["name"] << number << name;
      check(m_db->execWriteSQL(inserter), "insert");
    }
  }

  // A batch has no NULL, so the packages without a maintainer make a batch without that column.
  void loadPackages(const std::vector<Package>& packages, bool withMaintainer) {
    const Progress progress;
    long rows = 0;
    BatchInserter batch;
    batch.table("package");
    for (std::size_t at = 0; at < packages.size(); ++at) {
      const Package& package = packages[at];
      if (package.maintainer.has_value() != withMaintainer) continue;
      batch["name"] << package.name;
      batch["version"] << package.version;
      batch["section"] << m_sections[package.section];
      batch["size"] << package.size;
      batch["installed"] << package.installed;
      if (withMaintainer) batch["maintainer"] << *package.maintainer;
      ++rows;
      if (at % 1000 == 0) progress.show("packages", at, packages.size());
    }
    if (rows > 0) check(m_db->ExecBatchInserter(batch), "batch");
  }

  long reportTotals() {
    CVORNTable package("package");
    CVORNSelector totals;
    totals.table("package");
    totals << vornCount() << vornMax(package["size"]) << vornAvg(package["size"]);
    long count = 0;
    forEachRow(m_db, totals, [&count](CVORNReader& row) {
      long largest = 0;
      double average = 0;
      row >> count >> largest >> average;
      std::printf("%ld packages, %.0f KiB on average, the largest %ld KiB\n", count, average, largest);
    });
    return count;
  }

  void reportLargest() {
    CVORNSelector largest;
    CVORNTable package = largest.table("package");
    CVORNTable section = largest.table("section");
    largest.select(package.column("name"));
    largest.select(package.column("size"));
    largest.select(section.column("name"));
    largest.where(package["section"] == section["id"]);
    largest.orderBy(package.column("size"), false);
    largest.orderBy(package.column("name"), true);
    largest.limit(10, 0);
    std::printf("\nten largest:\n");
    forEachRow(m_db, largest, [](CVORNReader& row) {
      std::string name;
      long size = 0;
      std::string sectionName;
      row >> name >> size >> sectionName;
      std::printf("%12ld KiB  %s (%s)\n", size, name.c_str(), sectionName.c_str());
    });
  }

  void reportSections() {
    CVORNSelector used;
    used.table("package");
    used.distinct();
    used.select("section");
    const long count = forEachRow(m_db, used, [](CVORNReader&) {});
    std::printf("\nby section (%ld):\n", count);
    for (const auto& [name, id] : m_sections) {
      CVORNTable package("package");
      CVORNSelector sizes;
      sizes.table("package");
      sizes << vornCount() << vornAvg(package["size"]);
      sizes.where(package["section"] == id);
      forEachRow(m_db, sizes, [&name = name](CVORNReader& row) {
        long packages = 0;
        double average = 0;
        row >> packages >> average;
        std::printf("%12.0f KiB  %5ld  %s\n", average * static_cast<double>(packages), packages,
                    name.c_str());
      });
    }
  }

  void reportWithoutMaintainer() {
    CVORNSelector named;
    CVORNTable package = named.table("package");
    named.select("name");
    named.where(package["maintainer"] >= std::string());
    CVORNSelector orphans;
    orphans.table("package");
    orphans.select("name");
    orphans.compound(named, COMPOUND_EXCEPT);  // NULL is not above any text, so these are the NULL ones
    const long except = forEachRow(m_db, orphans, [](CVORNReader&) {});

    CVORNSelector everyone;
    everyone.table("package");
    everyone.select("maintainer");
    long nulls = 0;
    forEachRow(m_db, everyone, [&nulls](CVORNReader& row) {
      CVORNNull missing;
      std::string maintainer;
      row >> missing >> maintainer;
      nulls += missing ? 1 : 0;
    });
    std::printf("\nwithout a maintainer: %ld packages, %ld names\n", nulls, except);
  }

  double readEverything() {
    CVORNSelector everything;
    everything.table("package");
    const Clock::time_point start = Clock::now();
    const long rows = forEachRow(m_db, everything, [](CVORNReader& row) {
      std::string name;
      std::string version;
      long section = 0;
      long size = 0;
      int installed = 0;
      std::string maintainer;
      row >> name >> version >> section >> size >> installed >> maintainer;
    });
    return static_cast<double>(rows) / secondsSince(start);
  }

  Workspace m_workspace;
  MIRAsqlDB m_database{false};
  CVORN* m_db = &m_database;
  std::map<std::string, long> m_sections;
  double m_writeSeconds = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2) {
    std::fprintf(stderr, "usage: package_inventory [FILE]\n");
    return 1;
  }
  try {
    const std::vector<Package> packages = readStatusFile(argc > 1 ? argv[1] : "/var/lib/dpkg/status");
    Inventory inventory;
    inventory.load(packages);
    inventory.report();
    inventory.prune();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "package_inventory: %s\n", error.what());
    return 1;
  }
  return 0;
}
