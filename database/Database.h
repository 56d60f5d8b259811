// A thin wrapper of SQLite for both programs: owned handles, bound parameters, errors as
// exceptions.
#pragma once

#include <sqlite3.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace kelo {

class DatabaseError : public std::runtime_error {
 public:
  DatabaseError(int code, const std::string& text) : std::runtime_error(text), code_(code) {}
  bool IsConstraint() const { return (code_ & 0xFF) == SQLITE_CONSTRAINT; }
  // Another program has held it for longer than this one waits.
  bool IsBusy() const { return (code_ & 0xFF) == SQLITE_BUSY; }
  // The file is no database, or a broken one.
  bool IsDamage() const {
    return (code_ & 0xFF) == SQLITE_NOTADB || (code_ & 0xFF) == SQLITE_CORRUPT;
  }

 private:
  int code_;
};

class Database;

// One prepared statement, of a database that outlives it.
class Statement {
 public:
  Statement(Database& database, std::string_view sql);

  // Binds to the next parameter, in order.
  Statement& Bind(std::string_view text);
  Statement& Bind(std::integral auto number) {
    return BindNumber(static_cast<std::int64_t>(number));
  }

  bool Step();  // true while there is a row
  std::string Text(int column) const;
  std::int64_t Number(int column) const;

 private:
  struct GiveBack {
    Database* database;
    void operator()(sqlite3_stmt* statement) const;
  };

  Statement& BindNumber(std::int64_t number);
  void Check(int code) const;

  std::unique_ptr<sqlite3_stmt, GiveBack> statement_;
  int bound_ = 0;
};

// Not thread-safe: its owner serialises the calls.
class Database {
 public:
  explicit Database(const std::string& path);

  void Run(const std::string& script);

  // Called for every row that changes, as sqlite3_update_hook says.
  using ChangeHook = void(void*, int, const char*, const char*, sqlite3_int64);
  void OnChange(ChangeHook* hook, void* argument);

  // Prepares and binds.
  Statement Query(std::string_view sql, const auto&... values) {
    Statement statement(*this, sql);
    (statement.Bind(values), ...);
    return statement;
  }
  // Runs a statement that gives no rows.
  void Execute(std::string_view sql, const auto&... values) {
    Statement statement = Query(sql, values...);
    while (statement.Step()) {
    }
  }
  bool Exists(std::string_view sql, const auto&... values) { return Query(sql, values...).Step(); }
  std::int64_t Count(std::string_view sql, const auto&... values) {
    Statement statement = Query(sql, values...);
    return statement.Step() ? statement.Number(0) : 0;
  }
  // The first value of the first row; empty where there is none.
  std::string Text(std::string_view sql, const auto&... values) {
    Statement statement = Query(sql, values...);
    return statement.Step() ? statement.Text(0) : std::string();
  }
  // What `read` makes of each row.
  template <typename Read>
  auto All(Read read, std::string_view sql, const auto&... values) {
    std::vector<std::invoke_result_t<Read, const Statement&>> all;
    for (Statement rows = Query(sql, values...); rows.Step();) all.push_back(read(rows));
    return all;
  }
  // The first value of each row.
  std::vector<std::string> Texts(std::string_view sql, const auto&... values) {
    return All([](const Statement& row) { return row.Text(0); }, sql, values...);
  }

 private:
  friend class Statement;
  using Prepared = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

  Prepared Take(std::string_view sql);

  std::unique_ptr<sqlite3, int (*)(sqlite3*)> handle_{nullptr, &sqlite3_close};
  // Those that nobody uses at the moment, by their text: most cost more to prepare than to run.
  std::unordered_map<std::string, Prepared> idle_;
};

// Everything until Commit happens, or nothing does.
class Transaction {
 public:
  explicit Transaction(Database& database) : database_(&database) { database.Run("BEGIN"); }
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void Commit();

 private:
  Database* database_;
};

}  // namespace kelo
