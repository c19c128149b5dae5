#include "store/ScenarioRunner.h"

#include <cctype>
#include <iostream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace {

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

std::vector<std::string> split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t end; (end = text.find(separator, start)) != std::string::npos;
       start = end + separator.size()) {
    parts.push_back(text.substr(start, end - start));
  }
  parts.push_back(text.substr(start));
  return parts;
}

std::string replaced(std::string text, const std::string& name, const std::string& value) {
  for (std::size_t at = 0; (at = text.find(name, at)) != std::string::npos; at += value.size()) {
    text.replace(at, name.size(), value);
  }
  return text;
}

/// Runs the steps of one scenario.
class ScenarioTest : public StoreTest {
 public:
  enum class Answer { Outcome, Rows, Word };
  struct Verb {
    std::string (ScenarioTest::*run)(const std::string& arguments);
    Answer answer;
  };

  static const std::map<std::string, Verb>& verbs();

  ScenarioTest(std::string file, StoreKind kind, std::vector<Step> steps)
      : m_file(std::move(file)), m_kind(std::move(kind)), m_steps(std::move(steps)) {}

 private:
  void SetUp() override {
    std::filesystem::current_path(m_directory.file(""));
    m_url = m_kind.freshUrl();
    useStore(m_url);
  }

  void TearDown() override {
    StoreTest::TearDown();
    std::filesystem::current_path("/");
    for (const std::string& variable : m_variables) unsetenv(variable.c_str());
    for (const char* secret : {"geheim", "47114711"}) {
      EXPECT_EQ(log.texts().find(secret), std::string::npos) << log.texts();
    }
  }

  void TestBody() override { runAll(m_steps); }

  void runAll(const std::vector<Step>& steps) {
    for (const Step& step : steps) {
      if (!HasFailure()) run(step);
    }
  }

  void run(const Step& step) {
    if (step.verb == "elsewhere:") return onAnotherThread([&] { runAll(step.inner); });
    if (step.verb == "other:") return runOnOtherSession(step);
    if (step.verb == "child:") return runInChild(step);
    std::string found;
    try {
      found = (this->*verbs().at(step.verb).run)(filled(step.arguments));
    } catch (const std::exception& exception) {
      found = exception.what();
    }
    if (found != step.expected) {
      ADD_FAILURE_AT(m_file.c_str(), step.line)
          << step.verb << ' ' << step.arguments << "\nexpected: " << step.expected << "\nfound:    " << found;
    }
  }

  void runOnOtherSession(const Step& step) {
    m_on = &m_other;
    runAll(step.inner);
    m_on = db;
  }

  void runInChild(const Step& step) {
    const bool passes = holdsInChild([&] {
      alarm(60);
      runAll(step.inner);
      std::cout.flush();
      std::fflush(stdout);
      return !HasFailure();
    });
    if (!passes) ADD_FAILURE_AT(m_file.c_str(), step.line) << "in the child";
  }

  std::string filled(std::string arguments) const {
    if (arguments.find("$OTHER") != std::string::npos)
      arguments = replaced(arguments, "$OTHER", m_kind.freshUrl());
    const std::size_t host = m_url.find('@') + 1;
    return replaced(replaced(arguments, "$URL", m_url), "$HOST", m_url.substr(host, m_url.rfind('/') - host));
  }

  static std::string outcome(unsigned long code) { return code == 0 ? "ok" : describe(code); }

  /// @return the outcome of a statement, whose failure says why on one line, and in the log
  std::string statementOutcome(unsigned long code) {
    const std::string detail = vorn::lastResult().detail().value_or("");
    if (code != 0 && (detail.empty() || detail.find('\n') != std::string::npos))
      return "not one line: " + detail;
    if (code != 0 && log.texts().find("[VORNLib]" + detail) == std::string::npos)
      return "not in the log: " + detail;
    return outcome(code);
  }

  std::string write(const std::string& sql) { return statementOutcome(m_on->execWriteSQL(raw(sql))); }

  std::string read(const std::string& sql) {
    CVORNReader reader;
    const unsigned long code = m_on->execReadSQL(raw(sql), reader);
    return code == 0 ? rows(reader, false) : statementOutcome(code);
  }

  std::string begin(const std::string&) { return outcome(m_on->beginTransaction()); }
  std::string commit(const std::string&) { return outcome(m_on->commitTransaction()); }
  std::string rollback(const std::string&) { return outcome(m_on->rollbackTransaction()); }

  std::string batch(const std::string& arguments) {
    std::istringstream words(arguments);
    std::string from;
    std::string into;
    std::string table = "t";
    long rows = 0;
    long first = 0;
    words >> rows >> from >> first >> into >> table;
    BatchInserter batch = numbers(rows, first);
    batch.table(table);
    return statementOutcome(m_on->ExecBatchInserter(batch));
  }

  std::string values(const std::string& arguments) {
    const std::vector<std::string> words = split(arguments, " ");
    const std::vector<std::string> target = split(words.at(0), ".");
    BatchInserter batch;
    batch.table(target.at(0));
    for (std::string value : split(arguments.substr(words[0].size() + words.at(1).size() + 2), ",")) {
      const std::size_t star = value.find('*');
      int times = star == std::string::npos ? 1 : std::stoi(value);
      for (value.erase(0, star + 1); times > 0; --times) append(batch[target.at(1)], words[1], value);
    }
    return statementOutcome(m_on->ExecBatchInserter(batch));
  }

  static void append(BatchInserter& column, const std::string& type, std::string value) {
    for (std::size_t at; (at = value.find("\\x")) != std::string::npos;) {
      value.replace(at, 4, 1, static_cast<char>(std::stoi(value.substr(at + 2, 2), nullptr, 16)));
    }
    if (type == "long") {
      column << std::stol(value);
    } else if (type == "unsigned") {
      column << std::stoul(value);
    } else if (type == "float") {
      column << std::stof(value);
    } else if (type == "double") {
      column << std::stod(value);
    } else if (type == "text") {
      column << value;
    } else {
      throw std::invalid_argument("no type " + type);
    }
  }

  std::string each(const std::string& arguments) {
    const std::size_t blank = arguments.find(' ');
    std::vector<long> values;
    for (const std::string& value : split(arguments.substr(0, blank), ","))
      values.push_back(std::stol(value));
    vorn::ParamRefMap set;
    vorn::TypeRegistry::registerVectorType<std::vector<long>>(set["n"].type, vorn::type_code::kVector,
                                                              "std::vector", 0);
    set["n"].object = &values;
    vorn::DataSession session("default");
    const vorn::TypedRef parameters{{vorn::type_code::kParameterSet, 0, nullptr}, &set};
    return outcome(
        session.execute("test", vorn::SqlKind::Batch, arguments.substr(blank + 1), parameters).errorCode());
  }

  std::string bind(const std::string& url) {
    const vorn::ExecResult result = vorn::bindStore(m_on == db ? "default" : "NeUpgradeDB", url);
    const std::string detail = result.detail().value_or("");
    return detail.find("geheim") == std::string::npos ? outcome(result.errorCode()) : detail;
  }

  std::string unbind(const std::string&) {
    vorn::unbindStores();
    return "ok";
  }

  std::string set(const std::string& arguments) {
    const std::size_t blank = arguments.find(' ');
    m_variables.push_back(arguments.substr(0, blank));
    setenv(m_variables.back().c_str(), arguments.substr(blank + 1).c_str(), 1);
    return "ok";
  }

  std::string open(const std::string& arguments) {
    const std::size_t blank = arguments.find(' ');
    CVORNReader& reader = m_readers[arguments.substr(0, blank)];
    return statementOutcome(m_on->execReadSQL(raw(arguments.substr(blank + 1)), reader));
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

  static std::string rows(CVORNReader& reader, bool counted) {
    long count = 0;
    std::string all;
    for (std::string row; !(row = nextRow(reader)).empty(); ++count) all += (count == 0 ? "" : ";") + row;
    if (counted) all = std::to_string(count);
    if (!vorn::lastResult().succeeded()) all += ";" + describe(vorn::lastResult().errorCode());
    return all.empty() ? "(none)" : all;
  }

  std::string next(const std::string& name) { return nextRow(m_readers.at(name)); }
  std::string rest(const std::string& name) { return rows(m_readers.at(name), false); }
  std::string count(const std::string& name) { return rows(m_readers.at(name), true); }

  std::string close(const std::string& name) {
    m_readers.at(name).clear();
    return outcome(vorn::lastResult().errorCode());
  }

  std::string shell(const std::string& command) {
    return std::system(command.c_str()) == 0 ? "ok" : "the command has failed";
  }

  std::string logged(const std::string& text) {
    return log.texts().find(text) == std::string::npos ? "no" : "yes";
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
};

const std::map<std::string, ScenarioTest::Verb>& ScenarioTest::verbs() {
  static const std::map<std::string, Verb> all = {
      {"write", {&ScenarioTest::write, Answer::Outcome}},
      {"read", {&ScenarioTest::read, Answer::Rows}},
      {"begin", {&ScenarioTest::begin, Answer::Outcome}},
      {"commit", {&ScenarioTest::commit, Answer::Outcome}},
      {"rollback", {&ScenarioTest::rollback, Answer::Outcome}},
      {"batch", {&ScenarioTest::batch, Answer::Outcome}},
      {"values", {&ScenarioTest::values, Answer::Outcome}},
      {"each", {&ScenarioTest::each, Answer::Outcome}},
      {"bind", {&ScenarioTest::bind, Answer::Outcome}},
      {"unbind", {&ScenarioTest::unbind, Answer::Outcome}},
      {"set", {&ScenarioTest::set, Answer::Outcome}},
      {"open", {&ScenarioTest::open, Answer::Outcome}},
      {"next", {&ScenarioTest::next, Answer::Rows}},
      {"rest", {&ScenarioTest::rest, Answer::Rows}},
      {"count", {&ScenarioTest::count, Answer::Rows}},
      {"close", {&ScenarioTest::close, Answer::Outcome}},
      {"shell", {&ScenarioTest::shell, Answer::Outcome}},
      {"logged", {&ScenarioTest::logged, Answer::Word}},
  };
  return all;
}

/// Reads a file of scenarios, and registers them.
class ScenarioFile {
 public:
  ScenarioFile(std::string suite, const std::string& file, StoreKind kind)
      : m_suite(std::move(suite)), m_file(VORN_TEST_SOURCES "/" + file), m_kind(std::move(kind)) {
    std::ifstream stream(m_file);
    int number = 0;
    for (std::string text; std::getline(stream, text);) {
      ++number;
      if (!text.empty() && text[0] != '#') m_lines.push_back({number, text});
    }
    if (m_lines.empty()) refuse(number, "no scenario");
  }

  void registerAll() {
    std::size_t at = 0;
    const std::vector<Line> common = body(at);
    while (at < m_lines.size()) {
      const Line title = m_lines[at++];
      std::vector<Line> cases;
      while (at < m_lines.size() && m_lines[at].text.starts_with("case ")) cases.push_back(m_lines[at++]);
      std::vector<Line> lines = common;
      for (const Line& line : body(at)) lines.push_back(line);
      const std::string name = nameOf(title);
      if (cases.empty()) registerOne(name, title.number, lines);
      for (std::size_t number = 0; number < cases.size(); ++number) {
        registerOne(name + "/" + std::to_string(number + 1), cases[number].number,
                    filled(lines, cases[number]));
      }
    }
  }

 private:
  [[noreturn]] void refuse(int line, const std::string& why) const {
    std::cerr << m_file << ':' << line << ": " << why << std::endl;
    std::_Exit(1);
  }

  /// @return the lines up to the next title
  std::vector<Line> body(std::size_t& at) const {
    std::vector<Line> lines;
    while (at < m_lines.size() && !m_lines[at].text.starts_with("== ")) lines.push_back(m_lines[at++]);
    return lines;
  }

  std::string nameOf(const Line& title) {
    std::string name;
    bool beginsWord = true;
    for (const char byte : title.text) {
      const auto code = static_cast<unsigned char>(byte);
      if (std::isalnum(code) != 0) name += static_cast<char>(beginsWord ? std::toupper(code) : code);
      beginsWord = std::isalnum(code) == 0 && byte != '\'';
    }
    if (name.empty() || !m_names.insert(name).second) refuse(title.number, "a title like another, or none");
    return name;
  }

  std::vector<Line> filled(std::vector<Line> lines, const Line& values) const {
    const std::vector<std::string> parts = split(values.text.substr(5), " | ");
    for (Line& line : lines) {
      for (std::size_t part = 0; part < parts.size(); ++part) {
        line.text = replaced(line.text, "$" + std::to_string(part + 1), parts[part]);
      }
    }
    return lines;
  }

  void registerOne(const std::string& name, int line, const std::vector<Line>& lines) const {
    std::size_t at = 0;
    const std::vector<Step> steps = stepsFrom(lines, at, 0);
    if (at < lines.size()) refuse(lines[at].number, "indented below nothing");
    if (steps.empty()) refuse(line, "a scenario without steps");
    testing::RegisterTest(
        m_suite.c_str(), (name + "/" + m_kind.name).c_str(), nullptr, nullptr, m_file.c_str(), line,
        [file = m_file, kind = m_kind, steps] { return new ScenarioTest(file, kind, steps); });
  }

  std::vector<Step> stepsFrom(const std::vector<Line>& lines, std::size_t& at, std::size_t indent) const {
    std::vector<Step> steps;
    while (at < lines.size() && lines[at].text.find_first_not_of(' ') == indent) {
      const Line line{lines[at].number, lines[at].text.substr(indent)};
      ++at;
      steps.push_back(stepFrom(line, lines, at, indent));
    }
    return steps;
  }

  Step stepFrom(const Line& line, const std::vector<Line>& lines, std::size_t& at, std::size_t indent) const {
    const std::size_t blank = line.text.find(' ');
    Step step{line.number, line.text.substr(0, blank), "", "", {}};
    if (step.verb == "elsewhere:" || step.verb == "other:" || step.verb == "child:") {
      if (blank == std::string::npos) {
        step.inner = stepsFrom(lines, at, indent + 2);
      } else {
        step.inner = {stepFrom({line.number, line.text.substr(blank + 1)}, lines, at, indent)};
      }
      if (step.inner.empty()) refuse(line.number, "nothing to run " + step.verb);
      return step;
    }
    const auto verb = ScenarioTest::verbs().find(step.verb);
    if (verb == ScenarioTest::verbs().end()) refuse(line.number, "no verb '" + step.verb + "'");
    const std::size_t arrow = line.text.rfind(" => ");
    if (arrow == std::string::npos) refuse(line.number, "no outcome");
    if (blank < arrow) step.arguments = line.text.substr(blank + 1, arrow - blank - 1);
    step.expected = expectation(line, line.text.substr(arrow + 4), verb->second.answer);
    return step;
  }

  std::string expectation(const Line& line, const std::string& text, ScenarioTest::Answer answer) const {
    static const std::regex error("(.*;)?(sqlite|postgresql|mariadb|vorn) [0-9A-Z]+ \\w+");
    std::string expected = text;
    if (const std::vector<std::string> each = split(text, " / "); each.size() > 1) {
      const auto own = std::find_if(each.begin(), each.end(), [this](const std::string& outcome) {
        return outcome.find(m_kind.family + " ") != std::string::npos;
      });
      if (own == each.end()) refuse(line.number, "no outcome on " + m_kind.family);
      expected = *own;
    }
    if (std::regex_match(expected, error)) return expected;
    if (answer == ScenarioTest::Answer::Rows) return expandedRows(line, expected);
    const bool isWord = answer == ScenarioTest::Answer::Word;
    if (expected != "ok" && !(isWord && (expected == "yes" || expected == "no")))
      refuse(line.number, "no such outcome");
    return expected;
  }

  std::string expandedRows(const Line& line, const std::string& text) const {
    static const std::regex range("(-?\\d+)\\.\\.(-?\\d+)");
    std::string rows;
    const auto columns = [](const std::string& row) { return std::count(row.begin(), row.end(), '|'); };
    for (const std::string& row : split(text, ";")) {
      if (row.empty() || columns(row) != columns(text.substr(0, text.find(';'))))
        refuse(line.number, "not as wide");
      std::smatch ends;
      if (!std::regex_match(row, ends, range)) {
        rows += row + ";";
        continue;
      }
      const long last = std::stol(ends[2]);
      const long step = std::stol(ends[1]) < last ? 1 : -1;
      for (long value = std::stol(ends[1]); value != last + step; value += step)
        rows += std::to_string(value) + ";";
    }
    rows.pop_back();
    return rows;
  }

  const std::string m_suite;
  const std::string m_file;
  const StoreKind m_kind;
  std::vector<Line> m_lines;
  std::set<std::string> m_names;
};

}  // namespace

void registerScenarios(const std::string& suite, const std::string& file, const StoreKind& kind) {
  ScenarioFile(suite, file, kind).registerAll();
}
