#pragma once

#include <string>

#include "store/store_fixture.h"

/// Makes each scenario of a file under tests/ a test case SUITE.TITLE/KIND, on an empty store, in an empty
/// directory.
///
///   == TITLE           begins a scenario; the steps before the first title begin every scenario
///   case A | B         runs the scenario with A for $1 and B for $2, once for each such line
///   STEP => OUTCOME    ok, an error as describeError() has it, or rows: 1|x;2|~ are two rows of two columns.
///                      ~ is NULL, '' an empty text, (none) no row; 1..3 stands for 1;2;3. A failure that ends
///                      the rows follows them. "E / F" names what each kind of store answers. No log line may
///                      hold "geheim" or 47114711.
/// Steps: write SQL, read SQL, begin, commit, rollback, bind URL, unbind, shell COMMAND; batch ROWS from FIRST
/// [by STEP] into t(n, v), n rising from FIRST, v from 0; values TABLE.COLUMN TYPE [TIMES*]VALUE,… for a batch of long,
/// unsigned, double or text (with \0 and \xff); each N,… SQL with a parameter {n}, and {v} if it is named,
/// which is -n; open READER SQL, then next, rest and close READER; logged TEXT => yes or no; stream SQL =>
/// the number of rows, which pass in constant memory; statistics => calls|failures|rows since the last time.
/// In a step $URL is the store's, $OTHER another empty one's, $HOST its server, 9#x nine letters x. Before a step "elsewhere: "
/// runs it on another thread, "other: " on a second session, "child: " in a forked process, the only place
/// for set VARIABLE VALUE; the steps that follow with the same words run there as well.
///
/// A line that is no step, a title twice and a scenario without steps end the program, with file and line. A
/// verb that there is not, or another outcome, fails its scenario there.
void registerScenarios(const std::string& suite, const std::string& file, const StoreKind& kind);
