// Reading the registry: free of form and tables, for other programs' use too.
#include <algorithm>

#include "frame/MOD770BAS.h"
#include "platform/system/registry.h"
#include "platform/text/text.h"

namespace MOD770BAS {

namespace {

// A value as a text.
std::u16string LEGGIVALORECHIAVE(const sys::RegistryValue& valore) {
  const auto& data = valore.data;
  if (valore.type == sys::kRegSz) {
    std::u16string testo;
    for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
      const auto unit = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
      if (unit == 0) {
        return testo;
      }
      testo.push_back(unit);
    }
    return {};  // without its NUL the text has no end
  }
  if (valore.type == sys::kRegDword && data.size() <= 4) {
    int numero = 0;  // of the two lowest bytes, which come first
    for (std::size_t i = std::min<std::size_t>(data.size(), 2); i > 0; --i) {
      numero = numero << 8 | data[i - 1];
    }
    return text::Decimal(static_cast<std::int16_t>(numero));
  }
  return {};
}

}  // namespace

std::u16string LEGGIVALOREREGISTRO(std::u16string_view radice, std::u16string_view chiave,
                                   std::u16string_view nome) {
  const auto valore = sys::ReadRegistry(radice, chiave, nome);
  if (!valore) {
    return {};
  }
  return LEGGIVALORECHIAVE(*valore);
}

}  // namespace MOD770BAS
