#include "platform/engine/store.h"

#include <algorithm>

#include "platform/text/text.h"

namespace engine {

StoredValue StoredValue::Of(const Value& value) {
  if (!value) {
    return {};
  }
  return {Kind::kText, text::ToUtf8(*value)};
}

int Table::Column(std::u16string_view name) const {
  const std::u16string upper = text::Upper(name);
  const auto found = std::find_if(columns_.begin() + 1, columns_.end(),
                                  [&](const auto& column) { return text::Upper(column) == upper; });
  if (found == columns_.end()) {
    Fail(kNoColumn, u"manca la colonna " + std::u16string(name));
  }
  return static_cast<int>(found - columns_.begin());
}

namespace {

[[noreturn]] void FailOn(const std::u16string& table, const std::u16string& archive, int number,
                         std::u16string_view what) {
  throw Error(number,
              u"Tabella " + table + u" del file " + archive + u": " + std::u16string(what) + u".");
}

}  // namespace

void CheckChanged(Rows rows, std::int64_t changed, std::int64_t meant, const std::u16string& table,
                  const std::u16string& archive) {
  if (rows == Rows::kCurrent && changed < meant) {
    FailOn(table, archive, kRowGone,
           u"la riga corrente è stata cancellata. Non è stato cambiato nulla");
  }
  if (rows != Rows::kAny && changed != meant) {
    FailOn(table, archive, kNotOneRow,
           u"la scrittura di una riga ne avrebbe cambiate " + text::Decimal(changed) +
               u". Non è stato cambiato nulla");
  }
}

void FailDuplicate(const std::u16string& table, const std::u16string& archive) {
  throw Error(kDuplicateKey, u"Nel file " + archive + u" la tabella " + table +
                                 u" contiene già una riga con la stessa chiave.");
}

void Table::Fail(int number, std::u16string_view what) const {
  FailOn(name_, archive_, number, what);
}

}  // namespace engine
