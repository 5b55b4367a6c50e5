"""A JACK test client: plays a 1 kHz sine at -12 dBFS into PLUGIN's inputs,
records its left output and prints the gain in dB (steady state).
usage: jack_gain.py CLIENT:in_l CLIENT:in_r CLIENT:out_l [SECONDS]"""
import array
import math
import sys
import threading

import jack

dst_l, dst_r, src_l = sys.argv[1:4]
seconds = float(sys.argv[4]) if len(sys.argv) > 4 else 1.5
client = jack.Client("graphiceq-meter", no_start_server=True)
out_l = client.outports.register("sig_l")
out_r = client.outports.register("sig_r")
inp = client.inports.register("rec")
rate = client.samplerate
state = {"n": 0, "sig": 0.0, "rec": 0.0, "count": 0}
done = threading.Event()
skip = int(0.5 * rate)
total = skip + int(seconds * rate)


@client.set_process_callback
def process(frames):
    n0 = state["n"]
    sig = [0.25 * math.sin(2 * math.pi * 1000.0 * (n0 + i) / rate) for i in range(frames)]
    # Plain buffers (no numpy): JACK's samples are 32-bit floats.
    memoryview(out_l.get_buffer()).cast("f")[:] = array.array("f", sig)
    memoryview(out_r.get_buffer()).cast("f")[:] = array.array("f", sig)
    rec = memoryview(inp.get_buffer()).cast("f")
    if n0 >= skip and not done.is_set():
        state["sig"] += sum(v * v for v in sig)
        state["rec"] += sum(float(v) * float(v) for v in rec)
        state["count"] += frames
    state["n"] = n0 + frames
    if state["n"] >= total:
        done.set()


with client:
    client.connect(out_l, dst_l)
    client.connect(out_r, dst_r)
    client.connect(src_l, inp)
    if not done.wait(seconds + 10):
        sys.exit("no audio from the JACK server")
print("%.3f" % (10 * math.log10(state["rec"] / state["sig"])))
