#include "exec/adapters/postgres/PostgresPipeline.h"

#include "exec/adapters/postgres/PostgresError.h"

namespace vorn {

ExecResult PostgresPipeline::begin() {
  ExecResult result = m_executor.makeReady();
  return result.succeeded() ? m_channel.beginPipeline() : result;
}

std::size_t PostgresPipeline::ask(const std::string& sql) {
  return asked(PQsendQueryParams(m_channel.handle(), sql.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 0));
}

std::size_t PostgresPipeline::askPrepared(const std::string& name,
                                          const PostgresBatchParameters* parameters) {
  if (parameters == nullptr)
    return asked(PQsendQueryPrepared(m_channel.handle(), name.c_str(), 0, nullptr, nullptr, nullptr, 0));
  return asked(PQsendQueryPrepared(m_channel.handle(), name.c_str(), parameters->count(),
                                   parameters->values(), parameters->lengths(), parameters->formats(), 0));
}

std::size_t PostgresPipeline::askWithText(bool prepared, const std::string& statement,
                                          const std::string& parameter) {
  const char* const value = parameter.c_str();
  PGconn* const handle = m_channel.handle();
  if (prepared) return asked(PQsendQueryPrepared(handle, statement.c_str(), 1, &value, nullptr, nullptr, 0));
  return asked(PQsendQueryParams(handle, statement.c_str(), 1, nullptr, &value, nullptr, nullptr, 0));
}

std::size_t PostgresPipeline::askToDescribe(const std::string& sql, const std::string& name,
                                            const std::vector<Oid>& types) {
  asked(PQsendPrepare(m_channel.handle(), name.c_str(), sql.c_str(), static_cast<int>(types.size()),
                      types.empty() ? nullptr : types.data()));
  return asked(PQsendDescribePrepared(m_channel.handle(), name.c_str()));
}

std::size_t PostgresPipeline::askToPrepare(const std::string& sql, const std::string& name) {
  return asked(PQsendPrepare(m_channel.handle(), name.c_str(), sql.c_str(), 0, nullptr));
}

std::size_t PostgresPipeline::asked(int accepted) {
  m_accepted = m_accepted && accepted == 1;
  return m_questions++;
}

ExecResult PostgresPipeline::send() {
  if (m_accepted) return m_channel.sendPipeline(m_questions);
  m_channel.setBroken();
  return m_channel.lost();
}

ExecResult PostgresPipeline::fail(std::size_t question, const PGresult* answer) {
  m_failedAt = question;
  const char* const state = PQresultErrorField(answer, PG_DIAG_SQLSTATE);
  m_state = state == nullptr ? "" : state;
  return postgresFailure(answer, m_channel.handle());
}

}  // namespace vorn
