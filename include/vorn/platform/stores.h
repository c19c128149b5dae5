#pragma once

#include <cstdint>
#include <string>

#include "vorn/export.h"
#include "vorn/platform/data_session.h"

namespace vorn {

/// Binds a session name to a store.
///
/// A name without a binding leads to the URL in the environment variable `VORN_STORE_` + the name in upper
/// case, and without that to SQLite in `<name>.db` under `VORN_DATA_DIR` or the working directory.
///
/// URLs: `sqlite:<path>`, `sqlite::memory:` (one database per session name, shared by the process's
/// connections, gone with unbindStores()), `postgresql://…` or `postgres://…` (a URI of libpq, several hosts
/// included). Query parameters: `pool_size` (connections, default 16), `acquire_timeout_ms` (default 5000);
/// for SQLite `busy_timeout_ms` (default 5000), `journal_mode` (default wal), `synchronous` (default full);
/// for PostgreSQL `session_reset` (changed or always, default changed) and every connection keyword of libpq
/// (`connect_timeout` default 10 seconds a host). Percent-encode blanks, `?` and `#`.
///
/// Threads that hold a connection of the old binding keep it until their last session of the name and their
/// transaction end. Any thread may call it.
/// @return a failure for a malformed URL, an unknown scheme or an unknown option, and for a store whose
///         module cannot be loaded (docs/stores.md, "Modules"); nothing is opened, so a store that is not
///         there is reported by the first call that needs it
/// @code
///   vorn::bindStore("default", "sqlite:/var/lib/app/state.db?busy_timeout_ms=2000");
///   vorn::bindStore("default", "postgresql://app:pw@db1,db2/state?target_session_attrs=read-write");
/// @endcode
VORN_API ExecResult bindStore(const std::string& sessionName, const std::string& url);

/// Forgets the bindings made by bindStore() and closes every idle connection. Connections in use close when
/// their thread gives them back. Any thread may call it.
VORN_API void unbindStores();

/// @return what an error code of the data-access layer means: `"sqlite 2067 SQLITE_CONSTRAINT_UNIQUE"`,
///         `"postgresql 23505 unique_violation"`, `"vorn 3 POOL_EXHAUSTED"`. 0 and 1 are the library's own:
///         `"success"`, `"refused by the library"`.
VORN_API std::string describeError(std::uint64_t code);

/// What an error asks of the caller; one meaning over all stores.
enum class ErrorClass {
  Success,
  Refused,         ///< the library refused the call; the store was not asked
  Retry,           ///< serialization failure, deadlock or busy: the same work may succeed when begun again
  ConnectionLost,  ///< no connection to the store, or it or the transaction was lost
  Timeout,         ///< a time limit has passed
  Constraint,      ///< a constraint of the data
  Statement,       ///< the statement is wrong: its text, its names, its place
  Value,           ///< a value that its column or an operation cannot take
  Permission,      ///< not allowed, or not writable
  Resource,        ///< memory, room, connections or a module are missing
  Other
};

/// @return the class of an error code of the data-access layer; 0 is Success, 1 is Refused
VORN_API ErrorClass errorClass(std::uint64_t code) noexcept;

}  // namespace vorn
