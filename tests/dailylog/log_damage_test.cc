// Damaged days: a write only appends. Every event that read before a write reads after it under
// the same number with the same fields, and the data file keeps every byte it had.
//
// The random-damage property runs a fixed set of seeds; with KIV_DAMAGE_SECONDS=<n> it goes on
// through further seeds for n seconds (CI runs it so for a minute).
#include <chrono>
#include <climits>
#include <cstdlib>
#include <map>
#include <random>

#include "log_damage_fixture.h"
#include "platform/vb_convert.h"

namespace kiv::testing {
namespace {

// The record of event k (1-based) in the data file, as the index places it.
std::pair<size_t, size_t> RecordOf(const std::vector<int32_t>& index, const std::string& data,
                                   int32_t k) {
  const size_t start = static_cast<size_t>(index[static_cast<size_t>(k)] - 1);
  const size_t end = static_cast<size_t>(k) + 1 < index.size()
                         ? static_cast<size_t>(index[static_cast<size_t>(k) + 1] - 1)
                         : data.size();
  return {start, end};
}

// Damage seen in the field. Each row: how many events read before the write.
TEST_F(LogDamageTest, ADamagedDayKeepsItsEventsAndNumbersThroughAWrite) {
  struct Case {
    const char* what;
    int32_t events;  // written after the "Open" marker
    std::function<void(std::string& data, const std::vector<int32_t>& index)> damage;
    size_t readable;
  };
  const std::vector<Case> cases = {
      {"every CR LF made LF (an editor, a checkout)", 5,
       [](std::string& data, const std::vector<int32_t>&) { std::erase(data, '\r'); }, 0},
      {"the CR of event 1's END line changed, a field name of the last record garbled", 7,
       [](std::string& data, const std::vector<int32_t>& index) {
         data[RecordOf(index, data, 1).second - 2] = 'Z';
         data[data.find("SRC=", RecordOf(index, data, 8).first)] = 'Q';
       },
       7},
      {"a byte garbled in a middle record and one in the last", 11,
       [](std::string& data, const std::vector<int32_t>& index) {
         data[data.find("TYP=", RecordOf(index, data, 5).first) + 1] = '#';
         data[data.find("EID=", RecordOf(index, data, 12).first)] = '~';
       },
       10},
  };
  for (const Case& c : cases) {
    std::vector<String> raws;
    for (int32_t k = 1; k <= c.events; ++k) raws.push_back(u"event " + IntText(k));
    WriteDay(raws);
    std::string data = ReadAll(base + u".ZLG");
    c.damage(data, IndexValues(base));
    WriteAll(base + u".ZLG", data);
    EXPECT_EQ(Readable(base).size(), c.readable) << c.what;
    ExpectWriteOnlyAppends({u"after"}, false, c.what);
  }
}
// Damage of a random kind at a random place, as many times as the seeds go.
enum class Damage { kFlip, kInsert, kDelete, kCrLfToLf, kTruncate, kIndexFlip, kIndexTruncate };

std::string ApplyDamage(std::mt19937& rng, std::string& data, std::string& index) {
  const auto kind = static_cast<Damage>(rng() % 7);
  std::string& target = kind == Damage::kIndexFlip || kind == Damage::kIndexTruncate ? index : data;
  if (target.empty()) return "none";
  const size_t at = rng() % target.size();
  const char bytes[] = {'\r', '\n', '=', 'U', 'E', '-', '0', static_cast<char>(rng())};
  const char byte = bytes[rng() % sizeof bytes];
  switch (kind) {
    case Damage::kFlip:
    case Damage::kIndexFlip:
      target[at] = byte;
      return "byte " + std::to_string(at) + " set to " + std::to_string(byte);
    case Damage::kInsert:
      target.insert(at, 1, byte);
      return "byte " + std::to_string(byte) + " inserted at " + std::to_string(at);
    case Damage::kDelete:
      target.erase(at, 1);
      return "byte " + std::to_string(at) + " deleted";
    case Damage::kCrLfToLf: {
      const size_t end = std::min(target.size(), at + rng() % 4096);
      std::string part = target.substr(at, end - at);
      std::erase(part, '\r');
      target.replace(at, end - at, part);
      return "CR LF made LF from " + std::to_string(at) + " to " + std::to_string(end);
    }
    case Damage::kTruncate:
    case Damage::kIndexTruncate:
      target.resize(at);
      return "cut to " + std::to_string(at);
  }
  return "none";
}

// The raw data of a random event: lines, empty, long.
String RandomRaw(std::mt19937& rng) {
  static const std::vector<String> kRaws = {
      u"", u"plain", u"a\r\nb\r\nc", u"Citt\u00e0 \u20ac", u"UNK=1\r\nEND=x", String(3000, u'z')};
  return kRaws[rng() % kRaws.size()] + IntText(static_cast<int32_t>(rng() % 1000));
}

TEST_F(LogDamageTest, RandomDamageNeverCostsAnEventThatRead) {
  const char* seconds = std::getenv("KIV_DAMAGE_SECONDS");
  const auto until =
      std::chrono::steady_clock::now() + std::chrono::seconds(seconds ? std::atoi(seconds) : 0);
  constexpr uint32_t kCorpus = 150;  // the fixed seeds, always run
  uint32_t seed = 1;
  for (; seed <= kCorpus || std::chrono::steady_clock::now() < until; ++seed) {
    std::mt19937 rng(seed);
    std::vector<String> raws(rng() % 12);
    for (String& raw : raws) raw = RandomRaw(rng);
    WriteDay(raws, rng() % 2 ? KIVLIOPT_UTF8 : 0);
    std::string data = ReadAll(base + u".ZLG");
    std::string index = ReadAll(base + u".ZLI");
    std::string what = "seed " + std::to_string(seed) + ":";
    for (uint32_t n = 1 + rng() % 3; n > 0; --n) what += " " + ApplyDamage(rng, data, index) + ";";
    WriteAll(base + u".ZLG", data);
    WriteAll(base + u".ZLI", index);
    std::vector<String> added(1 + rng() % 3);
    for (String& raw : added) raw = RandomRaw(rng);
    ExpectWriteOnlyAppends(added, rng() % 2, what);
    if (HasFailure()) break;
  }
  std::printf("random damage: %u days\n", seed - 1);
}

}  // namespace
}  // namespace kiv::testing
