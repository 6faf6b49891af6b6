# Qt: its core, windows, widgets and printing as DLLs, with what the program doesn't use left
# out. Tools that run here are those of the machine's own Qt, so both are of one version.
# Sourced by libraries.sh.
# shellcheck shell=bash disable=SC2034,SC2154
package=qt6-base
suite=
files=()
sums=()
licences=(LICENSES/LGPL-3.0-only.txt LICENSES/GPL-3.0-only.txt)
parts=()

build() { # SOURCES FOLDER
  local off=(sql network dbus xml concurrent vulkan icu openssl zstd tabletevent glib
    # Debian's libraries are Linux's.
    system_zlib system_png system_freetype system_pcre2 system_harfbuzz system_jpeg
    system_doubleconversion
    jpeg gif ico
    graphicsview mdiarea dockwidget wizard columnview undoview undostack undogroup undocommand
    lcdnumber dial colordialog fontdialog fontcombobox errormessage
    progressdialog splashscreen toolbox keysequenceedit treewidget tablewidget
    tuiotouch textodfwriter systemtrayicon sharedmemory systemsemaphore hijricalendar
    islamiccivilcalendar jalalicalendar precompile_header cborstreamwriter gestures)
  off=("${off[@]/%/=OFF}")
  # DirectWrite, which places letters by parts of a pixel, comes with Direct2D; the plugin of
  # that name isn't needed.
  cmake -G Ninja -S "$1"/qt6-base-* -B "$1/work" --toolchain "$here/mingw.cmake" \
    -DQT_HOST_PATH=/usr -DQT_HOST_PATH_CMAKE_DIR=/usr/lib/x86_64-linux-gnu/cmake \
    -DCMAKE_BUILD_TYPE=MinSizeRel -DBUILD_SHARED_LIBS=ON -DCMAKE_INSTALL_PREFIX="$2" \
    -DQT_BUILD_EXAMPLES=OFF -DQT_BUILD_TESTS=OFF "${off[@]/#/-DFEATURE_}" \
    -DINPUT_opengl=no -DFEATURE_direct2d=ON -DFEATURE_direct2d1_1=OFF
  cmake --build "$1/work" --parallel
  cmake --install "$1/work" --strip
}
