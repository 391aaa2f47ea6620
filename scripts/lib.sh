# SPDX-License-Identifier: MIT
# Sourced by the scripts beside it: strict, at the top of the tree, never asking anything.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
export DEBIAN_FRONTEND=noninteractive
jobs=$(nproc)

# Says what comes next.
step() { printf '\n== %s\n' "$*"; }

# Configures, builds and tests one preset of CMakePresets.json.
run_preset() {
  step "preset $1"
  cmake --preset "$1"
  cmake --build --preset "$1" -j "$jobs"
  ctest --preset "$1" -j "$jobs"
}

# ccache makes the second build quick; the first one needs nothing of it.
if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
fi
