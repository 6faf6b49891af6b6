# libpq as a DLL of its own, with OpenSSL, for archives on a server. Sourced by libraries.sh.
# shellcheck shell=bash disable=SC2034,SC2154 # what is named here is used there, and the other way
package=postgresql-15
suite=
files=()
sums=()
licences=(COPYRIGHT)
parts=(openssl.sh)

build() { # SOURCES FOLDER
  local work=$1/work to=$2 source
  source=$(echo "$1"/postgresql-15-*)
  mkdir -p "$work" "$to"/{bin,include,lib/pkgconfig}
  # Time zones are a server's matter; named, they need no tool of this machine's.
  (cd "$work" && "$source/configure" --host="$mingw" CC="$mingw-gcc-posix" \
    CPPFLAGS="-I$openssl_folder/include" LDFLAGS="-L$openssl_folder/lib -static-libgcc" \
    --without-readline --without-zlib --with-ssl=openssl --with-system-tzdata=/usr/share/zoneinfo &&
    make -C src/interfaces/libpq all)
  cp "$work/src/interfaces/libpq/libpq.dll" "$to/bin"
  cp "$source/src/interfaces/libpq/libpq-fe.h" "$source/src/include/postgres_ext.h" \
    "$work/src/include/pg_config_ext.h" "$to/include"
  # The program loads it by its name, without a library to link with.
  printf 'Name: libpq\nDescription: servers\nVersion: 15\nCflags: -I%s/include\n' "$to" \
    >"$to/lib/pkgconfig/libpq.pc"
}
