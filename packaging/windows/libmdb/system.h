// Read in front of each of libmdb's sources built for Windows: names of files in UTF-8 rather
// than in the system's code page, and an end where memory is wanting, as GLib has it.
#pragma once

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

FILE* utf8_fopen(const char* name, const char* mode);
int utf8_stat(const char* name, struct stat* info);
void* checked(void* memory, size_t size);

#define fopen(name, mode) utf8_fopen(name, mode)
#define stat(name, info) utf8_stat(name, info)
#define malloc(size) checked(malloc(size), size)
#define calloc(count, size) checked(calloc(count, size), size)
#define realloc(memory, size) checked(realloc(memory, size), size)
// libmdb's GLib names the functions without a call.
#define g_malloc(size) malloc(size)
#define g_realloc(memory, size) realloc(memory, size)
