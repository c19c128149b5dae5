#pragma once

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "vorn/database.h"
#include "vorn/platform/data_session.h"
#include "vorn/platform/logging.h"
#include "vorn/platform/row_value.h"
#include "vorn/reader.h"
#include "vorn/statement.h"

/// The rows of a query as a range of tuples: rows(), and value() for a result of one value. `vorn/vorn.h`
/// does not include this header.

namespace vorn {

namespace row_detail {

/// Codes of the failures that arise here; describeError() knows them.
inline constexpr std::uint64_t kColumnCount = std::uint64_t{15} << 32 | 22;
inline constexpr std::uint64_t kNullValue = std::uint64_t{15} << 32 | 23;
inline constexpr std::uint64_t kValueType = std::uint64_t{15} << 32 | 24;
inline constexpr std::uint64_t kRowCount = std::uint64_t{15} << 32 | 25;

template <typename Type>
struct Optional : std::false_type {
  using Value = Type;
};
template <typename Type>
struct Optional<std::optional<Type>> : std::true_type {
  using Value = Type;
};

template <typename Type, typename... Others>
inline constexpr bool isOneOf = (std::is_same_v<Type, Others> || ...);

template <typename Type>
inline constexpr bool isNumber =
    isOneOf<Type, bool, signed char, unsigned char, short, unsigned short, int, unsigned int, long,
            unsigned long, long long, unsigned long long, float, double>;

template <typename Number>
bool fromInteger(std::int64_t integer, Number& target) noexcept {
  target = static_cast<Number>(integer);
  if constexpr (std::is_floating_point_v<Number>) return true;
  if constexpr (std::is_unsigned_v<Number>) {
    if (integer < 0) return false;
  }
  return static_cast<std::int64_t>(target) == integer;
}

template <typename Number>
bool fromReal(double real, Number& target) noexcept {
  if constexpr (std::is_floating_point_v<Number>) {
    if (std::isfinite(real) && std::fabs(real) > std::numeric_limits<Number>::max()) return false;
    target = static_cast<Number>(real);
    return true;
  } else if constexpr (std::is_unsigned_v<Number>) {
    if (!(real >= 0 && real < 0x1p64) || std::trunc(real) != real) return false;
    const auto whole = static_cast<std::uint64_t>(real);
    target = static_cast<Number>(whole);
    return static_cast<std::uint64_t>(target) == whole;
  } else {
    if (!(real >= -0x1p63 && real < 0x1p63) || std::trunc(real) != real) return false;
    return fromInteger(static_cast<std::int64_t>(real), target);
  }
}

template <typename Number>
[[gnu::noinline]] bool fromText(const std::string& text, Number& target) noexcept {
  if constexpr (std::is_same_v<Number, bool>) {
    const bool isTrue = text == "true" || text == "TRUE";
    int number = isTrue ? 1 : 0;
    if (!isTrue && text != "false" && text != "FALSE" && !fromText(text, number)) return false;
    return fromInteger(number, target);
  } else {
    Number number{};
    const char* const end = text.data() + text.size();
    std::from_chars_result read = std::from_chars(text.data(), end, number);
    if (read.ec != std::errc()) return false;
    // A decimal type of the store writes its whole numbers with their zeros: 12.00.
    if (std::is_integral_v<Number> && read.ptr != end && *read.ptr == '.' && ++read.ptr != end) {
      while (read.ptr != end && *read.ptr == '0') ++read.ptr;
    }
    if (read.ptr != end || text.back() == '.') return false;
    target = number;
    return true;
  }
}

/// @return whether the field, which is not NULL, has a value of the type
template <typename Number>
bool takeValue(RowValue& field, Number& target) noexcept {
  switch (field.kind()) {
    case RowValue::Kind::Integer:
      return fromInteger(field.integer(), target);
    case RowValue::Kind::Real:
      return fromReal(field.real(), target);
    default:
      return fromText(field.textBytes(), target);
  }
}

inline bool takeValue(RowValue& field, char& target) noexcept {
  RowValue::TextBuffer buffer;
  const std::string_view text = field.textView(buffer);
  if (text.size() != 1) return false;
  target = text.front();
  return true;
}

inline bool takeValue(RowValue& field, std::string& target) {
  field.takeText(target);
  // The stores write a single blank for an empty text.
  if (target.size() == 1 && target.front() == ' ') target.clear();
  return true;
}

/// @return 0, or the failure
template <typename Type>
std::uint64_t takeField(RowValue& field, Type& target) {
  using Value = typename Optional<Type>::Value;
  static_assert(isOneOf<Value, char, std::string> || isNumber<Value>,
                "a field is read as bool, char, an integer, float, double or std::string, or as a "
                "std::optional of one of these");
  if constexpr (Optional<Type>::value) {
    if (field.kind() == RowValue::Kind::Null) {
      target.reset();
      return 0;
    }
    return takeValue(field, target ? *target : target.emplace()) ? 0 : kValueType;
  } else {
    if (field.kind() == RowValue::Kind::Null) return kNullValue;
    return takeValue(field, target) ? 0 : kValueType;
  }
}

inline std::string reason(std::uint64_t code, std::size_t types, std::size_t columns, std::size_t column) {
  if (code == kRowCount) return "the result has more than one row, and one value was asked for";
  if (code == kColumnCount) {
    return "the result has " + std::to_string(columns) + " columns, and its rows were to be of " +
           std::to_string(types) + " types";
  }
  return "column " + std::to_string(column) +
         (code == kNullValue ? " is NULL, and its type is no std::optional" : " has no value of its type");
}

}  // namespace row_detail

/// The rows of one query, each as a tuple of the given types; rows() makes one.
///
/// The query is run when the object is made, and its rows come one by one while the range is gone through,
/// once. `*iterator` is an rvalue: `auto [id, name]` takes the row over. `auto&& [id, name]` only looks at
/// it, until the next row comes, for which the storage of the texts is kept. `auto& [id, name]` does not
/// compile.
/// @code
///   CVORNSelector select;
///   select.table("alarm");
///   select.select("id");
///   select.select("name");
///   auto alarms = vorn::rows<long, std::optional<std::string>>(*db, select);
///   for (auto [id, name] : alarms) std::cout << id << ' ' << name.value_or("(none)") << '\n';
///   if (alarms.code() != 0) std::cerr << vorn::describeError(alarms.code()) << '\n';
/// @endcode
///
/// The types are bool, char, the integers, float, double, std::string, and std::optional of one of these.
/// There is one for each column. A value is taken where it is a value of the type, and is a failure anywhere
/// else, so that no number is cut, wrapped around or guessed:
/// - an integer takes a whole number in its range, of a text too, which may have zeros after its point;
/// - float and double take every number, rounded to the nearest they have, but none that is out of range, and
///   of a text none that is too small for them;
/// - bool takes 0, 1, `true`, `false`, `TRUE` and `FALSE`;
/// - char takes a text of one byte;
/// - std::string takes the text of every value, see RowValue. A single blank, which the stores write for an
///   empty text, becomes the empty text, as CVORNReader has it;
/// - std::optional is empty where the field is NULL, and only there. No other type takes NULL.
///
/// The range keeps a session, and with it a connection to the store, until its last row was passed, it has
/// failed, or it is destroyed. It may be left before its last row.
///
/// Threads: one thread, the one that made it.
///
/// Errors: a failure ends the range, as the end of the result does; code() says which it was, and so does
/// lastResult(), with the detail, until the thread's next call. What the query's own call may return is in
/// database.h. Besides, there are `vorn 22 COLUMN_COUNT` (the columns are not as many as the types),
/// `vorn 23 NULL_VALUE` (NULL where the type is no std::optional) and `vorn 24 VALUE_TYPE` (a value that is
/// none of its type), which are logged at error level like every read that breaks off. A result without
/// rows has no columns that could be counted. Only allocations throw.
///
/// Requires: the range is gone through where it was made, as it is neither copied nor moved, and outlives its
/// iterators.
template <typename... Types>
class Rows {
 public:
  using Row = std::tuple<Types...>;

  /// A place in the range. Places are equal when both are the end, or both are in the same range.
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Row;
    using difference_type = std::ptrdiff_t;
    using pointer = Row*;
    using reference = Row&&;

    Iterator() = default;
    reference operator*() const noexcept {
      m_rows->m_taken = true;
      return std::move(m_rows->m_row);
    }
    pointer operator->() const noexcept { return &m_rows->m_row; }
    Iterator& operator++() {
      if (!m_rows->next()) m_rows = nullptr;
      return *this;
    }
    void operator++(int) { ++*this; }
    friend bool operator==(const Iterator& a, const Iterator& b) noexcept { return a.m_rows == b.m_rows; }
    friend bool operator!=(const Iterator& a, const Iterator& b) noexcept { return a.m_rows != b.m_rows; }

   private:
    friend class Rows;
    explicit Iterator(Rows* rows) noexcept : m_rows(rows) {}
    Rows* m_rows = nullptr;
  };

  /// Runs the query.
  Rows(CVORN& db, const CVORNBase& statement) : m_code(db.execReadSQL(statement, m_reader)) {
    static_assert(sizeof...(Types) > 0, "a row has a type for each of its columns");
    if (m_code == 0) {
      m_session = m_reader.initializeSession(std::string());
    } else if (lastResult().errorCode() != m_code) {
      setLastResult({1, m_code, std::nullopt});  // refused before the data-access layer was asked
    }
  }
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  /// @return the place of the first row that was not handed out yet: a second loop goes on after the row at
  ///         which the first one was left
  Iterator begin() {
    const bool goesOn = !std::exchange(m_begun, true) || m_taken;
    return Iterator((goesOn ? next() : m_session != nullptr) ? this : nullptr);
  }
  Iterator end() noexcept { return Iterator(); }

  /// @return 0 as long as nothing has failed, and where every row was passed; else the code of the failure
  unsigned long code() const noexcept { return m_code; }

 private:
  template <typename Type>
  friend std::optional<Type> value(CVORN& db, const CVORNBase& statement);

  bool next() {
    m_taken = false;
    if (m_session == nullptr) return false;
    TypedRef target;
    target.type.code = type_code::kRow;
    target.object = &m_fields;
    constexpr int kFetchHint = 100;
    if (!m_session->fetchRow(m_status, target, kFetchHint)) return finish();
    if (m_fields.size() != sizeof...(Types)) return refuse(row_detail::kColumnCount, 0);
    return takeFields(std::index_sequence_for<Types...>());
  }

  template <std::size_t... Columns>
  bool takeFields(std::index_sequence<Columns...>) {
    std::uint64_t failure = 0;
    std::size_t column = 0;
    const bool taken =
        ((++column, (failure = row_detail::takeField(m_fields[Columns], std::get<Columns>(m_row))) == 0) &&
         ...);
    return taken || refuse(failure, column);
  }

  [[gnu::noinline, gnu::cold]] bool finish() {
    m_code = m_status.succeeded() ? 0 : m_status.errorCode();
    close();
    return false;
  }

  // Closing comes first, and the log before the outcome: its sink may run statements.
  [[gnu::noinline, gnu::cold]] bool refuse(std::uint64_t code, std::size_t column) {
    m_code = code;
    close();
    const std::string detail = row_detail::reason(code, sizeof...(Types), m_fields.size(), column);
    Logger::error(static_cast<std::uint32_t>(code), "[VORNLib]reading rows broke off: " + detail,
                  {"Rows", "next", __LINE__});
    setLastResult({1, code, detail});
    return false;
  }

  void close() noexcept {
    m_reader.clear();
    m_session = nullptr;
  }

  CVORNReader m_reader;
  DataSession* m_session = nullptr;  ///< the reader's, while there may be rows
  std::vector<RowValue> m_fields;
  Row m_row;
  ExecResult m_status;
  unsigned long m_code;
  bool m_begun = false;
  bool m_taken = false;  // the current row
};

/// Runs a query whose rows are to be gone through. The text of the statement is complete before this returns,
/// so that the statement may change or end.
/// @code
///   CVORNsqlstr urgent;
///   urgent.assign("select id, name from alarm where level >= 3");
///   std::vector<std::string> lines;
///   for (auto&& [id, name] : vorn::rows<long, std::string>(*db, urgent)) {
///     lines.push_back(std::to_string(id) + ' ' + name);
///   }
///   if (!vorn::lastResult().succeeded()) std::cerr << vorn::lastResult().detail().value_or("") << '\n';
///   assert(lines.size() == 1 && lines[0] == "1 disk");
/// @endcode
/// @return the range, which cannot be moved: use it in place, or keep it as `auto alarms = vorn::rows<…>(…)`
///
/// Errors: see Rows.
template <typename... Types>
Rows<Types...> rows(CVORN& db, const CVORNBase& statement) {
  return Rows<Types...>(db, statement);
}

/// Runs a query whose result is one value.
/// @code
///   CVORNsqlstr count;
///   count.assign("select count(*) from alarm");
///   assert(vorn::value<long>(*db, count) == 2);
///   CVORNsqlstr none;
///   none.assign("select name from alarm where id = 99");
///   assert(!vorn::value<std::string>(*db, none) && vorn::lastResult().succeeded());
/// @endcode
/// @return the value; nothing where the result has no row, and after a failure. lastResult() says which of
///         the two it was.
///
/// Errors: see Rows. A result of several rows is the failure `vorn 25 ROW_COUNT`.
template <typename Type>
std::optional<Type> value(CVORN& db, const CVORNBase& statement) {
  Rows<Type> all(db, statement);
  if (!all.next()) return std::nullopt;
  std::optional<Type> found(std::in_place, std::move(std::get<0>(all.m_row)));
  if (all.next()) all.refuse(row_detail::kRowCount, 0);
  if (all.m_code != 0) found.reset();
  return found;
}

}  // namespace vorn
