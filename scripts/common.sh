# Shared settings for the project's scripts. Sourced, not run.
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
JOBS="${JOBS:-$(nproc)}"
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/ccache}"
export CCACHE_MAXSIZE="${CCACHE_MAXSIZE:-2G}"
# Paths relative to the checkout, so every checkout (and worktree) shares one cache.
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$ROOT}"

# configure_build DIR [cmake args...]: configure (once) and build everything.
configure_build() {
  local dir="$1"; shift
  cmake -S "$ROOT" -B "$ROOT/$dir" -G Ninja "$@" >/dev/null
  cmake --build "$ROOT/$dir" -j "$JOBS"
}
