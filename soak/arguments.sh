# What the commands of this folder share. For bash, sourced in the tree's root.
# shellcheck shell=bash
. cmake/packages.sh

# read_arguments NAME... ARGUMENTS...: sets the variables of these names from "--NAME value".
read_arguments() {
  local -a names=()
  while (($#)) && [[ $1 != --* ]]; do names+=("$1") && shift; done
  while (($#)); do
    local name=${1#--}
    [[ " ${names[*]} " == *" $name "* && -n ${2:-} ]] || fail "options: ${names[*]/#/--}, each with its value"
    printf -v "$name" '%s' "$2"
    shift 2
  done
}

# build_soak PRESET TARGETS...: without the tests, which nothing here runs.
build_soak() {
  local -r preset=$1
  shift
  install_packages "${ZQM_PACKAGES[@]}"
  [[ $preset != clang* ]] || install_packages "${ZQM_CHECK_PACKAGES[@]}"
  say "Building with the preset $preset"
  build_preset "$preset" "$*" -DZQM_BUILD_SOAK=ON
  # Where files are really written: /tmp may be memory.
  export TMPDIR=${TMPDIR:-/var/tmp}
}

# Sets options of the sanitizers, and the array launcher to what starts a program under them.
set_sanitizers() {
  export ASAN_OPTIONS=detect_stack_use_after_return=1:quarantine_size_mb=32
  export UBSAN_OPTIONS=print_stacktrace=1
  export LSAN_OPTIONS=suppressions=$PWD/cmake/leaks.txt:print_suppressions=0
  export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
  launcher=()
  # On kernels that randomise addresses more widely, ThreadSanitizer of GCC 12 cannot start.
  # shellcheck disable=SC2034 # The scripts use it.
  if setarch -R true 2>/dev/null; then launcher=(setarch -R); fi
}

machine() {
  printf '%s, %d at hand; Linux %s; files on %s; load %s' \
    "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1)" "$(nproc)" "$(uname -r)" \
    "$(stat -f -c %T "$TMPDIR")" "$(cut -d ' ' -f 1-3 /proc/loadavg)"
}
