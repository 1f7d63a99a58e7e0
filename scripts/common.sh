# What run.sh, test.sh and bench.sh share: say what is being done, install what is missing, build a preset.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

say() { printf '\n== %s\n' "$*"; }

fail() {
  printf '\nERROR: %s\n' "$*" >&2
  exit 1
}

install_packages() {
  local missing=() package
  while read -r package; do
    dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
  done < scripts/packages.txt
  [ ${#missing[@]} -eq 0 ] && return
  say "Installing with apt: ${missing[*]}"
  local sudo=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo > /dev/null || fail "These packages are missing: ${missing[*]}. Install them as root, then run this again."
    sudo=(sudo)
  fi
  "${sudo[@]}" apt-get update -qq
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
}

# build PRESET [TARGET...]: configures it and builds the targets, or everything, in build/PRESET.
build() {
  local preset=$1
  shift
  say "Building the preset $preset"
  mkdir -p build
  cmake --preset "$preset" > "build/$preset.log" 2>&1 || { cat "build/$preset.log"; fail "CMake could not configure the preset $preset."; }
  cmake --build --preset "$preset" ${1:+--target "$@"}
}
