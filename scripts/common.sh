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

# build PRESET: configures and builds it in build/PRESET.
build() {
  say "Building the preset $1"
  cmake --preset "$1" > "build-$1.log" 2>&1 || { cat "build-$1.log"; rm -f "build-$1.log"; fail "CMake could not configure the preset $1."; }
  rm -f "build-$1.log"
  cmake --build --preset "$1"
}
