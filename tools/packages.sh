# What the program needs of Debian 12, installed if it is missing. Read by ./run,
# ./test and ./package.
required=(g++ cmake ninja-build pkg-config libsqlite3-dev)
# Without these the window is left out; everything else is built.
window=(qt6-base-dev fonts-liberation libxcb-ewmh-dev)
testing=(libgtest-dev sqlite3)
benchmarks=(libbenchmark-dev sqlite3)
# For the tests that look for real windows; left out, those tests are skipped.
display=(xvfb xdotool openbox x11-utils)
# For the test that hears the program as a screen reader does, on such a display; left
# out, it is skipped.
reader=(dbus-daemon at-spi2-core python3-gi gir1.2-atspi-2.0)
# Without these ./test leaves out the fuzz targets.
fuzzing=(clang libclang-rt-14-dev)
packaging=(dpkg-dev gzip librsvg2-bin)
# For trying the package.
trial=(lintian appstream desktop-file-utils debootstrap xvfb xdotool)

missing() { # PACKAGE ...
  local package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || echo "$package"
  done
}

install_packages() { # PACKAGE ...; fails when something stays missing
  local wanted as_root=()
  mapfile -t wanted < <(missing "$@")
  [ ${#wanted[@]} -eq 0 ] && return 0
  if [ "$(id -u)" -ne 0 ]; then
    if ! sudo -n true 2>/dev/null; then
      echo "Missing packages: ${wanted[*]} (as root: apt-get install ${wanted[*]})" >&2
      return 1
    fi
    as_root=(sudo -n)
  fi
  echo "Installing: ${wanted[*]}"
  local quiet=(-qq -o Dpkg::Use-Pty=0)
  "${as_root[@]}" apt-get "${quiet[@]}" update >/dev/null || return 1
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get "${quiet[@]}" install -y --no-install-recommends "${wanted[@]}" >/dev/null
}
