"""PyVISA, as Debian ships it, drives libzuvisa.so the way an independent client does.

Usage: pyvisa_interop.py <path of libzuvisa.so> <device file> <device file in the published format>
Prints one line per check and 'N passed, N failed' at the end; exits non-zero on a failure.
"""
import os
import sys
import tempfile
import threading
import time
import warnings

import pyvisa
from pyvisa import constants
from pyvisa.errors import VisaIOError

import lan_peers as peers  # noqa: E402 - one way of counting and printing checks for every peer test

check = peers.check


def formatted_io(rm, session):
    """The variadic formatted I/O of the library as a C caller reaches it (through ctypes)."""
    import ctypes
    lib = rm.visalib.lib
    buf = ctypes.create_string_buffer(64)
    st = lib.viSPrintf(session, buf, b"%d|%-4s|%.2f|%,3hd", ctypes.c_int(42), b"ab", ctypes.c_double(2.5),
                       (ctypes.c_short * 3)(1, -2, 3))
    check("viSPrintf formats its arguments", st == 0 and buf.value == b"42|ab  |2.50|1,-2,3", (st, buf.value))
    number, real, word = ctypes.c_int32(0), ctypes.c_double(0), ctypes.create_string_buffer(16)
    st = lib.viSScanf(session, b"-17 3.25e1 word", b"%d %lf %s", ctypes.byref(number), ctypes.byref(real), word)
    check("viSScanf scans into its arguments", st == 0 and (number.value, real.value, word.value) == (-17, 32.5, b"word"),
          (st, number.value, real.value, word.value))
    st = lib.viQueryf(session, b"%s\n", b"%t", b"*IDN?", buf)
    check("viQueryf talks to the instrument", st == 0 and buf.value == b"ZU,METER,1,1.0\n", (st, buf.value))


def published_format(rm):
    """A device file with channels and random values, through the names a client expects."""
    names = rm.list_resources()
    check("lists short names under their full names",
          "USB0::0x1111::0x2222::0x1234::0::INSTR" in names and "TCPIP0::localhost:1111::inst0::INSTR" in names, names)
    supply = rm.open_resource("USB::0x1111::0x2222::0x1234::INSTR", read_termination="\n", write_termination="\n")
    check("opens a short name", supply.resource_name == "USB0::0x1111::0x2222::0x1234::0::INSTR", supply.resource_name)
    supply.write("I 2")
    check("sets the selected channel", supply.query("VOLT 3.00") == "OK" and supply.query("VOLT?") == "3.00")
    supply.write("I 1")
    check("another channel keeps its own value", supply.query("VOLT?") == "1.00")
    check("addresses a channel by its id", supply.query("SENS:B:RANG?") == "10")
    values = supply.query_ascii_values(":READ?")
    check("reads random values", len(values) == 3 and all(0 <= v <= 4.55 for v in values), values)
    noise = float(supply.query("NOISE?"))
    check("reads a random property", 1 <= noise <= 2, noise)
    check("answers an unknown command with the error", supply.query("FOO") == "ERROR")
    check("queues the error", supply.query("SYST:ERR?") == "-100, Command error")
    check("sets the event status register", supply.query("*ESR?") == "32")
    supply.close()
    lan = rm.open_resource("TCPIP::localhost:1111::INSTR", read_termination="\n", write_termination="\n")
    check("opens a LAN name with a port", lan.query("*IDN?") == "ZU,SUPPLY,0,1.0")
    lan.close()


def main():
    library, bench, compat = sys.argv[1], sys.argv[2], sys.argv[3]
    folder = tempfile.mkdtemp(prefix="zuvisa-interop-")
    config = os.path.join(folder, "zuvisa.ini")
    with open(config, "w") as f:
        f.write('[Bridgelets]\nsim = True\n\n[Simulation]\nBench = "%s"\nCompat = "%s"\n\n'
                '[Aliases]\nmeter = "GPIB0::5::INSTR"\n' % (bench, compat))
    os.environ["ZUVISA_CONFIG"] = config

    # A configuration that does not load completely is a failure here, not a warning.
    warnings.simplefilter("error", pyvisa.errors.VisaIOWarning)
    rm = pyvisa.ResourceManager(library)
    manf = rm.visalib.get_attribute(rm.session, constants.VI_ATTR_RSRC_MANF_ID)[0]
    check("resource manager reports the house manufacturer", manf == 0x0E5A, hex(manf))

    names = rm.list_resources()
    check("lists the instruments", "GPIB0::5::INSTR" in names and "USB0::0x1234::0x5678::SN01::0::INSTR" in names, names)
    check("lists by expression", rm.list_resources("?*SOCKET") == ("TCPIP0::10.0.0.5::5025::SOCKET",))
    check("lists nothing for an unknown kind", rm.list_resources("VXI?*") == ())
    info = rm.resource_info("meter")
    check("parses an alias", info.resource_name == "GPIB0::5::INSTR" and info.alias == "meter", info)

    meter = rm.open_resource("GPIB0::5::INSTR", read_termination="\n", write_termination="\n")
    check("queries", meter.query("*IDN?") == "ZU,METER,1,1.0")
    check("sets a property", meter.query("VOLT 3.5") == "OK")
    check("reads a property", meter.query("VOLT?") == "3.50")
    check("reads numbers", meter.query_ascii_values("VOLT?") == [3.5])

    meter.read_termination = None
    meter.write_termination = "\r\n"  # the meter ignores the stray carriage return
    check("changes termination", meter.query("*IDN?") == "ZU,METER,1,1.0\n")
    meter.read_termination = "\n"
    meter.write_termination = "\n"

    meter.timeout = 150
    check("changes timeout", meter.timeout == 150 and meter.get_visa_attribute(constants.VI_ATTR_TMO_VALUE) == 150)
    start = time.monotonic()
    try:
        meter.read()
        check("times out", False, "no error")
    except VisaIOError as e:
        elapsed = time.monotonic() - start
        check("times out", e.error_code == constants.StatusCode.error_timeout and 0.1 < elapsed < 2, (e, elapsed))
    meter.timeout = 2000

    check("reads attributes", meter.interface_type == constants.InterfaceType.gpib and meter.primary_address == 5)
    check("reads text attributes", meter.resource_manufacturer_name == "ZU Instruments")
    check("reads the interface name", meter.get_visa_attribute(constants.VI_ATTR_INTF_INST_NAME) == "GPIB0 (simulated)")
    usb = rm.open_resource("USB0::0x1234::0x5678::SN01::INSTR")
    check("opens a USB instrument", usb.manufacturer_name == "Acme Test" and usb.serial_number == "SN01")
    usb.close()

    other = rm.open_resource("GPIB0::5::INSTR", read_termination="\n", write_termination="\n")
    key = meter.lock(timeout=100)
    check("locks with a shared key", bool(key))
    try:
        other.query("*IDN?")
        check("lock keeps other sessions out", False, "query went through")
    except VisaIOError as e:
        check("lock keeps other sessions out", e.error_code == constants.StatusCode.error_resource_locked, e)
    other.lock(timeout=100, requested_key=key)
    check("joins the shared lock with its key", other.query("*IDN?") == "ZU,METER,1,1.0")
    other.unlock()
    meter.unlock()
    meter.lock_excl(timeout=100)
    try:
        other.lock_excl(timeout=50)
        check("exclusive lock", False, "second lock taken")
    except VisaIOError as e:
        check("exclusive lock", e.error_code == constants.StatusCode.error_timeout, e)
    meter.unlock()
    with other.lock_context(timeout=100):
        pass
    check("locks and unlocks in a context", meter.query("*IDN?") == "ZU,METER,1,1.0")

    # A service request from the simulated status reporting, while PyVISA waits for it.
    meter.write("*CLS;*ESE 1;*SRE 32")
    timer = threading.Timer(0.2, lambda: other.write("*OPC"))
    timer.start()
    start = time.monotonic()
    try:
        meter.wait_for_srq(timeout=3000)
        ok = 0.1 < time.monotonic() - start < 3
        check("waits for a service request", ok)
    except VisaIOError as e:
        check("waits for a service request", False, e)
    timer.join()
    check("status byte after the request", meter.read_stb() & 0x20 == 0x20)

    meter.write("VOLT?")
    meter.clear()
    meter.timeout = 100
    try:
        meter.read()
        check("clear discards the answer", False)
    except VisaIOError:
        check("clear discards the answer", True)

    sock = rm.open_resource("TCPIP0::10.0.0.5::5025::SOCKET", read_termination="\n")
    check("talks to a socket", sock.query("PING") == "PONG")
    sock.close()

    published_format(rm)
    formatted_io(rm, meter.session)

    meter.close()
    other.close()
    try:
        meter.query("*IDN?")
        check("a closed session is refused", False)
    except Exception:
        check("a closed session is refused", True)
    rm.close()
    print("%d passed, %d failed" % (peers.passed, peers.failed))
    return 1 if peers.failed else 0


if __name__ == "__main__":
    sys.exit(main())
