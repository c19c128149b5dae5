#include "exec/adapters/store/StoreUrl.h"

#include <uriparser/Uri.h>

#include <algorithm>
#include <memory>

#include "common/ascii.h"
#include "exec/adapters/base/Failure.h"
#include "exec/adapters/store/nearest_name.h"

namespace vorn {

namespace {

ExecResult malformed(const std::string& what) {
  return makeFailure(Failure::InvalidUrl, what);
}

bool isSchemeName(const std::string& text) {
  return !text.empty() && ascii::isLetter(text[0]) && std::all_of(text.begin(), text.end(), [](char c) {
    return ascii::isLetter(c) || ascii::isDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

// uriparser decodes leniently, so a stray percent sign is looked for first.
bool percentSignsAreSound(const std::string& text) {
  for (std::size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1)) {
    if (text.find_first_not_of("0123456789abcdefABCDEF", at + 1) < at + 3 || at + 2 >= text.size())
      return false;
  }
  return true;
}

ExecResult parseQuery(const std::string& query, std::map<std::string, std::string>& options) {
  if (query.empty()) return {};
  UriQueryListA* list = nullptr;
  int count = 0;
  const char* first = query.data();
  if (uriDissectQueryMallocExA(&list, &count, first, first + query.size(), URI_FALSE, URI_BR_DONT_TOUCH) !=
      URI_SUCCESS) {
    return malformed("the query of the store URL cannot be read");
  }
  const std::unique_ptr<UriQueryListA, void (*)(UriQueryListA*)> owner(list, uriFreeQueryListA);
  for (const UriQueryListA* item = list; item != nullptr; item = item->next) {
    if (item->key == nullptr || *item->key == '\0')
      return malformed("the store URL has an option without a name");
    if (!options.emplace(item->key, item->value == nullptr ? "" : item->value).second) {
      return malformed("the store URL gives an option twice");
    }
  }
  return {};
}

}  // namespace

ExecResult StoreUrl::parse(const std::string& url, StoreUrl& result) {
  if (url.find('\0') != std::string::npos) return malformed("the store URL has a zero byte");
  if (url.find('#') != std::string::npos) {
    return malformed("the store URL has a '#', which is written %23 in a path and in a password");
  }
  if (url.find("%00") != std::string::npos) return malformed("the store URL encodes a zero byte");
  if (!percentSignsAreSound(url)) {
    return malformed("the store URL has a '%' without two hexadecimal digits; a '%' itself is written %25");
  }
  const std::size_t colon = url.find(':');
  if (colon == std::string::npos || !isSchemeName(url.substr(0, colon))) {
    return malformed(
        "the store URL has no scheme: a file is sqlite:PATH, a server postgresql://… or mariadb://…");
  }
  const std::size_t question = url.find('?', colon);
  result.m_scheme = url.substr(0, colon);
  result.m_location = url.substr(colon + 1, question == std::string::npos ? question : question - colon - 1);
  result.m_options.clear();
  result.m_known.clear();
  return parseQuery(question == std::string::npos ? "" : url.substr(question + 1), result.m_options);
}

bool StoreUrl::take(const std::string& name, std::string& value) {
  m_known.push_back(name);
  const auto found = m_options.find(name);
  if (found == m_options.end()) return false;
  value = found->second;
  m_options.erase(found);
  return true;
}

ExecResult StoreUrl::takeNumber(const std::string& name, std::uint32_t least, std::uint32_t most,
                                std::uint32_t& value) {
  std::string text;
  if (!take(name, text)) return {};
  std::uint32_t number = 0;
  if (!ascii::parseWhole(text, number) || number < least || number > most) {
    return malformed("option '" + name + "' of the store URL takes a whole number from " +
                     std::to_string(least) + " to " + std::to_string(most));
  }
  value = number;
  return {};
}

ExecResult StoreUrl::takeWord(const std::string& name, const std::string& words, std::string& value) {
  std::string text;
  if (!take(name, text)) return {};
  if (text.empty() || (" " + words + " ").find(" " + text + " ") == std::string::npos) {
    return malformed("option '" + name + "' of the store URL takes one of: " + words);
  }
  value = text;
  return {};
}

ExecResult StoreUrl::refuseRest() const {
  if (m_options.empty()) return {};
  return unknownOption(m_options.begin()->first);
}

// An unescaped "?" in a password turns the rest of the URL into options, and "&" the rest of a password that
// is an option into another one; their names may be password text.
ExecResult StoreUrl::unknownOption(const std::string& name, const std::vector<std::string>& others) const {
  const bool plain = name.find_first_not_of("abcdefghijklmnopqrstuvwxyz_") == std::string::npos &&
                     std::none_of(m_options.begin(), m_options.end(), [](const auto& option) {
                       return (option.first + option.second).find('@') != std::string::npos ||
                              option.first.find("password") != std::string::npos;
                     });
  std::string named = "; a '?' in a user's name, a password or a path is written %3F";
  if (plain) {
    std::vector<std::string> all = m_known;
    all.insert(all.end(), others.begin(), others.end());
    named = " '" + name + "'" + nearestName(name, all);
  }
  return malformed("the store URL has an unknown option" + named + "; there are " + listOf(m_known) +
                   (others.empty() ? "" : ", and the connection keywords of the client library"));
}

ExecResult percentDecode(const std::string& text, std::string& result) {
  result = text;
  const char* end = uriUnescapeInPlaceExA(result.data(), URI_FALSE, URI_BR_DONT_TOUCH);
  result.resize(static_cast<std::size_t>(end - result.data()));
  if (result.find('\0') != std::string::npos) return malformed("the store URL encodes a zero byte");
  return {};
}

}  // namespace vorn
