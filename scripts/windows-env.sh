# Sourced by the scripts that build the Windows side and run it under Wine (test-windows,
# test-com, bench-windows, bench-com): the packages they need and the private Wine prefix they
# run in.

# Installs what is missing of the mingw-w64 toolchain, Wine and the build's dependencies, and of
# the extra Debian packages given as arguments.
kiv_install_windows_packages() {
  local packages=(g++-mingw-w64-x86-64-posix mingw-w64-tools binutils-mingw-w64-x86-64
                  libz-mingw-w64-dev wine64 wine libwine-dev tcl dpkg-dev googletest libcli11-dev
                  nlohmann-json3-dev cmake make ccache "$@")
  local missing=() p
  for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# Runs this script in Wine, headless, without Mono or Gecko prompts and debug chatter: in
# $WINEPREFIX when the caller set one, else in a fresh private prefix ($1 names it) that is
# removed with its server when the script exits. The prefix's server gets the usual limit of 1024
# descriptors, not this shell's, so that a program that makes it hoard descriptors fails on every
# machine.
kiv_wine_prefix() {
  export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" DISPLAY=
  [ -n "${WINEPREFIX:-}" ] && return 0
  WINEPREFIX="$(mktemp -d "${TMPDIR:-/tmp}/kivdbxt-$1.XXXXXX")"
  export WINEPREFIX
  trap 'wineserver -k >/dev/null 2>&1 || true; rm -rf "$WINEPREFIX"' EXIT
  (ulimit -n 1024 && timeout 10 wineserver -p)
  timeout 300 wineboot --init >/dev/null 2>&1
}
