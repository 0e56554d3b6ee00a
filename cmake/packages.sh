# The Debian packages that the project needs, and what its commands share: messages, installing
# what is missing, configuring and building. For bash, sourced in the tree's root.
# shellcheck shell=bash disable=SC2034

# To build the library with its tools, examples and tests, and to run them.
ZQM_PACKAGES=(g++ cmake ninja-build pkg-config ccache libcurl4-openssl-dev libssl-dev libicu-dev
  nlohmann-json3-dev libplist-dev libcbor-dev zlib1g-dev libboost-dev libgtest-dev locales iproute2)
# The second compiler, and the checks of format, lint and scripts.
ZQM_CHECK_PACKAGES=(clang-14 clang-format-14 clang-tidy-14 shellcheck)
# To run the benchmarks.
ZQM_BENCH_PACKAGES=(libbenchmark-dev)

say() { printf '==> %s\n' "$*"; }

fail() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

missing_packages() {
  local package installed
  installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null) || true
  for package in "$@"; do
    [[ $'\n'$installed$'\n' == *$'\n'"installed $package"$'\n'* ]] || printf '%s\n' "$package"
  done
}

# Installs those of the named packages that are not there yet.
install_packages() {
  command -v dpkg-query >/dev/null ||
    fail "this builds on Debian 12: there is no dpkg here to look for the packages $* with."
  local -a missing as_root=()
  read -r -d '' -a missing <<<"$(missing_packages "$@")" || true
  ((${#missing[@]})) || return 0
  command -v apt-get >/dev/null || fail "there is no apt-get to install ${missing[*]} with."
  if ((EUID != 0)); then
    command -v sudo >/dev/null || fail "installing ${missing[*]} takes root or sudo."
    as_root=(sudo)
  fi
  say "Installing ${#missing[@]} packages: ${missing[*]}"
  local log
  log=$(mktemp)
  local -ra apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q
    -o DPkg::Lock::Timeout=300 -o APT::Update::Error-Mode=any)
  if ! { "${apt[@]}" update && "${apt[@]}" install -y --no-install-recommends "${missing[@]}"; } \
    >"$log" 2>&1; then
    tail -n 15 "$log" >&2
    rm -f "$log"
    fail "apt-get, whose last lines are above, could not install ${missing[*]}."
  fi
  rm -f "$log"
}

# Makes a directory for what is built.
make_directory() {
  if ! mkdir -p "$1" 2>/dev/null || ! [[ -w $1 ]]; then
    fail "$1 cannot be written to; if another user built here, remove build/ as that user."
  fi
}

# build_preset PRESET TARGETS [OPTION-OF-CMAKE...]: configures and builds with the compiler cache.
build_preset() {
  local -r preset=$1 dir=build/$1
  local -a targets
  read -ra targets <<<"$2"
  shift 2
  make_directory "$dir"
  # With paths taken relative to the tree, a second clone of it finds its objects in the cache.
  export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
  if ! cmake --preset "$preset" -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@" \
    >"$dir/configure.log" 2>&1; then
    cat "$dir/configure.log" >&2
    fail "configuring $dir failed for the reason above."
  fi
  cmake --build "$dir" --target "${targets[@]}" -j "$(nproc)" || fail "building $dir failed, see above."
}
