// The automation face of KivLogFile: its dual interface and the source of EventLogChanged
// (IConnectionPointContainer with one connection point, IProvideClassInfo2).

#include <map>
#include <vector>

#include "com/enumerator.h"
#include "com/members.h"
#include "com/system.h"
#include "com/typelib.h"
#include "com/wrappers.h"
#include "kivdbxt/kiv_log_file.h"

namespace kiv::com {
namespace {

void CopyRecord(const kiv::LOGRECORDTYPE& from, ::LOGRECORDTYPE* to) {
  to->EvUnk = from.EvUnk;
  to->EvDate = from.EvDate;
  to->EvType = from.EvType;
  to->EvCategory = ToBstr(from.EvCategory);
  to->EvId = from.EvId;
  to->EvUser = ToBstr(from.EvUser);
  to->EvComputer = ToBstr(from.EvComputer);
  to->EvSource = ToBstr(from.EvSource);
  to->EvServer = ToBstr(from.EvServer);
  to->EvRawData = ToBstr(from.EvRawData);
}

class LogFileObject : public AutomationObject<_KivLogFile, KivLogFile>,
                      public IConnectionPointContainer,
                      public IProvideClassInfo2 {
 public:
  explicit LogFileObject(std::shared_ptr<KivLogFile> target)
      : AutomationObject(std::move(target)), point_(this) {
    token_ = self().SubscribeEventLogChanged(
        [this](int32_t unk, int32_t type, int32_t id) { Fire(unk, type, id); });
  }
  ~LogFileObject() override {
    self().UnsubscribeEventLogChanged(token_);
    for (auto& [cookie, sink] : point_.sinks_) sink->Release();
  }

  // The further interfaces share the object's identity and count.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    return AutomationObject::QueryInterface(iid, out);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return AutomationObject::AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return AutomationObject::Release(); }

  // --- _KivLogFile ---------------------------------------------------------------------------
  HRESULT STDMETHODCALLTYPE CreateEventLog(BSTR* sFileName, LONG* lMaxRecords, LONG* eWrapping,
                                           LONG* lWrappingDays, BSTR* sBacupkFile,
                                           VARIANT_BOOL* ret) override {
    return Out(ret, self().CreateEventLog(In(sFileName), In(lMaxRecords), In(eWrapping),
                                          In(lWrappingDays), In(sBacupkFile)));
  }
  HRESULT STDMETHODCALLTYPE OpenEventLog(BSTR* sFileName, VARIANT_BOOL* bKeepAlive,
                                         VARIANT_BOOL* ret) override {
    return Out(ret, self().OpenEventLog(In(sFileName), In(bKeepAlive)));
  }
  HRESULT STDMETHODCALLTYPE CloseEventLog(VARIANT_BOOL* ret) override {
    return Out(ret, self().CloseEventLog());
  }
  HRESULT STDMETHODCALLTYPE get_FileName(BSTR* ret) override { return Out(ret, self().FileName()); }
  HRESULT STDMETHODCALLTYPE get_KeepAlive(VARIANT_BOOL* ret) override {
    return Out(ret, self().KeepAlive());
  }
  HRESULT STDMETHODCALLTYPE put_KeepAlive(VARIANT_BOOL value) override {
    self().KeepAlive(value != VARIANT_FALSE);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE BackupFileSet(BSTR* sFileName, VARIANT_BOOL* ret) override {
    return Out(ret, self().BackupFileSet(In(sFileName)));
  }
  HRESULT STDMETHODCALLTYPE BackupFileGet(BSTR* sFileName, VARIANT_BOOL* ret) override {
    String name = In(sFileName);
    const bool failed = self().BackupFileGet(name);
    Back(sFileName, name);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE MaxRecordsSet(LONG* lMaxRecords, VARIANT_BOOL* ret) override {
    return Out(ret, self().MaxRecordsSet(In(lMaxRecords)));
  }
  HRESULT STDMETHODCALLTYPE MaxRecordsGet(LONG* lMaxRecords, VARIANT_BOOL* ret) override {
    int32_t records = In(lMaxRecords);
    const bool failed = self().MaxRecordsGet(records);
    Back(lMaxRecords, records);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE WrappingSet(LONG* lWrapping, LONG* lWrappingDays,
                                        VARIANT_BOOL* ret) override {
    return Out(ret, self().WrappingSet(In(lWrapping), In(lWrappingDays)));
  }
  HRESULT STDMETHODCALLTYPE WrappingGet(LONG* lWrapping, LONG* lWrappingDays,
                                        VARIANT_BOOL* ret) override {
    int32_t wrapping = In(lWrapping), days = In(lWrappingDays);
    const bool failed = self().WrappingGet(wrapping, days);
    Back(lWrapping, wrapping);
    Back(lWrappingDays, days);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE CompactEventLog(VARIANT_BOOL* ret) override {
    return Out(ret, self().CompactEventLog());
  }
  HRESULT STDMETHODCALLTYPE ReportEventEx(BSTR* Source, BSTR* RawData, LONG* RawDataType,
                                          LONG* EventType, BSTR* Category, LONG* EventId,
                                          BSTR* User, BSTR* Computer, BSTR* Server,
                                          VARIANT_BOOL* ret) override {
    String user = In(User), computer = In(Computer);
    const bool failed =
        self().ReportEventEx(In(Source), In(RawData), In(RawDataType), In(EventType), In(Category),
                             In(EventId), user, computer, In(Server));
    Back(User, user);
    Back(Computer, computer);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE ReportEvent(BSTR* Source, BSTR* RawData, LONG* EventType,
                                        BSTR* Category, LONG* EventId, BSTR* User, BSTR* Computer,
                                        BSTR* Server, VARIANT_BOOL* ret) override {
    String user = In(User), computer = In(Computer);
    const bool failed = self().ReportEvent(In(Source), In(RawData), In(EventType), In(Category),
                                           In(EventId), user, computer, In(Server));
    Back(User, user);
    Back(Computer, computer);
    return Out(ret, failed);
  }
  HRESULT STDMETHODCALLTYPE PurgeEventLog(LONG Records, LONG Days, BSTR SubSet,
                                          VARIANT_BOOL* ret) override {
    return Out(ret, self().PurgeEventLog(Records, Days, FromBstr(SubSet)));
  }
  HRESULT STDMETHODCALLTYPE Purge(LONG* Records, LONG* Days, VARIANT_BOOL* ret) override {
    return Out(ret, self().Purge(In(Records), In(Days)));
  }
  HRESULT STDMETHODCALLTYPE BackupEventLog(BSTR* sFileName, LONG* Flags,
                                           VARIANT_BOOL* ret) override {
    return Out(ret, self().BackupEventLog(In(sFileName), In(Flags)));
  }
  HRESULT STDMETHODCALLTYPE Backup(BSTR* sFileName, VARIANT_BOOL* ret) override {
    return Out(ret, self().Backup(In(sFileName)));
  }
  HRESULT STDMETHODCALLTYPE ReadEventLogQueryStr(LONG* Flags, LONG* RecordPos, BSTR* SubSet,
                                                 BSTR* OrderBy, BSTR* ret) override {
    return Out(ret, self().ReadEventLogQueryStr(In(Flags), In(RecordPos), In(SubSet), In(OrderBy)));
  }
  HRESULT STDMETHODCALLTYPE ReadEventLog(LONG* Flags, LONG* RecordPos, BSTR* SubSet, BSTR* OrderBy,
                                         LONG* ret) override {
    int32_t position = In(RecordPos);
    const int32_t result = self().ReadEventLog(In(Flags), position, In(SubSet), In(OrderBy));
    Back(RecordPos, position);
    return Out(ret, result);
  }
  HRESULT STDMETHODCALLTYPE ReadEventLogEx(LONG* Flags, LONG* RecordPos, BSTR* SubSet,
                                           BSTR* OrderBy, LONG* MaxRecords, LONG* ret) override {
    int32_t position = In(RecordPos), records = In(MaxRecords);
    const int32_t result =
        self().ReadEventLogEx(In(Flags), position, In(SubSet), In(OrderBy), records);
    Back(RecordPos, position);
    Back(MaxRecords, records);
    return Out(ret, result);
  }
  HRESULT STDMETHODCALLTYPE get_LogRecord(::LOGRECORDTYPE* ret) override {
    if (ret == nullptr) return E_POINTER;
    CopyRecord(self().LogRecord(), ret);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_LogRecordEx(LONG* RecNum, ::LOGRECORDTYPE* ret) override {
    if (ret == nullptr) return E_POINTER;
    CopyRecord(self().LogRecordEx(In(RecNum)), ret);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE CheckEventLogChanges(LONG* unk, LONG* ret) override {
    int32_t last = In(unk);
    const int32_t result = self().CheckEventLogChanges(last);
    Back(unk, last);
    return Out(ret, result);
  }
  HRESULT STDMETHODCALLTYPE OpenEventLogReadOnly(BSTR* sFileName, VARIANT_BOOL* bKeepAlive,
                                                 VARIANT_BOOL* ret) override {
    return Out(ret, self().OpenEventLogReadOnly(In(sFileName), In(bKeepAlive)));
  }
  HRESULT STDMETHODCALLTYPE get_ReadOnly(VARIANT_BOOL* ret) override {
    return Out(ret, self().ReadOnly());
  }
  HRESULT STDMETHODCALLTYPE SyncModeSet(BSTR* sMode, VARIANT_BOOL* ret) override {
    return Out(ret, self().SyncModeSet(In(sMode)));
  }
  HRESULT STDMETHODCALLTYPE SyncModeGet(BSTR* sMode, VARIANT_BOOL* ret) override {
    String mode = In(sMode);
    const bool failed = self().SyncModeGet(mode);
    Back(sMode, mode);
    return Out(ret, failed);
  }

  // --- IConnectionPointContainer: one connection point, __KivLogFile --------------------------
  HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** out) override {
    if (out == nullptr) return E_POINTER;
    *out = new SnapshotEnumerator<IEnumConnectionPoints, IConnectionPoint*, IConnectionPoint*>(
        {&point_});
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid != DIID___KivLogFile) return CONNECT_E_NOCONNECTION;
    *out = &point_;
    point_.AddRef();
    return S_OK;
  }

  // --- IProvideClassInfo2 -------------------------------------------------------------------
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** out) override {
    if (out == nullptr) return E_POINTER;
    *out = TypeInfoOf(CLSID_KivLogFile);
    if (*out == nullptr) return E_FAIL;
    (*out)->AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetGUID(DWORD kind, GUID* out) override {
    if (out == nullptr) return E_POINTER;
    if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) return E_INVALIDARG;
    *out = DIID___KivLogFile;
    return S_OK;
  }

 protected:
  bool QueryMore(REFIID iid, void** out) override {
    if (iid == IID_IConnectionPointContainer) {
      *out = static_cast<IConnectionPointContainer*>(this);
    } else if (iid == IID_IProvideClassInfo || iid == IID_IProvideClassInfo2) {
      *out = static_cast<IProvideClassInfo2*>(this);
    } else {
      return false;
    }
    return true;
  }

 private:
  // One call of EventLogChanged on every advised sink, in the order they were advised. The
  // sinks are held for the duration, so a sink may unadvise from inside its handler.
  void Fire(int32_t unk, int32_t type, int32_t id) {
    std::vector<IDispatch*> sinks;
    for (auto& [cookie, sink] : point_.sinks_) {
      sink->AddRef();
      sinks.push_back(sink);
    }
    for (IDispatch* sink : sinks) {
      VARIANT args[3];
      for (VARIANT& arg : args) {
        VariantInit(&arg);
        arg.vt = VT_I4;
      }
      args[0].lVal = id;  // arguments go in reverse order
      args[1].lVal = type;
      args[2].lVal = unk;
      DISPPARAMS params = {args, nullptr, 3, 0};
      sink->Invoke(1, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, nullptr, nullptr,
                   nullptr);
      sink->Release();
    }
  }

  // The connection point of __KivLogFile: an object of its own identity (its IUnknown is not
  // the log's), living as long as the log, whose references it counts.
  class Point : public IConnectionPoint {
   public:
    explicit Point(LogFileObject* owner) : owner_(owner) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
      if (out == nullptr) return E_POINTER;
      *out = nullptr;
      if (iid != IID_IUnknown && iid != IID_IConnectionPoint) return E_NOINTERFACE;
      *out = static_cast<IConnectionPoint*>(this);
      AddRef();
      return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return owner_->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return owner_->Release(); }

    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override {
      if (iid == nullptr) return E_POINTER;
      *iid = DIID___KivLogFile;
      return S_OK;
    }
    HRESULT STDMETHODCALLTYPE
    GetConnectionPointContainer(IConnectionPointContainer** out) override {
      if (out == nullptr) return E_POINTER;
      *out = static_cast<IConnectionPointContainer*>(owner_);
      owner_->AddRef();
      return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
      if (sink == nullptr || cookie == nullptr) return E_POINTER;
      *cookie = 0;
      IDispatch* events = nullptr;
      if (FAILED(sink->QueryInterface(DIID___KivLogFile, reinterpret_cast<void**>(&events))) &&
          FAILED(sink->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&events)))) {
        return CONNECT_E_CANNOTCONNECT;
      }
      *cookie = next_cookie_++;
      sinks_.emplace(*cookie, events);
      return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
      auto it = sinks_.find(cookie);
      if (it == sinks_.end()) return CONNECT_E_NOCONNECTION;
      it->second->Release();
      sinks_.erase(it);
      return S_OK;
    }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** out) override {
      if (out == nullptr) return E_POINTER;
      std::vector<CONNECTDATA> connections;
      for (auto& [cookie, sink] : sinks_) connections.push_back({sink, cookie});
      *out = new SnapshotEnumerator<IEnumConnections, CONNECTDATA, CONNECTDATA>(
          std::move(connections));
      return S_OK;
    }

    std::map<DWORD, IDispatch*> sinks_;

   private:
    LogFileObject* owner_;
    DWORD next_cookie_ = 1;
  };

  int64_t token_ = 0;
  Point point_;
};

}  // namespace

IDispatch* WrapLogFile(std::shared_ptr<KivLogFile> log) {
  return static_cast<_KivLogFile*>(new LogFileObject(std::move(log)));
}

}  // namespace kiv::com
