#!/usr/bin/env bash
# Tries what ../package builds. In a bare Debian 12 of its own it builds the packages
# twice: under umask 077 in a folder with an unlikely name, and under 022 in another
# one; they must be equal byte for byte. Then lintian and the validators, and in a second
# bare Debian installation, permissions, programs, first start and removal.
#     packaging/prova.sh [FILE.deb]      with a package given, builds none
# As root, with this machine's apt settings. Leaves what it built, and a picture of the
# first start, in build/prova.
set -eu
cd "$(dirname "$0")/.."
. tools/packages.sh

# With mounts and processes of its own: whatever happens, they end with the script.
if [ -z "${PROVA_INSIDE:-}" ]; then
  install_packages "${checking[@]}" "${trial[@]}"
  PROVA_INSIDE=1 exec unshare --mount --pid --fork --kill-child --mount-proc "$0" "$@"
fi

out=$PWD/build/prova work=$(mktemp -d)
trap 'umount -q "$work"/*/proc || true; rm -rf --one-file-system "$work"' EXIT
mkdir -p "$out"

failed=0
check() { # WHAT COMMAND...
  if "${@:2}" >"$work/out" 2>&1; then
    echo "ok      $1"
  else
    echo "FAILED  $1" && sed 's/^/        /' "$work/out" && failed=1
  fi
}
log() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }; }

clean=(env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8)
system() { chroot "$root" "${clean[@]}" HOME=/root DEBIAN_FRONTEND=noninteractive "$@"; }

lay_debian() { # FOLDER, which becomes $root
  root=$1
  echo "Laying a bare Debian 12..."
  local mirror
  mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Codename: bookworm' | sort -u | head -1)
  log debootstrap --variant=minbase bookworm "$root" "$mirror"
  cp -a /etc/apt/. "$root/etc/apt/"
  cp -L /etc/resolv.conf /etc/hosts "$root/etc/"
  rm -f "$root/etc/apt/sources.list"
  [ ! -e /etc/apt/sources.list ] || cp /etc/apt/sources.list "$root/etc/apt/"
  mount -t proc proc "$root/proc"
  printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d" # no services
  chmod +x "$root/usr/sbin/policy-rc.d"
}

build() { # UMASK FOLDER TO: the packages, from a copy of the sources made there
  mkdir -p "$3"
  log tar -c --exclude=./build --exclude=./.git -f "$work/sources.tar" .
  system bash -c 'umask $1 && mkdir -p "$2" && cd "$2" && tar -x --no-same-permissions && ./package' \
    bash "$1" "$2" <"$work/sources.tar" && mv "$root/$2"/build/package/* "$3"
}

if [ $# -gt 0 ]; then
  deb=$(realpath "$1")
else
  lay_debian "$work/builder"
  rm -rf "$out/077" "$out/022"
  check "package under umask 077" build 077 "/srv/è l'ufficio (1) & co" "$out/077"
  check "package under umask 022" build 022 /srv/altrove "$out/022"
  for file in "$out"/077/*.deb; do
    check "the same bytes: ${file##*/}" cmp "$file" "$out/022/${file##*/}"
  done
  deb=$(ls "$out"/077/anagparc_*.deb)
  [ $failed -eq 0 ] || exit 1
fi

files=$work/files
dpkg-deb -x "$deb" "$files"
manual=/usr/share/anagparc/manuale
broken_links() { # PAGE: its pictures among them
  local page=$files$manual/$1
  grep -oE '(href|src)="[^"]*' "$page" | cut -d'"' -f2 | sort -u |
    while read -r link; do
      case $link in
        '#'*) grep -q "id=\"${link#\#}\"" "$page" ;;
        *) [ -s "$files$manual/$link" ] ;;
      esac || echo "$link"
    done
}
check "lintian" lintian --allow-root --fail-on error,warning "$deb"
check "AppStream metadata" appstreamcli validate --no-net "$files"/usr/share/metainfo/*.xml
check "desktop entry" desktop-file-validate "$files/usr/share/applications/anagparc.desktop"
check "the manual's links and pictures" diff /dev/null <(broken_links manuale.html)
check "the office guide's links" diff /dev/null <(broken_links ufficio.html)
check "permissions" diff /dev/null <(dpkg-deb -c "$deb" |
  grep -Ev '^((drwxr-xr-x|-rw-r--r--|lrwxrwxrwx) root/root |-rwxr-xr-x root/root .* \./usr/bin/)')

lay_debian "$work/debian"
user() {
  chroot --userspec=prova:prova "$root" "${clean[@]}" HOME=/home/prova \
    XDG_RUNTIME_DIR=/tmp/sessione DISPLAY="${DISPLAY:-}" "$@"
}
apt() { system apt-get -y --no-install-recommends "$@"; }
snapshot() { # all but logs, caches, the package manager's own and the user's
  (cd "$root" && find . -xdev \( -path ./var/log -o -path ./var/cache -o -path ./var/lib/dpkg \
    -o -path ./var/lib/apt -o -path ./tmp -o -path ./home \) -prune -o -type d -printf '%p/\n' \
    -o -printf '%p %s %T@\n') | sort
}

log apt update
log apt satisfy "$(dpkg-deb -f "$deb" Depends)"
log system useradd --create-home prova
log user mkdir -m 700 /tmp/sessione
snapshot >"$work/before"

cp "$deb" "$root/tmp/anagparc.deb"
check "installation" apt install /tmp/anagparc.deb
check "the package's files are whole" diff /dev/null <(system dpkg --verify anagparc)
for file in bin/anagparc bin/anagparc-archivio share/anagparc/SQ4RXXXX.MDB \
  share/anagparc/manuale/manuale.html share/anagparc/manuale/manuale.md share/anagparc/manuale/ufficio.html share/applications/anagparc.desktop share/icons/hicolor/scalable/apps/anagparc.svg \
  share/icons/hicolor/16x16/apps/anagparc.png share/icons/hicolor/64x64/apps/anagparc.png \
  share/man/it/man1/anagparc.1.gz share/man/it/man1/anagparc-archivio.1.gz \
  share/metainfo/invalid.localhost.anagparc.metainfo.xml \
  share/bash-completion/completions/anagparc-archivio \
  share/doc/anagparc/copyright share/doc/anagparc/changelog.gz; do
  check "/usr/$file" test -s "$root/usr/$file"
done
check "all is readable to an ordinary user" user sh -c 'dpkg -L anagparc | xargs stat >/dev/null &&
  cat /usr/share/anagparc/manuale/figure/*.png /usr/share/doc/anagparc/manuale/*.html >/dev/null'
version() { user anagparc-archivio --version | grep -Fw "$(dpkg-deb -f "$deb" Version)"; }
check "the package's version" version
check "template in order" user anagparc-archivio verifica /usr/share/anagparc/SQ4RXXXX.MDB
check "crea" user anagparc-archivio crea /tmp/prova --dimostrazione 20
check "verifica" user anagparc-archivio verifica /tmp/prova/S7702015.MDB

no_display() { # COMMAND...: a message and status 1
  "$@" 2>"$work/message"
  [ $? -eq 1 ] && grep 'schermo' "$work/message"
}
check "no display" no_display user env -u DISPLAY anagparc
check "dead display" no_display user env DISPLAY=:4711 anagparc

# The window, on a display outside.
Xvfb -displayfd 3 -screen 0 1366x768x24 -fbdir "$work" 3>"$work/display" 2>"$work/xvfb" &
until [ -s "$work/display" ]; do sleep 0.1; done
DISPLAY=:$(cat "$work/display")
export DISPLAY
from_menu() { # starts the menu's entry
  user sh -c "exec $(sed -n '0,/^Exec=/s///p' "$root/usr/share/applications/anagparc.desktop")" \
    >"$work/program" 2>&1 &
  program=$!
}
window() { # of that title, within 30 seconds
  found=$(timeout 30 xdotool search --sync --onlyvisible --name "^$1\$" | head -1)
  [ -n "$found" ]
}

user sh -c 'cd; find . | sort' >"$work/home"
from_menu
check "first start: the message" window "Controllo procedura 770/2015 Semplificato"
sleep 1
picture=$out/primo-avvio.xwd
cp "$work/Xvfb_screen0" "$picture" # needs X's format: convert primo-avvio.xwd FILE.png
xdotool windowfocus --sync "$found" key Return || true
ended() { timeout 20 tail --pid="$program" -f /dev/null && wait "$program"; }
check "first start: ends with status 0" ended
check "first start: no other output" diff /dev/null "$work/program"
check "first start: nothing new in the home" diff "$work/home" <(user sh -c 'cd; find . | sort')

check "prepara" user anagparc-archivio prepara /home/prova/archivi
from_menu
check "start after prepara: the list" window " Gestione Modello 770/2015 .*"
kill "$program" 2>/dev/null || true
check "the year database is there" test -s "$root/home/prova/archivi/S7702015.MDB"

check "removal" apt purge anagparc
check "no leftovers" diff "$work/before" <(snapshot)
check "the user's archive stays" test -s "$root/home/prova/archivi/S7702015.MDB"
echo "Picture: $picture"
exit $failed
