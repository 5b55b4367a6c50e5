#!/usr/bin/env bash
# Installs what the build needs, then configures and builds into build/.
set -euo pipefail
source "$(dirname "$0")/common.sh"
"$ROOT/scripts/install-deps.sh"
configure_build build -DCMAKE_BUILD_TYPE=RelWithDebInfo
