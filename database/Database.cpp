// Prepared statements are kept for their next use, by their text.
#include "database/Database.h"

namespace kelo {

Statement::Statement(Database& database, std::string_view sql)
    : statement_(database.Take(sql).release(), GiveBack{&database}) {}

void Statement::GiveBack::operator()(sqlite3_stmt* statement) const {
  sqlite3_reset(statement);  // gives the error of the last step again
  sqlite3_clear_bindings(statement);
  database->idle_.insert_or_assign(sqlite3_sql(statement),
                                   Database::Prepared(statement, &sqlite3_finalize));
}

Statement& Statement::Bind(std::string_view text) {
  Check(sqlite3_bind_text64(statement_.get(), ++bound_, text.data() ? text.data() : "", text.size(),
                            SQLITE_TRANSIENT, SQLITE_UTF8));
  return *this;
}

Statement& Statement::BindNumber(std::int64_t number) {
  Check(sqlite3_bind_int64(statement_.get(), ++bound_, number));
  return *this;
}

bool Statement::Step() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) Check(code);
  return false;
}

std::string Statement::Text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return text ? std::string(text, static_cast<size_t>(size)) : std::string();
}

std::int64_t Statement::Number(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

void Statement::Check(int code) const {
  if (code != SQLITE_OK)
    throw DatabaseError(code, sqlite3_errmsg(sqlite3_db_handle(statement_.get())));
}

Database::Prepared Database::Take(std::string_view sql) {
  if (auto idle = idle_.extract(std::string(sql))) return std::move(idle.mapped());
  sqlite3_stmt* statement = nullptr;
  const int code = sqlite3_prepare_v2(handle_.get(), sql.data(), static_cast<int>(sql.size()),
                                      &statement, nullptr);
  if (code != SQLITE_OK) throw DatabaseError(code, sqlite3_errmsg(handle_.get()));
  return {statement, &sqlite3_finalize};
}

Database::Database(const std::string& path) {
  sqlite3* handle = nullptr;
  const int code = sqlite3_open(path.c_str(), &handle);
  handle_.reset(handle);
  if (code != SQLITE_OK) throw DatabaseError(code, "cannot open the database " + path);
}

void Database::OnChange(ChangeHook* hook, void* argument) {
  sqlite3_update_hook(handle_.get(), hook, argument);
}

void Database::Run(const std::string& script) {
  const int code = sqlite3_exec(handle_.get(), script.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) throw DatabaseError(code, sqlite3_errmsg(handle_.get()));
}

Transaction::~Transaction() {
  if (!database_) return;
  try {
    database_->Run("ROLLBACK");
  } catch (const DatabaseError&) {
    // The statement that failed has rolled back already.
  }
}

void Transaction::Commit() {
  database_->Run("COMMIT");
  database_ = nullptr;
}

}  // namespace kelo
