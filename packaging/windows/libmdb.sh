# libmdb as a DLL of its own, on the small GLib that comes with it and without iconv: the
# reader decodes texts on its own. Sourced by libraries.sh.
# shellcheck shell=bash disable=SC2034,SC2154 # what is named here is used there, and the other way
package=mdbtools
# Debian 12 lists a source that its servers don't have whole; the next release's is the
# library that is tried here.
suite=trixie
files=(mdbtools_1.0.1.orig.tar.gz)
sums=(750cbf793bf5b7e296fdc359124393a0aef89ee663b7741ba4b1ca2ce30b3b37)
licences=(COPYING.LIB)
parts=(libmdb/glib.h libmdb/system.h libmdb/system.c)

build() { # SOURCES FOLDER
  local sources=$1/mdbtools-1.0.1 to=$2 object name
  local flags=(-O2 -w -std=gnu11 -DPACKAGE='"mdbtools"' -DVERSION='"1.0.1"' -DTLS=__thread
    -I"$sources/include" -I"$here" -I"$here/libmdb")
  sed -e 's/@HAVE_.*_H@/0/' -e 's/@LOCALE_T@/_locale_t/' -e 's/@GLIB_INCLUDE_HEADER@/mdbfakeglib.h/' \
    "$sources/include/mdbtools.h.in" >"$sources/include/mdbtools.h"
  sed -e 's/@PACKAGE@/mdbtools/' -e 's/@VERSION@/1.0.1/' \
    "$sources/include/mdbver.h.in" >"$sources/include/mdbver.h"
  for name in "$sources"/src/libmdb/*.c; do
    "$mingw"-gcc-posix "${flags[@]}" -include "$here/libmdb/system.h" -c "$name" -o "${name%.c}.o"
  done
  "$mingw"-gcc-posix "${flags[@]}" -c "$here/libmdb/system.c" -o "$sources/src/libmdb/system.o"
  mkdir -p "$to"/{bin,lib/pkgconfig,include}
  "$mingw"-gcc-posix -shared -s -static-libgcc -o "$to/bin/libmdb.dll" \
    -Wl,--out-implib,"$to/lib/libmdb.dll.a" "$sources"/src/libmdb/*.o
  cp "$sources/include/"{mdbtools,mdbfakeglib}.h "$here/libmdb/glib.h" "$to/include"
  printf 'Name: libmdb\nDescription: old archives\nVersion: 1.0.1\n' >"$to/lib/pkgconfig/libmdb.pc"
  printf 'Libs: -L%s/lib -lmdb\nCflags: -I%s/include\n' "$to" "$to" >>"$to/lib/pkgconfig/libmdb.pc"
}
