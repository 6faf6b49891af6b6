#include "platform/system/registry.h"

#include <windows.h>

#include "platform/system/environment.h"
#include "platform/system/files.h"
#include "platform/system/windows/native.h"
#include "platform/text/text.h"

namespace sys {

namespace {

HKEY HiveOf(std::u16string_view name) {
  return text::Upper(name) == u"HKEY_LOCAL_MACHINE" ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

struct CloseKey {
  void operator()(HKEY key) const { RegCloseKey(key); }
};
using Key = std::unique_ptr<std::remove_pointer_t<HKEY>, CloseKey>;

class UserRegistry final : public SystemRegistry {
 public:
  std::optional<RegistryValue> Read(std::u16string_view hive, std::u16string_view key,
                                    std::u16string_view name) const override {
    constexpr DWORD kMost = 1 << 20;  // bytes; far more than a name of a folder
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HiveOf(hive), Wide(key).c_str(), 0, KEY_QUERY_VALUE, &opened) !=
        ERROR_SUCCESS) {
      return std::nullopt;
    }
    const Key open(opened);
    RegistryValue value;
    DWORD type = 0, size = 0;
    LSTATUS status = RegQueryValueExW(opened, Wide(name).c_str(), nullptr, &type, nullptr, &size);
    while (status == ERROR_SUCCESS && size <= kMost) {
      value.data.resize(size);
      status =
          RegQueryValueExW(opened, Wide(name).c_str(), nullptr, &type, value.data.data(), &size);
      if (status == ERROR_SUCCESS) {
        value.data.resize(size);
        value.type = type;
        return value;
      }
      status = status == ERROR_MORE_DATA ? ERROR_SUCCESS : status;  // it has grown meanwhile
    }
    return std::nullopt;
  }

  void Write(std::u16string_view hive, std::u16string_view key, std::u16string_view name,
             std::u16string_view text) override {
    HKEY opened = nullptr;
    LSTATUS status = RegCreateKeyExW(HiveOf(hive), Wide(key).c_str(), 0, nullptr, 0, KEY_SET_VALUE,
                                     nullptr, &opened, nullptr);
    const Key open(status == ERROR_SUCCESS ? opened : nullptr);
    if (open) {
      const std::wstring value = Wide(text);
      status = RegSetValueExW(opened, Wide(name).c_str(), 0, REG_SZ,
                              reinterpret_cast<const BYTE*>(value.c_str()),
                              static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    }
    if (status != ERROR_SUCCESS) {
      throw FileError(u"Impossibile scrivere nel registro, alla chiave " + std::u16string(hive) +
                      u'\\' + std::u16string(key) + u" (errore " + text::Decimal(status) + u").");
    }
  }
};

}  // namespace

SystemRegistry* OwnRegistry() {
  static UserRegistry registry;
  return Variable("MORVENNA_REGISTRO").empty() ? &registry : nullptr;
}

}  // namespace sys
