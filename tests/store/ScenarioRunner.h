#pragma once

#include <string>

#include "store/store_fixture.h"

/// Makes each scenario of a file under tests/ a test case SUITE.TITLE/KIND, on an empty store, in an empty
/// directory.
///
///   == TITLE           begins a scenario; the steps before the first title begin every scenario
///   case A | B         runs the scenario with A for $1 and B for $2, once for each such line
///   STEP => OUTCOME    ok, an error as describeError() has it, or rows: 1|x;2|~ are two rows of two columns.
///                      ~ is NULL, '' an empty text, (none) no row; 1..3 stands for 1;2;3. "E / F" names
///                      what each kind of store answers. No log line may hold "geheim" or 47114711.
/// Steps: write SQL, read SQL, begin, commit, rollback, bind URL, unbind, set VARIABLE VALUE, shell COMMAND;
/// batch ROWS from FIRST into t(n, v), n rising from FIRST, v from 0; values TABLE.COLUMN TYPE
/// [TIMES*]VALUE,… for a batch of long, unsigned, double or text (with \0 and \xff); each N,… SQL with
/// a parameter {n}; open READER SQL, then next, rest, count (of the rest) and close READER, where a failure
/// that ends the rows follows them; logged TEXT => yes or no; stream SQL => the number of rows, which pass in
/// constant memory; statistics => calls|failures|rows since the last time. In a step $URL is the store's,
/// $OTHER another empty one's, $HOST its server. "elsewhere:" runs a step, or the indented ones below, on
/// another thread, "other:" on a second session, "child:" in a forked process.
///
/// A file that cannot be read strictly ends the program, with file and line.
void registerScenarios(const std::string& suite, const std::string& file, const StoreKind& kind);
