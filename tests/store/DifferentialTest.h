#pragma once

#include <deque>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <variant>

#include "store/StatementGenerator.h"
#include "store/store_fixture.h"

/// Random steps of two session names on one thread, each of which a twin of the store takes through the store's own
/// client: statements of the builders and texts, which the twin is given as they are, batches, which it inserts row by
/// row, reads whose rows are taken while other steps run, transactions by call and by text, savepoints, changes of the
/// schema and of the session, other bindings. After every step the outcomes, the rows with their types, and what is
/// stored are compared.
///
/// VORN_TEST_STATEMENTS sets how many steps run, VORN_TEST_SEED which. A failure says how to repeat its round alone, and
/// which steps came last.
class DifferentialTest : public StoreTest {
 public:
  struct Outcome {
    std::vector<std::string> rows;
    std::string end;  ///< the description of the code
  };

  /// A connection of the store's own client.
  class Client {
   public:
    virtual ~Client() = default;
    /// @param reads  whether rows are wanted
    virtual Outcome run(const std::string& sql, bool reads) = 0;
    virtual bool inTransaction() = 0;
    /// @return whether the transaction has failed, so that it can only be undone
    virtual bool hasFailed() { return false; }
  };

  /// @return a row, each value with its kind
  static std::string shown(const std::vector<vorn::RowValue>& row);

 protected:
  enum Side : unsigned char { kOurs, kTwins };
  using Value = std::variant<long, unsigned long, double, std::string>;

  /// @param pieces  the file of a StatementGenerator, with the pieces STATEMENT, NOISE, BATCH (`TABLE,COLUMN,…`), BEGIN,
  ///                COMMIT, ROLLBACK, SAVEPOINT, CHANGE of the schema, SESSION, and those of a builder's statement
  explicit DifferentialTest(const std::string& pieces);

  void TearDown() override {
    endRound();
    StoreTest::TearDown();
  }

  /// Takes random steps until as many as asked for are taken, or one came out differently.
  void run(std::size_t usually);

  /// Makes both stores of both sides, which are then used by the two session names, anew. @param seed  of the steps
  void startRound(unsigned seed);
  void endRound();

  /// Runs a text on both sides, through the first session name, and compares.
  void expectSame(const std::string& sql) { expectSame(m_names[0], raw(sql), Effect::None); }

  virtual void startStores() {}
  /// @return the texts that make the tables of a store
  virtual std::vector<std::string> setup(std::size_t store) = 0;
  virtual std::string url(std::size_t store) = 0;
  /// @return a connection to one of the two stores of a side; none where there can be none
  virtual std::unique_ptr<Client> connect(Side side, std::size_t store) = 0;
  /// @return a statement that reads all that is stored, as far as the client sees it; none where contents() are
  ///         those of open transactions as well
  virtual std::string contentsSql(Client&) { return ""; }
  /// @return what is stored, as far as the client sees it
  virtual std::vector<std::string> contents(Client& client) {
    return client.run(contentsSql(client), true).rows;
  }
  /// @return a value as it stands in an insert
  virtual std::string literal(const Value& value);
  /// @return whether two descriptions of a code are equal for a caller
  virtual bool isSame(const std::string& twins, const std::string& ours) { return twins == ours; }
  /// @return whether a failure that ended a transaction has undone it; else it may be stored
  virtual bool undoes(const std::string&) { return true; }
  /// @return whether a failure of one row of an insert says nothing of what the insert of all of them comes to
  virtual bool isOfAllRows(const std::string&) { return false; }

  static std::string textOf(const Value& value);
  bool chance(std::size_t oneIn) { return m_generator.below(oneIn) == 0; }

  StatementGenerator m_generator;
  std::string m_beginning = "begin";  ///< what beginTransaction() does
  bool m_hasOrder = false;            ///< whether the order of rows counts where a text asks for none
  bool m_checksRowsTogether = false;  ///< whether a batch may fail by any of its rows that would fail
  bool m_refusesNestedBegin = false;  ///< whether the text is refused where the store would commit
  bool m_isShared = true;             ///< whether both names and others can be connected to one store

 private:
  enum class Effect : unsigned char { None, Begin, Commit, Rollback };

  /// A session name and its twin.
  struct Name {
    CVORN* ours = nullptr;
    std::string name;
    std::unique_ptr<Client> twin;
    std::size_t store = 0;          ///< to which the next connection leads
    bool isChanged = false;         ///< whether the next connection is another one for the caller
    std::optional<bool> lost = {};  ///< a transaction, and the caller has not reacted: whether it was undone
    std::optional<vorn::DataSession> holder;  ///< keeps the connection
  };

  /// A read whose rows are taken while other steps run.
  struct Reading {
    Name* on = nullptr;
    std::string sql;
    Outcome twins;
    Outcome ours;
    CVORNReader reader;
  };

  void step();
  void takeStatement(Name& on);
  void moveTransaction(Name& on);
  void rebind(Name& on);
  void changeElsewhere();
  void bind(Name& on);
  void makeTables(std::size_t store);
  void reconnectTwins();
  std::size_t usesOf(const Name& on) const;

  template <typename Work>
  Outcome onTwin(Name& on, Effect effect, const Work& work);
  void expectSame(Name& on, const CVORNBase& statement, Effect effect);
  void expectSameCall(Name& on, Effect effect);
  void expectSameBatch(Name& on);
  void expectSameInside(Name& on);
  void expectSameStored();
  void expectEqual(const std::string& what, const Outcome& twins, const Outcome& ours);
  Outcome insertOnTwin(Client& twin, const std::string& insert, const std::vector<std::string>& rows);

  Value anyValue(std::size_t kind);
  std::unique_ptr<CVORNBase> anyBuilder();
  CVORNCriterion anyCondition(const CVORNTable& table);

  bool takeRow(Reading& reading);
  void finishReadings(std::size_t left, const Name* except = nullptr);
  void finishReading(std::list<Reading>::iterator reading);
  void note(const Name& on, const std::string& what);
  void report(unsigned seed, std::size_t steps) const;

  MIRAsqlDB m_other{true};
  Name m_names[2];
  std::unique_ptr<Client> m_observers[2][2];  // of each side and store
  std::list<Reading> m_readings;
  std::vector<vorn::RowValue> m_row;
  std::deque<std::string> m_last;  // steps
  std::size_t m_failures = 0;
  std::size_t m_rows = 0;
};
