#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "vorn/batch_inserter.h"

/// Fills a BatchInserter from a range of tuples or structures. `vorn/vorn.h` does not include this header.

namespace vorn {

namespace column_detail {

template <typename Type>
inline constexpr bool isOptional = false;
template <typename Type>
inline constexpr bool isOptional<std::optional<Type>> = true;

template <typename Value>
void append(BatchInserter& batch, const Value& value) {
  static_assert(!isOptional<Value>,
                "a batch has no nulls: give a value in the place of an empty std::optional, or insert these "
                "rows one by one");
  constexpr bool isText = std::is_convertible_v<const Value&, std::string_view>;
  static_assert(isText || isOptional<Value> || (std::is_arithmetic_v<Value> && sizeof(Value) <= 8),
                "a column takes bool, char, the integers, float, double and texts");
  if constexpr (std::is_same_v<Value, std::string> || std::is_same_v<Value, bool> ||
                std::is_floating_point_v<Value>) {
    batch << value;
  } else if constexpr (std::is_same_v<Value, char>) {
    batch << std::string(1, value);
  } else if constexpr (std::is_integral_v<Value>) {
    batch << static_cast<std::conditional_t<std::is_signed_v<Value>, long, unsigned long>>(value);
  } else if constexpr (isText) {
    if constexpr (std::is_pointer_v<Value>) {
      if (value == nullptr) throw std::invalid_argument("a batch has no nulls");
    }
    batch << std::string(std::string_view(value));
  }
}

template <typename Element, typename = void>
inline constexpr bool isTuple = false;
template <typename Element>
inline constexpr bool isTuple<Element, std::void_t<decltype(std::tuple_size<Element>::value)>> = true;

template <typename Column>
inline constexpr bool isName = std::is_convertible_v<const Column&, std::string>;

/// How the value of one column comes out of a row: by a member, or by its place in a tuple.
template <std::size_t, typename Name, typename Member>
std::pair<std::string, const Member&> access(const std::pair<Name, Member>& column) {
  return {std::string(column.first), column.second};
}
template <std::size_t Place, typename Name>
auto access(const Name& name) {
  static_assert(isName<Name>, "a column is a name, or a std::pair of a name and a pointer to a member");
  const auto get = [](const auto& row) -> decltype(auto) { return std::get<Place>(row); };
  return std::pair<std::string, decltype(get)>(name, get);
}

template <typename Rows, std::size_t... Places, typename... Columns>
void fill(BatchInserter& batch, Rows&& rows, std::index_sequence<Places...>, const Columns&... columns) {
  using Category = typename std::iterator_traits<decltype(std::begin(rows))>::iterator_category;
  if constexpr (std::is_base_of_v<std::forward_iterator_tag, Category>) {
    const auto fillOne = [&](const auto& column) {
      batch[column.first];
      for (const auto& row : rows) append(batch, std::invoke(column.second, row));
    };
    (fillOne(access<Places>(columns)), ...);
  } else {
    const auto ways = std::make_tuple(access<Places>(columns)...);
    for (const auto& row : rows) {
      (append(batch[std::get<Places>(ways).first], std::invoke(std::get<Places>(ways).second, row)), ...);
    }
  }
}

}  // namespace column_detail

/// Appends to a batch a row for each element of a range.
///
/// The elements are tuples, or pairs or arrays, and the columns are their names, one for each place of the
/// tuple:
/// @code
///   std::vector<std::tuple<long, std::string>> found{{3, "fan"}, {4, "pump"}};
///   BatchInserter batch;
///   batch.table("alarm");
///   vorn::appendRows(batch, found, "id", "name");
///   assert(db->ExecBatchInserter(batch) == 0);
/// @endcode
///
/// Or they are of any type, and each column is a pair of its name and a pointer to a member, or anything else
/// that std::invoke() takes:
/// @code
///   struct Alarm {
///     long id;
///     int level;
///     std::string name;
///     bool open() const { return level > 0; }
///   };
///   std::vector<Alarm> found{{3, 1, "fan"}, {4, 0, "pump"}};
///   BatchInserter batch;
///   batch.table("alarm");
///   const auto state = [](const Alarm& each) { return each.open() ? "open" : "closed"; };
///   vorn::appendRows(batch, found, std::pair{"id", &Alarm::id}, std::pair{"name", &Alarm::name},
///                    std::pair{"state", state});
///   assert(db->ExecBatchInserter(batch) == 0);
/// @endcode
///
/// A value is bool, char, an integer, float, double or a text. A char becomes a text of one byte. The
/// integers make a signed or an unsigned column, as BatchInserter has it. A batch has no nulls, hence a
/// std::optional does not compile.
///
/// The values are copied. The range is gone through once for each column; a range that can be gone through
/// only once, as vorn::rows() is, is taken row by row, for which a column is looked up for each value.
/// @param rows     a range, or an array
/// @param columns  the names, or the pairs
///
/// Threads: one thread at a time.
///
/// Errors: as BatchInserter has it, a value that does not fit what its column has held before is logged and
/// dropped, and ExecBatchInserter() then refuses the batch. A column that is named twice, and a null pointer
/// to a text, throw std::invalid_argument; allocations throw, and so does what the range and the members
/// throw. The columns may differ in length then, so clear the batch. A vorn::rows() that fails ends early:
/// keep it in a variable, and look at its code() before the batch is sent.
template <typename Range, typename... Columns>
void appendRows(BatchInserter& batch, Range&& rows, const Columns&... columns) {
  static_assert(sizeof...(Columns) > 0, "a row has a column at least");
  using Element = std::decay_t<decltype(*std::begin(rows))>;
  if constexpr ((column_detail::isName<Columns> && ...)) {
    static_assert(column_detail::isTuple<Element>,
                  "the columns of a structure are std::pairs of a name and a pointer to a member");
    if constexpr (column_detail::isTuple<Element>) {
      static_assert(std::tuple_size<Element>::value == sizeof...(Columns),
                    "a tuple has a name for each of its places");
    }
  }
  const std::string names[] = {column_detail::access<0>(columns).first...};
  for (const std::string& name : names) {
    if (std::count(std::begin(names), std::end(names), name) > 1)
      throw std::invalid_argument("a column is named twice: " + name);
  }
  column_detail::fill(batch, rows, std::index_sequence_for<Columns...>(), columns...);
}

}  // namespace vorn
