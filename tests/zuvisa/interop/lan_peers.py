"""Independent peers on the network side: Debian's pyvisa-py and lxi-tools talk to zusimd,
ZU-VISA (through Debian's PyVISA) talks to zusimd and to a plain socat socket, and finds
zusimd's instruments; portconf lists them.

Usage: lan_peers.py <zusimd> <libzuvisa.so> <portconf> <device file>
VXI-11 peers need the portmapper port 111: those checks take a lock file so that test runs on
this machine take turns, and are skipped (with the reason) when 111 cannot be had.
Prints one line per check and 'N passed, N failed' at the end; exits non-zero on a failure.
"""
import fcntl
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time

passed = 0
failed = 0
skipped = 0


def check(name, condition, detail=""):
    global passed, failed
    if condition:
        passed += 1
        print("ok   " + name)
    else:
        failed += 1
        print("FAIL " + name + (": " + str(detail) if detail else ""))


def skip(name, why):
    global skipped
    skipped += 1
    print("skip " + name + ": " + why)


class Zusimd:
    """zusimd on the device file; its start lines tell the names to use."""

    def __init__(self, program, device_file, extra=()):
        self.proc = subprocess.Popen([program, *extra, device_file], stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE, text=True)
        self.lines = []
        deadline = time.time() + 10
        while time.time() < deadline:
            line = self.proc.stdout.readline()
            if not line:
                break
            line = line.strip()
            if line == "ready":
                return
            self.lines.append(line)
        raise RuntimeError("zusimd did not start: " + self.proc.stderr.read())

    def name(self, pattern):
        for line in self.lines:
            if re.search(pattern, line):
                return line.split(" ")[0]
        return None

    def port(self, pattern):
        for line in self.lines:
            m = re.search(pattern, line)
            if m:
                return int(m.group(1))
        return None

    def stop(self):
        self.proc.terminate()
        try:
            _, err = self.proc.communicate(timeout=10)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            return -1, ""
        return self.proc.returncode, err


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def pyvisa_py_checks(sim, has111):
    try:
        import pyvisa
        rm = pyvisa.ResourceManager("@py")
    except Exception as e:  # noqa: BLE001 - any failure to load the peer is reported
        skip("pyvisa-py", "not usable: %s" % e)
        return
    sock = rm.open_resource(sim.name("SOCKET serves"), read_termination="\n", write_termination="\n")
    check("pyvisa-py queries a zusimd socket", sock.query("*IDN?").startswith("ZU Instruments,LAN-1"))
    sock.close()
    if not has111:
        skip("pyvisa-py over VXI-11", "port 111 is not ours")
        return
    instr = rm.open_resource("TCPIP0::127.0.0.1::inst0::INSTR", read_termination="\n", write_termination="\n")
    check("pyvisa-py queries zusimd over VXI-11", instr.query("*IDN?").startswith("ZU Instruments,LAN-1"))
    instr.write("VOLT 2.5")
    check("pyvisa-py sets and reads back a property", instr.query("VOLT?") == "2.500")
    check("pyvisa-py reads the status byte", instr.read_stb() == 0)
    instr.clear()
    instr.lock_excl()
    instr.unlock()
    check("pyvisa-py clears, locks and unlocks", True)
    instr.close()
    rm.close()


def lxi_checks(sim, has111):
    if not shutil.which("lxi"):
        skip("lxi-tools", "lxi is not installed")
        return
    port = sim.port(r"::(\d+)::SOCKET serves")
    out = subprocess.run(["lxi", "scpi", "-r", "-a", "127.0.0.1", "-p", str(port), "*IDN?"],
                         capture_output=True, text=True, timeout=30)
    check("lxi scpi over a raw socket", "LAN-1" in out.stdout, out.stdout + out.stderr)
    if not has111:
        skip("lxi over VXI-11", "port 111 is not ours")
        return
    out = subprocess.run(["lxi", "scpi", "-a", "127.0.0.1", "*IDN?"], capture_output=True, text=True, timeout=30)
    check("lxi scpi over VXI-11", "LAN-1" in out.stdout, out.stdout + out.stderr)
    out = subprocess.run(["lxi", "discover"], capture_output=True, text=True, timeout=60)
    check("lxi discover finds zusimd", "LAN-1" in out.stdout and "127.0.0.1" in out.stdout, out.stdout)


def zuvisa_checks(sim, library, portconf, folder):
    import pyvisa
    config = os.path.join(folder, "lan.ini")
    pm = sim.port(r"portmapper on [^:]+:(\d+)")
    with open(config, "w") as f:
        f.write("[Bridgelets]\nsim = False\ntcpip = True\n\n[tcpip]\nPortmapperPort = %d\n" % pm)
    os.environ["ZUVISA_CONFIG"] = config
    socket_name = sim.name("SOCKET serves")
    hislip_name = sim.name(r"hislip0,\d+::INSTR serves")
    for name in (socket_name, hislip_name):
        out = subprocess.run([portconf, "add-lan", name], capture_output=True, text=True)
        check("portconf add-lan " + name, out.returncode == 0, out.stderr)
    out = subprocess.run([portconf, "list"], capture_output=True, text=True, timeout=60)
    vxi_name = "TCPIP0::127.0.0.1::inst0::INSTR"
    for name in (socket_name, hislip_name, vxi_name):
        check("portconf list shows " + name, name in out.stdout, out.stdout + out.stderr)
    out = subprocess.run([portconf, "list", "--why", "GPIB?*"], capture_output=True, text=True, timeout=60)
    check("portconf list --why explains an empty list",
          "no resources" in out.stdout and "VXI-11 broadcast:" in out.stdout and "mDNS:" in out.stdout, out.stdout)

    rm = pyvisa.ResourceManager(library)
    found = rm.list_resources("TCPIP?*")
    for name in (socket_name, hislip_name, vxi_name):
        check("PyVISA through ZU-VISA finds " + name, name in found, found)
        r = rm.open_resource(name, read_termination="\n", write_termination="\n")
        check("PyVISA through ZU-VISA queries " + name, r.query("*IDN?").startswith("ZU Instruments,LAN-1"))
        r.close()

    port = free_port()
    peer = subprocess.Popen(["socat", "TCP-LISTEN:%d,bind=127.0.0.1,reuseaddr" % port,
                             "SYSTEM:'while read l; do echo \"socat heard $l\"; done'"],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        r = None
        deadline = time.time() + 5
        while r is None and time.time() < deadline:
            try:
                r = rm.open_resource("TCPIP0::127.0.0.1::%d::SOCKET" % port, read_termination="\n",
                                     write_termination="\n")
            except pyvisa.errors.VisaIOError:
                time.sleep(0.05)
        check("ZU-VISA talks to a plain socat socket", r is not None and r.query("hello") == "socat heard hello")
        if r is not None:
            r.close()
    finally:
        peer.terminate()
        peer.wait()
    rm.close()


def main():
    program, library, portconf, device_file = sys.argv[1:5]
    folder = tempfile.mkdtemp(prefix="zuvisa-lan-")
    os.environ["ZUVISA_CONFIG"] = os.path.join(folder, "none.ini")
    # Test runs on this machine take turns at port 111; the lock goes with this process.
    lock = open("/tmp/zuvisa-portmapper-111.lock", "w")
    fcntl.flock(lock, fcntl.LOCK_EX)
    sim = Zusimd(program, device_file)
    has111 = any("and 111" in line for line in sim.lines)
    try:
        pyvisa_py_checks(sim, has111)
        lxi_checks(sim, has111)
        zuvisa_checks(sim, library, portconf, folder)
    finally:
        code, err = sim.stop()
        fcntl.flock(lock, fcntl.LOCK_UN)
    check("zusimd stops cleanly on SIGTERM", code == 0, code)
    check("zusimd logs one line per connection", "VXI-11 core" in err and "SOCKET" in err and "HiSLIP" in err, err)
    shutil.rmtree(folder, ignore_errors=True)
    print("%d passed, %d failed, %d skipped" % (passed, failed, skipped))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
