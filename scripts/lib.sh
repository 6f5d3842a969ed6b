# Shared by the scripts of this folder; to be sourced.

repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
logs=$repository/build/logs
mkdir -p "$logs"

say() { printf '%s\n' "$*" >&2; }

fail() {
  say "$@"
  exit 1
}

# run_logged NAME TEXT COMMAND...: says TEXT, runs the command quietly, tells how long it took; what
# it printed is shown when it fails and kept in build/logs/NAME.log.
run_logged() {
  local name=$1 text=$2 log=$logs/$1.log start=$SECONDS
  shift 2
  printf '%s ... ' "$text" >&2
  if "$@" >"$log" 2>&1 </dev/null; then
    say "$((SECONDS - start)) s"
  else
    local status=$?
    say "failed"
    tail -n 80 "$log" >&2
    say "The whole log: $log"
    return "$status"
  fi
}

# What each kind of work needs beyond a bare Debian 12.
packages_build=(g++ cmake ninja-build zlib1g-dev libhidapi-dev libasio-dev nlohmann-json3-dev
  libcli11-dev)
packages_desk=(libcpp-httplib-dev libssl-dev)
packages_windows=(g++-mingw-w64-x86-64-posix libz-mingw-w64-dev dpkg-dev wine64)
packages_test=(googletest libgtest-dev libgmock-dev)
packages_lint=(clang-14 clang-tidy-14 clang-format-14)
packages_fuzz=(clang-14 libclang-rt-14-dev llvm-14)
packages_arm64=(g++-aarch64-linux-gnu libstdc++6:arm64 zlib1g-dev:arm64 libhidapi-dev:arm64
  libcpp-httplib-dev:arm64 libssl-dev:arm64)

# ensure_packages REASON PACKAGE...: installs those that are missing.
ensure_packages() {
  local reason=$1 package own architecture missing=()
  shift
  own=$(dpkg --print-architecture)
  for package in "$@"; do
    architecture=$own
    [[ $package != *:* ]] || architecture=${package#*:}
    dpkg-query -W -f='${Architecture} ${db:Status-Status}\n' "$package" 2>/dev/null |
      grep -qxE "($architecture|all) installed" || missing+=("$package")
  done
  [[ ${#missing[@]} -gt 0 ]] || return 0
  local lock
  exec {lock}>"$logs/packages.lock"
  flock "$lock"

  local root=()
  if [[ $(id -u) -ne 0 ]]; then
    command -v sudo >/dev/null || fail "Installing packages needs root or sudo: ${missing[*]}"
    sudo -v || fail "Installing packages needs root or sudo: ${missing[*]}"
    root=(sudo)
  fi
  run_logged packages "Installing ${missing[*]} ($reason)" \
    install_packages "${missing[@]}"
  exec {lock}>&-
}

# add_architecture NAME: lets packages of another architecture be installed beside this one's. What
# the lists lack then is fetched with the first of them.
add_architecture() {
  local root=()
  [[ $(id -u) -eq 0 ]] || root=(sudo)
  dpkg --print-foreign-architectures | grep -qx "$1" || "${root[@]}" dpkg --add-architecture "$1"
}

install_packages() {
  local apt=("${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y
    -o DPkg::Lock::Timeout=300)
  # A foreign source that does not answer is no reason to give up: the installation decides.
  "${apt[@]}" update || echo "Not every package list could be brought up to date."
  "${apt[@]}" install --no-install-recommends "$@"
}

jobs=$(nproc)

# build PRESET TARGET...: configures and builds, when nobody else does so in this folder. Configuring
# anew takes a second and finds what was installed since.
build() {
  local preset=$1 lock
  shift
  cd "$repository"
  exec {lock}>"$logs/build-$preset.lock"
  flock "$lock"
  run_logged "configure-$preset" "Configuring $preset" cmake --preset "$preset"
  run_logged "build-$preset" "Building $preset: $*" \
    cmake --build --preset "$preset" -j "$jobs" --target "$@"
  exec {lock}>&-
}

# Makes Wine's folder beforehand, so that no program has to wait for it. Descriptor 9 tells other
# runs that Wine is in use here; Wine itself must not inherit it (9>&-), as it outlives the run.
prepare_wine() {
  exec 9>"$repository/build/wine-users"
  flock -s 9
  run_logged wine "Starting Wine" "$repository/scripts/wine-run" cmd /c exit 9>&-
}

# Ends the Wine processes when nobody else uses them: they would linger for a while.
stop_wine() {
  if flock -n -x 9 2>/dev/null; then
    WINEPREFIX=$repository/build/wine /usr/lib/wine/wineserver -k 9>&- || true
  fi
}
