// Texts of the time before Unicode.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sys {

// Text in a code page of Windows or DOS (1252, 850, 932...) as UTF-8. Bytes that stand for
// no character there are the control codes of their number. Nothing where the system
// doesn't know the page.
std::optional<std::string> FromCodePage(std::string_view bytes, int code_page);

}  // namespace sys
