#pragma once

#include <list>
#include <optional>

#include "store/StatementGenerator.h"
#include "store/store_fixture.h"

/// Random statements on the library's store, and each of them on a twin through the store's own client, which
/// is given the text as it is. The outcomes, the rows with their types, and what is stored are compared.
///
/// VORN_TEST_STATEMENTS sets how many statements run, VORN_TEST_SEED which.
class DifferentialTest : public StoreTest {
 protected:
  struct Outcome {
    std::vector<std::string> rows;
    std::string end;  ///< the description of the code
  };

  /// @param pieces  the file of a StatementGenerator, with pieces STATEMENT and NOISE
  explicit DifferentialTest(const std::string& pieces);

  void TearDown() override {
    finishReadings(0);
    m_held.reset();
    StoreTest::TearDown();
  }

  /// Runs random statements until as many as asked for have run, or one came out differently.
  void run(std::size_t usually);

  /// Runs a text on both stores and compares.
  void expectSame(const std::string& sql);

  /// @return a row, each value with its kind
  static std::string shown(const std::vector<vorn::RowValue>& row);

  /// Makes both stores anew.
  virtual void startRound() = 0;
  /// Runs a text as the store's own client does. @param reads  whether rows are wanted
  virtual Outcome runPlain(const std::string& sql, bool reads) = 0;
  virtual bool plainInTransaction() = 0;
  /// @return whether two descriptions of a code are equal for a caller
  virtual bool isSame(const std::string& plain, const std::string& ours) { return plain == ours; }
  virtual bool endsTransaction() { return chance(15); }
  virtual void compareContents() = 0;
  /// Changes the schema, or the session.
  virtual void change() = 0;

  bool chance(std::size_t oneIn) { return m_generator.below(oneIn) == 0; }
  bool isReading() const { return !m_readings.empty(); }

  const unsigned m_seed = testSeed(1);
  StatementGenerator m_generator;
  std::optional<vorn::DataSession> m_held;  ///< keeps the thread's connection to it
  bool m_hasOrder = true;                   ///< whether the order of rows counts where a text asks for none

 private:
  /// A read whose rows are taken while other statements run.
  struct Reading {
    std::string sql;
    Outcome plain;
    Outcome ours;
    CVORNReader reader;
  };

  void step();
  bool takeRow(Reading& reading);
  void finishReadings(std::size_t left);
  void finishReading(std::list<Reading>::iterator reading);

  std::list<Reading> m_readings;
  std::vector<vorn::RowValue> m_row;
  std::size_t m_done = 0;
  std::size_t m_failures = 0;
  std::size_t m_rows = 0;
};
