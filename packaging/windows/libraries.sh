# The libraries that stand in no package for Windows, built from Debian's own source packages,
# each once: it stands under a name that its recipe, the compiler and the sources decide, in
# the folder that ANAGPARC_WINDOWS_CACHE names, or in build/windows. Read by ./windows.
# shellcheck shell=bash disable=SC1090,SC2034,SC2154 # what is set here is read there, and the other way
mingw=x86_64-w64-mingw32
here=$PWD/packaging/windows
cache=${ANAGPARC_WINDOWS_CACHE:-$PWD/build/windows}
sources=$PWD/build/windows/sorgenti

# apt with sources of packages, which most machines don't list. They come from where the
# machine has its packages; the machine's own lists stay as they are.
source_apt() { # SUITE APT-GET|APT-CACHE ARGUMENTS...
  local suite=$1 tool=$2 lists=$sources/apt-${1:-own} list
  shift 2
  list=$lists.list
  if [ ! -e "$list" ]; then
    mkdir -p "$lists/partial"
    apt-get indextargets --format '$(LABEL) $(REPO_URI) $(RELEASE) $(COMPONENT)' \
      'Created-By: Packages' 'Origin: Debian' | sort -u |
      while read -r label uri release component; do
        if [ -n "$suite" ]; then
          # Neither updates nor security: the archive itself, of another release.
          [ "$label $release" = "Debian $(. /etc/os-release && echo "$VERSION_CODENAME")" ] || continue
          release=$suite
        fi
        echo "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $uri $release $component"
      done >"$list.new"
    [ -s "$list.new" ] || { echo "apt names no archive of Debian's on this machine" >&2; return 1; }
    mv "$list.new" "$list"
    source_apt "$suite" apt-get -qq update
  fi
  "$tool" -o Dir::Etc::sourcelist="$list" -o Dir::Etc::sourceparts=/dev/null \
    -o Dir::State::lists="$lists" -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache= \
    -o APT::Sandbox::User=root "$@"
}

# The releases of a package: that of the machine's own package first, whose tools take part in
# the building, then the others, the newest first.
releases() {
  dpkg-query -W -f='${source:Version}\n' "${package}-dev" "lib${package}-dev" 2>/dev/null |
    head -n 1 || true
  source_apt "$suite" apt-cache madison "$package" | cut -d '|' -f 2 | tr -d ' ' | sort -Vru
}

# Fetches what a recipe asks for.
fetch() {
  local version folder=$sources/$package file sum
  [ -n "$package" ] || return 0
  mkdir -p "$folder"
  if [ ${#files[@]} -gt 0 ]; then
    for file in "${files[@]}"; do
      [ -e "$folder/$file" ] ||
        (cd "$folder" && source_apt "$suite" apt-get -qq source --download-only --tar-only "$package")
    done
  elif [ ! -e "$folder/INTERO" ]; then
    source_apt "$suite" apt-get -qq update
    # A mirror may list what it doesn't have whole.
    for version in $(releases); do
      rm -f "$folder"/*
      if (cd "$folder" && source_apt "$suite" apt-get -qq source --download-only "$package=$version")
      then
        touch "$folder/INTERO"
        break
      fi
      echo "$package $version can't be had whole" >&2
    done
    [ -e "$folder/INTERO" ] || return 1
  fi
  # apt has compared them with Debian's signed lists; a recipe may know better still.
  for i in "${!files[@]}"; do
    sum=$(sha256sum "$folder/${files[i]}")
    if [ "${sum%% *}" != "${sums[i]}" ]; then
      echo "$folder/${files[i]} is another one than ${sums[i]}" >&2
      return 1
    fi
  done
}

unpack() { # FOLDER
  if [ ${#files[@]} -gt 0 ]; then
    tar -x -C "$1" -f "$sources/$package/${files[0]}"
  elif [ -n "$package" ]; then
    (cd "$1" && dpkg-source --no-check -x "$sources/$package"/*.dsc)
  fi
}

# What decides a library's name.
recipe() { # NAME
  cat "$here/$1.sh" "$here/mingw.cmake" "${parts[@]/#/$here/}"
  "$mingw-gcc-posix" --version
  [ -z "$package" ] || (cd "$sources/$package" && sha256sum -- *.tar.*)
}

# Builds the library unless it is there; the folder's name is left in `built`.
library() { # NAME
  local name=$1 work log begun=$SECONDS licence
  . "$here/$name.sh"
  fetch
  built=$cache/$name-$(recipe "$name" | sha256sum | cut -c 1-12)
  [ ! -e "$built/FATTO" ] || return 0
  log=$PWD/build/windows/$name.log
  echo "Building $name (the steps are in $log)..."
  work=$(mktemp -d "$PWD/build/windows/$name.XXXXXX")
  mkdir -p "$built/licenze"
  # In a shell of its own: within a condition nothing would stop at a step that fails.
  bash -eu -c '. "$0"; . "$here/$1.sh"; unpack "$2"; build "$2" "$3"' \
    packaging/windows/libraries.sh "$name" "$work" "$built" >"$log" 2>&1 ||
    { tail -n 40 "$log"; rm -rf "$work"; return 1; }
  for licence in "${licences[@]}"; do
    cp "$work"/*/"$licence" "$built/licenze"
  done
  rm -rf "$work"
  [ -z "$package" ] || (cd "$sources/$package" && sha256sum -- *.tar.*) >"$built/FONTI"
  echo "$((SECONDS - begun)) s" >"$built/FATTO"
  echo "  $name: $((SECONDS - begun)) s, $(du -sh "$built" | cut -f 1)"
}
