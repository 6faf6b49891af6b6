# SQLite as one source, compiled into a static library; what Debian's own is built with that
# changes how a program's statements work. Sourced by libraries.sh.
# shellcheck shell=bash disable=SC2034,SC2154
package=sqlite3
suite=
files=()
sums=()
licences=()
parts=()

build() { # SOURCES FOLDER
  local work=$1/work to=$2 source
  source=$(echo "$1"/sqlite3-*)
  mkdir -p "$work" "$to"/{lib,include}
  (cd "$work" && "$source/configure" --disable-tcl && make sqlite3.c)
  "$mingw"-gcc-posix -O2 -w -c "$work/sqlite3.c" -o "$work/sqlite3.o" \
    -DSQLITE_THREADSAFE=1 -DSQLITE_SECURE_DELETE -DSQLITE_USE_URI=1 \
    -DSQLITE_ENABLE_COLUMN_METADATA -DSQLITE_LIKE_DOESNT_MATCH_BLOBS \
    -DSQLITE_MAX_SCHEMA_RETRY=25 -DSQLITE_ALLOW_ROWID_IN_VIEW -DSQLITE_OMIT_LOAD_EXTENSION
  "$mingw"-ar rcs "$to/lib/libsqlite3.a" "$work/sqlite3.o"
  cp "$work/sqlite3.h" "$to/include"
}
