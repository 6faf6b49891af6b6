#include "platform/system/code_page.h"

#include <windows.h>

#include <algorithm>

#include "platform/text/text.h"

namespace sys {

// Character by character, since a text with one bad byte is refused as a whole.
std::optional<std::string> FromCodePage(std::string_view bytes, int code_page) {
  const auto page = static_cast<UINT>(code_page);
  if (IsValidCodePage(page) == 0) {
    return std::nullopt;
  }
  std::u16string text;
  for (std::size_t at = 0; at < bytes.size();) {
    const auto byte = static_cast<unsigned char>(bytes[at]);
    const std::size_t length = IsDBCSLeadByteEx(page, byte) != 0 && at + 1 < bytes.size() ? 2 : 1;
    wchar_t units[2];
    const int count = MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, bytes.data() + at,
                                          static_cast<int>(length), units, 2);
    if (count > 0) {
      text.append(units, units + count);
      at += length;
    } else {
      text += static_cast<char16_t>(byte);
      ++at;
    }
  }
  return text::ToUtf8(text);
}

}  // namespace sys
