// KivLogInfo: the descriptor of one daily log (one application, one day).
#pragma once

#include <cstdint>
#include <memory>

#include "kivdbxt/collection.h"
#include "kivdbxt/export.h"
#include "kivdbxt/types.h"

namespace kiv {

class KIV_API KivLogInfo : public Object {
 public:
  // An empty descriptor, with an empty LogData.
  KivLogInfo();

  // The Id of the open log as decimal text; empty for a descriptor made by EventLogList.
  const String& unk() const { return unk_; }
  void unk(String value) { unk_ = std::move(value); }
  // The application's identifier.
  const String& AppId() const { return app_id_; }
  void AppId(String value) { app_id_ = std::move(value); }
  // Folder of the log files.
  const String& Path() const { return path_; }
  void Path(String value) { path_ = std::move(value); }
  // The log base name: folder, AppId, "_" and the day as YYYYMMDD, without extension.
  const String& FileName() const { return file_name_; }
  void FileName(String value) { file_name_ = std::move(value); }
  // The computer name the log writes in its events.
  const String& Computer() const { return computer_; }
  void Computer(String value) { computer_ = std::move(value); }
  // The user name the log writes in its events.
  const String& User() const { return user_; }
  void User(String value) { user_ = std::move(value); }
  // Number of events in the log, as last read or written.
  int32_t Events() const { return events_; }
  void Events(int32_t value) { events_ = value; }
  // The events a read hands back, in ascending ordinal order. A new descriptor has an empty one.
  const std::shared_ptr<Collection>& LogData() const { return log_data_; }
  void LogData(std::shared_ptr<Collection> value) { log_data_ = std::move(value); }
  // The log's KivLogInfo_Options flags.
  int32_t Options() const { return options_; }
  void Options(int32_t value) { options_ = value; }
  // Size limit of the data file in bytes; 0 means no limit.
  int32_t MaxSize() const { return max_size_; }
  void MaxSize(int32_t value) { max_size_ = value; }

  // Copies AppId, Path, FileName, Computer, User, Events and Options into EvLog; unk, LogData and
  // MaxSize stay as they were. A null EvLog records error 91.
  void CopyTo(const std::shared_ptr<KivLogInfo>& EvLog) const;
  // The log's day as "YYYY-MM-DD", cut from FileName after the first "_" that follows the last
  // separator; "" when FileName has no separator or no "_" there.
  String Day() const;
  // The log's day as a date (midnight). A Day that is not a date records error 13 and gives 0.
  Date DateCreated() const;

 private:
  String unk_;
  String app_id_;
  String path_;
  String file_name_;
  String computer_;
  String user_;
  int32_t events_ = 0;
  std::shared_ptr<Collection> log_data_;
  int32_t options_ = 0;
  int32_t max_size_ = 0;
};

}  // namespace kiv
