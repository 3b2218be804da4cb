// The daily log benchmarks' folders and their day of a million events, written straight to disk
// in the library's layout.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace kivbench {

inline const std::string kRaw = "order 123456 shipped to warehouse 7, 3 parcels";

// A fresh folder of the system's temporary folder.
inline std::string BenchFolder(const std::string& name) {
  auto dir = std::filesystem::temp_directory_path() / ("kivbench-" + name);
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  return dir.string();
}

// A day of `events` records written straight to disk in the library's layout, made once.
inline std::string DayOfEvents(int events) {
  static std::map<int, std::string> made;
  if (auto it = made.find(events); it != made.end()) return it->second;
  const std::string folder = BenchFolder("day" + std::to_string(events));
  const std::string base = folder + "/BIG_20240305";
  std::ofstream data(base + ".ZLG", std::ios::binary);
  std::ofstream index(base + ".ZLI", std::ios::binary);
  index.write(reinterpret_cast<const char*>(&events), 4);
  int64_t position = 1;
  for (int k = 1; k <= events; ++k) {
    std::string block = "UNK=" + std::to_string(1000000 + k) +
                        "\r\nDAT=2024-03-05 10:00:00\r\nSRC=APP" + std::to_string(k % 7) +
                        "\r\nTYP=4\r\nCAT=orders\r\nEID=" + std::to_string(k % 100) +
                        "\r\nUSR=user\r\nCOM=host\r\nSVR=\r\nDTP=0\r\nRWD=" + kRaw +
                        "\r\nEND=-----------------------\r\n";
    int32_t p = static_cast<int32_t>(position);
    index.write(reinterpret_cast<const char*>(&p), 4);
    data << block;
    position += static_cast<int64_t>(block.size());
  }
  made[events] = base;
  return base;
}

}  // namespace kivbench
