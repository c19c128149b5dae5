#include "vorn/database.h"

GuardDB::GuardDB(const std::string& /*name*/, CVORN*& db, bool useProcessSessionName)
    : m_db(new MIRAsqlDB(useProcessSessionName)) {
  db = m_db;
}

GuardDB::~GuardDB() {
  delete m_db;
}
