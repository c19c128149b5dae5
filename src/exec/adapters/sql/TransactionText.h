#pragma once

#include <string_view>

namespace vorn {

/// What a statement's text does to the transaction as a whole. `None` for every other statement, for those
/// that leave a transaction open (`rollback to`, `commit and chain`) or concern another one (`commit
/// prepared`), and wherever the stores could differ in how they read the text.
enum class TransactionText : unsigned char { None, Begin, Commit, Rollback };

/// Looks at the words of a text, blanks, semicolons and comments around them skipped. Most texts are decided
/// by their first two bytes.
TransactionText transactionText(std::string_view sql) noexcept;

}  // namespace vorn
