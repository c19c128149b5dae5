#pragma once

#include <string>

#include "store/store_fixture.h"

/// Makes each scenario of a file under tests/ a test case SUITE.TITLE/KIND, on an empty store and in an empty
/// directory.
///
/// A line is a comment (#), a title (== Words), a case or a step; what stands before the first title begins
/// every scenario. "case A | B" runs the scenario with A for $1 and B for $2, once for each such line; $URL
/// is the store's, $OTHER another empty one's, $HOST the server's host. A step is VERB ARGUMENTS => OUTCOME.
/// The outcome is ok, an error in the words of describeError(), or rows: 1|x;2|~ are two of two columns. ~ is
/// NULL, '' an empty text, (none) no row, and 1..3 stands for 1;2;3. "E / F" names the outcome on each kind
/// of store. Verbs: write SQL; read SQL; begin; commit; rollback; batch ROWS from FIRST [into TABLE], which
/// inserts n rising from FIRST and v from 0; values TABLE.COLUMN TYPE [TIMES*]VALUE,…, a batch of long,
/// unsigned, float, double or text (with \xHH); each N,… SQL with a parameter {n}; open READER SQL; next,
/// rest, count (of the rest) and close READER, where a failure that ends the rows stands after them; bind
/// URL; unbind; set VARIABLE VALUE; shell COMMAND; logged TEXT => yes or no. "elsewhere:" runs a step, or the
/// indented ones below it, on another thread, "other:" on a second session, "child:" in a forked process. No
/// log line may hold "geheim" or 47114711, whatever the scenario.
///
/// A file that cannot be read strictly ends the program, with file and line.
void registerScenarios(const std::string& suite, const std::string& file, const StoreKind& kind);
