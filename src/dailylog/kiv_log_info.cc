#include "kivdbxt/kiv_log_info.h"

#include "dailylog/log_files.h"
#include "frame/error.h"
#include "frame/factory.h"
#include "frame/guard.h"
#include "platform/rt_errors.h"

namespace kiv {
namespace {

const ClassRegistrar kRegistrar(u"KivLogInfo", [] {
  return std::static_pointer_cast<Object>(std::make_shared<KivLogInfo>());
});

}  // namespace

KivLogInfo::KivLogInfo() : log_data_(std::make_shared<Collection>()) {}

void KivLogInfo::CopyTo(const std::shared_ptr<KivLogInfo>& EvLog) const {
  GuardVoid(u"KivLogInfo.CopyTo", [&] {
    if (!EvLog) Raise(kErrObjectNotSet);
    EvLog->AppId(app_id_);
    EvLog->Path(path_);
    EvLog->FileName(file_name_);
    EvLog->Computer(computer_);
    EvLog->User(user_);
    EvLog->Events(events_);
    EvLog->Options(options_);
  });
}

String KivLogInfo::Day() const { return LogDay(file_name_); }

Date KivLogInfo::DateCreated() const {
  return Guard(u"KivLogInfo.DateCreated", Date(0), [&] { return LogDayDate(file_name_); });
}

}  // namespace kiv
