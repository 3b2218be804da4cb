// The store's file names and messages.
#include "platform/text_compare.h"
#include "sector/sector_store.h"

namespace kiv {
namespace {

String Decimal(int32_t n) { return FromUtf8(std::to_string(n)); }

}  // namespace

String StoreExistsMessage(const String& file) { return u"Il file " + file + u" esiste già."; }

String NotAStoreMessage(const String& file) {
  return u"Il file " + file + u" non è un archivio di settori.";
}

String MissingRecordMessage(int32_t rec_id) {
  return u"Il record " + Decimal(rec_id) + u" non esiste.";
}

String DamagedRecordMessage(int32_t rec_id) {
  return u"Il record " + Decimal(rec_id) + u" è danneggiato.";
}

String NotOpenMessage() { return u"Archivio di settori non aperto."; }

String StoreBase(const String& file_name) {
  if (file_name.size() > 4) {
    const StringView ext = StringView(file_name).substr(file_name.size() - 4);
    for (StringView known : {u".QVD", u".QVF", u".QVS"}) {
      if (TextEquals(ext, known)) return file_name.substr(0, file_name.size() - 4);
    }
  }
  return file_name;
}

String DirectoryFile(const String& base) { return base + u".QVD"; }
String TableFile(const String& base) { return base + u".QVF"; }
String SectorsFile(const String& base) { return base + u".QVS"; }

}  // namespace kiv
