#include "store/ScenarioRunner.h"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <map>
#include <regex>
#include <set>
#include <span>

namespace {

struct Line {
  int number;
  std::string text;
};

struct Step {
  int line;
  std::vector<std::string> places;  ///< elsewhere, other and child, from the outermost on, and at last ""
  std::string verb;
  std::string arguments;
  std::string expected;
};

using Steps = std::span<const Step>;

/// Runs the steps of one scenario.
class ScenarioTest : public StoreTest {
 public:
  ScenarioTest(std::string file, StoreKind kind, std::vector<Step> steps)
      : m_file(std::move(file)), m_kind(std::move(kind)), m_steps(std::move(steps)) {}

 private:
  void SetUp() override {
    std::filesystem::current_path(m_directory.file(""));
    m_url = m_kind.freshUrl();
    useStore(m_url);
    statistics();
  }

  void TearDown() override {
    StoreTest::TearDown();
    std::filesystem::current_path("/");
    for (const char* secret : {"geheim", "47114711"}) EXPECT_EQ(log.texts().find(secret), std::string::npos);
  }

  void TestBody() override { runAll(m_steps, 0); }

  /// Runs steps, those that follow each other in one place there together.
  void runAll(Steps steps, std::size_t depth) {
    while (!steps.empty() && !HasFailure()) {
      const std::string& place = steps[0].places[depth];
      const auto end = std::ranges::find_if(steps, [&](auto& step) { return step.places[depth] != place; });
      const Steps together(steps.begin(), end);
      runIn(place, together, depth + 1);
      steps = steps.subspan(together.size());
    }
  }

  void runIn(const std::string& place, Steps steps, std::size_t depth) {
    if (place == "elsewhere") return onAnotherThread([&] { runAll(steps, depth); });
    if (place == "child") {
      EXPECT_TRUE(holdsInChild([&] {
        alarm(60);
        runAll(steps, depth);
        return !HasFailure();
      }));
      return;
    }
    if (place == "other") {
      m_on = &m_other;
      runAll(steps, depth);
      m_on = db;
      return;
    }
    for (const Step& step : steps) {
      if (!HasFailure()) run(step);
    }
  }

  void run(const Step& step) {
    std::string found;
    try {
      found = perform(step.verb, filled(step.arguments));
    } catch (const std::exception& exception) {
      found = exception.what();
    }
    if (found != step.expected) {
      ADD_FAILURE_AT(m_file.c_str(), step.line)
          << step.verb << ' ' << step.arguments << "\nexpected: " << step.expected << "\nfound:    " << found;
    }
  }

  std::string filled(const std::string& arguments) const {
    const std::size_t host = m_url.find('@') + 1;
    std::string text = replaced(arguments, "$HOST", m_url.substr(host, m_url.rfind('/') - host));
    static const std::regex form("([0-9]+)#([a-z])");
    for (std::smatch parts; std::regex_search(text, parts, form);)
      text = parts.prefix().str() + std::string(std::stoul(parts[1]), parts.str(2)[0]) + parts.suffix().str();
    const bool namesOther = text.find("$OTHER") != std::string::npos;
    return replaced(namesOther ? replaced(text, "$OTHER", m_kind.freshUrl()) : text, "$URL", m_url);
  }

  std::string perform(const std::string& verb, const std::string& arguments) {
    const std::string first = arguments.substr(0, arguments.find(' '));
    const std::string rest = first.size() < arguments.size() ? arguments.substr(first.size() + 1) : "";
    if (verb == "write") return statement(m_on->execWriteSQL(raw(arguments)));
    if (verb == "read") return read(arguments);
    if (verb == "begin") return outcome(m_on->beginTransaction());
    if (verb == "commit") return outcome(m_on->commitTransaction());
    if (verb == "rollback") return outcome(m_on->rollbackTransaction());
    if (verb == "batch")
      return statement(m_on->ExecBatchInserter(rising(std::stol(first), split(rest, " "))));
    if (verb == "values") return values(split(first, "."), rest);
    if (verb == "each") return runForEach(split(first, ","), rest);
    if (verb == "bind") return bind(arguments);
    if (verb == "open") return statement(m_on->execReadSQL(raw(rest), m_readers[first]));
    if (verb == "next") return nextRow(m_readers.at(first));
    if (verb == "rest") return rowsOf(m_readers.at(first));
    if (verb == "close") m_readers.at(first).clear();
    if (verb == "close") return outcome(vorn::lastResult().errorCode());
    if (verb == "shell") return std::system(arguments.c_str()) == 0 ? "ok" : "the command fails";
    if (verb == "logged") return log.texts().find(arguments) == std::string::npos ? "no" : "yes";
    if (verb == "stream") return stream(arguments);
    if (verb == "statistics") return statistics();
    if (verb == "set" && setenv(first.c_str(), rest.c_str(), 1) == 0) return "ok";
    if (verb != "unbind") throw std::invalid_argument("no verb " + verb);
    vorn::unbindStores();
    return "ok";
  }

  static std::string outcome(unsigned long code) { return code == 0 ? "ok" : describe(code); }

  /// @return the outcome of a statement, whose failure says why on one line, and in the log
  std::string statement(unsigned long code) {
    const std::string detail = vorn::lastResult().detail().value_or("");
    const bool isLogged = log.texts().find("[VORNLib]" + detail + "\n") != std::string::npos;
    if (code != 0 && (detail.empty() || detail.find('\n') != std::string::npos || !isLogged))
      return "not one line in the log: " + detail;
    return outcome(code);
  }

  std::string read(const std::string& sql) {
    CVORNReader reader;
    const unsigned long code = m_on->execReadSQL(raw(sql), reader);
    return code == 0 ? rowsOf(reader) : statement(code);
  }

  std::string values(const std::vector<std::string>& target, const std::string& typeAndValues) {
    const std::size_t blank = typeAndValues.find(' ');
    BatchInserter batch;
    batch.table(target.at(0));
    for (const std::string& each : split(typeAndValues.substr(blank + 1), ",")) {
      const std::size_t star = each.find('*');
      for (int times = star == std::string::npos ? 1 : std::stoi(each); times > 0; --times) {
        append(batch[target.at(1)], typeAndValues.substr(0, blank), each.substr(star + 1));
      }
    }
    return statement(m_on->ExecBatchInserter(batch));
  }

  static void append(BatchInserter& column, const std::string& type, const std::string& value) {
    if (type == "long")
      column << std::stol(value);
    else if (type == "unsigned")
      column << std::stoul(value);
    else if (type == "double")
      column << std::stod(value);
    else if (type == "text")
      column << replaced(replaced(value, "\\0", std::string(1, '\0')), "\\xff", "\xff");
    else
      throw std::invalid_argument("no type " + type);
  }

  std::string runForEach(const std::vector<std::string>& values, const std::string& sql) {
    struct : BatchInserter {
      std::string text;
      std::string toString() const override { return text; }
    } batch;
    batch.text = sql;
    for (const std::string& value : values) {
      batch["n"] << std::stol(value);
      if (sql.find("{v}") != std::string::npos) batch["v"] << -std::stol(value);
    }
    return statement(m_on->ExecBatchInserter(batch));
  }

  /// @param range  "from", the first, and perhaps "by" and the step
  static BatchInserter rising(long rows, const std::vector<std::string>& range) {
    return numbers(rows, std::stol(range.at(1)), range.size() > 2 ? std::stol(range.at(3)) : 1);
  }

  std::string bind(const std::string& url) {
    const vorn::ExecResult result = vorn::bindStore(m_on == db ? "default" : "NeUpgradeDB", url);
    const std::string detail = result.detail().value_or("");
    return detail.find("geheim") == std::string::npos ? outcome(result.errorCode()) : detail;
  }

  /// @return the number of rows, through which the memory of the process stays as after the first thousand
  std::string stream(const std::string& sql) {
    CVORNReader reader;
    const unsigned long code = m_on->execReadSQL(raw(sql), reader);
    long before = 0;
    long rows = 0;
    while (code == 0 && reader.hasNextElement()) {
      if (++rows == 1000) before = residentKilobytes();
    }
    EXPECT_LT(residentKilobytes() - before, 4096);
    return code == 0 ? std::to_string(rows) : statement(code);
  }

  /// @return the calls, failures and rows since this was last asked for
  std::string statistics() {
    vorn::StatementStatistics sum;
    for (const auto& each : vorn::statementStatistics()) {
      sum.calls += each.calls;
      sum.failures += each.failures;
      sum.rows += each.rows;
    }
    const vorn::StatementStatistics before = std::exchange(m_statistics, sum);
    return std::to_string(sum.calls - before.calls) + "|" + std::to_string(sum.failures - before.failures) +
           "|" + std::to_string(sum.rows - before.rows);
  }

  const std::string m_file;
  const StoreKind m_kind;
  const std::vector<Step> m_steps;
  const TemporaryDirectory m_directory;
  std::string m_url;
  MIRAsqlDB m_other{true};
  CVORN* m_on = db;
  std::map<std::string, CVORNReader> m_readers;
  vorn::StatementStatistics m_statistics;
};

/// Reads a file of scenarios, and registers them.
class ScenarioFile {
 public:
  ScenarioFile(std::string suite, const std::string& file, StoreKind kind)
      : m_suite(std::move(suite)), m_file(VORN_TEST_SOURCES "/" + file), m_kind(std::move(kind)) {}

  void registerAll() {
    std::ifstream stream(m_file);
    std::vector<std::vector<Line>> parts(1);  // what stands before the first title, then a scenario each
    int number = 0;
    for (std::string text; std::getline(stream, text);) {
      ++number;
      if (text.starts_with("== ")) parts.emplace_back();
      if (!text.empty() && text[0] != '#') parts.back().push_back({number, text});
    }
    if (parts.size() == 1) refuse(number, "no scenario");
    for (std::size_t part = 1; part < parts.size(); ++part) registerCases(parts[0], parts[part]);
  }

 private:
  [[noreturn]] void refuse(int line, const std::string& why) const {
    std::cerr << m_file << ':' << line << ": " << why << std::endl;
    std::_Exit(1);
  }

  void registerCases(const std::vector<Line>& common, const std::vector<Line>& scenario) {
    const std::string name = nameOf(scenario[0]);
    std::vector<Line> cases;
    std::vector<Line> lines = common;
    for (std::size_t at = 1; at < scenario.size(); ++at) {
      (scenario[at].text.starts_with("case ") ? cases : lines).push_back(scenario[at]);
    }
    if (cases.empty()) registerOne(name, scenario[0].number, lines, {});
    int number = 0;
    for (const auto& [line, text] : cases)
      registerOne(name + "/" + std::to_string(++number), line, lines, split(text.substr(5), " | "));
  }

  std::string nameOf(const Line& title) {
    std::string name;
    bool beginsWord = true;
    for (const char byte : title.text) {
      const bool isLetter = std::isalnum(static_cast<unsigned char>(byte)) != 0;
      if (isLetter) name += beginsWord ? static_cast<char>(std::toupper(byte)) : byte;
      beginsWord = !isLetter && byte != '\'';
    }
    if (!m_names.insert(name).second) refuse(title.number, "a title twice");
    return name;
  }

  void registerOne(const std::string& name, int line, std::vector<Line> lines,
                   const std::vector<std::string>& values) const {
    if (lines.empty()) refuse(line, "no steps");
    std::vector<Step> steps;
    for (auto& [number, text] : lines) {
      for (std::size_t at = values.size(); at > 0; --at)
        text = replaced(text, "$" + std::to_string(at), values[at - 1]);
      steps.push_back(stepFrom(number, text));
    }
    testing::RegisterTest(
        m_suite.c_str(), (name + "/" + m_kind.name).c_str(), nullptr, nullptr, m_file.c_str(), line,
        [file = m_file, kind = m_kind, steps] { return new ScenarioTest(file, kind, steps); });
  }

  Step stepFrom(int line, const std::string& text) const {
    static const std::regex form("((?:(?:elsewhere|other|child): )*)(\\w+) ?(.*) => (.+)");
    std::smatch parts;
    if (!std::regex_match(text, parts, form)) refuse(line, "no STEP => OUTCOME");
    const std::vector<std::string> outcomes = split(parts[4], " / ");
    const auto own = std::ranges::find_if(outcomes, [&](const std::string& outcome) {
      return outcomes.size() == 1 || outcome.find(m_kind.family + " ") != std::string::npos;
    });
    if (own == outcomes.end()) refuse(line, "no outcome on " + m_kind.family);
    std::string expected;
    for (const std::string& row : split(*own, ";")) expected += ";" + writtenOut(row);
    return {line, split(parts[1], ": "), parts[2], parts[3], expected.substr(1)};
  }

  /// @return the row, or the rows of a range of numbers
  static std::string writtenOut(const std::string& row) {
    static const std::regex range("(-?\\d+)\\.\\.(-?\\d+)");
    std::smatch ends;
    if (!std::regex_match(row, ends, range)) return row;
    const long last = std::stol(ends[2]);
    std::string rows = ends[1];
    for (long value = std::stol(rows); value != last;) {
      value += value < last ? 1 : -1;
      rows += ";" + std::to_string(value);
    }
    return rows;
  }

  const std::string m_suite;
  const std::string m_file;
  const StoreKind m_kind;
  std::set<std::string> m_names;
};

}  // namespace

void registerScenarios(const std::string& suite, const std::string& file, const StoreKind& kind) {
  ScenarioFile(suite, file, kind).registerAll();
}
