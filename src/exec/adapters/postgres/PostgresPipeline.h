#pragma once

#include <libpq-fe.h>

#include <cstddef>
#include <string>
#include <vector>

#include "exec/adapters/postgres/PostgresBatchParameters.h"
#include "exec/adapters/postgres/PostgresExecutor.h"

namespace vorn {

/// Several questions in one round trip. The server passes over what follows the first that fails, and keeps
/// nothing of them outside of a transaction.
class PostgresPipeline {
 public:
  static constexpr std::size_t kNotAsked = static_cast<std::size_t>(-1);  ///< no question's number

  explicit PostgresPipeline(PostgresExecutor& executor)
      : m_executor(executor), m_channel(executor.channel()) {}

  /// Makes the executor ready. After success the pipeline has to be ended.
  ExecResult begin();

  /// Asks a statement by its text. @return the question's number, from 0 on
  std::size_t ask(const std::string& sql);

  /// Asks a prepared statement.
  std::size_t askPrepared(const std::string& name, const PostgresBatchParameters* parameters = nullptr);

  /// Asks a prepared statement, or a text, with one text as its parameter.
  std::size_t askWithText(bool prepared, const std::string& statement, const std::string& parameter);

  /// Has a statement prepared, and asks in a second question for its description.
  /// @param name   empty for the unnamed one
  /// @param types  of its parameters; 0, or none at all, leaves it to the server
  /// @return the number of the second question
  std::size_t askToDescribe(const std::string& sql, const std::string& name = {},
                            const std::vector<Oid>& types = {});

  /// Has a statement without parameters prepared.
  std::size_t askToPrepare(const std::string& sql, const std::string& name);

  /// Sends everything and takes the answers.
  /// @param take  called with the number of each question that succeeded, and its answer
  /// @return the first failure
  template <typename Take>
  ExecResult end(const Take& take) {
    ExecResult outcome = send();
    if (!outcome.succeeded()) return outcome;
    PostgresResult answer;
    for (std::size_t question = 0; question < m_questions; ++question) {
      for (;;) {
        if (!m_channel.next(answer)) return outcome.succeeded() ? m_channel.lost() : outcome;
        if (!answer) break;
        const ExecStatusType status = PQresultStatus(answer.get());
        if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) {
          take(question, answer.get());
        } else if (outcome.succeeded()) {
          outcome = fail(question, answer.get());
        }
      }
    }
    ExecResult ended = m_channel.endPipeline();
    return outcome.succeeded() ? ended : outcome;
  }

  /// @return how many questions there are so far
  std::size_t questions() const { return m_questions; }

  /// @return the number of the question that failed
  std::size_t failedAt() const { return m_failedAt; }

  /// @return whether the failure's SQLSTATE begins with this
  bool failedWith(const char* state) const { return m_state.rfind(state, 0) == 0; }

 private:
  std::size_t asked(int accepted);
  ExecResult send();
  ExecResult fail(std::size_t question, const PGresult* answer);

  PostgresExecutor& m_executor;
  PostgresChannel& m_channel;
  bool m_accepted = true;
  std::size_t m_questions = 0;
  std::size_t m_failedAt = 0;
  std::string m_state;
};

}  // namespace vorn
