#pragma once

#include <sqlite3.h>

namespace vorn {

/// Sees every statement of one connection while SQLite compiles it, as the connection's authorizer.
///
/// Invariants:
/// 1. changed() is true once a statement did, or may have done, something to the session that outlives it:
///    a pragma with a value, an attached database, anything in the temporary schema. It never becomes false.
/// 2. While the mode is not Allow, nothing takes effect by being compiled, as some pragmas do.
class SqliteSessionWatch {
 public:
  enum class Mode {
    Allow,
    DenyPragmas,  ///< those that may change the session
    DenyAll
  };

  /// What the statement compiled last does to the transaction.
  struct Control {
    bool any = false;      ///< begin, commit, rollback, savepoint or release
    bool commits = false;  ///< commit, or a release, which may be one
  };

  /// Starts to watch. The object stays where it is for as long as the connection is open.
  void watch(sqlite3* database) noexcept;

  /// Before a statement is compiled.
  void prepareIn(Mode mode) noexcept;

  /// @return whether a pragma was denied since prepareIn()
  bool deniedPragma() const noexcept { return m_deniedPragma; }

  /// @return whether another database may be, or have been, attached
  bool attached() const noexcept { return m_attached; }

  Control control() const noexcept { return m_control; }
  bool changed() const noexcept { return m_changed; }

 private:
  static int authorize(void* self, int action, const char* first, const char* second, const char* schema,
                       const char* trigger) noexcept;
  int seePragma(const char* name, const char* value, const char* schema) noexcept;

  Mode m_mode = Mode::Allow;
  Control m_control;
  bool m_deniedPragma = false;
  bool m_changed = false;
  bool m_attached = false;
};

}  // namespace vorn
