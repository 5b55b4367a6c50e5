#!/bin/sh
# Usage: DISPLAY=:NN scripts/editor-cpu.sh [IDLE_MS]   (after a build; Xvfb on DISPLAY)
# CPU of the editor's thread (the host's main thread, which runs effEditIdle
# and every X11/Cairo call of the panel) and of the X server, over 10 s.
IDLE=${1:-33}
DISPLAY=${DISPLAY:-:0} build/host/graphiceq-host edit build/plugin/GraphicEQ.so --idle-ms $IDLE --after 14000 >/dev/null 2>&1 &
PID=$!
sleep 3
XPID=$(pgrep -n -f "Xvfb ${DISPLAY}" || echo $PID)
ticks() { awk '{print $14 + $15}' "$1"; }
total() { awk '{print $14 + $15}' /proc/$PID/stat; }
m0=$(ticks /proc/$PID/task/$PID/stat); t0=$(total); x0=$(ticks /proc/$XPID/stat)
sleep 10
m1=$(ticks /proc/$PID/task/$PID/stat); t1=$(total); x1=$(ticks /proc/$XPID/stat)
HZ=$(getconf CLK_TCK)
echo "idle every $IDLE ms: editor thread $(( (m1-m0)*100/HZ/10 )).$(( (m1-m0)*1000/HZ/10 % 10 ))% of a core; whole host $(( (t1-t0)*100/HZ/10 ))%; Xvfb $(( (x1-x0)*100/HZ/10 ))%"
wait $PID
