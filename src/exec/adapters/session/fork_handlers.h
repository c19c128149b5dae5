#pragma once

namespace vorn {

/// Takes the layer over every later fork of the process:
///
/// 1. Before it, the forking thread's connections and the idle ones are closed where a child that merely has
///    them open would do harm. What its open results have not delivered yet moves into memory first; a
///    connection in a transaction stays.
/// 2. No lock of the layer is held by another thread while the process is copied.
/// 3. In the child everything of the parent counts as inherited, see OwnedByProcess.
///
/// Called before a lock of the layer is first taken, and as often as one likes. Any thread may call it.
/// Throws when the process has no room for the handlers.
void installForkHandlers();

}  // namespace vorn
