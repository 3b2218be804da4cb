#include "event_cursor.h"

#include <climits>

#include "daily.h"
#include "event_writer.h"
#include "output.h"

namespace kivlog {
namespace {

// Events per read. A filtered read walks as far as it takes to gather this many.
constexpr int32_t kPage = 1000;

}  // namespace

EventCursor::EventCursor(kiv::KivLog& log, std::vector<kiv::String> bases,
                         std::shared_ptr<kiv::KivLogFilter> filter, bool backwards, int32_t start,
                         OnDamaged on_damaged)
    : log_(log),
      bases_(std::move(bases)),
      filter_(std::move(filter)),
      backwards_(backwards),
      start_(start),
      on_damaged_(std::move(on_damaged)) {}

const kiv::KivLogEvent* EventCursor::Next() {
  for (;;) {
    const kiv::Collection& data = *info_->LogData();
    if (at_ >= 1 && at_ <= data.Count()) {
      const int32_t i = backwards_ ? data.Count() - at_ + 1 : at_;
      ++at_;
      const kiv::KivLogEvent* e = data.ObjectAt<kiv::KivLogEvent>(i).get();
      if (grep_) {
        AssignUtf8(e->EvRawData(), raw_);
        if (!grep_->Matches(raw_)) continue;
      }
      return e;
    }
    if (failed_after_page_) failed_ = true;
    if (failed_) return nullptr;
    if (day_done_ && !OpenDay()) return nullptr;
    ReadPage();
  }
}

bool EventCursor::OpenDay() {
  if (day_ >= bases_.size()) return false;
  const size_t k = backwards_ ? bases_.size() - 1 - day_ : day_;
  info_->FileName(bases_[k]);
  name_ = U8(bases_[k]);
  next_ = day_ == 0 && start_ > 0 ? start_ : backwards_ ? INT_MAX : 1;
  ++day_;
  day_done_ = false;
  return true;
}

void EventCursor::ReadPage() {
  int32_t start = next_;
  const bool failed =
      filter_ ? (backwards_ ? log_.EventLogFilterBack(info_, start, filter_, kPage, false)
                            : log_.EventLogFilter(info_, start, filter_, kPage))
              : (backwards_ ? log_.EventLogReadBack(info_, start, kPage, false)
                            : log_.EventLogRead(info_, start, kPage));
  const kiv::Collection& data = *info_->LogData();
  const int32_t n = data.Count();
  at_ = 1;
  if (day_ == 1 && next_ == (backwards_ ? INT_MAX : 1)) first_day_events_ = info_->Events();
  // The ordinal after the page in reading order: the read goes on from there.
  int32_t after = start;
  if (n > 0) {
    after = backwards_ ? data.ObjectAt<kiv::KivLogEvent>(1)->Ordinal() - 1
                       : data.ObjectAt<kiv::KivLogEvent>(n)->Ordinal() + 1;
  }
  if (!failed) {
    // A short page means the read reached the end of the day.
    day_done_ = n < kPage || after < 1 || after > info_->Events();
    next_ = after;
    return;
  }
  const kiv::ErrorRecord error = kiv::LastErrorRecord();
  if (!IsDamage(error.Number) || !on_damaged_) {
    failed_after_page_ = true;  // the events read before the failure come out first
    error_ = error;
    return;
  }
  // Unfiltered, the damaged event is the one after the page; a filtered read may have passed
  // over rejected events before it.
  const int32_t damaged = filter_ ? LocateDamage(after) : after;
  on_damaged_(name_, damaged, error);
  next_ = backwards_ ? damaged - 1 : damaged + 1;
  day_done_ = next_ < 1 || next_ > info_->Events();
}

int32_t EventCursor::LocateDamage(int32_t from) {
  auto probe = std::make_shared<kiv::KivLogInfo>();
  probe->FileName(info_->FileName());
  for (int32_t at = from;;) {
    int32_t start = at;
    const bool failed = backwards_ ? log_.EventLogReadBack(probe, start, kPage, false)
                                   : log_.EventLogRead(probe, start, kPage);
    const int32_t n = probe->LogData()->Count();
    at = backwards_ ? start - n : start + n;
    if (failed || n < kPage) return at;
  }
}

void MergedCursor::Add(std::unique_ptr<EventCursor> cursor, std::string label) {
  sources_.push_back(Source{std::move(cursor), std::move(label)});
}

void MergedCursor::SetGrep(const RawGrep* grep) {
  for (Source& s : sources_) s.cursor->SetGrep(grep);
}

const EventCursor* MergedCursor::failed() const {
  for (const Source& s : sources_) {
    if (s.cursor->failed()) return s.cursor.get();
  }
  return nullptr;
}

const kiv::KivLogEvent* MergedCursor::Next() {
  // Each source keeps its next event at hand; the one taken last moves on.
  if (!sources_.empty() && sources_[last_].started) {
    sources_[last_].head = sources_[last_].cursor->Next();
  }
  const EventCursor* broken = nullptr;
  size_t best = sources_.size();
  for (size_t i = 0; i < sources_.size(); ++i) {
    Source& s = sources_[i];
    if (!s.started) {
      s.head = s.cursor->Next();
      s.started = true;
    }
    if (s.cursor->failed()) broken = s.cursor.get();
    if (!s.head) continue;
    if (best == sources_.size()) {
      best = i;
      continue;
    }
    const double d = s.head->EvDate(), b = sources_[best].head->EvDate();
    if (s.cursor->backwards() ? d > b : d < b) best = i;
  }
  if (broken || best == sources_.size()) return nullptr;
  last_ = best;
  return sources_[best].head;
}

}  // namespace kivlog
