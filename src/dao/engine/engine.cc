// What the engines share: names of databases (which engine a name belongs to, and how it may
// be shown) and the binding of a value by its kind.
#include <string>

#include "dao/engine/engine.h"

namespace kiv::dao::engine {
namespace {

bool StartsWith(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (size_t i = 0; i < prefix.size(); ++i) {
    char c = text[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != prefix[i]) return false;
  }
  return true;
}

// The query of a URI without its password=... parameters.
std::string WithoutPasswordParameter(std::string_view query) {
  std::string out;
  size_t at = 0;
  while (at <= query.size()) {
    size_t end = query.find('&', at);
    if (end == std::string_view::npos) end = query.size();
    const std::string_view pair = query.substr(at, end - at);
    if (!pair.empty() && !StartsWith(pair, "password=")) {
      out += out.empty() ? "" : "&";
      out += pair;
    }
    at = end + 1;
  }
  return out;
}

}  // namespace

bool IsServerName(std::string_view name) {
  return StartsWith(name, "postgresql://") || StartsWith(name, "postgres://");
}

std::string ShownName(std::string_view name) {
  if (!IsServerName(name)) return std::string(name);
  const size_t scheme = name.find("://") + 3;
  const size_t query = name.find('?', scheme);
  std::string_view authority_path = name.substr(scheme, query - scheme);
  std::string out(name.substr(0, scheme));
  // user:password@host: the password is everything after the first ':' before the last '@'.
  const size_t slash = authority_path.find('/');
  const size_t at = authority_path.substr(0, slash).rfind('@');
  if (at != std::string_view::npos) {
    const std::string_view userinfo = authority_path.substr(0, at);
    out += userinfo.substr(0, userinfo.find(':'));
    authority_path.remove_prefix(at);
  }
  out += authority_path;
  if (query != std::string_view::npos) {
    const std::string rest = WithoutPasswordParameter(name.substr(query + 1));
    if (!rest.empty()) out += "?" + rest;
  }
  return out;
}

void Statement::BindValue(int i, const ValueView& v) {
  switch (v.kind) {
    case Kind::kNull:
      return BindNull(i);
    case Kind::kInt:
      return BindInt(i, v.i);
    case Kind::kDouble:
      return BindDouble(i, v.d);
    case Kind::kText:
      return BindText(i, std::string(v.bytes));
    case Kind::kBytes:
      return BindBytes(i, reinterpret_cast<const uint8_t*>(v.bytes.data()), v.bytes.size());
  }
}

#ifndef KIV_WITH_POSTGRESQL
std::unique_ptr<Connection> OpenPostgres(const std::string&, const OpenMode&) {
  throw EngineError(Failure::kCantOpen, "this build cannot open PostgreSQL databases");
}
#endif

}  // namespace kiv::dao::engine
