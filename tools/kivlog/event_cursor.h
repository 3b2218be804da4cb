// The events of a run of days, one at a time, read a page at a time through the library's reads
// (its filtered walk when there is a filter), oldest first or newest first.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kivdbxt/error.h"
#include "kivdbxt/kiv_log.h"
#include "raw_grep.h"

namespace kivlog {

class EventCursor {
 public:
  // What to do with a damaged event: name it and go on after it, or stop there as a failed read.
  using OnDamaged =
      std::function<void(const std::string& log, int32_t ordinal, const kiv::ErrorRecord& error)>;

  // `bases` oldest day first. `start` is the ordinal the first day is read from (0: its first
  // event, or its last one backwards). Without on_damaged a damaged event ends the walk.
  EventCursor(kiv::KivLog& log, std::vector<kiv::String> bases,
              std::shared_ptr<kiv::KivLogFilter> filter, bool backwards, int32_t start = 0,
              OnDamaged on_damaged = {});

  // The next event, or null at the end and when a log could not be read (failed()).
  const kiv::KivLogEvent* Next();
  // The base name of the day the last event came from, as UTF-8.
  const std::string& log_name() const { return name_; }
  // How many days the cursor has begun: it changes when the next event comes from another day.
  size_t days_begun() const { return day_; }
  // The count of events of the day the cursor is on, once its first page has been read.
  int32_t day_events() const { return info_->Events(); }
  // The event count of the first day read (the newest day backwards) when that day is `base`
  // and its first page has been read; else 0.
  int32_t EventsOfFirstDay(const kiv::String& base) const {
    if (bases_.empty() || (backwards_ ? bases_.back() : bases_.front()) != base) return 0;
    return first_day_events_;
  }
  // True when a read failed; the library's error is the one recorded.
  bool failed() const { return failed_; }
  // The error of the failed read.
  const kiv::ErrorRecord& error() const { return error_; }
  void SetGrep(const RawGrep* grep) { grep_ = grep; }
  bool backwards() const { return backwards_; }

 private:
  void ReadPage();
  bool OpenDay();
  int32_t LocateDamage(int32_t from);

  kiv::KivLog& log_;
  std::vector<kiv::String> bases_;
  size_t day_ = 0;
  std::shared_ptr<kiv::KivLogFilter> filter_;
  bool backwards_;
  int32_t start_;
  OnDamaged on_damaged_;
  const RawGrep* grep_ = nullptr;
  std::shared_ptr<kiv::KivLogInfo> info_ = std::make_shared<kiv::KivLogInfo>();
  std::string name_;
  int32_t next_ = 0;  // the ordinal the next page is read from
  int32_t at_ = 0;    // position in the page, 1-based, in reading order
  bool day_done_ = true;
  int32_t first_day_events_ = 0;
  bool failed_after_page_ = false;
  bool failed_ = false;
  kiv::ErrorRecord error_;
  std::string raw_;  // the raw data as UTF-8, for --grep
};

// Several cursors' events in date order (newest first when they read backwards), each with the
// label of its cursor; events of the same moment come in the cursors' order.
class MergedCursor {
 public:
  void Add(std::unique_ptr<EventCursor> cursor, std::string label);
  void SetGrep(const RawGrep* grep);
  // The next event, or null at the end of every cursor or when one failed (failed()).
  const kiv::KivLogEvent* Next();
  // The cursor and label of the last event.
  const EventCursor& cursor() const { return *sources_[last_].cursor; }
  const std::string& label() const { return sources_[last_].label; }
  const EventCursor* failed() const;

 private:
  struct Source {
    std::unique_ptr<EventCursor> cursor;
    std::string label;
    const kiv::KivLogEvent* head = nullptr;
    bool started = false;
  };
  std::vector<Source> sources_;
  size_t last_ = 0;
};

}  // namespace kivlog
