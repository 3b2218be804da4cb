// KivSector: each public operation runs in the guard, on the open store, and writes its debug
// line when Debug is on.
#include "kivdbxt/kiv_sector.h"

#include <optional>
#include <string>

#include "frame/error.h"
#include "frame/factory.h"
#include "frame/guard.h"
#include "platform/rt_errors.h"
#include "platform/text_codec.h"
#include "sector/debug_log.h"
#include "sector/sector_store.h"

namespace kiv {
namespace {

const ClassRegistrar kRegistrar(u"KivSector", [] {
  return std::static_pointer_cast<Object>(std::make_shared<KivSector>());
});

std::string Id(int32_t rec_id) { return "RecId=" + std::to_string(rec_id); }

// The arguments of a write: the RecId given (and the one given back), the data's size and kind
// (a length below 0: a Variant converted to text).
auto WriteArgs(const int32_t& rec_id, int64_t length, bool text) {
  return [&rec_id, given = rec_id, length, text] {
    std::string args = Id(given);
    if (given == 0 && rec_id != 0) args += " NewRecId=" + std::to_string(rec_id);
    if (length >= 0) args += " Length=" + std::to_string(length);
    return args + (text ? " Text" : " Bytes");
  };
}

const uint8_t* BytesOf(const String& text) { return reinterpret_cast<const uint8_t*>(text.data()); }

}  // namespace

KivSector::KivSector() = default;

KivSector::~KivSector() { SectorClose(); }

// The open store, or the error of an operation before SectorOpen.
static SectorStore& OpenStore(const std::unique_ptr<SectorStore>& store) {
  if (!store) RaiseLibrary(NotOpenMessage());
  return *store;
}

// Reads a record into the store's read_text (true) or read_bytes (false), as it was written.
static bool ReadRecord(SectorStore& store, int32_t rec_id) {
  return store
      .Read(rec_id,
            [&](const sector::DirEntry& e) {
              if (e.IsText()) {
                store.read_text.resize(static_cast<size_t>(e.length / 2));
                return reinterpret_cast<uint8_t*>(store.read_text.data());
              }
              store.read_bytes.resize(static_cast<size_t>(e.length));
              return store.read_bytes.data();
            })
      .IsText();
}

// Hands a read's result to the caller, whose old memory the next read reuses (unless it is
// large: a big record read once is not kept for the small ones that follow).
template <class Buffer>
static void HandOver(Buffer& from, Buffer& to) {
  std::swap(from, to);
  if (from.capacity() * sizeof(from[0]) > (size_t{1} << 20)) Buffer().swap(from);
}

// Runs one public operation: the guard, then the debug line (its arguments described after the
// operation, so that they show what it gave back). The Source is a literal: no string is built
// for an operation that succeeds.
template <class Args, class Body>
static bool Run(bool debug, const char16_t* source, Args&& args, Body&& body) {
  const bool failed = Guard(source, true, [&] {
    body();
    return false;
  });
  if (debug) {
    const StringView name = StringView(source).substr(sizeof "KivSector." - 1);
    WriteDebugLine(ToUtf8(name), std::string(args()), failed);
  }
  return failed;
}

bool KivSector::SectorCreate(const String& FileName, int32_t SectorSize) {
  return Run(
      debug_, u"KivSector.SectorCreate",
      [&] { return ToUtf8(FileName) + " SectorSize=" + std::to_string(SectorSize); },
      [&] { SectorStore::Create(StoreBase(FileName), SectorSize); });
}

bool KivSector::SectorOpen(const String& FileName, bool ReadOnly) {
  return Run(
      debug_, u"KivSector.SectorOpen",
      [&] { return ToUtf8(FileName) + (ReadOnly ? " ReadOnly" : ""); },
      [&] {
        store_.reset();
        store_ = std::make_unique<SectorStore>(StoreBase(FileName), ReadOnly);
        store_->sync_writes = sync_writes_;
      });
}

bool KivSector::SectorClose() {
  return Run(
      debug_, u"KivSector.SectorClose", [] { return ""; }, [&] { store_.reset(); });
}

bool KivSector::SectorWrite(int32_t& RecId, const String& Data) {
  const int64_t length = static_cast<int64_t>(Data.size()) * 2;
  return Run(debug_, u"KivSector.SectorWrite", WriteArgs(RecId, length, true),
             [&] { OpenStore(store_).Write(RecId, BytesOf(Data), length, true); });
}

bool KivSector::SectorWrite(int32_t& RecId, const char16_t* Data) {
  return SectorWrite(RecId, Data ? String(Data) : String());
}

bool KivSector::SectorWrite(int32_t& RecId, const std::vector<uint8_t>& Data) {
  const int64_t length = static_cast<int64_t>(Data.size());
  return Run(debug_, u"KivSector.SectorWrite", WriteArgs(RecId, length, false),
             [&] { OpenStore(store_).Write(RecId, Data.data(), length, false); });
}

bool KivSector::SectorWrite(int32_t& RecId, const Variant& Data) {
  if (Data.Type() == (vbArray | vbByte)) return SectorWrite(RecId, Data.Bytes());
  if (Data.Type() == vbString) return SectorWrite(RecId, Data.StringValue());
  // Anything else is written as its text, as the run time's CStr gives it.
  return Run(debug_, u"KivSector.SectorWrite", WriteArgs(RecId, -1, true), [&] {
    std::optional<String> text = Data.ToString();
    if (!text) Raise(kErrTypeMismatch);
    const int64_t length = static_cast<int64_t>(text->size()) * 2;
    OpenStore(store_).Write(RecId, BytesOf(*text), length, true);
  });
}

bool KivSector::SectorRead(int32_t RecId, String& Data) {
  return Run(
      debug_, u"KivSector.SectorRead", [&] { return Id(RecId); },
      [&] {
        SectorStore& store = OpenStore(store_);
        if (ReadRecord(store, RecId)) {
          HandOver(store.read_text, Data);
        } else {
          Data = BytesToString(store.read_bytes);
        }
      });
}

bool KivSector::SectorRead(int32_t RecId, std::vector<uint8_t>& Data) {
  return Run(
      debug_, u"KivSector.SectorRead", [&] { return Id(RecId); },
      [&] {
        SectorStore& store = OpenStore(store_);
        store.Read(RecId, [&](const sector::DirEntry& e) {
          store.read_bytes.resize(static_cast<size_t>(e.length));
          return store.read_bytes.data();
        });
        HandOver(store.read_bytes, Data);
      });
}

bool KivSector::SectorRead(int32_t RecId, Variant& Data) {
  return Run(
      debug_, u"KivSector.SectorRead", [&] { return Id(RecId); },
      [&] {
        SectorStore& store = OpenStore(store_);
        Data = ReadRecord(store, RecId) ? Variant(std::move(store.read_text))
                                        : Variant(std::move(store.read_bytes));
      });
}

bool KivSector::SectorDelete(int32_t RecId) {
  return Run(
      debug_, u"KivSector.SectorDelete", [&] { return Id(RecId); },
      [&] { OpenStore(store_).Delete(RecId); });
}

bool KivSector::SectorInfo(int32_t RecId, int64_t& Length, Date& Modified) {
  return Run(
      debug_, u"KivSector.SectorInfo", [&] { return Id(RecId); },
      [&] {
        const sector::DirEntry e = OpenStore(store_).Info(RecId);
        Length = e.length;
        Modified = e.modified;
      });
}

bool KivSector::SectorList(const std::shared_ptr<Collection>& RetIds) {
  return Run(
      debug_, u"KivSector.SectorList", [] { return ""; },
      [&] {
        if (!RetIds) Raise(kErrObjectNotSet);
        const std::vector<int32_t> ids = OpenStore(store_).List();
        RetIds->Clear();
        for (int32_t id : ids) RetIds->Add(Variant(id));
      });
}

bool KivSector::SectorFlush() {
  return Run(
      debug_, u"KivSector.SectorFlush", [] { return ""; }, [&] { OpenStore(store_).Flush(); });
}

bool KivSector::SectorCompact() {
  return Run(
      debug_, u"KivSector.SectorCompact", [] { return ""; }, [&] { OpenStore(store_).Compact(); });
}

bool KivSector::SectorVerify(const std::shared_ptr<Collection>& Damaged) {
  return Run(
      debug_, u"KivSector.SectorVerify", [] { return ""; },
      [&] {
        if (!Damaged) Raise(kErrObjectNotSet);
        const std::vector<int32_t> ids = OpenStore(store_).Verify();
        Damaged->Clear();
        for (int32_t id : ids) Damaged->Add(Variant(id));
      });
}

String KivSector::FileName() const { return store_ ? store_->Base() : String(); }

int32_t KivSector::SectorSize() const { return store_ ? store_->SectorSize() : 0; }

int32_t KivSector::Records() const {
  return Guard(u"KivSector.Records", 0, [&] { return OpenStore(store_).Records(); });
}

bool KivSector::Debug() const { return debug_; }
void KivSector::Debug(bool value) { debug_ = value; }

bool KivSector::SyncWrites() const { return sync_writes_; }

void KivSector::SyncWrites(bool value) {
  sync_writes_ = value;
  if (store_) store_->sync_writes = value;
}

}  // namespace kiv
