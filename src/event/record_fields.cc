#include "event/record_fields.h"

#include <limits>

#include "frame/error.h"
#include "platform/text_codec.h"
#include "platform/vb_convert.h"

namespace kiv {
namespace {

constexpr uint32_t Letters(char a, char b, char c) {
  return static_cast<uint8_t>(a) | uint32_t{static_cast<uint8_t>(b)} << 8 |
         uint32_t{static_cast<uint8_t>(c)} << 16;
}

// Saved events hold plain decimal numbers: those directly, anything else as CLng converts it
// (a plain number in the range of a Long is the value CLng gives).
int32_t ToLong(std::string_view bytes) {
  const size_t sign = !bytes.empty() && bytes[0] == '-' ? 1 : 0;
  const size_t digits = bytes.size() - sign;
  if (digits > 0 && digits <= 10) {
    int64_t value = 0;
    size_t i = sign;
    for (; i < bytes.size() && bytes[i] >= '0' && bytes[i] <= '9'; ++i) {
      value = value * 10 + (bytes[i] - '0');
    }
    if (sign) value = -value;
    if (i == bytes.size() && value >= std::numeric_limits<int32_t>::min() &&
        value <= std::numeric_limits<int32_t>::max()) {
      return static_cast<int32_t>(value);
    }
  }
  return CLng(Variant(FromCp1252(bytes)));
}

}  // namespace

void RaiseMisaligned() { RaiseLibrary(u"Disallineamento dei dati nel file di log."); }

LineKey LineKeyOf(std::string_view head) {
  if (head.size() < 4 || head[3] != '=') return LineKey::kOther;
  switch (Letters(head[0], head[1], head[2])) {
    case Letters('U', 'N', 'K'):
      return LineKey::kUnk;
    case Letters('D', 'A', 'T'):
      return LineKey::kDat;
    case Letters('S', 'R', 'C'):
      return LineKey::kSrc;
    case Letters('T', 'Y', 'P'):
      return LineKey::kTyp;
    case Letters('C', 'A', 'T'):
      return LineKey::kCat;
    case Letters('E', 'I', 'D'):
      return LineKey::kEid;
    case Letters('U', 'S', 'R'):
      return LineKey::kUsr;
    case Letters('C', 'O', 'M'):
      return LineKey::kCom;
    case Letters('S', 'V', 'R'):
      return LineKey::kSvr;
    case Letters('D', 'T', 'P'):
      return LineKey::kDtp;
    case Letters('R', 'W', 'D'):
      return LineKey::kRwd;
    case Letters('E', 'N', 'D'):
      return LineKey::kEnd;
    default:
      return LineKey::kOther;
  }
}

void RecordFields::First(KivLogEvent& event, std::string_view value) {
  seen_.fill(false);
  event.EvUnk(ToLong(value));
  Set(kRaw, {});
}

void RecordFields::Set(Field f, std::string_view bytes) {
  bytes_[f].assign(bytes);
  seen_[f] = true;
}

Date RecordFields::DateOf(std::string_view bytes) {
  if (!have_date_ || bytes != date_text_) {
    date_ = CDate(Variant(FromCp1252(bytes)));
    date_text_.assign(bytes);
    have_date_ = true;
  }
  return date_;
}

bool RecordFields::Next(KivLogEvent& event, LineKey key, std::string_view value) {
  switch (key) {
    case LineKey::kSrc:
      Set(kSource, value);
      break;
    case LineKey::kDat:
      event.EvDate(DateOf(value));
      break;
    case LineKey::kTyp:
      event.EvType(ToLong(value));
      break;
    case LineKey::kCat:
      Set(kCategory, value);
      break;
    case LineKey::kEid:
      event.EvId(ToLong(value));
      break;
    case LineKey::kUsr:
      Set(kUser, value);
      break;
    case LineKey::kCom:
      Set(kComputer, value);
      break;
    case LineKey::kSvr:
      Set(kServer, value);
      break;
    case LineKey::kDtp:
      event.EvDataType(ToLong(value));
      break;
    case LineKey::kRwd:
      // Raw data lines accumulate, joined by CR LF (an empty first line adds nothing).
      if (!bytes_[kRaw].empty()) bytes_[kRaw] += "\r\n";
      bytes_[kRaw].append(value);
      break;
    case LineKey::kEnd:
      return true;
    default:
      RaiseMisaligned();
  }
  return false;
}

void RecordFields::Assign(KivLogEvent& event, uint32_t which) const {
  if (which == 0) return;  // nothing to decode, so no decoding to choose
  bool utf8 = true;
  for (int f = 0; f < kCount; ++f) utf8 = utf8 && (!seen_[f] || IsUtf8(bytes_[f]));
  auto decode = [&](Field f, uint32_t flag, void (KivLogEvent::*set)(String)) {
    if (seen_[f] && (which & flag)) {
      (event.*set)(utf8 ? FromUtf8(bytes_[f]) : FromCp1252(bytes_[f]));
    }
  };
  decode(kSource, kTextSource, &KivLogEvent::EvSource);
  decode(kCategory, kTextCategory, &KivLogEvent::EvCategory);
  decode(kUser, kTextUser, &KivLogEvent::EvUser);
  decode(kComputer, kTextComputer, &KivLogEvent::EvComputer);
  decode(kServer, kTextServer, &KivLogEvent::EvServer);
  decode(kRaw, kTextRaw, &KivLogEvent::EvRawData);
}

}  // namespace kiv
