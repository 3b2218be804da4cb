#include "kivdbxt/kiv_log_event.h"

#include <charconv>
#include <string>

#include "event/event_access.h"
#include "event/record_fields.h"
#include "event/record_text.h"
#include "frame/factory.h"
#include "frame/guard.h"
#include "platform/date.h"
#include "platform/file_table.h"
#include "platform/text_codec.h"

namespace kiv {
namespace {

const ClassRegistrar kRegistrar(u"KivLogEvent", [] {
  return std::static_pointer_cast<Object>(std::make_shared<KivLogEvent>());
});

}  // namespace

RecordInput EventAccess::InputOf(const KivLogEvent& e) {
  return RecordInput{e.ev_unk_,      e.ev_date_,      e.ev_source_,  e.ev_type_,
                     e.ev_category_, e.ev_id_,        e.ev_user_,    e.ev_computer_,
                     e.ev_server_,   e.ev_data_type_, e.ev_raw_data_};
}

void EventAccess::AppendRecord(const KivLogEvent& event, std::string& block, bool utf8) {
  RecordWriter().Append(InputOf(event), false, utf8, block);
}

bool KivLogEvent::Save(int32_t& hndl) {
  return Guard(u"KivLogEvent.Save", true, [&] {
    std::string block;
    EventAccess::AppendRecord(*this, block, false);
    WriteText(hndl, block);  // the whole block in one write
    return false;
  });
}

bool KivLogEvent::Load(int32_t& hndl) {
  RecordFields fields;
  return Guard(
      u"KivLogEvent.Load", true,
      [&] {
        std::string line;
        // A line longer than any record holds is not read on: the file is damaged or not a log.
        auto next_line = [&] {
          if (!LineInputBytes(hndl, line, kMaxRecordLine)) RaiseMisaligned();
          return LineKeyOf(line);
        };
        // The value of a line with a key Load knows: all after the key's "=".
        auto value = [&] { return std::string_view(line).substr(4); };
        if (next_line() != LineKey::kUnk) RaiseMisaligned();
        fields.First(*this, value());
        for (;;) {
          const LineKey key = next_line();
          if (fields.Next(*this, key, key == LineKey::kOther ? std::string_view() : value())) {
            fields.Assign(*this);
            return false;
          }
        }
      },
      [&] { fields.Assign(*this); });  // the fields read before a failure keep their new values
}

bool KivLogEvent::TranslateData() {
  return Guard(u"KivLogEvent.TranslateData", true, [&] {
    String cleaned;
    for (String* field : {&ev_category_, &ev_user_, &ev_computer_, &ev_server_, &ev_source_}) {
      if (CleanText(*field, true, cleaned)) field->swap(cleaned);
    }
    if (ev_data_type_ != RWDT_ASCII) {
      std::string hex;
      AppendHex(ev_raw_data_, hex);
      ev_raw_data_.assign(hex.begin(), hex.end());
    } else if (CleanText(ev_raw_data_, false, cleaned)) {
      ev_raw_data_.swap(cleaned);
    }
    return false;
  });
}

bool KivLogEvent::RestoreData() {
  return Guard(u"KivLogEvent.RestoreData", true, [] { return false; });
}

}  // namespace kiv
