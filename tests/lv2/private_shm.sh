# Sourced first by the scripts that start a JACK server. JACK keeps its
# server registry in /dev/shm, where a server that died without cleaning up
# keeps its slot (there are eight), and after enough such deaths no server
# starts at all. Where a mount namespace can be had (root, as in CI) the
# script runs again on a private, empty /dev/shm; elsewhere it goes on with
# the shared one.
if [ -z "${GRAPHICEQ_PRIVATE_SHM:-}" ] && unshare -m true 2>/dev/null; then
  export GRAPHICEQ_PRIVATE_SHM=1
  exec unshare -m bash -c 'mount -t tmpfs -o mode=1777 tmpfs /dev/shm && exec bash "$0" "$@"' "$0" "$@"
fi
