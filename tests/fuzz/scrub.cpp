// A line of the log: it is one line, passwords are hidden whatever is around them, and nothing else is
// changed.
#include "exec/adapters/mariadb/MariaDbError.h"
#include "fuzz.h"
#include "vorn/platform/logging.h"

namespace {

std::string visible(const std::string& text) {
  std::string line;
  char escape[8];
  for (const char c : text) {
    std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned char>(c));
    const bool plain = static_cast<unsigned char>(c) >= 0x20 && c != 0x7f;
    line += plain ? std::string(1, c) : c == '\n' ? "\\n" : c == '\t' ? "\\t" : c == '\r' ? "\\r" : escape;
  }
  return line;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  auto parts = partsOf(bytes, size);
  parts.resize(2);
  const std::string text = parts[0] + parts[1];
  const std::string line = vorn::LogScrubber::scrub(text);
  require(visible(line) == line, "a line without control characters");
  if (!contains(text, "=") && !contains(text, "://")) require(line == visible(text), "other texts stay");
  if (contains(text, "Zq7")) return 0;
  for (const char* const secret :
       {"password=Zq7", "PGPASSWORD = 'x Zq7'", "pwd=\"\\\"Zq7\"", "://u:Zq7@h", "x://u:a@Zq7@h"}) {
    const std::string shown = vorn::LogScrubber::scrub(parts[0] + " " + secret + " " + parts[1]);
    require(!contains(shown, "Zq7"), secret);
  }
  // Messages of a server that quote a value, or the statement from a number on.
  const struct {
    std::uint32_t number;
    const char *before, *after;
  } messages[] = {{1062, "Duplicate entry '", "' for key 'k'"},
                  {1064, "You have an error near '1", "' at line 1"},
                  {1366, "Incorrect integer value: '", "' for column `a`"}};
  for (const auto& [number, before, after] : messages) {
    const std::string detail =
        vorn::mariaDbFailure(number, before + parts[0] + "Zq7" + parts[1] + after).detail().value_or("");
    require(!contains(detail, "Zq7") && !contains(detail, "\n"), "a message on one line, without its value");
  }
  return 0;
}
