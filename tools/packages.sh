# What the program needs of Debian 12, and how it is installed. Read by the commands of
# the main folder and by packaging/prova.sh.
# shellcheck shell=bash disable=SC2034 # the lists are for those who read this
required=(g++ cmake ninja-build pkg-config libsqlite3-dev mdbtools-dev)
# Without these the window is left out; everything else is built.
window=(qt6-base-dev fonts-liberation libxcb-ewmh-dev qt6-translations-l10n)
# Without it archives on a server are left out; everything else is built.
client=(libpq-dev)
# Without it Qt can't draw on a Wayland desktop that has no X server.
wayland=(qt6-wayland)
# Python runs the test with two users, makes old archives and the table of capitals; xz
# unpacks an archive; pdftotext reads what was printed; tests start a server of their own.
testing=(libgtest-dev sqlite3 python3 xz-utils poppler-utils postgresql)
benchmarks=(libbenchmark-dev sqlite3 mdbtools python3 postgresql)
# For the tests that look for real windows; left out, those tests are skipped.
display=(xvfb xdotool openbox x11-utils)
# For tools/moments.sh, on such a display.
moments=(imagemagick sqlite3)
# For the test that hears the program as a screen reader does, on such a display; left
# out, it is skipped.
reader=(dbus-daemon at-spi2-core python3-gi gir1.2-atspi-2.0)
# Without these ./test leaves out the fuzz targets.
fuzzing=(clang libclang-rt-14-dev)
# What debian/control asks for, besides what is above.
packaging=(build-essential debhelper librsvg2-bin pandoc)
# For ./lint.
checking=(clang-format clang-tidy shellcheck lintian)
# For ./windows: what builds for Windows, runs it here and makes an installer; SQLite's
# sources are put together by Tcl, the icon from a drawing. And for its tests.
windows=(g++-mingw-w64-x86-64-posix wine64 nsis dpkg-dev tcl libgtest-dev librsvg2-bin imagemagick
  pandoc)
wine_testing=(sqlite3 python3 xz-utils postgresql openssl)
# For trying the package.
trial=(appstream desktop-file-utils debootstrap xvfb xdotool)

missing() { # PACKAGE...
  local package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || echo "$package"
  done | awk '!named[$0]++'
}

apt_install() { # PACKAGE...
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -qq -o Dpkg::Use-Pty=0 install -y --no-install-recommends "$@" >/dev/null
}

# Installs what is missing; fails when something needed stays missing. What is only
# useful may stay missing; it is named.
install_packages() { # NEEDED... [-- USEFUL...]
  local needed=() useful=() absent package as_root=()
  while [ $# -gt 0 ] && [ "$1" != -- ]; do
    needed+=("$1")
    shift
  done
  useful=("${@:2}")
  mapfile -t absent < <(missing "${needed[@]}" "${useful[@]}")
  [ ${#absent[@]} -gt 0 ] || return 0

  if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo -n)
  fi
  if [ "$(id -u)" -ne 0 ] && ! sudo -n true 2>/dev/null; then
    echo "Packages are missing; as root: apt-get install ${absent[*]}" >&2
  else
    echo "Installing: ${absent[*]}"
    "${as_root[@]}" apt-get -qq update >/dev/null || true # what is known may do
    # Together; where that fails, the needed ones, then each of the others that can be had.
    if ! apt_install "${absent[@]}"; then
      apt_install "${needed[@]}" || return 1
      for package in "${useful[@]}"; do
        apt_install "$package" || true
      done
    fi
  fi
  mapfile -t absent < <(missing "${needed[@]}")
  [ ${#absent[@]} -eq 0 ] || return 1
  mapfile -t absent < <(missing "${useful[@]}")
  [ ${#absent[@]} -eq 0 ] || echo "Going on without ${absent[*]}" >&2
}
