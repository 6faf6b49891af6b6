# The programs' folder, to carry on a stick, and the installer made of it. Read by ./windows.
# shellcheck shell=bash disable=SC2154 # what is named here is set there

# The DLLs that a file wants and that aren't Windows' own, and theirs.
dlls() { # FILE...
  local places=("$qt_folder/bin" "$libmdb_folder/bin" "$libpq_folder/bin" "$openssl_folder/bin" "/usr/lib/gcc/$mingw/12-posix" "/usr/$mingw/lib")
  local queue=("$@") file name place seen=' '
  while [ ${#queue[@]} -gt 0 ]; do
    file=${queue[0]} queue=("${queue[@]:1}")
    while read -r name; do
      [[ $seen != *" $name "* ]] || continue
      seen+="$name "
      for place in "${places[@]}"; do
        if [ -e "$place/$name" ]; then
          echo "$place/$name"
          queue+=("$place/$name")
          break
        fi
      done
    done < <("$mingw-objdump" -p "$file" | sed -n 's/.*DLL Name: //p')
  done
}

# What Qt needs beside a program: its plugins and where they are.
qt_parts() { # FOLDER PLUGIN...
  local to=$1 plugin
  shift
  for plugin in "$@"; do
    mkdir -p "$to/plugins/${plugin%/*}"
    cp "$qt_folder/plugins/$plugin.dll" "$to/plugins/${plugin%/*}"
  done
  mkdir -p "$to/translations"
  cp /usr/share/qt6/translations/qtbase_it.qm "$to/translations"
  printf '[Paths]\nPrefix=.\nPlugins=plugins\nTranslations=translations\n' >"$to/qt.conf"
}

# The licences of what isn't ours, and where it was taken from.
licences() { # FOLDER
  local to=$1/licenze name folder file
  mkdir -p "$to"
  for name in qt libmdb libpq openssl; do
    folder=${name}_folder
    for file in "${!folder}"/licenze/*; do
      cp "$file" "$to/$name ${file##*/}"
    done
    { echo "$name, dai sorgenti di Debian (sha256):"; cat "${!folder}/FONTI"; echo; } >>"$to/FONTI.txt"
  done
  cp /usr/share/doc/gcc-mingw-w64-base/copyright "$to/libgcc e libstdc++.txt"
  cp /usr/share/doc/mingw-w64-common/copyright "$to/libwinpthread.txt"
}

make_folder() { # FOLDER
  local to=$1 bin=$build/bin
  rm -rf "$to"
  mkdir -p "$to/manuale"
  for name in anagparc anagparc-archivio anagparc-script; do
    "$mingw-strip" -o "$to/$name.exe" "$bin/$name.exe"
  done
  qt_parts "$to" platforms/qwindows platforms/qoffscreen styles/qwindowsvistastyle
  # libpq is loaded with the first connection; no program names it.
  mapfile -t found < <(echo "$libpq_folder/bin/libpq.dll" &&
    dlls "$to"/*.exe "$to"/plugins/*/*.dll "$libpq_folder/bin/libpq.dll")
  for name in "${found[@]}"; do
    "$mingw-strip" -o "$to/${name##*/}" "$name"
  done
  licences "$to"
  pandoc --from gfm --to html5 --standalone --metadata lang=it --variable maxwidth=50em \
    --metadata 'pagetitle=Anagrafica dei percettori, Modello 770/2015: manuale' \
    docs/manuale.md -o "$to/manuale/manuale.html"
  cp -r docs/manuale.md docs/figure "$to/manuale"
}

# The uninstaller's list: each file of the folder, then the folders from the inner ones out.
removal_list() { # FOLDER
  (cd "$1" && find . -type f -printf '  Delete "$INSTDIR\\%P"\n' &&
    find . -mindepth 1 -depth -type d -printf '  RMDir "$INSTDIR\\%P"\n') | sed 's|/|\\|g'
}

make_installer() { # FOLDER OUT
  removal_list "$1" >build/windows/togliere.nsh
  makensis -V2 -NOCD -DVERSION="$version" -DFOLDER="$1" -DOUT="$2" -DICON="$build/generated/anagparc.ico" \
    -DFILES=build/windows/togliere.nsh -DSIZE="$(du -sk "$1" | cut -f 1)" packaging/windows/installer.nsi
}
