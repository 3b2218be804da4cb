#include "dao/engine/postgres/pg_sql.h"

#include <cctype>

namespace kiv::dao::engine::postgres {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The server folds unquoted names to lower case (ASCII letters only); the model's quoted names
// are folded the same way, so that a caller's unquoted SQL finds the tables the model made.
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The first word of a statement, in upper case.
std::string FirstWord(std::string_view sql) {
  std::string word;
  for (char c : sql) {
    if (std::isalpha(static_cast<unsigned char>(c))) {
      word.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
    } else if (!word.empty()) {
      break;
    }
  }
  return word;
}

}  // namespace

ServerSql ToServerSql(std::string_view sql, size_t* used) {
  ServerSql out;
  int highest = 0;
  size_t i = 0;
  bool content = false;
  while (i < sql.size()) {
    const char c = sql[i];
    if (c == '\'' || c == '"') {  // a literal copied as it is, a quoted name folded
      const size_t end = sql.find(c, i + 1);
      const size_t stop = end == std::string_view::npos ? sql.size() : end + 1;
      for (char q : sql.substr(i, stop - i)) out.text.push_back(c == '"' ? Lower(q) : q);
      i = stop;
      content = true;
    } else if (c == '-' && i + 1 < sql.size() && sql[i + 1] == '-') {
      const size_t end = sql.find('\n', i);
      i = end == std::string_view::npos ? sql.size() : end;
    } else if (c == '?') {
      size_t j = i + 1;
      int n = 0;
      while (j < sql.size() && IsDigit(sql[j])) n = n * 10 + (sql[j++] - '0');
      if (j == i + 1) n = highest + 1;
      if (n > highest) highest = n;
      out.text += "$" + std::to_string(n);
      i = j;
      content = true;
    } else if (c == ';') {
      ++i;
      break;
    } else {
      content |= !std::isspace(static_cast<unsigned char>(c));
      out.text.push_back(c);
      ++i;
    }
  }
  if (used) *used = i;
  out.blank = !content;
  const std::string word = FirstWord(out.text);
  out.read_only = word == "SELECT" || word == "WITH" || word == "SHOW" || word == "VALUES" ||
                  word == "BEGIN" || word == "COMMIT" || word == "SAVEPOINT" || word == "RELEASE" ||
                  word == "ROLLBACK";
  return out;
}

std::string QuoteIdent(std::string_view name) {
  std::string out = "\"";
  for (char c : name) {
    out.push_back(c);
    if (c == '"') out.push_back('"');
  }
  return out + "\"";
}

std::string QuotedIn(const std::string& message) {
  const size_t open = message.find('"');
  if (open == std::string::npos) return {};
  const size_t close = message.find('"', open + 1);
  return message.substr(open + 1,
                        close == std::string::npos ? std::string::npos : close - open - 1);
}

}  // namespace kiv::dao::engine::postgres
