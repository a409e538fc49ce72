#!/usr/bin/env python3
"""desktop_walk.py BIN_DIR: tarvoline on Xvfb under openbox, driven by real X input
(xdotool) and read back through the window manager (xprop, xwininfo), the virtual
ports' other ends and the clipboard (xclip). Every wait is on a condition with a
timeout; only "stays above" and "nothing more arrives" are watched a fixed while."""
import os, re, select, shutil, subprocess, sys, tempfile, time

TIMEOUT = 30  # seconds one condition may take on a loaded machine
failures = []


class Stuck(Exception):  # a condition never came true
    pass


def check(good, what):
    print(("ok   " if good else "FAIL ") + what, flush=True)
    if not good:
        failures.append(what)


def wait(what, condition, timeout=TIMEOUT):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    raise Stuck("timed out: " + what)


class Desktop:
    """Xvfb, openbox and the program, and the X tools pointed at them."""

    def __init__(self, bin_dir, scratch):
        self.procs, self.env = [], None
        read, write = os.pipe()  # the read end stays open: Xvfb may write again
        self.spawn(["Xvfb", "-displayfd", str(write), "-screen", "0", "1024x768x24", "-dpi", "96",
                    "-nolisten", "tcp", "-noreset"], pass_fds=[write])
        wait("Xvfb", lambda: select.select([read], [], [], 1)[0])
        run = os.path.join(scratch, "run")
        os.makedirs(run, mode=0o700)
        self.ports = os.path.join(run, "tarvoline")
        self.env = dict(os.environ, DISPLAY=":" + os.read(read, 16).decode().strip(),
                        XDG_RUNTIME_DIR=run, HOME=scratch, QT_QPA_PLATFORM="xcb",
                        XDG_CONFIG_HOME=os.path.join(scratch, "config"))
        self.spawn(["openbox", "--sm-disable"])
        wait("openbox", lambda: "window id" in self.x("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"))
        self.log = open(os.path.join(scratch, "tarvoline.log"), "w+")
        self.program = self.spawn([os.path.join(bin_dir, "tarvoline")], cwd=scratch,
                                  stdout=self.log, stderr=subprocess.STDOUT)

    def spawn(self, argv, **kw):
        self.procs.append(subprocess.Popen(argv, env=self.env, **kw))
        return self.procs[-1]

    def close(self):
        for proc in reversed(self.procs):
            proc.kill()
            proc.wait()

    def x(self, *argv):
        return subprocess.run(argv, env=self.env, capture_output=True, text=True,
                              timeout=TIMEOUT).stdout

    def prop(self, w, name, pattern):
        found = re.search(pattern, self.x("xprop", *(["-id", str(w)] if w else ["-root"]), name))
        return found.groups() if found else None

    def named(self, title):
        out = self.x("xdotool", "search", "--onlyvisible", "--name", "^%s$" % re.escape(title))
        return [int(w) for w in out.split()]

    def geometry(self, w):  # of the client area: x, y, width, height
        info = self.x("xwininfo", "-id", str(w))
        return tuple(int(re.search(key + r":\s+(-?\d+)", info).group(1))
                     for key in ("upper-left X", "upper-left Y", "Width", "Height"))

    def shown(self, w):
        return "IsViewable" in self.x("xwininfo", "-id", str(w))

    def stacking(self):
        out = self.x("xprop", "-root", "_NET_CLIENT_LIST_STACKING")
        return [int(h, 16) for h in re.findall(r"0x[0-9a-f]+", out)]

    def active(self):
        out = self.x("xdotool", "getactivewindow").strip()
        return int(out) if out.isdigit() else None

    def click(self, x, y, button=1):
        self.x("xdotool", "mousemove", str(x), str(y), "click", str(button))

    def at(self, w, twips, button=1):  # twips from the client area, 15 to a pixel
        left, top, _, _ = self.geometry(w)
        self.click(left + round(twips[0] / 15), top + round(twips[1] / 15), button)

    def keys(self, *names):
        self.x("xdotool", "key", "--delay", "40", *names)


def read_port(fd, count, seconds=TIMEOUT):
    got, end = b"", time.monotonic() + seconds
    while len(got) < count and time.monotonic() < end:
        if select.select([fd], [], [], 0.05)[0]:
            got += os.read(fd, 4096)
    return got


# Where the walk clicks, in twips from a client area, as the windows lay them out.
MAIN_SURFACE = (90, 3000)  # the bare window left of the Port 1 group
MAIN_PANE0 = (240 + 120 + 120 + 3855 // 2, 840 + 2520 + 240 + 1215 // 2)
SETUP_HOST = (240 + 120 + 600, 120 + 300 + 300 + 120)
SETUP_PORTS = [(3120 + 1740 + 360, 120 + 2160 + 150), (3120 + 1740 + 360, 120 + 3105 + 150)]
WAYS = ("close", "Escape", "Return")  # out of a dialog: its close box, Esc, Enter


def walk(d):
    splash = wait("the splash", lambda: d.x("xdotool", "search", "--onlyvisible", "--pid",
                                             str(d.program.pid)).split(), 2 * TIMEOUT)
    x, y, width, height = d.geometry(int(splash[0]))
    d.click(x + width // 2, y + height // 2)
    main = wait("the main window", lambda: d.named("Tarvoline"))[0]
    check(d.geometry(main)[2:] == (624, 451), "the main window opens at its base size")

    def dialog(title, *keys):  # opened from the popup menu the right button raises
        d.at(main, MAIN_SURFACE, button=3)
        d.keys(*keys)
        w = wait(title, lambda: d.named(title))[0]
        belongs(w, title, main)
        return w

    def belongs(w, what, owner):
        owned = d.prop(w, "WM_TRANSIENT_FOR", r"window id # (0x[0-9a-f]+)")
        check(owned and int(owned[0], 16) == owner, what + " belongs to its owner")
        x, y, width, height = d.geometry(w)
        low = d.prop(w, "WM_NORMAL_HINTS", r"minimum size: (\d+) by (\d+)")
        high = d.prop(w, "WM_NORMAL_HINTS", r"maximum size: (\d+) by (\d+)")
        check(low == high == (str(width), str(height)), what + " has a fixed size")
        mx, my, mw, mh = d.geometry(main)
        check(abs(2 * x + width - 2 * mx - mw) < 60 and abs(2 * y + height - 2 * my - mh) < 60,
              what + " opens centred over the main window")
        d.at(main, MAIN_SURFACE)
        end, above = time.monotonic() + 1.0, True
        while time.monotonic() < end and above:
            order = d.stacking()
            above = main in order and w in order and order.index(w) > order.index(main)
        check(above, what + " stays above the main window after a click on it")
        top = int(d.prop(w, "_NET_FRAME_EXTENTS", r"= \d+, \d+, (\d+)")[0])
        d.click(x + width // 3, y - top // 2)  # its title bar gives it the keys back
        wait(what + " active", lambda: d.active() == w)

    def leave(w, what, way):
        if way == "close":
            _, right, top = map(int, d.prop(w, "_NET_FRAME_EXTENTS", r"= (\d+), (\d+), (\d+)"))
            x, y, width, _ = d.geometry(w)
            d.click(x + width + right - top // 2 - 2, y - top // 2)
        else:
            d.keys(way)
        wait(what + " gone by " + way, lambda: not d.shown(w))

    def port_number(setup, i, number):
        d.at(setup, SETUP_PORTS[i])
        d.keys("ctrl+a", *number)

    # Setup: Host mode between virtual ports 901 and 902, refused first for 901 twice.
    com = [os.path.join(d.ports, "com90%d" % n) for n in (1, 2)]
    for way in WAYS:
        setup = dialog("Tarvoline Setup", "Down", "Return")
        d.at(setup, SETUP_HOST)
        port_number(setup, 0, "901")
        port_number(setup, 1, "901" if way == "Return" else "902")
        if way == "Return":
            d.keys("Return")
            box = wait("the port failure message",
                       lambda: [w for w in d.named("Tarvoline") if w != main])[0]
            belongs(box, "Setup's failure message", setup)
            leave(box, "the failure message", "Return")
            port_number(setup, 1, "902")
        leave(setup, "Setup", way)
        check(all(map(os.path.exists, com)) == (way == "Return"),
              "Setup's %s opens the virtual ports only for Enter" % way)
    port1, port2 = (os.open(path, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK) for path in com)
    d.at(main, MAIN_SURFACE, button=3)
    d.keys("Down", "Down", "Return")  # Start
    sent = b""  # what Port 1's device sent: the traffic of the Port 1 Transmit pane

    # Data Conversion: a rule q -> Q, stored by Enter alone.
    for way in WAYS:
        conversion = dialog("Specify Action", "d")
        d.keys("q", "Tab", "Q")
        leave(conversion, "Data Conversion", way)
        os.write(port1, b"q")
        sent += b"q"
        check(read_port(port2, 1) == (b"Q" if way == "Return" else b"q"),
              "Data Conversion's %s stores the rule only for Enter" % way)

    # Keys typed after a click in the middle of the traffic join its end.
    traffic = b"0123456789" * 12
    os.write(port1, traffic)
    sent += traffic
    check(read_port(port2, len(traffic)) == traffic, "the traffic passes")
    d.at(main, MAIN_PANE0)
    d.keys("x", "BackSpace", "ctrl+c", "Return")
    check(read_port(port2, 4) == b"x\x08\x03\r", "typed keys go out as their bytes")
    shown = sent.decode() + "x<BS><ETX><CR>"

    def copied():  # the whole pane selected from the keyboard and copied by Ctrl+Insert
        d.keys("ctrl+Home", "ctrl+shift+End", "ctrl+Insert")
        return d.x("xclip", "-o", "-selection", "clipboard")
    try:
        wait("the pane's text", lambda: copied() == shown, timeout=10)
    except Stuck:
        pass
    text = copied()
    check(text == shown, "the pane shows the keys at the end of its traffic: " + text)

    # Watch Data: a watched Z stops the run only when Enter stored it.
    for way in WAYS:
        watch = dialog("Watch Data", "w")
        d.keys("Z")
        leave(watch, "Watch Data", way)
        os.write(port1, b"Z1")
        stops = way == "Return"
        check(read_port(port2, 2, 2 if stops else TIMEOUT) == (b"Z" if stops else b"Z1"),
              "Watch Data's %s stops the run at Z only for Enter" % way)


def main():
    scratch, desktop = tempfile.mkdtemp(prefix="tvl-walk-"), None
    try:
        desktop = Desktop(sys.argv[1], scratch)
        walk(desktop)
    except (Stuck, subprocess.TimeoutExpired, OSError, TypeError) as error:
        check(False, str(error))
    finally:
        if desktop:
            desktop.close()
            if failures:
                desktop.log.seek(0)
                print("tarvoline said:\n" + desktop.log.read())
        shutil.rmtree(scratch, ignore_errors=True)
    print("%d failure(s)" % len(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
