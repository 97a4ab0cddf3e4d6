# Shared by ./demo and ./check, which source it: what has to be installed, and how to build.
# Leaves the working directory at the root of the checkout; $called_from is where it was.

called_from=$PWD
cd "$( dirname "${BASH_SOURCE[0]}" )/.."

say() {
   printf '\n---- %s\n' "$*"
}

die() {
   printf '%s: %s\n' "$( basename "$0" )" "$*" >&2
   exit 1
}

# Packages, each with the program that shows that it is installed; libraries have none.
build_packages=( g++:g++ cmake:cmake ninja-build:ninja pkg-config:pkg-config libpcap-dev
   libcli11-dev nlohmann-json3-dev libedit-dev zlib1g-dev )
test_packages=( libgtest-dev clang-format-14:clang-format-14 clang-14:clang++-14
   libclang-rt-14-dev python3-jsonschema )

have_package() { # have_package PACKAGE[:PROGRAM]
   local package=${1%%:*} program=
   [[ $1 != *:* ]] || program=${1#*:}
   if [[ -n $program ]] && command -v "$program" > /dev/null; then
      return 0
   fi
   [[ $( dpkg-query -W -f '${db:Status-Status}' "$package" 2> /dev/null ) == installed ]]
}

missing_of() { # missing_of PACKAGE[:PROGRAM]...: the names of those that are not installed
   local wanted
   for wanted; do
      have_package "$wanted" || printf '%s\n' "${wanted%%:*}"
   done
}

as_root() {
   if [[ $( id -u ) == 0 ]]; then
      "$@"
   elif command -v sudo > /dev/null; then
      sudo "$@"
   else
      return 1
   fi
}

apt_get() {
   as_root env DEBIAN_FRONTEND=noninteractive \
      apt-get -q -o DPkg::Lock::Timeout=120 -o Dpkg::Use-Pty=0 "$@"
}

install_packages() { # install_packages PACKAGE...
   say "Installing $*"
   mkdir -p build
   local log=build/install.log
   { apt_get update && apt_get install -y --no-install-recommends "$@"; } > "$log" 2>&1 || {
      tail -n 20 "$log" >&2
      return 1
   }
}

# Installs what is missing. Needs nothing, not even root, if all is there.
need_packages() { # need_packages PACKAGE[:PROGRAM]...
   if ! command -v dpkg-query > /dev/null; then
      say "This is no Debian system: if the build finds something missing, install it by hand"
      return
   fi
   local missing
   mapfile -t missing < <( missing_of "$@" )
   if (( ${#missing[@]} > 0 )); then
      install_packages "${missing[@]}" ||
         die "cannot install packages; as root, run: apt-get install ${missing[*]}"
   fi
}

# For what is nicer with them, but works without.
want_packages() { # want_packages PACKAGE[:PROGRAM]...
   local missing
   command -v dpkg-query > /dev/null || return 0
   mapfile -t missing < <( missing_of "$@" )
   if (( ${#missing[@]} > 0 )); then
      install_packages "${missing[@]}" || say "Going on without ${missing[*]}"
   fi
}

build() { # build PRESET [CMAKE-OPTION...]
   say "Building build/$1"
   local log=build/$1.configure.log
   mkdir -p build
   cmake --preset "$@" > "$log" 2>&1 || {
      cat "$log" >&2
      die "the build cannot be configured (see above)"
   }
   cmake --build "build/$1" -j "$( nproc )" || die "the build failed (see above)"
}
