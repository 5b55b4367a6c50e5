#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail

PKGS=(
  build-essential cmake ninja-build ccache pkg-config
  clang libclang-rt-14-dev          # fuzzers and the sanitizer runtimes
  libgtest-dev libgmock-dev libbenchmark-dev
  libx11-dev libxtst-dev libxdamage-dev  # the editor's platform bridge and its tests (Damage counts what the panel draws)
  libcairo2-dev libpango1.0-dev fontconfig fonts-ipafont-gothic
  fonts-dejavu-core                 # the panel art's legends (DejaVu Sans)
  libsndfile1-dev                   # the command-line host reads and writes audio files
  libfontconfig-dev                 # the host releases Cairo's font caches after drawing a PNG
  xvfb xdotool x11-apps x11-utils   # window tests under a virtual X server; xwd and xwininfo for screenshots
  lv2-dev liblilv-dev               # the LV2 plug-in's headers; the lilv host its tests load it with
  lilv-utils sordi                  # lv2info, lv2apply, lv2bench; lv2_validate's schema checker
)

# Extra groups a caller can ask for, so the quick paths stay quick.
for arg in "$@"; do
  case "$arg" in
    --hosts) PKGS+=(ardour lsp-plugins-vst       # third-party hosts and peers
                    jalv jackd2 python3-jack-client  # the LV2 plug-in as a JACK client, measured
                    lsp-plugins-lv2 x42-plugins      # LV2 peers in the lv2bench comparison; x42's test signal
                    pipewire-bin libpipewire-0.3-modules libspa-0.2-modules) ;;  # the filter-chain sink, tested headless
  esac
done

missing=()
for p in "${PKGS[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
