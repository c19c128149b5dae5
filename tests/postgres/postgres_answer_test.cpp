#include <chrono>
#include <csignal>
#include <fstream>
#include <future>

#include "faults/Loopback.h"
#include "postgres/PostgresTest.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

/// Every answer belongs to its question, whatever the server does in between.
class PostgresAnswer : public PostgresTest {
 protected:
  /// The connection that ran the last statement is at rest: what it is asked next is what it answers.
  void expectRest(const std::string& after) {
    for (const char* number : {"41", "42"}) EXPECT_EQ(rowsOf(db, std::string("select ") + number), number) << after;
    EXPECT_EQ(run(db, "select 1 / 0"), "postgresql 22012 division_by_zero") << after;
    EXPECT_EQ(onAnotherThread([this] { return rowsOf(db, "select 43"); }), "43") << after;
  }
};

TEST_F(PostgresAnswer, CopyRefusedBeforeItsFirstRowLeavesNoAnswerBehind) {
  onServer(R"(create table t(n bigint, v bigint); create function refuse() returns trigger language plpgsql as
      'begin raise ''no''; end'; create trigger r before insert on t for each statement execute function refuse())");
  for (const long rows : {3000L, 100L, 1L}) {
    EXPECT_EQ(describe(db->ExecBatchInserter(numbers(rows))), "postgresql P0001 raise_exception");
    expectRest("a batch");
    ASSERT_EQ(db->beginTransaction(), 0U);
    EXPECT_EQ(describe(db->ExecBatchInserter(numbers(rows))), "postgresql P0001 raise_exception");
    EXPECT_EQ(rowsOf(db, "select count(*) from t"), "0");
    ASSERT_EQ(db->commitTransaction(), 0U);
  }
  for (const char* copy : {"copy t from stdin", "copy t to stdout", "copy (select generate_series(1, 10000000)) to stdout"}) {
    EXPECT_NE(run(db, copy), kSuccess);
    expectRest(copy);
    EXPECT_EQ(run(db, std::string(copy) + "; create table u()"), "vorn 4 MULTIPLE_STATEMENTS");
    EXPECT_EQ(run(db, std::string("/* ; */ ") + copy), run(db, copy));
    expectRest(copy);
  }
  EXPECT_EQ(rowsOf(db, "select count(*) from pg_tables where tablename = 'u'"), "0");
}

TEST_F(PostgresAnswer, BatchSeesWhatWasCommittedWhileItWaited) {
  const std::pair<const char*, const char*> cases[] = {
      {"create rule x as on insert to t do instead nothing", "success, 0"},
      {"create table u(n bigint); create rule x as on insert to t do instead insert into u values(new.n)", "success, 0"},
      {"alter table t alter n add generated always as identity", "postgresql 428C9 generated_always, 0"},
      {"alter table t enable row level security; alter table t force row level security; alter table t owner to bounded",
       "postgresql 42501 insufficient_privilege, 0"}};
  onServer("create role bounded; grant bounded to vorn");
  for (const auto& [change, outcome] : cases) {
    onServer("drop table if exists t, u; create table t(n bigint not null, v bigint)");
    ASSERT_EQ(db->beginTransaction(), 0U);
    ASSERT_EQ(run(db, "lock table t in access exclusive mode"), kSuccess);
    auto outcomeElsewhere = std::async(std::launch::async, [this] {
      if (db->beginTransaction() != 0 || run(db, "set local role bounded") != kSuccess) return std::string("no role");
      const std::string done = describe(db->ExecBatchInserter(numbers(3000)));
      db->rollbackTransaction();
      return done;
    });
    while (sharedPostgresServer().query("select count(*) from pg_locks where not granted") == "0") usleep(1000);
    std::istringstream statements(change);
    for (std::string statement; std::getline(statements, statement, ';');) ASSERT_EQ(run(db, statement), kSuccess);
    ASSERT_EQ(run(db, "grant all on t to bounded"), kSuccess);
    ASSERT_EQ(db->commitTransaction(), 0U);
    EXPECT_EQ(outcomeElsewhere.get() + ", " + rowsOf(db, "select count(*) from t"), outcome) << change;
  }
}

TEST_F(PostgresAnswer, BatchValuesPassThroughTheInputOfTheirColumn) {
  onServer(R"(create domain years as interval year; create type mood as enum('bad', 'fine');
      create function turn(text) returns mood language sql as 'select ''bad''::mood'; create cast (text as mood) with function turn(text))");
  for (const auto& [type, values] : casesOf("postgres/input_targets.txt")) {
    const std::size_t arrow = values.find(" => ");
    const std::string text = values.substr(0, arrow), kept = values.substr(arrow + 4);
    onServer("drop table if exists t cascade; create table t(v " + type + "); create view w as select * from t");
    CVORNInserter single;
    single.table("t");
    single["v"] << text;
    ASSERT_EQ(describe(db->execWriteSQL(single)), kSuccess) << type;
    for (const char* target : {"t", "w"}) {
      for (const int rows : {1, 200, 2100}) {
        BatchInserter batch;
        batch.table(target);
        for (int row = 0; row < rows; ++row) batch["v"] << text;
        ASSERT_EQ(describe(db->ExecBatchInserter(batch)), kSuccess) << type;
      }
    }
    EXPECT_EQ(rowsOf(db, "select v::text, count(*) from t group by 1", 2), kept + "|4603") << type;
  }
}

TEST_F(PostgresAnswer, PeerThatGoesMuteHoldsNobody) {
  int port = 0;
  const int listener = listenOnLoopback(port);
  const TemporaryDirectory directory;
  const std::string services = directory.file("services");
  std::ofstream(services) << "[mute]\nhost=127.0.0.1\nport=" << port << "\nconnect_timeout=2\n";
  setenv("PGSERVICEFILE", services.c_str(), 1);
  for (const std::string& url : {"postgresql://me@127.0.0.1:" + std::to_string(port) + "/x?sslmode=disable&connect_timeout=2",
                                 std::string("postgresql:///x?service=mute&user=me&sslmode=disable")}) {
    useStore(url);
    auto connection = std::async(std::launch::async, [listener] {
      const int peer = accept(listener, nullptr, nullptr);
      constexpr char kGreeting[] = "R\0\0\0\x08\0\0\0\0Z\0\0\0\x05I";  // authenticated, ready for a query
      send(peer, kGreeting, sizeof kGreeting - 1, MSG_NOSIGNAL);
      return peer;  // and never a word more
    });
    const auto start = Clock::now();
    EXPECT_EQ(run(db, "select 1"), "postgresql 08001 sqlclient_unable_to_establish_sqlconnection") << url;
    EXPECT_LT(secondsSince(start), 6) << url;
    close(connection.get());
  }
  close(listener);
  unsetenv("PGSERVICEFILE");
}

TEST_F(PostgresAnswer, ReadGivenUpUnderAStoppedServerLeavesNoThreadAndNoDescriptor) {
  const auto entries = [](const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
  };
  ASSERT_EQ(rowsOf(db, "select 1"), "1");
  const auto threads = entries("/proc/self/task"), files = entries("/proc/self/fd");
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select pg_backend_pid(), generate_series(1, 100000000)"), reader), 0U);
  int process = 0;
  reader >> process;
  ASSERT_EQ(kill(process, SIGSTOP), 0);
  const auto start = Clock::now();
  reader.clear();
  EXPECT_LT(secondsSince(start), 0.5);
  EXPECT_EQ(entries("/proc/self/task"), threads);
  EXPECT_LT(entries("/proc/self/fd"), files);
  kill(process, SIGCONT);
  EXPECT_NE(log.texts(vorn::LogLevel::Error).find("given up"), std::string::npos);
  expectRest("a read that was given up");
}

TEST_F(PostgresAnswer, ReadGivenUpEndsAtOnceAndLeavesTheTransaction) {
  for (const std::string query : {"select generate_series(1, 1000000)",
                                  "with recursive g(n) as (select 1 union all select n + 1 from g where n < 1000000) select n from g"}) {
    ASSERT_EQ(db->beginTransaction(), 0U);
    CVORNReader reader;
    ASSERT_EQ(db->execReadSQL(raw(query), reader), 0U);
    const auto start = Clock::now();
    reader.clear();
    EXPECT_LT(secondsSince(start), 0.3) << query;
    ASSERT_EQ(db->commitTransaction(), 0U);
  }
}

TEST_F(PostgresAnswer, ReadGivenUpKeepsWhatItWroteOrSaysThatItMayBeLost) {
  onServer(R"(create table t(n bigint); create table s(id bigint);
      create function mark(s) returns bigint language sql volatile as 'insert into t values($1.id) returning n';
      create function lower(s) returns bigint language sql volatile as 'insert into t values($1.id) returning n';
      insert into s select generate_series(1, 100))");
  long kept = 0;
  for (const char* query :
       {"select s.mark from s", "select lower(s) from s", "/* /* */ select */ insert into t select id from s returning n",
        "with w as (insert into t select id from s returning n) select n from w"}) {
    CVORNReader reader;
    ASSERT_EQ(db->execReadSQL(raw(query), reader), 0U);
    ASSERT_TRUE(reader.hasNextElement());
    reader.clear();
    EXPECT_EQ(rowsOf(db, "select count(*) from t"), std::to_string(kept += 100)) << query;
  }
  EXPECT_EQ(log.texts(vorn::LogLevel::Error), "");
  CVORNReader reader;
  ASSERT_EQ(db->execReadSQL(raw("select s.mark, repeat('x', 20000), pg_sleep(0.1) from s"), reader), 0U);
  reader.clear();
  EXPECT_NE(log.texts(vorn::LogLevel::Error).find("unknown"), std::string::npos);
  EXPECT_EQ(describe(vorn::lastResult().errorCode()), "vorn 15 CONNECTION_LOST");
  expectRest("a read that was given up");
}

TEST_F(PostgresAnswer, ConnectionComesOutOfThePoolAsAFreshOne) {
  useStore(m_url + "?pool_size=1&options=-c%20work_mem%3D5MB");
  onServer(R"(create role guest; create table t(n bigint);
      create function touch() returns void language sql as $$select set_config('work_mem', '7MB', false)$$)");
  // Everything a session can be left with, in one row.
  const std::string state =
      "select current_user, current_setting('work_mem'), current_setting('datestyle'), (select count(*) from pg_locks where locktype = "
      "'advisory'), (select count(*) from pg_listening_channels()), (select count(*) from pg_prepared_statements), (select count(*) from "
      "pg_cursors where name <> ''), to_regclass('pg_temp.t') is null, pg_backend_pid()";
  const std::string fresh = rowsOf(db, state, 9);
  EXPECT_EQ(fresh.substr(0, fresh.rfind('|')), "vorn|5MB|ISO, MDY|0|0|0|0|true");
  for (const auto& [change, unused] : casesOf("postgres/session_changes.txt")) {
    EXPECT_EQ(run(db, change), kSuccess);
    EXPECT_EQ(onAnotherThread([&] { return rowsOf(db, state, 9); }), fresh) << change;
  }
  ASSERT_EQ(db->beginTransaction(), 0U);
  EXPECT_EQ(run(db, "set work_mem = '6MB'"), kSuccess);
  EXPECT_EQ(rowsOf(db, "show work_mem"), "6MB") << "a thread that holds the connection keeps its state";
  ASSERT_EQ(db->commitTransaction(), 0U);
  EXPECT_EQ(rowsOf(db, state, 9), fresh);

  // What a view hides is undone only where that was asked for.
  onServer("create view hidden as select touch()::text as t");
  useStore(m_url + "?pool_size=1&options=-c%20work_mem%3D5MB&session_reset=always");
  EXPECT_EQ(run(db, "select * from hidden"), kSuccess);
  EXPECT_EQ(rowsOf(db, "show work_mem"), "5MB");
}

TEST_F(PostgresAnswer, LongReadsPassInConstantMemory) {
  onServer("create table s as select n, now() as updated_at from generate_series(1, 300000) n");
  ASSERT_EQ(db->beginTransaction(), 0U);
  ASSERT_EQ(run(db, "declare c cursor for select n, repeat('x', 100) from s"), kSuccess);
  ASSERT_EQ(run(db, "prepare p as select n, repeat('x', 100) from s"), kSuccess);
  for (const char* query : {"with w as (select n, updated_at, repeat('update', 20) from s for no key update) select * from w",
                            "fetch all from c", "execute p"}) {
    expectConstantMemory(query, 300000);
  }
  ASSERT_EQ(db->commitTransaction(), 0U);
}

TEST_F(PostgresAnswer, NotificationsAreTakenWhileTheConnectionIsHeld) {
  CVORNReader holding;
  ASSERT_EQ(db->execReadSQL(raw("select 1"), holding), 0U);
  ASSERT_EQ(run(db, "listen news"), kSuccess);
  const long before = residentKilobytes();
  for (int round = 0; round < 20; ++round) {
    onServer("select pg_notify('news', repeat('x', 7900) || n) from generate_series(1, 100) n");
    ASSERT_EQ(rowsOf(db, "select 1"), "1");
  }
  EXPECT_LT(residentKilobytes() - before, 8192);
}

TEST_F(PostgresAnswer, WhatTheServerSaysWhileConnectingGoesToTheLog) {
  onServer("create database told locale_provider icu icu_locale 'en' template template0");
  onServer("update pg_database set datcollversion = 'older' where datname = 'told'");
  testing::internal::CaptureStderr();
  useStore(sharedPostgresServer().url("told"));
  EXPECT_EQ(rowsOf(db, "select 1"), "1");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_NE(log.texts(vorn::LogLevel::Info).find("collation version mismatch"), std::string::npos);
}

}  // namespace
