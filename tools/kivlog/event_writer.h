// Events in every output format, written through one buffer: a page of a million events costs
// one system call per 64 KiB, and no field becomes a string of its own on the way.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "output.h"

namespace kivlog {

// Bytes for a file descriptor, gathered and written in large blocks.
class OutBuffer {
 public:
  explicit OutBuffer(int fd) : fd_(fd) { bytes_.reserve(kBlock + 4096); }
  ~OutBuffer() { Flush(); }
  OutBuffer(const OutBuffer&) = delete;
  OutBuffer& operator=(const OutBuffer&) = delete;

  std::string& bytes() { return bytes_; }
  // Writes out what is held once it passes a block.
  void Spill() {
    if (bytes_.size() >= kBlock) Flush();
  }
  // Writes out everything held. False when the descriptor refused it (a closed pipe).
  bool Flush();

 private:
  static constexpr size_t kBlock = 64 * 1024;
  int fd_;
  std::string bytes_;
};

// The fields of an event, in the order JSON and CSV print them, for --output-fields.
enum class Field {
  kLog,
  kOrdinal,
  kOffset,
  kUnk,
  kDate,
  kSource,
  kType,
  kCategory,
  kId,
  kUser,
  kComputer,
  kServer,
  kDataType,
  kRawData
};

// Fills `e` from a daily log's event, reusing its strings' capacity.
void FillRecord(const kiv::KivLogEvent& event, const std::string& log, EventRecord& e);

// Formats events in the output format in force into a byte string.
class EventFormatter {
 public:
  EventFormatter();
  // Appends one event; the CSV header comes before the first. With `label`, the short formats
  // begin the header line with it (the event's log when several are merged).
  void Append(const EventRecord& e, std::string& out, std::string_view label = {});
  bool Json() const { return format_ == kJson || format_ == kJsonPretty; }
  // Whether the short formats colour a header line by its event type.
  void Colour(bool on) { colour_ = on; }

 private:
  enum Format { kShort, kShortIso, kCat, kJson, kJsonPretty, kCsv };

  void AppendShort(const EventRecord& e, std::string& out, std::string_view label);
  void AppendJson(const EventRecord& e, std::string& out, bool pretty);
  void AppendCsv(const EventRecord& e, std::string& out);
  void AppendField(const EventRecord& e, Field f, bool json, std::string& out);
  // The date texts of the last event; most events of a page share their second.
  const std::string& DateText(kiv::Date date, int style);

  Format format_;
  std::vector<Field> fields_;  // JSON and CSV fields, in their order
  bool header_done_ = false;
  bool colour_ = false;
  std::string json_keys_[14];
  std::string log_, log_json_;
  kiv::Date dates_[3] = {-1, -1, -1};
  std::string date_texts_[3];
};

// Where the reading subcommands send their events: one formatter, one buffer.
class EventOutput {
 public:
  explicit EventOutput(int fd) : buffer_(fd) {}
  void Write(const kiv::KivLogEvent& event, const std::string& log, std::string_view label = {}) {
    FillRecord(event, log, record_);
    Write(record_, label);
  }
  void Write(const EventRecord& e, std::string_view label = {}) {
    formatter_.Append(e, buffer_.bytes(), label);
    buffer_.Spill();
  }
  // Text of the subcommand's own between the events (a page's summary line).
  void Text(std::string_view text) { buffer_.bytes().append(text); }
  void Flush() { buffer_.Flush(); }
  EventFormatter& formatter() { return formatter_; }

 private:
  OutBuffer buffer_;
  EventFormatter formatter_;
  EventRecord record_;
};

// Appends text as a JSON string body: quotes, backslashes and control characters escaped, the
// rest (UTF-8) as it stands.
void AppendJsonEscaped(std::string_view text, std::string& out);
// Appends text as one CSV field: quoted, its quotes doubled, when it holds a comma, a quote or a
// line end.
void AppendCsvField(std::string_view text, std::string& out);
// The UTF-8 of a library string into `out`, whose capacity is reused.
void AssignUtf8(kiv::StringView text, std::string& out);

// The fields --output-fields names, in the fixed order; raises CLI::ValidationError on a name
// that is not a field.
std::vector<Field> ParseFields(const std::vector<std::string>& names);

}  // namespace kivlog
