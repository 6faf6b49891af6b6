#include "archivio/rows.h"

#include "platform/text/text.h"

namespace archivio {

std::unique_ptr<Rows> ReadLookup(AnyArchive& archive, const regole::Fonte& source) {
  std::vector<std::string> columns;
  columns.reserve(source.colonne.size());
  for (const std::u16string_view column : source.colonne) {
    columns.push_back(text::ToUtf8(column));
  }
  return archive.Read(text::ToUtf8(source.tabella), columns, Order::kNumber);
}

}  // namespace archivio
