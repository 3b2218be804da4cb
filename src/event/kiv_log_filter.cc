#include "kivdbxt/kiv_log_filter.h"

#include "frame/factory.h"
#include "platform/text_compare.h"

namespace kiv {
namespace {

const ClassRegistrar kRegistrar(u"KivLogFilter", [] {
  return std::static_pointer_cast<Object>(std::make_shared<KivLogFilter>());
});

constexpr char16_t kNul = u'\0';

// A number's token: its four little-endian bytes as characters 0..255.
String Token(int32_t n) {
  uint32_t v = static_cast<uint32_t>(n);
  return String{static_cast<char16_t>(v & 0xFF), static_cast<char16_t>((v >> 8) & 0xFF),
                static_cast<char16_t>((v >> 16) & 0xFF), static_cast<char16_t>(v >> 24)};
}

int32_t FromToken(StringView t) {
  uint32_t v = (t[0] & 0xFFu) | (t[1] & 0xFFu) << 8 | (t[2] & 0xFFu) << 16 | (t[3] & 0xFFu) << 24;
  return static_cast<int32_t>(v);
}

// Finds a token only at token boundaries, so parts of two neighbouring tokens never match.
bool HasToken(const String& list, int32_t n) {
  const String t = Token(n);
  for (size_t i = 0; i + 4 <= list.size(); i += 4) {
    if (list.compare(i, 4, t) == 0) return true;
  }
  return false;
}

void AddNumber(String& list, int32_t n) {
  if (!HasToken(list, n)) list += Token(n);
}

String Stored(StringView value) {
  String s(1, kNul);
  s += value;
  s.push_back(kNul);
  return s;
}

void AddText(String& list, const String& value) {
  String stored = Stored(value);
  if (list.find(stored) == String::npos) list += stored;
}

// Takes the next item off a text list: the text from the second character up to the next NUL.
String TakeItem(StringView& rest) {
  size_t end = rest.size() > 1 ? rest.find(kNul, 1) : StringView::npos;
  String item(rest.substr(1, end == StringView::npos ? StringView::npos : end - 1));
  rest = end == StringView::npos ? StringView() : rest.substr(end + 1);
  return item;
}

std::shared_ptr<Collection> TextItems(const String& list) {
  auto out = std::make_shared<Collection>();
  StringView rest(list);
  while (!rest.empty()) out->Add(Variant(TakeItem(rest)));
  return out;
}

std::shared_ptr<Collection> NumberItems(const String& list) {
  auto out = std::make_shared<Collection>();
  for (size_t i = 0; i + 4 <= list.size(); i += 4) {
    out->Add(Variant(FromToken(StringView(list).substr(i, 4))));
  }
  return out;
}

// Whether the list holds NUL, value, NUL without regard to case, as a search for the stored form
// would find it (also across two items: an empty value matches between them). Called once per
// event of a filtered walk, so it builds nothing.
bool TextListHas(const String& list, StringView value) {
  const size_t n = value.size();
  for (size_t i = list.find(kNul); i != String::npos && i + n + 1 < list.size();
       i = list.find(kNul, i + 1)) {
    if (list[i + n + 1] == kNul && TextEquals(StringView(list).substr(i + 1, n), value)) {
      return true;
    }
  }
  return false;
}

bool RawDataMatches(const String& list, StringView raw) {
  StringView rest(list);
  while (!rest.empty()) {
    if (TextFind(raw, TakeItem(rest)) != StringView::npos) return true;
  }
  return false;
}

}  // namespace

void KivLogFilter::TypesAdd(int32_t nValue) { AddNumber(types_, nValue); }
void KivLogFilter::IdsAdd(int32_t nValue) { AddNumber(ids_, nValue); }
void KivLogFilter::CategoriesAdd(const String& nValue) { AddText(categories_, nValue); }
void KivLogFilter::UsersAdd(const String& nValue) { AddText(users_, nValue); }
void KivLogFilter::ComputersAdd(const String& nValue) { AddText(computers_, nValue); }
void KivLogFilter::SourcesAdd(const String& nValue) { AddText(sources_, nValue); }
void KivLogFilter::ServersAdd(const String& nValue) { AddText(servers_, nValue); }
void KivLogFilter::RawDatasAdd(const String& nValue) { AddText(raw_datas_, nValue); }

std::shared_ptr<Collection> KivLogFilter::Types() const { return NumberItems(types_); }
std::shared_ptr<Collection> KivLogFilter::Ids() const { return NumberItems(ids_); }
std::shared_ptr<Collection> KivLogFilter::Categories() const { return TextItems(categories_); }
std::shared_ptr<Collection> KivLogFilter::Users() const { return TextItems(users_); }
std::shared_ptr<Collection> KivLogFilter::Computers() const { return TextItems(computers_); }
std::shared_ptr<Collection> KivLogFilter::Sources() const { return TextItems(sources_); }
std::shared_ptr<Collection> KivLogFilter::Servers() const { return TextItems(servers_); }
std::shared_ptr<Collection> KivLogFilter::RawDatas() const { return TextItems(raw_datas_); }

bool KivLogFilter::CopyTo(const std::shared_ptr<KivLogFilter>& Filter) const {
  if (!Filter) return false;
  KivLogFilter& t = *Filter;
  t.date_start_ = date_start_;
  t.date_end_ = date_end_;
  t.types_ = types_;
  t.categories_ = categories_;
  t.ids_ = ids_;
  t.users_ = users_;
  t.computers_ = computers_;
  t.sources_ = sources_;
  t.servers_ = servers_;
  t.raw_datas_ = raw_datas_;
  t.checks_ = checks_;
  return false;
}

bool KivLogFilter::IsValid(const std::shared_ptr<KivLogEvent>& Eve) const {
  if (!Eve) return checks_ == 0;
  return IsValid(*Eve);
}

bool KivLogFilter::IsValid(const KivLogEvent& e) const {
  const int32_t c = checks_;
  if (c & LGFF_CHECKDATE) {
    if (e.EvDate() < date_start_ || e.EvDate() > date_end_) return false;
  }
  if ((c & LGFF_CHECKTYPE) && !HasToken(types_, e.EvType())) return false;
  if ((c & LGFF_CHECKCATEGORY) && !TextListHas(categories_, e.EvCategory())) return false;
  if ((c & LGFF_CHECKID) && !HasToken(ids_, e.EvId())) return false;
  if ((c & LGFF_CHECKUSER) && !TextListHas(users_, e.EvUser())) return false;
  if ((c & LGFF_CHECKCOMPUTER) && !TextListHas(computers_, e.EvComputer())) return false;
  if ((c & LGFF_CHECKSOURCE) && !TextListHas(sources_, e.EvSource())) return false;
  if ((c & LGFF_CHECKSERVER) && !TextListHas(servers_, e.EvServer())) return false;
  if ((c & LGFF_CHECKRAWDATA) && !RawDataMatches(raw_datas_, e.EvRawData())) return false;
  return true;
}

}  // namespace kiv
