#pragma once

#include <mysql.h>

#include "vorn/platform/row_value.h"

namespace vorn {

/// How a value of a column is kept as a row value, be it received as text or in the binary form of the protocol.
enum class MariaDbForm : unsigned char { Text, Integer, Real };

/// A number that is filled with zeros is its digits.
MariaDbForm mariaDbForm(const MYSQL_FIELD& field) noexcept;

/// @return whether the binary form of the column's values says what their text says
bool hasBinaryForm(const MYSQL_FIELD& field) noexcept;

/// @return whether that holds for all columns of a statement
bool hasBinaryForms(const MYSQL_STMT* statement) noexcept;

/// Sets a value from its text.
void setFromText(RowValue& target, MariaDbForm form, const char* text, std::size_t size);

/// Sets a value from its binary form, to what its text would have set.
/// @param bytes  as the server sent them, where there is a length before the value with this length
void setFromBinary(RowValue& target, MariaDbForm form, const MYSQL_FIELD& field, unsigned char* bytes);

}  // namespace vorn
