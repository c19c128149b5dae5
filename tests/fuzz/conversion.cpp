// A field, as a number and as a text: each conversion against the plain C function, and each short cut
// against its text.
#include <cmath>
#include <cstring>

#include "exec/field_conversion.h"
#include "fuzz.h"

namespace {

template <typename Target>
void checkShortCut(const vorn::RowValue& field) {
  Target direct{}, byText{};
  if (vorn::isEmptyField(field) || !vorn::convertDirectly(field, direct)) return;
  vorn::convertThroughText(field, byText);
  require(std::memcmp(&direct, &byText, sizeof direct) == 0, "a short cut comes to what the text says");
}

template <typename... Targets>
void checkShortCuts(const vorn::RowValue& field) {
  (checkShortCut<Targets>(field), ...);
}

void check(const vorn::RowValue& field) {
  checkShortCuts<char, short, unsigned short, int, unsigned, long, unsigned long, float, double>(field);
  const std::string text = field.text();
  if (text.empty()) return;
  long integer = 0;
  double real = 0;
  vorn::convertText(text, integer);
  vorn::convertText(text, real);
  require(integer == std::strtol(text.c_str(), nullptr, 10), "a long is that of strtol");
  const double plain = std::strtod(text.c_str(), nullptr);
  require(std::isnan(plain) ? std::isnan(real) : std::memcmp(&real, &plain, sizeof real) == 0,
          "a double is that of strtod");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  vorn::RowValue field;
  field.setText(reinterpret_cast<const char*>(bytes), size);
  check(field);
  std::int64_t integer = 0;
  double real = 0;
  std::memcpy(&integer, bytes, std::min(size, sizeof integer));
  std::memcpy(&real, bytes, std::min(size, sizeof real));
  field.setInteger(integer);
  require(field.text() == std::to_string(integer), "the text of an integer");
  check(field);
  field.setReal(real);
  const double back = std::strtod(field.text().c_str(), nullptr);
  require(std::isnan(real) || std::memcmp(&back, &real, sizeof real) == 0, "the text of a real reads back");
  require(field.text().find('e') == std::string::npos, "a real without an exponent");
  check(field);
  return 0;
}
