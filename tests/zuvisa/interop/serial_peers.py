"""Independent peers on the serial side: Debian's pyvisa-py (with python3-serial) talks to a
simulated instrument that zusimd serves on a pseudo-terminal, and so does ZU-VISA through
Debian's PyVISA, with the terminal named as a serial port in its configuration.

Usage: serial_peers.py <zusimd> <libzuvisa.so> <device file>
Prints one line per check and 'N passed, N failed' at the end; exits non-zero on a failure.
"""
import os
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import lan_peers as peers  # noqa: E402 - the checks, their counts and zusimd's starter are shared

check = peers.check
skip = peers.skip


def pyvisa_py_checks(terminal):
    try:
        import serial  # noqa: F401 - pyvisa-py's serial sessions need it
    except ImportError:
        skip("pyvisa-py on a serial port", "python3-serial is not installed")
        return
    import pyvisa
    rm = pyvisa.ResourceManager("@py")
    inst = rm.open_resource("ASRL%s::INSTR" % terminal, read_termination="\n", write_termination="\n", timeout=3000)
    check("pyvisa-py queries the simulated supply", inst.query("*IDN?") == "ZU,PS-3,1,1.0")
    inst.baud_rate = 19200
    check("pyvisa-py sets the line and asks again", inst.query("*IDN?") == "ZU,PS-3,1,1.0")
    inst.close()
    rm.close()


def zuvisa_checks(library, link, folder):
    import pyvisa
    config = os.path.join(folder, "serial.ini")
    with open(config, "w") as f:
        f.write('[Bridgelets]\nasrl = True\n\n[asrl]\nScan = False\nASRL3 = "%s"\n' % link)
    os.environ["ZUVISA_CONFIG"] = config
    rm = pyvisa.ResourceManager(library)
    check("ZU-VISA lists the terminal as ASRL3", rm.list_resources("ASRL?*::INSTR") == ("ASRL3::INSTR",),
          rm.list_resources("ASRL?*::INSTR"))
    inst = rm.open_resource("ASRL3::INSTR", read_termination="\n", write_termination="\n", timeout=3000)
    check("ZU-VISA queries the simulated supply", inst.query("*IDN?") == "ZU,PS-3,1,1.0")
    inst.baud_rate = 57600
    inst.data_bits = 7
    check("ZU-VISA keeps the line settings", (inst.baud_rate, inst.data_bits) == (57600, 7))
    check("ZU-VISA still talks at the new settings", inst.query("*IDN?") == "ZU,PS-3,1,1.0")
    return rm, inst


def main():
    if len(sys.argv) != 4:
        print(__doc__)
        return 2
    zusimd, library, device_file = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        sim = peers.Zusimd(zusimd, device_file, ["--no-socket", "--no-vxi11", "--no-hislip", "--pty-dir", folder])
        try:
            name = sim.name(r"serves ASRL1::INSTR")
            check("zusimd names the terminal", name is not None, sim.lines)
            terminal = name[len("ASRL"):-len("::INSTR")]
            pyvisa_py_checks(terminal)
            rm, inst = zuvisa_checks(library, os.path.join(folder, "asrl1"), folder)
        finally:
            sim.stop()
        # The far end is gone: a status, not a hang.
        import pyvisa
        try:
            inst.read()
            check("ZU-VISA reports the lost line", False, "read returned")
        except pyvisa.errors.VisaIOError as e:
            check("ZU-VISA reports the lost line", e.error_code == pyvisa.constants.StatusCode.error_connection_lost,
                  e)
        inst.close()
        rm.close()
    print("%d passed, %d failed, %d skipped" % (peers.passed, peers.failed, peers.skipped))
    return 1 if peers.failed else 0


if __name__ == "__main__":
    sys.exit(main())
