#include "dao/query_shape.h"

#include <vector>

#include "platform/text_compare.h"

namespace kiv::dao::detail {
namespace {

struct Token {
  size_t begin, end;
  bool word;    // identifier or keyword
  bool quoted;  // "name", [name] or `name`
  int depth;    // parenthesis depth
};

bool IsWordChar(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
         c == u'_' || c == u'$' || c > 127;
}

std::vector<Token> Tokenize(StringView sql) {
  std::vector<Token> tokens;
  int depth = 0;
  for (size_t i = 0; i < sql.size();) {
    const char16_t c = sql[i];
    if (c == u' ' || c == u'\t' || c == u'\r' || c == u'\n') {
      ++i;
    } else if (IsWordChar(c)) {
      size_t j = i;
      while (j < sql.size() && IsWordChar(sql[j])) ++j;
      tokens.push_back({i, j, true, false, depth});
      i = j;
    } else if (c == u'\'' || c == u'"' || c == u'[' || c == u'`') {
      const char16_t close = c == u'[' ? u']' : c;
      size_t j = i + 1;
      while (j < sql.size() && sql[j] != close) ++j;
      tokens.push_back({i, std::min(j + 1, sql.size()), c != u'\'', c != u'\'', depth});
      i = j + 1;
    } else {
      if (c == u')') --depth;
      tokens.push_back({i, i + 1, false, false, depth});
      if (c == u'(') ++depth;
      ++i;
    }
  }
  return tokens;
}

bool Is(StringView sql, const Token& t, StringView keyword) {
  return t.word && !t.quoted && t.depth == 0 &&
         TextEquals(sql.substr(t.begin, t.end - t.begin), keyword);
}

}  // namespace

std::optional<QueryShape> SingleTableQuery(StringView sql) {
  const std::vector<Token> tokens = Tokenize(sql);
  if (tokens.size() < 4 || !Is(sql, tokens[0], u"SELECT") || Is(sql, tokens[1], u"DISTINCT")) {
    return std::nullopt;
  }
  size_t from = 0;
  for (size_t i = 1; i < tokens.size(); ++i) {
    for (const char16_t* kw :
         {u"GROUP", u"HAVING", u"UNION", u"INTERSECT", u"EXCEPT", u"JOIN", u"WINDOW", u"VALUES"}) {
      if (Is(sql, tokens[i], kw)) return std::nullopt;
    }
    if (!from && Is(sql, tokens[i], u"FROM")) from = i;
  }
  if (!from || from + 1 >= tokens.size() || !tokens[from + 1].word) return std::nullopt;
  if (from + 2 < tokens.size()) {
    const Token& next = tokens[from + 2];
    const bool ends = Is(sql, next, u"WHERE") || Is(sql, next, u"ORDER") ||
                      Is(sql, next, u"LIMIT") || sql.substr(next.begin, 1) == u";";
    if (!ends) return std::nullopt;  // an alias, a second table, a join ...
  }
  const Token& name = tokens[from + 1];
  QueryShape shape;
  shape.table = String(sql.substr(name.begin, name.end - name.begin));
  if (name.quoted) shape.table = shape.table.substr(1, shape.table.size() - 2);
  shape.select_list = String(sql.substr(tokens[0].end, tokens[from].begin - tokens[0].end));
  shape.after_from = String(sql.substr(tokens[from].end));
  return shape;
}

}  // namespace kiv::dao::detail
