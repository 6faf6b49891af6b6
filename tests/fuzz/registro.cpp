// The registry file: any bytes are read without harm, and what is written in
// its form comes back.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "frame/MOD770BAS.h"
#include "platform/system/registry.h"
#include "platform/text/text.h"

namespace {

constexpr std::u16string_view kHive = u"HKEY_CURRENT_USER", kKey = u"SOFTWARE\\CALVENZA\\MORVENNA",
                              kName = u"PERCORSOARCHIVI";

void Must(bool holds, const char* what) {
  if (!holds) {
    std::cerr << "Fault: " << what << std::endl;
    std::abort();
  }
}

// A file in memory stands for the user's.
void Write(std::string_view bytes) {
  static const int file = memfd_create("registro", 0);
  static const bool set =
      setenv("MORVENNA_REGISTRO", ("/proc/self/fd/" + std::to_string(file)).c_str(), 1) == 0;
  Must(set && ftruncate(file, 0) == 0 &&
           pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
       "no file in memory");
}

std::u16string Read() { return MOD770BAS::LEGGIVALOREREGISTRO(kHive, kKey, kName); }

void WrittenComesBack(const std::u16string& value) {
  std::u16string file =
      u"REGEDIT4\r\n\r\n[hkey_current_user\\Software\\Calvenza\\Morvenna]\r\n\"PercorsoArchivi\"="
      u"\"";
  for (const char16_t c : value) {
    file += c == u'"' || c == u'\\' ? std::u16string{u'\\', c} : std::u16string(1, c);
  }
  Write(text::ToUtf8(file + u"\"\r\n"));
  Must(Read() == value, "a value doesn't come back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  if (bytes.starts_with('R')) {
    std::u16string value = text::FromUtf8(bytes.substr(1));
    value.resize(std::min(value.find(u'\0'), value.size()));
    std::erase(value, u'\n');
    WrittenComesBack(value);
  } else {
    Write(bytes);
    const std::u16string value = Read();
    Must(value.find(u'\0') == value.npos, "NUL in a value");
    // What follows for another key changes nothing.
    if ((bytes.empty() || bytes.back() == '\n') && !bytes.starts_with("\xFF\xFE") &&
        bytes.find('\\') == bytes.npos && text::IsUtf8(bytes)) {
      Write(bytes + "[HKEY_CURRENT_USER\\Altro]\n\"PERCORSOARCHIVI\"=\"x\"\n");
      Must(Read() == value, "another key counts");
    }
  }
  return 0;
}
