#include "platform/engine/store.h"

#include <algorithm>

#include "platform/text/text.h"

namespace engine {

StoredValue StoredValue::Of(const Value& value) {
  return value ? StoredValue{Kind::kText, text::ToUtf8(*value)} : StoredValue{};
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

void Table::Fail(int number, std::u16string_view what) const {
  throw Error(number,
              u"Tabella " + name_ + u" del file " + archive_ + u": " + std::u16string(what) + u".");
}

}  // namespace engine
