#include "platform/system/code_page.h"

#include <iconv.h>

#include <array>
#include <memory>

#include "platform/text/text.h"

namespace sys {

namespace {

struct CloseConverter {
  void operator()(void* converter) const { iconv_close(static_cast<iconv_t>(converter)); }
};

}  // namespace

std::optional<std::string> FromCodePage(std::string_view bytes, int code_page) {
  // One of them serves a whole file.
  static int open_page = -1;
  static std::unique_ptr<void, CloseConverter> converter;
  if (open_page != code_page) {
    const iconv_t opened = iconv_open("UTF-8", ("CP" + std::to_string(code_page)).c_str());
    if (opened == reinterpret_cast<iconv_t>(-1)) {
      return std::nullopt;
    }
    converter.reset(opened);
    open_page = code_page;
  }
  iconv(converter.get(), nullptr, nullptr, nullptr, nullptr);
  std::string out;
  std::string source(bytes);
  char* in = source.data();
  std::size_t left = source.size();
  while (left > 0) {
    std::array<char, 256> part;
    char* to = part.data();
    std::size_t room = part.size();
    const std::size_t before = left;
    const bool done =
        iconv(converter.get(), &in, &left, &to, &room) != static_cast<std::size_t>(-1);
    out.append(part.data(), to);
    if (!done && left == before) {
      out += text::ToUtf8(std::u16string(1, static_cast<unsigned char>(*in)));
      ++in;
      --left;
    }
  }
  return out;
}

}  // namespace sys
