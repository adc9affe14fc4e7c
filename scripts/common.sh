# Shared by scripts/run and scripts/test: install what a fresh Debian 12 machine lacks, then configure
# and build. Sourced, not run.

LOREKEEP_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
LOREKEEP_BUILD=${LOREKEEP_BUILD:-$LOREKEEP_ROOT/build}

# Debian packages the build, the tests and the program need.
LOREKEEP_PACKAGES=(
  cmake ninja-build g++ pkg-config
  qt6-base-dev qt6-base-dev-tools libqt6sql6-sqlite libqt6sql6-psql libgl-dev
  qt6-webengine-dev qt6-pdf-dev
  libuchardet-dev libsqlite3-dev libzstd-dev
  fonts-dejavu-core
)

lorekeep_missing_packages() {
  local missing=() pkg
  for pkg in "${LOREKEEP_PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" || missing+=("$pkg")
  done
  echo "${missing[@]:-}"
}

lorekeep_install_packages() {
  local missing
  missing=$(lorekeep_missing_packages)
  [ -z "$missing" ] && return 0
  echo "Installing Debian packages: $missing"
  local sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends $missing
}

# Mozilla's Readability, which finds a page's article, comes from the npm registry at the version and
# checksum that npm/package-lock.json names; the build embeds it into the program.
lorekeep_fetch_scripts() {
  [ -f "$LOREKEEP_ROOT/npm/node_modules/@mozilla/readability/Readability.js" ] && return 0
  echo "Fetching Readability with npm"
  npm ci --prefix "$LOREKEEP_ROOT/npm" --silent --no-audit --no-fund --ignore-scripts
}

lorekeep_build() {
  command -v npm >/dev/null || LOREKEEP_PACKAGES+=(npm)
  lorekeep_install_packages
  lorekeep_fetch_scripts
  if [ ! -f "$LOREKEEP_BUILD/build.ninja" ]; then
    cmake -S "$LOREKEEP_ROOT" -B "$LOREKEEP_BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
  fi
  cmake --build "$LOREKEEP_BUILD" "$@"
}
