# Shared by the tools of this folder; sourced, not run. Installs what is missing on a Debian 12 machine. Everything that
# is not a package of the distribution lands below `build/`.

REPOSITORY="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"

PACKAGES=(
  g++ cmake ninja-build ccache mold clang clang-tidy clang-format libclang-rt-14-dev pkg-config
  libwebsocketpp-dev libasio-dev libwolfssl-dev libgrpc++-dev protobuf-compiler protobuf-compiler-grpc libprotobuf-dev
  libsqlite3-dev nlohmann-json3-dev libjsoncpp-dev libspdlog-dev libcurl4-openssl-dev libssl-dev uuid-dev
  libgtest-dev libgmock-dev libbenchmark-dev libhowardhinnant-date-dev
  bubblewrap openssl python3 git
)
MINIMUM_NODE=18

# Caches of the tools that would otherwise land in the home folder.
export CCACHE_DIR="${CCACHE_DIR:-$REPOSITORY/build/ccache}"
# What ccache must overlook to take files with precompiled headers.
export CCACHE_SLOPPINESS="${CCACHE_SLOPPINESS:-pch_defines,time_macros}"
export npm_config_cache="${npm_config_cache:-$REPOSITORY/build/npm-cache}"
export npm_config_update_notifier=false

say() {
  printf '%s\n' "$*" >&2
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo > /dev/null; then
    sudo "$@"
  else
    say "Neither root nor sudo: run this as root once:  $*"
    return 1
  fi
}

is_installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2> /dev/null)" = installed ]
}

# True when a `node` on the path is new enough and has its npm.
has_node() {
  command -v node > /dev/null && command -v npm > /dev/null &&
    [ "$(node -p 'process.versions.node.split(".")[0]')" -ge "$MINIMUM_NODE" ]
}

install_packages() {
  local missing=() package
  for package in "${PACKAGES[@]}"; do
    is_installed "$package" || missing+=("$package")
  done
  has_node || missing+=(nodejs npm)
  [ ${#missing[@]} -eq 0 ] && return 0
  say "Installing packages: ${missing[*]}"
  as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q >&2 &&
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}" >&2
}

# The npm packages of the simulator, in build/node. Done again only when the lock file has changed.
install_node_packages() {
  local folder="$REPOSITORY/build/node"
  if cmp -s "$REPOSITORY/simulator/package-lock.json" "$folder/installed.json" && [ -d "$folder/node_modules" ]; then
    return 0
  fi
  say "Installing npm packages"
  mkdir -p "$folder"
  cp "$REPOSITORY/simulator/package.json" "$REPOSITORY/simulator/package-lock.json" "$folder/"
  npm ci --prefix "$folder" --ignore-scripts --no-audit --no-fund --loglevel=error >&2 &&
    cp "$REPOSITORY/simulator/package-lock.json" "$folder/installed.json"
}

install_missing() {
  install_packages && install_node_packages
}

# build_secc <preset> [<target>]
build_secc() {
  local preset="$1" target="${2:-secc}"
  cmake --preset "$preset" -S "$REPOSITORY" > "$REPOSITORY/build/configure-$preset.log" 2>&1 || {
    cat "$REPOSITORY/build/configure-$preset.log" >&2
    return 1
  }
  cmake --build "$REPOSITORY/build/$preset" --target "$target" >&2
}
