"""Which tests should notice a fault in which room: the quickest first, the first failure ends the trial."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Stage:
    targets: tuple  # what is built for it
    command: tuple  # run in the folder of the build


def tests(program, filters, *targets):
    return Stage(targets, (f"tests/{program}", "--gtest_fail_fast", "--gtest_brief=1", f"--gtest_filter={filters}"))


# Long by their number, not by what each looks at.
LONG_CORE = "StatementShapeTest.ShowsNoValue*"
LONG = "*/Faults.*/*{0}*:*/Forks.*/{0}*:*/Servers.*/{0}:*/Lifetime.A*/{0}"
LONG_SQLITE = LONG.format("Sqlite") + ":SqliteDifferential.*:SqliteStore.ProcessesCreate*"
LONG_POSTGRES = LONG.format("PostgreSql") + ":PostgresDifferential.*:PostgresAnswer.*:PostgresPooler.*"
LONG_MARIADB = LONG.format("MariaDb") + ":MariaDbDifferential.*:MariaDbHosts.*"

STAGES = {
    "core": tests("core_tests", f"-{LONG_CORE}", "core_tests"),
    "core, long": tests("core_tests", LONG_CORE, "core_tests"),
    "fuzz": Stage(("fuzz",), ("ctest", "--stop-on-failure", "-R", "^fuzz")),
    "any store": tests("store_tests", "-*/*:Sqlite*:Postgres*:MariaDb*", "vorn", "vorn-postgresql", "vorn-mariadb"),
    "sqlite": tests("store_tests", f"*/Sqlite*:Sqlite*-{LONG_SQLITE}", "vorn"),
    "sqlite, long": tests("store_tests", LONG_SQLITE, "vorn"),
    "statistics": tests("statistics_tests", "*", "vorn", "statistics_tests"),
    "postgresql": tests("store_tests", f"*/PostgreSql:Postgres*-*/Storms.*:PostgresStorm.*:{LONG_POSTGRES}", "vorn", "vorn-postgresql"),
    "postgresql, long": tests("store_tests", LONG_POSTGRES, "vorn", "vorn-postgresql"),
    "mariadb": tests("store_tests", f"*/MariaDb*:MariaDb*-*/Storms.*:MariaDbCluster.*:{LONG_MARIADB}", "vorn", "vorn-mariadb"),
    "mariadb, long": tests("store_tests", LONG_MARIADB, "vorn", "vorn-mariadb"),
    "modules": Stage(("vorn", "vorn-postgresql", "vorn-mariadb"), ("ctest", "--stop-on-failure", "-R", "^modules$")),
    "unload": Stage(("vorn", "vorn-postgresql", "unload_tests"), ("ctest", "--stop-on-failure", "-R", "^unload$")),
    "template": tests("template_tests", "*", "template_tests", "vorn-template"),
}

CORE = ["core", "fuzz", "core, long"]
SQLITE = ["sqlite", "any store", "statistics", "sqlite, long"]

# The first line whose beginning fits.
ROOMS = [
    ("src/common/", [*CORE, *SQLITE]),
    ("src/statement/", ["core", "sqlite"]),
    ("src/criteria/", ["core", "sqlite"]),
    ("src/builders/", ["core", "sqlite"]),
    ("src/exec/adapters/sql/SqlWords", [*CORE, *SQLITE[:-1], "postgresql", "mariadb", SQLITE[-1]]),
    ("src/exec/adapters/sql/", [*CORE, *SQLITE]),
    ("src/exec/adapters/values/", [*CORE, *SQLITE]),
    ("src/exec/adapters/store/", [*SQLITE[:-1], "postgresql", "mariadb", SQLITE[-1]]),
    ("src/exec/adapters/kinds/", [*SQLITE[:-1], "unload", "modules", SQLITE[-1]]),
    ("src/exec/adapters/session/", [*SQLITE[:-1], "unload", "modules", "postgresql", SQLITE[-1]]),
    ("src/exec/adapters/sqlite/SqliteDialect.h", [*CORE, *SQLITE]),
    ("src/exec/adapters/postgres/PostgresDialect.h", CORE),
    ("src/exec/adapters/mariadb/MariaDbDialect.h", CORE),
    ("src/exec/adapters/postgres/", ["postgresql", "postgresql, long"]),
    ("src/exec/adapters/mariadb/", ["mariadb", "mariadb, long"]),
    ("src/exec/adapters/", SQLITE),
    ("src/exec/", [*CORE, *SQLITE]),
]


def stages_of(path):
    return next(stages for room, stages in ROOMS if path.startswith(room))
