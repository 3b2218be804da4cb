// KivLog's table of open logs: lookup by Id, the descriptor handed out, size limit and options,
// and the clean-up that closes every log still open.
#include <vector>

#include "dailylog/log_files.h"
#include "frame/error.h"
#include "frame/factory.h"
#include "frame/guard.h"
#include "kivdbxt/kiv_log.h"
#include "platform/rt_errors.h"
#include "platform/vb_convert.h"

namespace kiv {
namespace {

const ClassRegistrar kRegistrar(u"KivLog", [] {
  return std::static_pointer_cast<Object>(std::make_shared<KivLog>());
});

}  // namespace

KivLog::KivLog() : logs_(std::make_shared<Collection>()) {}

KivLog::~KivLog() {
  // Collect the Ids first: each close removes its entry from the table.
  std::vector<int32_t> ids;
  for (int32_t i = 1; i <= logs_->Count(); ++i) {
    if (auto info = logs_->ObjectAt<KivLogInfo>(i)) ids.push_back(CLng(Variant(info->unk())));
  }
  for (int32_t id : ids) EventLogClose(id);
}

OpenLogEntry& KivLog::FindEntry(int32_t Id) const {
  auto it = by_id_.find(Id);
  if (it == by_id_.end()) RaiseLibrary(u"Eventlog not started.");
  return *it->second;
}

std::shared_ptr<KivLogInfo> KivLog::FindLog(int32_t Id) const { return FindEntry(Id).info; }

void OpenLogEntry::Follow() {
  if (SameName(name_, info->FileName())) return;
  name_ = info->FileName();
  paths_.reset();
  day_.reset();
}

const LogPaths& OpenLogEntry::Paths() {
  Follow();
  if (!paths_) paths_ = NativeLogPaths(name_);
  return *paths_;
}

Date OpenLogEntry::Day() {
  Follow();
  if (!day_) day_ = LogDayDate(name_);
  return *day_;
}

void KivLog::AddLog(int32_t Id, const std::shared_ptr<KivLogInfo>& info) {
  Check(logs_->Add(Variant(std::static_pointer_cast<Object>(info)), info->unk()));
  by_id_[Id] = std::make_unique<OpenLogEntry>(info);
}

void KivLog::RemoveLog(int32_t Id) {
  Check(logs_->Remove(Variant(LogKey(Id))));
  by_id_.erase(Id);
}

bool KivLog::EventLogInfo(int32_t Id, std::shared_ptr<KivLogInfo>& EvLog) {
  return Guard(u"KivLog.EventLogInfo", true, [&] {
    auto info = FindLog(Id);
    auto copy = std::make_shared<KivLogInfo>();
    info->CopyTo(copy);
    EvLog = std::move(copy);
    return false;
  });
}

int32_t KivLog::EventLogMaxSize(int32_t Id) {
  return Guard(u"KivLog.EventLogMaxSize", 0, [&] { return FindLog(Id)->MaxSize(); });
}

void KivLog::EventLogMaxSize(int32_t Id, int32_t value) {
  GuardVoid(u"KivLog.EventLogMaxSize", [&] { FindLog(Id)->MaxSize(value); });
}

int32_t KivLog::EventLogOptions(int32_t Id) {
  return Guard(u"KivLog.EventLogOptions", 0, [&] { return FindLog(Id)->Options(); });
}

void KivLog::EventLogOptions(int32_t Id, int32_t value) {
  GuardVoid(u"KivLog.EventLogOptions", [&] { FindLog(Id)->Options(value); });
}

}  // namespace kiv
