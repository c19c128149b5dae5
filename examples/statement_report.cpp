// Runs a mixed load on a store in memory and prints the ten dearest statement shapes.
//
//   statement_report [ROUNDS]      of the load, 2000 unless given

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "vorn/vorn.h"

namespace {

constexpr int kCustomers = 500;
constexpr int kThreads = 2;

void check(unsigned long code, const char* step) {
  if (code != 0) throw std::runtime_error(std::string(step) + ": " + vorn::describeError(code));
}

void createTables(CVORN* db) {
  for (const char* sql : {"create table customer (id integer primary key, name text, balance integer)",
                          "create table purchase (id integer primary key, customer integer, price real)",
                          "create index purchase_customer on purchase(customer)"}) {
    CVORNsqlstr statement;
    statement.assign(sql);
    check(db->execWriteSQL(statement), sql);
  }
  BatchInserter customers;
  customers.table("customer");
  for (long id = 0; id < kCustomers; ++id) {
    customers["id"] << id;
    customers["name"] << "customer " + std::to_string(id);
    customers["balance"] << 1000L;
  }
  check(db->ExecBatchInserter(customers), "batch");
}

/// One customer's visit: look the customer up, store a purchase, pay for it, look at the latest purchases.
class Visit {
 public:
  Visit(CVORN* db, int number) : m_db(db), m_number(number), m_customer(number * 7919 % kCustomers) {}

  void run() {
    lookUp();
    check(m_db->beginTransaction(), "begin");
    buy();
    pay();
    check(m_db->commitTransaction(), "commit");
    lookBack();
    if (m_number % 50 == 0) report();
    if (m_number % 100 == 0) forget();
  }

 private:
  void read(const CVORNSelector& selector) {
    CVORNReader rows;
    check(m_db->execReadSQL(selector, rows), "select");
    while (rows.hasNextElement()) {
    }
  }

  void lookUp() {
    CVORNSelector selector;
    CVORNTable customer = selector.table("customer");
    selector.select("name");
    selector.select("balance");
    selector.where(customer["id"] == m_customer);
    read(selector);
  }

  void buy() {
    CVORNInserter inserter;
    inserter.table("purchase");
    inserter["id"]["customer"]["price"] << m_number << m_customer << 0.25 * static_cast<double>(m_number);
    check(m_db->execWriteSQL(inserter), "insert");
    // The same key again: some statements fail.
    if (m_number % 20 == 0 && m_db->execWriteSQL(inserter) == 0) throw std::runtime_error("a key came twice");
  }

  void pay() {
    CVORNUpdater updater;
    CVORNTable customer = updater.table("customer");
    updater["balance"].assign(1000 - m_number % 1000);
    updater.where(customer["id"] == m_customer);
    check(m_db->execWriteSQL(updater), "update");
  }

  void lookBack() {
    CVORNSelector selector;
    CVORNTable purchase = selector.table("purchase");
    selector.select("price");
    selector.where(purchase["customer"] == m_customer);
    selector.orderBy("id", false);
    selector.limit(10, 0);
    read(selector);
  }

  void report() {
    CVORNSelector selector;
    CVORNTable purchase("purchase");
    selector.table("purchase");
    selector << vornCount() << vornAvg(purchase["price"]);
    selector.where(purchase["price"] >= 10.0);
    read(selector);
  }

  void forget() {
    CVORNDeleter deleter;
    CVORNTable purchase = deleter.table("purchase");
    deleter.where(purchase["id"] <= m_number - 1000);
    check(m_db->execWriteSQL(deleter), "delete");
  }

  CVORN* const m_db;
  const int m_number;
  const int m_customer;
};

void runLoad(int rounds) {
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  std::vector<std::string> errors(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([=, &error = errors[static_cast<std::size_t>(thread)]] {
      try {
        MIRAsqlDB db(false);
        for (int number = thread; number < rounds; number += kThreads) Visit(&db, number).run();
      } catch (const std::exception& failure) {
        error = failure.what();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& error : errors) {
    if (!error.empty()) throw std::runtime_error(error);
  }
}

double milliseconds(std::uint64_t nanoseconds) {
  return static_cast<double>(nanoseconds) / 1e6;
}

double microseconds(std::uint64_t nanoseconds) {
  return static_cast<double>(nanoseconds) / 1e3;
}

void printReport() {
  std::vector<vorn::ShapeStatistics> shapes = vorn::shapeStatistics();  // the dearest come first
  if (shapes.empty()) throw std::runtime_error("nothing was counted");
  std::printf("%s\n%8s%9s%8s%10s%9s%9s%9s%11s  shape\n", shapes.front().store.c_str(), "calls", "failures",
              "rows", "total ms", "mean us", "p50 us", "p99 us", "longest us");
  if (shapes.size() > 10) shapes.resize(10);
  for (const vorn::ShapeStatistics& each : shapes) {
    std::printf("%8llu%9llu%8llu%10.1f%9.1f%9.1f%9.1f%11.1f  %s\n",
                static_cast<unsigned long long>(each.calls), static_cast<unsigned long long>(each.failures),
                static_cast<unsigned long long>(each.rows), milliseconds(each.totalNanoseconds),
                microseconds(each.totalNanoseconds) / static_cast<double>(each.calls),
                microseconds(each.p50Nanoseconds), microseconds(each.p99Nanoseconds),
                microseconds(each.longestNanoseconds), each.shape.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 2000;
  if (argc > 2 || rounds < 1) {
    std::fprintf(stderr, "usage: statement_report [ROUNDS]\n");
    return 1;
  }
  try {
    if (!vorn::bindStore("default", "sqlite::memory:").succeeded()) {
      throw std::runtime_error("cannot bind the store");
    }
    vorn::setLogSink([](const vorn::LogRecord& record) {
      if (record.level == vorn::LogLevel::Error) std::fprintf(stderr, "%s\n", record.text.c_str());
    });
    MIRAsqlDB db(false);
    createTables(&db);
    runLoad(rounds);
    printReport();
    vorn::unbindStores();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "statement_report: %s\n", error.what());
    return 1;
  }
  return 0;
}
