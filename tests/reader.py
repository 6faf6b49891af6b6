"""What a screen reader hears of the program while it is worked by the keyboard alone.

reader.py PROGRAM ARGUMENT FILE.scenario, called by scenario.sh: runs the program on a display
and in a session of its own, reads it over AT-SPI from outside, prints what is heard anew
after each action. Actions are keys by their X names, 'abc to type, "press NAME" for a reader's
own press. Heard is whatever shows, a line each: role, name, "= text" of a field, place of a
row, (description), [states]; labels where they name nothing else; of long lists the selected
row. Ends with the program's exit status, 77 where something needed isn't installed.
"""
import os
import re
import shutil
import subprocess
import sys
import time

TOOLS = ("Xvfb", "openbox", "xdotool", "dbus-run-session", "/usr/libexec/at-spi-bus-launcher")
missing = [tool for tool in TOOLS if shutil.which(tool) is None]
try:
    import gi
    gi.require_version("Atspi", "2.0")
    from gi.repository import Atspi, GLib
except (ImportError, ValueError):
    missing.append("gir1.2-atspi-2.0")

program = application = None
screen = {}  # what shows, by its line
# Name of the innermost focused object; what events told of the focus, of typing, of new names.
focus, told, typed, renamed = [], [], [], []


def until(what):
    end = time.monotonic() + 40
    while not (result := what()) and time.monotonic() < end:
        GLib.MainContext.default().iteration(False)
        time.sleep(0.02)
    return result


def line(a, parent):
    """What is heard of one object; nothing of what only holds others."""
    role, name, state = a.get_role_name(), a.get_name(), a.get_state_set().contains
    if role in ("filler", "image") or (role in ("panel", "label") and name == ""):
        return ""
    said = f"{role} {name}"
    if role == "text":
        said += " = " + Atspi.Text.get_text(a, 0, -1)
    elif role == "list":
        said += f", {a.get_child_count()} rows"
    elif role == "list item":
        said += f", {a.get_index_in_parent() + 1} of {parent.get_child_count()}"
    if role.endswith("button") or role in ("text", "list"):
        if role != "list" and a.get_description():
            said += f" ({a.get_description()})"
        if not (state(Atspi.StateType.ENABLED) and state(Atspi.StateType.SENSITIVE)):
            said += " [disabled]"
        elif role.endswith("button") and Atspi.Action.get_action_name(a, 0) != "Press":
            said += " [can't be pressed]"
        if not state(Atspi.StateType.FOCUSABLE):
            said += " [can't have the focus]"
        if role == "text" and state(Atspi.StateType.READ_ONLY):
            said += " [read-only]"
    for kind in ("FOCUSED", "CHECKED", "SELECTED"):
        said += f" [{kind.lower()}]" if state(getattr(Atspi.StateType, kind)) else ""
    return re.sub("Registrata .....", "Registrata 12:31", " ".join(said.split()))


def read(a, parent=None):
    children = [a.get_child_at_index(i) for i in range(a.get_child_count())]
    found = [(line(a, parent), a)] if parent else []
    for child in filter(None, children):
        if child.get_state_set().contains(Atspi.StateType.SHOWING):
            found += read(child, a)
    if a.get_role_name() == "list" and len(children) > 20:
        found = [f for f in found if f[1] is a or f[0].endswith("[selected]")]
    return found


def hear():
    try:
        heard = [(said, a) for said, a in read(application) if said]
        named = {a.get_name() for said, a in heard if not said.startswith("label ")}
        return {s: a for s, a in heard if not (s.startswith("label ") and s[6:] in named)}
    except GLib.GError:  # it went while it was being read
        return None


def act(action):
    if action.startswith("press "):
        Atspi.Action.do_action(next(a for a in screen.values() if a.get_name() == action[6:]), 0)
        return
    if any(said.startswith("alert") for said in screen):
        time.sleep(0.6)  # no box takes keys as soon as it is up
    for key in action.split():
        how = ("type", "--delay", "20", key[1:]) if key[0] == "'" else ("key", key)
        subprocess.run(("xdotool", *how), check=True)


def step(action, expected):
    """Acts; true once what is new is as expected, and events told of it: the last one of the focus,
    one of what the status bar says."""
    before, had, new = set(screen), focus[:], []
    act(action)

    def settled():
        global screen
        if (now := hear()) is None:
            return program.poll() is not None
        screen, new[:] = now, [said for said in now if said not in before]
        focus[:] = [now[said].get_name() for said in now if "[focused]" in said][-1:]
        if inserted := "".join(text for name, text in typed if [name] == focus):
            new.append("inserted " + inserted)
        said_below = [a.get_name() for said, a in now.items() if said not in before and
                      a.get_role_name() == "label" and a.get_parent().get_role_name() == "status bar"]
        return (new == expected and (focus == had or focus == told[-1:]) and
                (action == "" or all(name in renamed for name in said_below)))
    right = until(settled)
    print("".join(said + "\n" for said in new), end="", flush=True)
    if not right:
        print(f"stopped at {action}; focus events: {told}; new names: {renamed}")
    told.clear(), typed.clear(), renamed.clear()
    return right


def main(path, argument, scenario, out, err):
    global program, application
    os.dup2(int(out), 1)
    os.dup2(int(err), 2)
    desktop = Atspi.get_desktop(0)
    desktop.set_cache_mask(Atspi.Cache.NONE)
    listener = Atspi.EventListener.new(
        lambda event: event.detail1 and told.append(event.source.get_name()))
    listener.register("object:state-changed:focused")
    typing = Atspi.EventListener.new(
        lambda event: typed.append((event.source.get_name(), event.any_data)))
    typing.register("object:text-changed:insert")
    naming = Atspi.EventListener.new(lambda event: renamed.append(event.source.get_name()))
    naming.register("object:property-change:accessible-name")
    program = subprocess.Popen([path, *argument.split()])
    try:
        application = until(lambda: next(
            (a for i in range(desktop.get_child_count())
             if (a := desktop.get_child_at_index(i)) and a.get_name() == "anagparc"), None))
        actions = [("", [])]
        for text in open(scenario):
            if text.startswith("> "):
                actions[-1][1].append(text[2:].rstrip("\n"))
            elif text.strip() and not text.startswith("#"):
                actions.append((text.strip(), []))
        return program.wait(40) if all(step(*action) for action in actions) else 1
    finally:
        program.kill()


def on_own_display(arguments):
    out, number = os.pipe()
    display = subprocess.Popen(["Xvfb", "-noreset", "-displayfd", str(number)],
                               pass_fds=[number], stderr=subprocess.DEVNULL)
    os.environ.update(DISPLAY=":" + os.read(out, 9).decode().strip(), QT_QPA_PLATFORM="xcb",
                      QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
    quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
    manager = subprocess.Popen(["openbox"], **quiet)
    own = [os.dup(1), os.dup(2)]  # without what the session's servers say
    try:
        return subprocess.run(
            ["dbus-run-session", "--", sys.executable, "-W", "ignore", __file__, *arguments,
             *map(str, own)], pass_fds=own, **quiet).returncode
    finally:
        for server in manager, display:
            server.terminate()
            server.wait()


if missing:
    print("skipped, missing:", *missing)
    sys.exit(77)
sys.exit(main(*sys.argv[1:]) if len(sys.argv) > 4 else on_own_display(sys.argv[1:]))
