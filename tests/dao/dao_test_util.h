// Helpers of the database tests: a fresh folder per test, and the DAO error a call raises.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <optional>
#include <string>

#include "kivdbxt/dao.h"
#include "kivdbxt/raised_error.h"

namespace kivtest {

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kivdao.XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& Path() const { return path_; }
  kiv::String File(const std::string& name) const { return kiv::FromUtf8(path_ + "/" + name); }

 private:
  std::string path_;
};

// The error a call raises; nullopt when it raises nothing.
template <class F>
std::optional<kiv::Error> RaisedBy(F&& f) {
  try {
    f();
  } catch (const kiv::Error& e) {
    return e;
  }
  return std::nullopt;
}

template <class F>
int32_t NumberRaisedBy(F&& f) {
  auto e = RaisedBy(f);
  return e ? e->number : 0;
}

inline std::shared_ptr<kiv::dao::DBEngine> Engine() { return kiv::dao::DBEngine::ForThread(); }

// A text field as the event log defines its text fields.
inline std::shared_ptr<kiv::dao::Field> TextField(kiv::dao::TableDef& t, const char16_t* name,
                                                  int32_t size = 255) {
  auto f = t.CreateField(name, kiv::dao::dbText, size);
  f->Attributes(34);
  f->AllowZeroLength(true);
  return f;
}

}  // namespace kivtest
