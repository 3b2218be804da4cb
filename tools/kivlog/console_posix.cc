#include <fcntl.h>

#include "console.h"

namespace kivlog {

void UseUtf8Console(int&, char**&) {}

int OpenOutputFile(const std::string& path) {
  return ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

}  // namespace kivlog
