#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vorn {

/// A single-row insert as the inserter renders it, with its literals lifted out, so that one prepared
/// statement serves every row of the same shape.
///
/// Only what is understood whole is recognised: plain names, then `values(` literals `)`, then the end. The
/// literals are NULL, decimal integers in the signed 64-bit range, quoted texts, and decimal fractions, whose
/// conversion stays the store's own (`cast(? as real)`). What such a statement stores is what the text
/// stores.
class LiteralLifter {
 public:
  enum class Type : unsigned char { Null, Integer, Text };

  struct Literal {
    Type type;
    std::int64_t integer;
    const char* bytes;  ///< of a text, or of a fraction's digits
    std::size_t size;
  };

  /// Takes a statement's text apart. The text must stay as it is while literals() are used.
  /// @return false for any other text; the object is then good for another recognise() only
  bool recognise(const std::string& sql);

  /// The statement's text with parameters in place of its literals.
  const std::string& shape() const { return m_shape; }

  /// The literals, one for each parameter.
  const std::vector<Literal>& literals() const { return m_literals; }

 private:
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
