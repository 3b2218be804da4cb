// Sets an environment variable (or removes it, with nullptr) for one scope, then restores it.
#pragma once

#include <cstdlib>
#include <string>

namespace kivtest {

class EnvVar {
 public:
  EnvVar(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    Set(value);
  }
  ~EnvVar() { Set(had_ ? old_.c_str() : nullptr); }
  EnvVar(const EnvVar&) = delete;
  EnvVar& operator=(const EnvVar&) = delete;

 private:
  void Set(const char* value) {
#if defined(_WIN32)
    ::_putenv_s(name_, value ? value : "");  // an empty value removes the variable
#else
    if (value) {
      ::setenv(name_, value, 1);
    } else {
      ::unsetenv(name_);
    }
#endif
  }

  const char* name_;
  bool had_ = false;
  std::string old_;
};

}  // namespace kivtest
