# GoogleTest, for the tests under Wine. Sourced by libraries.sh.
# shellcheck shell=bash disable=SC2034,SC2154
package=
suite=
files=()
sums=()
licences=()
parts=()

build() { # SOURCES FOLDER
  cmake -G Ninja -S /usr/src/googletest -B "$1/work" --toolchain "$here/mingw.cmake" \
    -DCMAKE_INSTALL_PREFIX="$2" -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF
  cmake --build "$1/work" --target install
}
