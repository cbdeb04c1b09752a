#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Vantles Authors
# SPDX-License-Identifier: BSD-3-Clause
"""What a screen reader finds of vantles, read from outside the process over
AT-SPI while the pointer and the keyboard (xdotool) drive vt_accessibilityhost.

Run inside an X server and a D-Bus session with at-spi2-core installed:
    run-in-xvfb.sh 1280x1024 dbus-run-session -- tst_accessibility.py HOST
Prints what the accessibility client sees at each step; exits 1 on the first
check that fails."""
import os
import subprocess
import sys
import threading
import time

import pyatspi
from gi.repository import GLib

TIMEOUT = 20  # seconds any awaited state may take on a loaded machine
COUNTDOWN = 0.4  # the host's hide countdown (VTContextTimerInterval)

events = []
output = []


def fail(message):
    print("FAIL: " + message, flush=True)
    sys.exit(1)


def pump():
    context = GLib.MainContext.default()
    while context.iteration(False):
        pass


def wait_for(what, condition, timeout=TIMEOUT):
    end = time.monotonic() + timeout
    while True:
        pump()
        try:
            result = condition()
        except GLib.GError:  # an object that went away while read
            result = None
        if result:
            return result
        if time.monotonic() > end:
            fail("waited %d s for %s" % (timeout, what))
        time.sleep(0.05)


def states(accessible):
    return {pyatspi.stateToString(s) for s in accessible.getState().getStates()}


def text_of(accessible):
    try:
        return accessible.queryText().getText(0, -1)
    except NotImplementedError:
        return None


def actions_of(accessible):
    try:
        action = accessible.queryAction()
        return [action.getName(i) for i in range(action.nActions)]
    except NotImplementedError:
        return []


def describe(accessible, depth=0):
    """The subtree as a screen reader reads it, one object a line."""
    line = "%s[%s] %r" % ("  " * depth, accessible.getRoleName(), accessible.name)
    if accessible.description:
        line += " described %r" % accessible.description
    text = text_of(accessible)
    if text and text != accessible.name:
        line += " text %r" % text
    if actions_of(accessible):
        line += " actions %s" % actions_of(accessible)
    if "focused" in states(accessible):
        line += " (focused)"
    return "\n".join([line] + [describe(child, depth + 1) for child in accessible if child])


def find_all(accessible, role, name=None):
    found = []
    if accessible.getRoleName() == role and (name is None or accessible.name == name):
        found.append(accessible)
    for child in accessible:
        if child:
            found += find_all(child, role, name)
    return found


def the_app():
    for app in pyatspi.Registry.getDesktop(0):
        if app and app.name == "vt_accessibilityhost":
            return app
    return None


def shown(role, name):
    """The application's top-level object of @role named @name, while it shows."""
    for window in the_app():
        if window and window.getRoleName() == role and window.name == name and "showing" in states(window):
            return window
    return None


def none_shown(role):
    return not any(w and w.getRoleName() == role and "showing" in states(w) for w in the_app())


def focused(role, name):
    for found in find_all(the_app(), role, name):
        if "focused" in states(found):
            return found
    return None


def on_event(event):
    try:
        events.append((event.type, event.source.getRoleName(), event.source.name, event.detail1, event.source.path))
    except GLib.GError:  # the source is gone already
        events.append((event.type, "", "", event.detail1, event.source.path))


def expect_event(what, kind, role, name, detail1=None, path=None):
    wait_for(what, lambda: any(e[0] == kind and role in (None, e[1]) and name in (None, e[2])
                               and detail1 in (None, e[3]) and path in (None, e[4]) for e in events))
    print("  event %s%s from [%s] %s" % (kind, "" if detail1 is None else " %d" % detail1, role or "the window",
                                         repr(name) if name else ""))


def key(*keys):
    subprocess.run(["xdotool", "key", "--clearmodifiers"] + list(keys), check=True)


def step(title):
    events.clear()
    print("\n== " + title, flush=True)


def check_vantle_content(vantle):
    headings = find_all(vantle, "heading", "Insert table")
    texts = [t for t in find_all(vantle, "static") + find_all(vantle, "label")
             if t.name == "Adds a table at the cursor."]
    links = [(l.name, actions_of(l).count("Press") == 1) for l in find_all(vantle, "link")]
    if not headings or not texts:
        fail("the title should read as a heading and the text as text")
    if links != [("Tables on the web", True), ("Sizing columns", True)]:
        fail("the links read as %s" % links)


def main():
    host = subprocess.Popen([sys.argv[1]], stdout=subprocess.PIPE, text=True, env=dict(
        os.environ, QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_QUICK_BACKEND="software"))
    threading.Thread(target=lambda: output.extend(host.stdout), daemon=True).start()
    try:
        pyatspi.Registry.registerEventListener(on_event, "object:state-changed:showing",
                                               "object:state-changed:active", "object:children-changed",
                                               "window:activate", "window:deactivate", "focus:")
        run()
    finally:
        host.terminate()
        host.wait()
        unexpected = [line for line in output if line.startswith("message 100") or line.startswith("message 200")]
        if unexpected:
            fail("the host was sent problems: %s" % unexpected)
    print("\nPASS", flush=True)


def run():
    wait_for("the host on the accessibility bus", lambda: the_app() and find_all(the_app(), "push button", "plain"))
    button = find_all(the_app(), "push button", "insertTable")[0]
    box = button.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)

    # Every event since the host started, before step() clears them.
    end = time.monotonic() + 2
    while time.monotonic() < end:
        pump()
        time.sleep(0.05)
    told = [e[1:4] for e in events if e[0] == "object:state-changed:showing"]
    step("the application idle: nothing the library prepares for the first hover is told")
    if told:
        fail("before any vantle, a screen reader was told of %s" % told)

    step("pointer resting on insertTable")
    subprocess.run(["xdotool", "mousemove", str(box.x + box.width // 2), str(box.y + box.height // 2)], check=True)
    vantle = wait_for("the vantle as a tool tip", lambda: shown("tool tip", "Insert table"))
    print(describe(vantle))
    if vantle.description != "Adds a table at the cursor.":
        fail("the tool tip should be described with the vantle's text")
    check_vantle_content(vantle)
    if actions_of(find_all(vantle, "push button", "Pin")[0]).count("Press") != 1:
        fail("\"Pin\" should be a button that can be pressed")
    expect_event("the tool tip shown", "object:state-changed:showing", "tool tip", "Insert table", 1)

    step("pointer moved off the control onto the window's margin: the vantle goes")
    frame = button.parent.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    subprocess.run(["xdotool", "mousemove", str(frame.x + 2), str(frame.y + frame.height - 2)], check=True)
    wait_for("the tool tip hidden", lambda: none_shown("tool tip"))
    expect_event("the tool tip hidden", "object:state-changed:showing", "tool tip", "Insert table", 0)

    step("Ctrl+F1 on the focused insertTable, then Tab to saveDocument")
    subprocess.run(["xdotool", "mousemove", "5", "1000"], check=True)
    key("ctrl+F1")
    vantle = wait_for("the vantle of the toggle key", lambda: shown("tool tip", "Insert table"))
    print(describe(vantle))
    key("Tab")
    expect_event("the vantle hidden by the focus change", "object:state-changed:showing", "tool tip", None, 0)
    wait_for("saveDocument focused", lambda: focused("push button", "saveDocument"))
    vantle = wait_for("the vantle of the focused control", lambda: shown("tool tip", "Save"))
    print(describe(vantle))
    if vantle.description != "Writes the document to its file.":
        fail("the tool tip should be described with the vantle's text")
    # Three times the countdown with the pointer elsewhere: a pointer's
    # vantle would be gone by now.
    end = time.monotonic() + 3 * COUNTDOWN
    while time.monotonic() < end:
        pump()
        time.sleep(0.05)
    if not shown("tool tip", "Save"):
        fail("a vantle shown by the keyboard focus should stay until dismissed")
    print("  still shown after %.1f s" % (3 * COUNTDOWN))

    step("Escape, then Shift+Tab back to insertTable")
    key("Escape")
    wait_for("the tool tip hidden by Escape", lambda: none_shown("tool tip"))
    key("shift+Tab")
    vantle = wait_for("the vantle of the focused control", lambda: shown("tool tip", "Insert table"))
    tooltip_path = vantle.path

    step("Ctrl+Shift+F1 pins it")
    key("ctrl+shift+F1")
    window = wait_for("the pinned vantle as a window", lambda: shown("frame", "Insert table"))
    print(describe(window))
    if window.path == tooltip_path:
        fail("the pinned window should be a new object, not the tool tip's")
    expect_event("the tool tip gone", "object:children-changed:remove", "application", "vt_accessibilityhost")
    check_vantle_content(window)
    if find_all(window, "push button", "Pin"):
        fail("a pinned vantle has no \"Pin\" button")
    expect_event("the new window", "object:children-changed:add", "application", "vt_accessibilityhost")
    expect_event("the window activated", "window:activate", "frame", "Insert table")
    # What a screen reader says last of the focus after the window's activation.
    wait_for("the first link focused", lambda: focused("link", "Tables on the web"))
    activation = [e[0] for e in events].index("window:activate")
    wait_for("the link told as the focus", lambda: [e[1:3] for e in events[activation:] if e[0] == "focus:"][-1:]
             == [("link", "Tables on the web")])
    print("  focus: on [link] 'Tables on the web'")
    wait_for("the window titled", lambda: subprocess.run(["xdotool", "search", "--name", "^Insert table$"],
                                                         stdout=subprocess.DEVNULL).returncode == 0)
    print("  window title 'Insert table'")

    step("Tab, Shift+Tab and Return in the pinned window")
    key("Tab")
    wait_for("Tab to the second link", lambda: focused("link", "Sizing columns"))
    key("shift+Tab")
    wait_for("Shift+Tab back to the first link", lambda: focused("link", "Tables on the web"))
    key("Tab")
    wait_for("Tab to the second link", lambda: focused("link", "Sizing columns"))
    key("Return")
    wait_for("the host asked to open the topic", lambda: "opened 1:table-borders\n" in output)
    print("  the host was asked to open 1:table-borders")

    step("the screen reader's Press on the first link")
    find_all(window, "link", "Tables on the web")[0].queryAction().doAction(0)
    wait_for("the host asked to open the URL", lambda: "opened 2:https://example.org/tables\n" in output)
    print("  the host was asked to open 2:https://example.org/tables")

    step("Escape closes it and gives the focus back")
    key("Escape")
    expect_event("the window's end", "object:state-changed:showing", None, None, 0, window.path)
    expect_event("the window deactivated", "window:deactivate", None, None, None, window.path)
    wait_for("the pinned window gone", lambda: not shown("frame", "Insert table"))
    wait_for("insertTable focused again", lambda: focused("push button", "insertTable"))
    print("  focus on [push button] 'insertTable'")
    if len([line for line in output if line.startswith("opened")]) != 2:
        fail("the host was asked to open %s" % [line for line in output if line.startswith("opened")])


if __name__ == "__main__":
    main()
