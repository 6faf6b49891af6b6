# OpenSSL as DLLs of its own, for libpq: without it the line to a server would be plain.
# Sourced by libraries.sh.
# shellcheck shell=bash disable=SC2034,SC2154
package=openssl
suite=
files=()
sums=()
licences=(LICENSE.txt)
parts=()

build() { # SOURCES FOLDER
  local work=$1/work to=$2 source
  source=$(echo "$1"/openssl-*)
  mkdir -p "$work"
  # Settings are looked for where an administrator alone may write.
  (cd "$work" && "$source/Configure" mingw64 CC=gcc-posix --cross-compile-prefix="$mingw-" \
    --prefix="$to" --libdir=lib --openssldir='C:\Program Files\Common Files\SSL' shared \
    no-tests no-engine no-module no-legacy no-comp no-dtls no-srtp no-srp no-cms no-ts no-ct \
    no-aria no-bf no-blake2 no-camellia no-cast no-idea no-mdc2 no-rc2 no-rc4 no-rmd160 no-seed \
    no-siphash no-sm2 no-sm3 no-sm4 no-whirlpool no-gost no-ssl3 &&
    make -j "$(nproc)" build_libs && make install_dev)
}
