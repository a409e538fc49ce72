#!/usr/bin/python3
"""A capture made by a whole run of the program, exported by tarvoline-export
and read back with Python's csv module; then the ways an export can fail.

usage: export_csv_test.py BIN_FOLDER"""
import csv
import io
import os
import re
import subprocess
import sys
import tempfile
import time

BIN = sys.argv[1]
failures = []


def check(condition, what):
    if not condition:
        failures.append(what)
        print("FAILED:", what)


# Device texts with CSV's special characters, a line break and bytes above 0x7F.
SCENARIO = r'''call Main
call frmSplash.Form_KeyPress 13
click FrmMain.mnuSetup
set frmSetup.optMonitor(2).Value = True
set frmSetup.optSaving(3).Value = True
answer file "cap.tvl"
click frmSetup.cmdOK
click FrmMain.mnuStartStop
feed port1 "say \"hi\", then\r\n caf\xE9 \xFF"
feed port2 "OK,\x01"
drain
click FrmMain.mnuStartStop
click FrmMain.mnuStartStop
feed port2 "second run"
drain
click FrmMain.mnuStartStop
print tvl "cap.tvl"
'''
# The records the run writes: the head, then each Stop's panes, Port 2's device first.
TITLES = ["Port1 (DTE1): ", "Port2 (DTE2/DCE): "]
RECORDS = [["", ""], ["OK,<SOH>", 'say "hi", then<CR><LF> caf\u00e9 \u00ff'], ["second run", " "]]


def export(*args):
    run = subprocess.run([os.path.join(BIN, "tarvoline-export"), *args], capture_output=True)
    return run.returncode, run.stdout, run.stderr.decode()


with tempfile.TemporaryDirectory() as folder:
    capture = os.path.join(folder, "cap.tvl")
    with open(os.path.join(folder, "make.scn"), "w") as f:
        f.write(SCENARIO)
    started = time.time()
    made = subprocess.run([os.path.join(BIN, "tarvoline-scenario"), os.path.join(folder, "make.scn")],
                          capture_output=True, check=True)
    finished = time.time()
    check(made.stdout.startswith(f'tvl "cap.tvl" = "{TITLES[0]}" "{TITLES[1]}" 4 [""'.encode()),
          f"the runner prints the capture: {made.stdout!r}")
    code, out, err = export(capture)
    check(code == 0 and err == "", f"a whole capture exports cleanly ({code}, {err!r})")
    check(out.count(b"\r\n") >= len(RECORDS) + 1, "rows end with CR LF")
    rows = list(csv.reader(io.StringIO(out.decode("utf-8"), newline="")))
    check(rows[0] == ["record", "time"] + TITLES, f"header row {rows[0]!r}")
    check([r[0] for r in rows[1:]] == [str(i) for i in range(1, len(RECORDS) + 1)], "records numbered from 1")
    check([r[2:] for r in rows[1:]] == RECORDS, f"texts as the run wrote them: {rows[1:]!r}")
    times = [r[1] for r in rows[1:]]
    check(all(re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z", t) for t in times), f"times {times}")
    seconds = [time.mktime(time.strptime(t[:19], "%Y-%m-%dT%H:%M:%S")) - time.timezone for t in times]
    check(times == sorted(times) and started - 1 <= seconds[0] and seconds[-1] <= finished + 1,
          f"times are UTC, in order, within the run: {times}")

    code, out, err = export("--format", "text", capture)
    check(code == 0 and out.decode("utf-8").startswith("Record 1  " + times[0]), "text format")
    check(not re.search(rb"[\x00-\x09\x0b-\x1f\x7f]", out), "the text format shows no control byte raw")

    # A record cut short at the end: reported, naming the file, and the rest exported.
    torn = os.path.join(folder, "torn.tvl")
    with open(capture, "rb") as src, open(torn, "wb") as dst:
        dst.write(src.read()[:-5])
    code, out, err = export(torn)
    check(code == 1 and torn in err and "incomplete" in err, f"torn capture: {code} {err!r}")
    check(list(csv.reader(io.StringIO(out.decode("utf-8"), newline=""))) == rows[:-1], "torn: the rest exported")

    notcapture = os.path.join(folder, "notes.tvl")
    with open(notcapture, "w") as f:
        f.write("just some notes\n")
    for path, what in [(os.path.join(folder, "missing.tvl"), "No such file"), (notcapture, "not a Tarvoline")]:
        code, out, err = export(path)
        check(code == 1 and path in err and what in err and out == b"", f"{what}: {code} {err!r}")
    check(export("--format", "xml", capture)[0] == 2 and export()[0] == 2, "a wrong command line exits 2")

print(f"export: {len(failures)} checks failed" if failures else "export: all checks passed")
sys.exit(1 if failures else 0)
