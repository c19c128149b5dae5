// The URL of a store: written again it is the same, and no name and no failure shows a secret, which * stands
// for.
#include <algorithm>

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

void checkDriver(vorn::StoreUrl url, decltype(vorn::makeSqliteDriver)* make, bool hidden) {
  std::shared_ptr<vorn::StoreDriver> driver;
  const vorn::ExecResult result = make(url, "fuzz", driver);
  require(result.succeeded() == (driver != nullptr), "a driver, or why there is none");
  require(!contains(result.detail().value_or(""), kSecret), "no failure shows a secret");
  if (driver == nullptr) return;
  require(!hidden || !contains(driver->name(), kSecret), "no name shows a password");
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
    checkDriver(url, make, hidden && make != vorn::makeSqliteDriver);
  return 0;
}
