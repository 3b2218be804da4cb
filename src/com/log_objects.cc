// The automation faces of KivLog and KivLogInfo.
#include "com/members.h"
#include "com/system.h"
#include "com/typelib.h"
#include "com/wrappers.h"
#include "kivdbxt/collection.h"
#include "kivdbxt/kiv_log.h"
#include "kivdbxt/kiv_log_filter.h"
#include "kivdbxt/kiv_log_info.h"

namespace kiv::com {
namespace {

class InfoObject : public AutomationObject<_KivLogInfo, KivLogInfo> {
 public:
  using AutomationObject::AutomationObject;

  KIV_COM_STRING_PROPERTY(unk)
  KIV_COM_STRING_PROPERTY(AppId)
  KIV_COM_STRING_PROPERTY(Path)
  KIV_COM_STRING_PROPERTY(FileName)
  KIV_COM_STRING_PROPERTY(Computer)
  KIV_COM_STRING_PROPERTY(User)
  KIV_COM_LONG_PROPERTY(Events)
  HRESULT STDMETHODCALLTYPE get_LogData(_Collection** ret) override {
    return Out(ret, self().LogData());
  }
  HRESULT STDMETHODCALLTYPE putref_LogData(_Collection* value) override {
    self().LogData(Unwrap<Collection>(value));
    return S_OK;
  }
  KIV_COM_LONG_PROPERTY(Options)
  KIV_COM_LONG_PROPERTY(MaxSize)
  HRESULT STDMETHODCALLTYPE CopyTo(_KivLogInfo** EvLog) override {
    self().CopyTo(In<KivLogInfo>(EvLog));
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_Day(BSTR* ret) override { return Out(ret, self().Day()); }
  HRESULT STDMETHODCALLTYPE get_DateCreated(DATE* ret) override {
    return Out(ret, self().DateCreated());
  }
};

class LogObject : public AutomationObject<_KivLog, KivLog> {
 public:
  using AutomationObject::AutomationObject;

  HRESULT STDMETHODCALLTYPE LogDefaultPath(BSTR* ret) override {
    return Out(ret, self().LogDefaultPath());
  }
  HRESULT STDMETHODCALLTYPE LogFileName(BSTR* AppId, BSTR* Path, DATE* CurrDate,
                                        BSTR* ret) override {
    String path = In(Path);
    const String name = self().LogFileName(In(AppId), path, In(CurrDate));
    Back(Path, path);
    return Out(ret, name);
  }
  HRESULT STDMETHODCALLTYPE get_EXTLOGDATA(BSTR* ret) override {
    return Out(ret, self().EXTLOGDATA());
  }
  HRESULT STDMETHODCALLTYPE get_EXTLOGINDEX(BSTR* ret) override {
    return Out(ret, self().EXTLOGINDEX());
  }
  HRESULT STDMETHODCALLTYPE EventLogList(_Collection** RetLogs, BSTR* Path,
                                         VARIANT_BOOL* ret) override {
    return Out(ret, self().EventLogList(In<Collection>(RetLogs), In(Path)));
  }
  HRESULT STDMETHODCALLTYPE RenameLog(BSTR* LogName, VARIANT_BOOL* ret) override {
    return Out(ret, self().RenameLog(In(LogName)));
  }

  HRESULT STDMETHODCALLTYPE EventLogOpenEx(BSTR* AppId, BSTR* Path, LONG* Mode, DATE* CurrDate,
                                           BSTR* Computer, BSTR* User, LONG* MaxSize,
                                           LONG* ret) override {
    String app_id = In(AppId), path = In(Path);
    const int32_t id = self().EventLogOpenEx(app_id, path, In(Mode), In(CurrDate), In(Computer),
                                             In(User), In(MaxSize));
    Back(AppId, app_id);
    Back(Path, path);
    return Out(ret, id);
  }
  HRESULT STDMETHODCALLTYPE EventLogOpen(BSTR* AppId, BSTR* Path, LONG* Mode, DATE* CurrDate,
                                         BSTR* Computer, BSTR* User, LONG* ret) override {
    String app_id = In(AppId), path = In(Path);
    const int32_t id =
        self().EventLogOpen(app_id, path, In(Mode), In(CurrDate), In(Computer), In(User));
    Back(AppId, app_id);
    Back(Path, path);
    return Out(ret, id);
  }
  HRESULT STDMETHODCALLTYPE EventLogWrite(LONG* Id, BSTR* Source, BSTR* RawData, LONG* RawDataType,
                                          LONG* EventType, BSTR* Category, LONG* EventId,
                                          BSTR* Server, VARIANT_BOOL* ret) override {
    return Out(ret, self().EventLogWrite(In(Id), In(Source), In(RawData), In(RawDataType),
                                         In(EventType), In(Category), In(EventId), In(Server)));
  }
  HRESULT STDMETHODCALLTYPE EventLogClose(LONG* Id, VARIANT_BOOL* ret) override {
    return Out(ret, self().EventLogClose(In(Id)));
  }
  HRESULT STDMETHODCALLTYPE EventLogInfo(LONG* Id, _KivLogInfo** EvLog,
                                         VARIANT_BOOL* ret) override {
    const std::shared_ptr<KivLogInfo> before = In<KivLogInfo>(EvLog);
    std::shared_ptr<KivLogInfo> info = before;
    const bool failed = self().EventLogInfo(In(Id), info);
    Back(EvLog, info, before);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE get_EventLogMaxSize(LONG* Id, LONG* ret) override {
    return Out(ret, self().EventLogMaxSize(In(Id)));
  }
  HRESULT STDMETHODCALLTYPE put_EventLogMaxSize(LONG* Id, LONG value) override {
    self().EventLogMaxSize(In(Id), value);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_EventLogOptions(LONG* Id, LONG* ret) override {
    return Out(ret, self().EventLogOptions(In(Id)));
  }
  HRESULT STDMETHODCALLTYPE put_EventLogOptions(LONG* Id, LONG value) override {
    self().EventLogOptions(In(Id), value);
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE EventLogRead(_KivLogInfo** EvLog, LONG* Start, LONG* Count,
                                         VARIANT_BOOL* ret) override {
    int32_t start = In(Start);
    const bool failed = self().EventLogRead(In<KivLogInfo>(EvLog), start, In(Count));
    Back(Start, start);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE EventLogReadBack(_KivLogInfo** EvLog, LONG* Start, LONG* Count,
                                             VARIANT_BOOL* Adjust, VARIANT_BOOL* ret) override {
    int32_t start = In(Start);
    const bool failed =
        self().EventLogReadBack(In<KivLogInfo>(EvLog), start, In(Count), In(Adjust));
    Back(Start, start);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE EventLogFilter(_KivLogInfo** EvLog, LONG* Start, _KivLogFilter** Filter,
                                           LONG* Count, VARIANT_BOOL* ret) override {
    int32_t start = In(Start);
    const bool failed =
        self().EventLogFilter(In<KivLogInfo>(EvLog), start, In<KivLogFilter>(Filter), In(Count));
    Back(Start, start);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE EventLogFilterBack(_KivLogInfo** EvLog, LONG* Start,
                                               _KivLogFilter** Filter, LONG* Count,
                                               VARIANT_BOOL* Adjust, VARIANT_BOOL* ret) override {
    int32_t start = In(Start);
    const bool failed = self().EventLogFilterBack(In<KivLogInfo>(EvLog), start,
                                                  In<KivLogFilter>(Filter), In(Count), In(Adjust));
    Back(Start, start);
    return Out(ret, failed);
  }

  HRESULT STDMETHODCALLTYPE EventLogPurge(LONG* Id, VARIANT_BOOL* ret) override {
    return Out(ret, self().EventLogPurge(In(Id)));
  }
  HRESULT STDMETHODCALLTYPE EventLogPurgeEx(DATE* Before, BSTR* AppId, BSTR* Path,
                                            VARIANT_BOOL* ret) override {
    Date before = In(Before);
    const bool failed = self().EventLogPurgeEx(before, In(AppId), In(Path));
    Back(Before, before);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE EventLogWriteBatch(LONG* Id, _Collection** Events,
                                               VARIANT_BOOL* ret) override {
    return Out(ret, self().EventLogWriteBatch(In(Id), In<Collection>(Events)));
  }
};

}  // namespace

IDispatch* WrapLog(std::shared_ptr<KivLog> log) {
  return static_cast<_KivLog*>(new LogObject(std::move(log)));
}

IDispatch* WrapInfo(std::shared_ptr<KivLogInfo> info) {
  return static_cast<_KivLogInfo*>(new InfoObject(std::move(info)));
}

}  // namespace kiv::com
