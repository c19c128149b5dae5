#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <string>
#include <vector>

namespace vorn {

/// A single-row insert as the inserter renders it, with its literals lifted out, so that one prepared
/// statement serves every row of the same shape.
///
/// Only what is understood whole is recognised: plain names, then `values(` literals `)`, then the end. The
/// literals are NULL, decimal integers in the signed 64-bit range, quoted texts, and decimal fractions, whose
/// conversion stays SQLite's own (`cast(? as real)`). What such a statement stores is what the text stores.
class SqliteLiftedInsert {
 public:
  /// Takes a statement's text apart. The text must stay as it is until bind() was called for the last time.
  /// @return false for any other text; the object is then good for another recognise() only
  bool recognise(const std::string& sql);

  /// The statement's text with parameters in place of its literals.
  const std::string& shape() const { return m_shape; }

  /// Binds the literals to a statement prepared from shape(). The texts are not copied.
  /// @return an SQLite result code
  int bind(sqlite3_stmt* statement) const;

 private:
  enum class Type : unsigned char { Null, Integer, Text };

  struct Literal {
    Type type;
    sqlite3_int64 integer;
    const char* bytes;
    std::size_t size;
  };

  bool readNames();
  bool readLiteral();
  bool readNumber();
  bool readText();
  bool readName();
  bool take(const char* word, std::size_t size);
  void add(const char* parameter, const Literal& literal);

  const char* m_at = nullptr;
  const char* m_end = nullptr;
  std::string m_shape;
  std::string m_unescaped;  ///< texts whose doubled quotes were undone; never moves while texts point into it
  std::vector<Literal> m_literals;
};

}  // namespace vorn
