#include "exec/adapters/sql/TransactionText.h"

#include <cstddef>

#include "common/ascii.h"

namespace vorn {

namespace {

using ascii::isBlank;
using ascii::lowerCase;

bool is(std::string_view word, std::string_view keyword) {
  if (word.size() != keyword.size()) return false;
  for (std::size_t at = 0; at < word.size(); ++at) {
    if (lowerCase(word[at]) != keyword[at]) return false;
  }
  return true;
}

// Whether a text may begin with one of the words, by its first two bytes.
bool mayBegin(char first, char second) {
  switch (lowerCase(first)) {
    case 'b':
      return lowerCase(second) == 'e';
    case 's':
      return lowerCase(second) == 't';
    case 'c':
    case 'r':
      return lowerCase(second) == 'o';
    case 'e':
      return lowerCase(second) == 'n';
    case 'a':
      return lowerCase(second) == 'b';
    default:
      return first == ';' || first == '-' || first == '/';
  }
}

/// The words of a text, one after the other. Everything unclear stands where it is, and is no word.
class Words {
 public:
  explicit Words(std::string_view text) : m_rest(text) { skipGap(";"); }

  /// @return the next word; empty when something else comes next
  std::string_view next() {
    skipGap("");
    std::size_t size = 0;
    while (size < m_rest.size() && ascii::isIdentifierByte(m_rest[size])) ++size;
    const std::string_view word = m_rest.substr(0, size);
    m_rest.remove_prefix(size);
    return word;
  }

  void skipGap(std::string_view separators) {
    std::size_t before = 0;
    do {
      before = m_rest.size();
      while (!m_rest.empty() && (isBlank(m_rest.front()) || separators.find(m_rest.front()) != kNone)) {
        m_rest.remove_prefix(1);
      }
      skipComment();
    } while (m_rest.size() != before);
  }

  /// @return whether only blanks, semicolons and comments are left
  bool ended() {
    skipGap(";");
    return m_rest.empty();
  }

 private:
  static constexpr std::size_t kNone = std::string_view::npos;

  // The stores agree on a comment in one line that ends with a line feed, and on one in slashes that holds no
  // other and is closed.
  void skipComment() {
    std::size_t end = kNone;
    if (m_rest.substr(0, 2) == "--") {
      end = m_rest.find('\n');
      if (end == kNone) end = m_rest.size();
      if (m_rest.substr(0, end).find('\r') != kNone) return;
    } else if (m_rest.substr(0, 2) == "/*") {
      end = m_rest.find("*/", 2);
      if (end == kNone || m_rest.substr(2, end - 2).find("/*") != kNone) return;
      end += 2;
    } else {
      return;
    }
    m_rest.remove_prefix(end);
  }

  std::string_view m_rest;
};

// The options of a beginning are the store's to judge; a second statement is none of them.
TransactionText endOfBegin(Words& words) {
  while (!words.next().empty()) words.skipGap(",");
  return words.ended() ? TransactionText::Begin : TransactionText::None;
}

// What may follow the first word of an end: "transaction" with a name, or "work"; "and no chain".
bool endsWhole(Words& words) {
  std::string_view word = words.next();
  const bool named = is(word, "transaction");
  if (named || is(word, "work")) word = words.next();
  if (named && !is(word, "and") && !is(word, "to")) word = word.empty() ? word : words.next();
  if (is(word, "and") && is(words.next(), "no") && is(words.next(), "chain")) word = words.next();
  return word.empty() && words.ended();
}

TransactionText classify(std::string_view sql) {
  Words words(sql);
  const std::string_view first = words.next();
  if (is(first, "begin")) return endOfBegin(words);
  if (is(first, "start")) return is(words.next(), "transaction") ? endOfBegin(words) : TransactionText::None;
  TransactionText text = TransactionText::None;
  if (is(first, "commit") || is(first, "end")) text = TransactionText::Commit;
  if (is(first, "rollback") || is(first, "abort")) text = TransactionText::Rollback;
  return text != TransactionText::None && endsWhole(words) ? text : TransactionText::None;
}

}  // namespace

TransactionText transactionText(std::string_view sql) noexcept {
  std::size_t at = 0;
  while (at < sql.size() && isBlank(sql[at])) ++at;
  if (at + 1 >= sql.size() || !mayBegin(sql[at], sql[at + 1])) return TransactionText::None;
  return classify(sql.substr(at));
}

}  // namespace vorn
