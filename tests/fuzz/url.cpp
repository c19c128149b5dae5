// The URL of a store: written again it is the same, and no name and no failure shows a secret, which * stands
// for.
#include <libpq-fe.h>

#include <algorithm>
#include <cstring>

#include "common/ascii.h"
#include "exec/adapters/mariadb/MariaDbDriver.h"
#include "exec/adapters/postgres/PostgresDriver.h"
#include "exec/adapters/sqlite/SqliteDriver.h"
#include "exec/adapters/store/StoreUrl.h"
#include "fuzz.h"

namespace {

const std::string kSecret = "Zq7sEcReT";

std::string encoded(const std::string& text) {
  std::string result;
  for (const char c : text) vorn::ascii::appendHex(result, "%", c);
  return result;
}

// The name that the client library itself would make of a URL without options of the layer's own.
void checkPostgresName(const std::string& url, const std::string& name) {
  PQconninfoOption* const options = PQconninfoParse(url.c_str(), nullptr);
  if (options == nullptr) return;  // it is stricter about an option's value that has a '='
  std::string parts[5];
  for (const PQconninfoOption* option = options; option->keyword != nullptr; ++option) {
    const char* const names[] = {"host", "hostaddr", "port", "dbname", "service"};
    const char* const marks[] = {"", "", ":", "/", "?service="};
    for (int part = 0; part < 5; ++part) {
      if (option->val != nullptr && std::strcmp(option->keyword, names[part]) == 0)
        parts[part] = std::string(marks[part]) + option->val;
    }
  }
  PQconninfoFree(options);
  require(name == "postgresql://" + (parts[0].empty() ? parts[1] : parts[0]) + parts[2] + parts[3] + parts[4],
          "a PostgreSQL store is that of its URL");
}

void checkDriver(const std::string& text, vorn::StoreUrl url, decltype(vorn::makeSqliteDriver)* make,
                 bool hidden) {
  const bool own = url.options().count("session_reset") + url.options().count("statement_cache") > 0;
  std::shared_ptr<vorn::StoreDriver> driver;
  const vorn::ExecResult result = make(url, "fuzz", driver);
  require(result.succeeded() == (driver != nullptr), "a driver, or why there is none");
  require(!contains(result.detail().value_or(""), kSecret), "no failure shows a secret");
  if (driver == nullptr) return;
  require(!hidden || !contains(driver->name(), kSecret), "no name shows a password");
  if (make == vorn::makePostgresDriver && !own) checkPostgresName(text, driver->name());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(bytes), size);
  const std::size_t star = text.find('*');
  if (star != std::string::npos) text.replace(star, 1, kSecret);
  // In the place of a password, between the user's name and the host.
  const std::size_t colon = text.find_first_of(":/?@,", text.find("://") + 3),
                    end = text.find_first_of("@/?", star);
  const bool hidden = star != std::string::npos && star > 0 && colon + 1 == star &&
                      end != std::string::npos && text[colon] == ':' && text[end] == '@';
  vorn::StoreUrl url;
  const vorn::ExecResult result = vorn::StoreUrl::parse(text, url);
  require(!contains(result.detail().value_or(""), kSecret), "no failure shows a secret");
  if (!result.succeeded()) return 0;
  std::string again = url.scheme() + ":" + url.location();
  for (const auto& [name, value] : url.options())
    again += (again.find('?') == std::string::npos ? "?" : "&") + encoded(name) + "=" + encoded(value);
  vorn::StoreUrl other;
  require(vorn::StoreUrl::parse(again, other).succeeded() && other.scheme() == url.scheme() &&
              other.location() == url.location() && other.options() == url.options(),
          "a URL written again is the same");
  for (auto* make : {vorn::makeSqliteDriver, vorn::makePostgresDriver, vorn::makeMariaDbDriver})
    checkDriver(text, url, make, hidden && make != vorn::makeSqliteDriver);
  return 0;
}
