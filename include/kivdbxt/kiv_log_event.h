// KivLogEvent: one event of a daily log and its text form in the data file.
#pragma once

#include <cstdint>

#include "kivdbxt/constants.h"
#include "kivdbxt/export.h"
#include "kivdbxt/types.h"

namespace kiv {

class KIV_API KivLogEvent : public Object {
 public:
  // An empty event: every number 0, every text empty, raw data as text.
  KivLogEvent() = default;

  // A number stored with the event; a daily log gives each event it writes a new unique one.
  int32_t EvUnk() const { return ev_unk_; }
  void EvUnk(int32_t value) { ev_unk_ = value; }
  // When the event happened.
  Date EvDate() const { return ev_date_; }
  void EvDate(Date value) { ev_date_ = value; }
  // The event's KivLogType (EVENTLOG_ERROR_TYPE, ...).
  int32_t EvType() const { return ev_type_; }
  void EvType(int32_t value) { ev_type_ = value; }
  // The event's category, a text of the writer's choice.
  const String& EvCategory() const { return ev_category_; }
  void EvCategory(String value) { ev_category_ = std::move(value); }
  // The event's id, a number of the writer's choice.
  int32_t EvId() const { return ev_id_; }
  void EvId(int32_t value) { ev_id_ = value; }
  // The user name stored with the event.
  const String& EvUser() const { return ev_user_; }
  void EvUser(String value) { ev_user_ = std::move(value); }
  // The computer name stored with the event.
  const String& EvComputer() const { return ev_computer_; }
  void EvComputer(String value) { ev_computer_ = std::move(value); }
  // The source of the event: the application, or the part of it, that reported it.
  const String& EvSource() const { return ev_source_; }
  void EvSource(String value) { ev_source_ = std::move(value); }
  // The server name stored with the event.
  const String& EvServer() const { return ev_server_; }
  void EvServer(String value) { ev_server_ = std::move(value); }
  // The event's data: text, or hexadecimal text for binary data (EvDataType RWDT_BINARY).
  const String& EvRawData() const { return ev_raw_data_; }
  void EvRawData(String value) { ev_raw_data_ = std::move(value); }
  // RWDT_ASCII for text raw data, RWDT_BINARY for bytes.
  int32_t EvDataType() const { return ev_data_type_; }
  void EvDataType(int32_t value) { ev_data_type_ = value; }
  // Position of the record in its log's data file; set and used by the daily log.
  int32_t Offset() const { return offset_; }
  void Offset(int32_t value) { offset_ = value; }
  // The event's ordinal in its day's log; set by the daily log when it reads the event.
  int32_t Ordinal() const { return ordinal_; }

  // Each returns True when it failed (the error is recorded), False on success.

  // Writes the record as one block of text lines on a file opened for text output.
  bool Save(int32_t& hndl);
  // Reads one block of lines from a file opened for text input. A line longer than 64 MiB is
  // refused with the misalignment error instead of being read on.
  bool Load(int32_t& hndl);
  // Cleans the text fields and turns binary raw data into hexadecimal text.
  bool TranslateData();
  // Does nothing: hexadecimal raw data is never decoded back.
  bool RestoreData();

 private:
  friend struct EventAccess;

  int32_t ev_unk_ = 0;
  Date ev_date_ = 0;
  int32_t ev_type_ = 0;
  String ev_category_;
  int32_t ev_id_ = 0;
  String ev_user_;
  String ev_computer_;
  String ev_source_;
  String ev_server_;
  String ev_raw_data_;
  int32_t ev_data_type_ = RWDT_ASCII;
  int32_t offset_ = 0;
  int32_t ordinal_ = 0;
};

}  // namespace kiv
