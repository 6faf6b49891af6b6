// What the program uses of GLib besides libmdb's own small one: that the end of the memory
// goes through a handler. Part of the libmdb built for Windows.
#pragma once

#include <mdbfakeglib.h>

typedef enum { G_LOG_FLAG_FATAL = 2 } GLogLevelFlags;
typedef void (*GLogFunc)(const char* domain, GLogLevelFlags level, const char* message, void* data);

#ifdef __cplusplus
extern "C" {
#endif
GLogFunc g_log_set_default_handler(GLogFunc handler, void* data);
#ifdef __cplusplus
}
#endif
