"""Independent peers on the network side: Debian's pyvisa-py and lxi-tools talk to zusimd,
ZU-VISA (through Debian's PyVISA) talks to zusimd and to a plain socat socket, and finds
zusimd's instruments, also those that Avahi announces; portconf lists them.

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


class Avahi:
    """An Avahi daemon: the one running, or one started here (with a system bus if there is
    none) and stopped again at the end."""

    def __init__(self):
        self.started_daemon = False
        self.bus_pid = None
        self.publishers = []

    @staticmethod
    def running():
        return subprocess.run(["avahi-daemon", "--check"], capture_output=True).returncode == 0

    @staticmethod
    def bus_answers():
        try:
            with socket.socket(socket.AF_UNIX) as s:
                s.connect("/run/dbus/system_bus_socket")
            return True
        except OSError:
            return False

    def start(self):
        """None when a daemon runs, else why there is none."""
        if self.running():
            return None
        if os.geteuid() != 0:
            return "no avahi-daemon runs, and only root may start one"
        if not self.bus_answers():
            for stale in ("/run/dbus/system_bus_socket", "/run/dbus/pid"):
                if os.path.exists(stale):
                    os.unlink(stale)
            os.makedirs("/run/dbus", exist_ok=True)
            out = subprocess.run(["dbus-daemon", "--system", "--fork", "--print-pid"],
                                 capture_output=True, text=True)
            if out.returncode != 0:
                return "the system bus does not start: " + out.stderr.strip()
            self.bus_pid = int(out.stdout.split()[0])
        out = subprocess.run(["avahi-daemon", "-D"], capture_output=True, text=True)
        self.started_daemon = out.returncode == 0
        deadline = time.time() + 5
        while not self.running() and time.time() < deadline:
            time.sleep(0.1)
        return None if self.running() else "avahi-daemon does not start: " + out.stderr.strip()

    def publish(self, name, service, port):
        self.publishers.append(subprocess.Popen(["avahi-publish", "-s", name, service, str(port)],
                                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))

    def stop(self):
        for p in self.publishers:
            p.terminate()
            p.wait()
        if self.started_daemon:
            subprocess.run(["avahi-daemon", "-k"], capture_output=True)
        if self.bus_pid:
            os.kill(self.bus_pid, 15)


def mdns_checks(program, library, portconf, device_file, folder):
    if not all(shutil.which(p) for p in ("avahi-daemon", "avahi-publish", "dbus-daemon")):
        skip("mDNS discovery", "avahi-daemon, avahi-utils or dbus is not installed")
        return
    import pyvisa
    avahi = Avahi()
    why = avahi.start()
    if why:
        skip("mDNS discovery", why)
        return
    # Announced services carry the machine's own addresses: zusimd answers on all of them.
    sim = Zusimd(program, device_file, ["--address", "0.0.0.0", "--no-111", "--no-vxi11"])
    try:
        socket_port = sim.port(r"::(\d+)::SOCKET serves")
        hislip_port = sim.port(r"hislip0,(\d+)::INSTR serves")
        tag = str(os.getpid())
        avahi.publish("ZU bench socket " + tag, "_scpi-raw._tcp", socket_port)
        avahi.publish("ZU bench hislip " + tag, "_hislip._tcp", hislip_port)
        config = os.path.join(folder, "mdns.ini")
        with open(config, "w") as f:
            f.write("[Bridgelets]\nsim = False\ntcpip = True\n")
        os.environ["ZUVISA_CONFIG"] = config
        wanted = {"::%d::SOCKET" % socket_port: "_scpi-raw._tcp",
                  "hislip0,%d::INSTR" % hislip_port: "_hislip._tcp"}
        names = {}
        deadline = time.time() + 10
        while len(names) < len(wanted) and time.time() < deadline:
            rm = pyvisa.ResourceManager(library)
            for n in rm.list_resources("TCPIP?*"):
                for end in wanted:
                    if n.endswith(end):
                        names[end] = n
            rm.close()
        if not names:
            skip("mDNS discovery", "avahi-daemon announced nothing here (no multicast interface?)")
            return
        rm = pyvisa.ResourceManager(library)
        for end, service in wanted.items():
            name = names.get(end)
            check("ZU-VISA finds a service announced as " + service, name is not None, names)
            if name:
                r = rm.open_resource(name, read_termination="\n", write_termination="\n")
                check("PyVISA through ZU-VISA queries the announced " + name,
                      r.query("*IDN?").startswith("ZU Instruments,LAN-1"))
                r.close()
        rm.close()
        out = subprocess.run([portconf, "list", "--why"], capture_output=True, text=True, timeout=60)
        check("portconf list --why counts the announced services",
              re.search(r"mDNS: [1-9]\d* service\(s\) announced", out.stdout), out.stdout)
    finally:
        sim.stop()
        avahi.stop()


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
    mdns_checks(program, library, portconf, device_file, folder)
    check("zusimd stops cleanly on SIGTERM", code == 0, code)
    check("zusimd logs one line per connection", "VXI-11 core" in err and "SOCKET" in err and "HiSLIP" in err, err)
    shutil.rmtree(folder, ignore_errors=True)
    print("%d passed, %d failed, %d skipped" % (passed, failed, skipped))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
