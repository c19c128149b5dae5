#include "store/ScenarioRunner.h"

#include <cctype>
#include <iostream>
#include <map>
#include <regex>
#include <set>

namespace {

const std::set<std::string> kVerbs = {"write", "read",  "begin",  "commit", "rollback", "batch",     "values",
                                      "each",  "bind",  "unbind", "set",    "open",     "next",      "rest",
                                      "count", "close", "shell",  "logged", "stream",   "statistics"};
const std::set<std::string> kVerbsWithRows = {"read",   "next",   "rest",      "count",
                                              "logged", "stream", "statistics"};

struct Line {
  int number;
  std::string text;
};

struct Step {
  int line;
  std::string verb;
  std::string arguments;
  std::string expected;
  std::vector<Step> inner;  ///< what elsewhere:, other: or child: runs
};

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
    for (const std::string& variable : m_variables) unsetenv(variable.c_str());
    for (const char* secret : {"geheim", "47114711"}) EXPECT_EQ(log.texts().find(secret), std::string::npos);
  }

  void TestBody() override { runAll(m_steps); }

  void runAll(const std::vector<Step>& steps) {
    for (const Step& step : steps) {
      if (!HasFailure()) run(step);
    }
  }

  void run(const Step& step) {
    if (step.verb == "elsewhere:") return onAnotherThread([&] { runAll(step.inner); });
    if (step.verb == "other:") {
      m_on = &m_other;
      runAll(step.inner);
      m_on = db;
      return;
    }
    std::string found = "ok";
    try {
      if (step.verb == "child:")
        found = runInChild(step.inner);
      else
        found = perform(step.verb, filled(step.arguments));
    } catch (const std::exception& exception) {
      found = exception.what();
    }
    if (found != step.expected) {
      ADD_FAILURE_AT(m_file.c_str(), step.line)
          << step.verb << ' ' << step.arguments << "\nexpected: " << step.expected << "\nfound:    " << found;
    }
  }

  std::string runInChild(const std::vector<Step>& steps) {
    std::fflush(stdout);  // or the child would write it again
    const bool passes = holdsInChild([&] {
      alarm(60);
      runAll(steps);
      std::fflush(stdout);
      return !HasFailure();
    });
    return passes ? "ok" : "failures in the child";
  }

  std::string filled(const std::string& arguments) const {
    const std::size_t host = m_url.find('@') + 1;
    const std::string text = replaced(arguments, "$HOST", m_url.substr(host, m_url.rfind('/') - host));
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
    if (verb == "batch") return batch(split(arguments, " "));
    if (verb == "values") return values(split(first, "."), rest);
    if (verb == "each") return runForEach(split(first, ","), rest);
    if (verb == "bind") return bind(arguments);
    if (verb == "open") return statement(m_on->execReadSQL(raw(rest), m_readers[first]));
    if (verb == "next") return nextRow(m_readers.at(first));
    if (verb == "rest") return rows(m_readers.at(first));
    if (verb == "count") return rows(m_readers.at(first), true);
    if (verb == "close") m_readers.at(first).clear();
    if (verb == "close") return outcome(vorn::lastResult().errorCode());
    if (verb == "shell") return std::system(arguments.c_str()) == 0 ? "ok" : "the command fails";
    if (verb == "logged") return log.texts().find(arguments) == std::string::npos ? "no" : "yes";
    if (verb == "stream") return stream(arguments);
    if (verb == "statistics") return statistics();
    if (verb == "unbind") vorn::unbindStores();
    if (verb == "set") m_variables.push_back(first);
    if (verb == "set") setenv(first.c_str(), rest.c_str(), 1);
    return "ok";
  }

  static std::string outcome(unsigned long code) { return code == 0 ? "ok" : describe(code); }

  /// @return the outcome of a statement, whose failure says why on one line, and in the log
  std::string statement(unsigned long code) {
    const std::string detail = vorn::lastResult().detail().value_or("");
    if (code != 0 && (detail.empty() || detail.find('\n') != std::string::npos))
      return "not one line: " + detail;
    if (code != 0 && log.texts().find("[VORNLib]" + detail) == std::string::npos)
      return "not in the log: " + detail;
    return outcome(code);
  }

  std::string read(const std::string& sql) {
    CVORNReader reader;
    const unsigned long code = m_on->execReadSQL(raw(sql), reader);
    return code == 0 ? rows(reader) : statement(code);
  }

  std::string batch(const std::vector<std::string>& words) {
    return statement(m_on->ExecBatchInserter(numbers(std::stol(words.at(0)), std::stol(words.at(2)))));
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
    for (const std::string& value : values) batch["n"] << std::stol(value);
    return statement(m_on->ExecBatchInserter(batch));
  }

  std::string bind(const std::string& url) {
    const vorn::ExecResult result = vorn::bindStore(m_on == db ? "default" : "NeUpgradeDB", url);
    const std::string detail = result.detail().value_or("");
    return detail.find("geheim") == std::string::npos ? outcome(result.errorCode()) : detail;
  }

  /// @return the row that comes next, or nothing after the last
  static std::string nextRow(CVORNReader& reader) {
    std::vector<vorn::RowValue> row;
    vorn::ExecResult status;
    const vorn::TypedRef target{{vorn::type_code::kRow, 0, nullptr}, &row};
    if (!reader.initializeSession("")->fetchRow(status, target, 1)) return "";
    std::string fields;
    for (const vorn::RowValue& field : row) {
      const std::string text = field.kind() == vorn::RowValue::Kind::Null ? "~" : field.text();
      fields += (&field == row.data() ? "" : "|") + (text.empty() ? "''" : text);
    }
    return fields;
  }

  static std::string rows(CVORNReader& reader, bool counted = false) {
    long count = 0;
    std::string all;
    for (std::string row; !(row = nextRow(reader)).empty(); ++count) all += (count == 0 ? "" : ";") + row;
    if (counted) all = std::to_string(count);
    if (!vorn::lastResult().succeeded()) all += ";" + describe(vorn::lastResult().errorCode());
    return all.empty() ? "(none)" : all;
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
  std::vector<std::string> m_variables;
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
    if (cases.empty()) registerOne(name, scenario[0].number, lines);
    for (const Line& each : cases) {
      const std::vector<std::string> values = split(each.text.substr(5), " | ");
      std::vector<Line> filled = lines;
      for (Line& line : filled) {
        for (std::size_t at = values.size(); at > 0; --at) {
          line.text = replaced(line.text, "$" + std::to_string(at), values[at - 1]);
        }
      }
      registerOne(name + "/" + std::to_string(&each - cases.data() + 1), each.number, filled);
    }
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

  void registerOne(const std::string& name, int line, const std::vector<Line>& lines) const {
    std::size_t at = 0;
    const std::vector<Step> steps = stepsFrom(lines, at, 0);
    if (at < lines.size()) refuse(lines[at].number, "indented below nothing");
    if (steps.empty()) refuse(line, "no steps");
    testing::RegisterTest(
        m_suite.c_str(), (name + "/" + m_kind.name).c_str(), nullptr, nullptr, m_file.c_str(), line,
        [file = m_file, kind = m_kind, steps] { return new ScenarioTest(file, kind, steps); });
  }

  /// @param at  the first line to read; receives the first one that is indented otherwise
  std::vector<Step> stepsFrom(const std::vector<Line>& lines, std::size_t& at, std::size_t indent) const {
    std::vector<Step> steps;
    while (at < lines.size() && lines[at].text.find_first_not_of(' ') == indent) {
      const Line& line = lines[at++];
      steps.push_back(stepFrom({line.number, line.text.substr(indent)}, lines, at, indent));
    }
    return steps;
  }

  Step stepFrom(const Line& line, const std::vector<Line>& lines, std::size_t& at, std::size_t indent) const {
    const std::size_t blank = line.text.find(' ');
    Step step{line.number, line.text.substr(0, blank), "", "ok", {}};
    if (step.verb == "elsewhere:" || step.verb == "other:" || step.verb == "child:") {
      if (blank == std::string::npos)
        step.inner = stepsFrom(lines, at, indent + 2);
      else
        step.inner = {stepFrom({line.number, line.text.substr(blank + 1)}, lines, at, indent)};
      if (step.inner.empty()) refuse(line.number, "nothing to run " + step.verb);
      return step;
    }
    const std::size_t arrow = line.text.rfind(" => ");
    if (kVerbs.count(step.verb) == 0) refuse(line.number, "no verb '" + step.verb + "'");
    if (arrow == std::string::npos) refuse(line.number, "no outcome");
    if (blank < arrow) step.arguments = line.text.substr(blank + 1, arrow - blank - 1);
    step.expected =
        expectation({line.number, line.text.substr(arrow + 4)}, kVerbsWithRows.count(step.verb) > 0);
    return step;
  }

  std::string expectation(const Line& line, bool mayBeRows) const {
    static const std::regex error("(\\d+;)?(sqlite|postgresql|mariadb|vorn) [0-9A-Z]+ \\w+");
    const std::vector<std::string> each = split(line.text, " / ");
    const auto own = std::find_if(each.begin(), each.end(), [&](const std::string& outcome) {
      return each.size() == 1 || outcome.find(m_kind.family + " ") != std::string::npos;
    });
    if (own == each.end()) refuse(line.number, "no outcome on " + m_kind.family);
    if (std::regex_match(*own, error)) return *own;
    if (mayBeRows) return rows({line.number, *own});
    if (*own != "ok") refuse(line.number, "neither ok nor an error");
    return *own;
  }

  /// @return the rows, of equal width, with every range of numbers written out
  std::string rows(const Line& line) const {
    static const std::regex range("(-?\\d+)\\.\\.(-?\\d+)");
    std::string all;
    std::set<std::ptrdiff_t> widths;
    for (const std::string& row : split(line.text, ";")) {
      widths.insert(std::count(row.begin(), row.end(), '|'));
      if (row.empty() || widths.size() > 1) refuse(line.number, "rows of different width, or none");
      std::smatch ends;
      if (!std::regex_match(row, ends, range)) {
        all += ";" + row;
        continue;
      }
      const long last = std::stol(ends[2]);
      const long step = std::stol(ends[1]) < last ? 1 : -1;
      for (long value = std::stol(ends[1]); value != last + step; value += step)
        all += ";" + std::to_string(value);
    }
    return all.substr(1);
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
