#include "system.h"

#include <windows.h>

#include "glib.h"

#undef fopen
#undef stat

enum { kMost = 32768 };  // units of a name

static GLogFunc handler;

GLogFunc g_log_set_default_handler(GLogFunc wanted, void* data) {
  GLogFunc before = handler;
  (void)data;
  handler = wanted;
  return before;
}

void* checked(void* memory, size_t size) {
  if (memory == NULL && size > 0) {
    if (handler != NULL) {
      handler("", G_LOG_FLAG_FATAL, "", NULL);
    }
    abort();
  }
  return memory;
}

static wchar_t* Wide(const char* name) {
  static wchar_t wide[kMost];
  if (MultiByteToWideChar(CP_UTF8, 0, name, -1, wide, kMost) == 0) {
    wide[0] = L'\0';
  }
  return wide;
}

FILE* utf8_fopen(const char* name, const char* mode) {
  return _wfopen(Wide(name), strchr(mode, '+') != NULL ? L"rb+" : L"rb");
}

int utf8_stat(const char* name, struct stat* info) {
  struct _stat64 found;
  const int result = _wstat64(Wide(name), &found);
  info->st_mode = found.st_mode;
  return result;
}
