#!/usr/bin/python3
"""LAN figures of ZU-VISA against references measured in the same run, on loopback against
zusimd (round trips) and a minimal C server (the 64 MiB read).

usage: run.py BUILD-BIN-DIR DEVICE-FILE
"""
import fcntl
import re
import subprocess
import sys
import time

bin_dir, device_file = sys.argv[1], sys.argv[2]
# Port 111 (for liblxi and pyvisa-py over VXI-11) is taken in turns with test runs.
lock = open("/tmp/zuvisa-portmapper-111.lock", "w")
fcntl.flock(lock, fcntl.LOCK_EX)
# Round trips on one CPU for every client and the server (see lan_bench.cpp).
pin = ["taskset", "-c", "0"]
sim = subprocess.Popen(pin + [bin_dir + "/zusimd", device_file], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
lines = []
while True:
    line = sim.stdout.readline().strip()
    if not line or line == "ready":
        break
    lines.append(line)
text = "\n".join(lines)
socket_port = re.search(r"127\.0\.0\.1::(\d+)::SOCKET", text).group(1)
hislip_port = re.search(r"hislip0,(\d+)::INSTR", text).group(1)
pm = re.search(r"portmapper on [^:]+:(\d+)", text).group(1)
has111 = "and 111" in text
try:
    # Three whole runs: a round trip at its best (other work on the machine only slows it), a
    # large read's throughput at its median (it swings both ways from turn to turn).
    runs = {}
    for run in range(3):
        out = subprocess.run([bin_dir + "/lan_bench", socket_port, hislip_port, pm] + (["--lxi"] if has111 else []) + ["--cpu", "0"],
                             capture_output=True, text=True, check=True).stdout
        for m in re.finditer(r"(\S+) ([-\d.]+) ", out):
            runs.setdefault(m.group(1), []).append(float(m.group(2)))
    figures = {name: sorted(v)[len(v) // 2] if name.endswith("64mib") else min(v) for name, v in runs.items()}
    snippet = """
import pyvisa, time
rm = pyvisa.ResourceManager('@py')
r = rm.open_resource('TCPIP0::127.0.0.1::%s::SOCKET', read_termination='\\n', write_termination='\\n')
for i in range(100): r.query('*IDN?')
best = 1e9
for k in range(3):
    t0 = time.perf_counter()
    for i in range(1000): r.query('*IDN?')
    best = min(best, (time.perf_counter() - t0) / 1000 * 1e6)
print(best)
""" % socket_port
    runs = [subprocess.run(pin + ["/usr/bin/python3", "-c", snippet], capture_output=True, text=True) for _ in range(3)]
    good = [float(py.stdout.strip()) for py in runs if py.returncode == 0]
    figures["pyvisa_py_socket_rtt"] = min(good) if good else -1
finally:
    sim.terminate()
    sim.wait()

for name, value in figures.items():
    unit = "MiB/s" if name.endswith("64mib") else "us"
    print("%-24s %10.2f %s" % (name, value, unit))
print()
def ratio(label, a, b, aim):
    if figures.get(a, -1) > 0 and figures.get(b, -1) > 0:
        print("%-52s %6.2f   (aim %s)" % (label, figures[a] / figures[b], aim))
    else:
        print("%-52s    n/a   (%s not measured)" % (label, b))
ratio("*IDN? round trip, SOCKET: ZU-VISA / raw C client", "zuvisa_socket_rtt", "raw_socket_rtt", "<= 1.10")
ratio("*IDN? round trip, SOCKET: ZU-VISA / pyvisa-py", "zuvisa_socket_rtt", "pyvisa_py_socket_rtt", "< 1")
ratio("64 MiB read, SOCKET: ZU-VISA / raw C client throughput", "zuvisa_socket_64mib", "raw_socket_64mib", ">= 0.90")
ratio("*IDN? round trip, VXI-11: ZU-VISA / liblxi", "zuvisa_vxi11_rtt", "liblxi_vxi11_rtt", "<= 1.00")
ratio("*IDN? round trip, HiSLIP / raw SOCKET", "zuvisa_hislip_rtt", "raw_socket_rtt", "<= 1.20")
