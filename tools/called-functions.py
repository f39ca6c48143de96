# For gdb, as tools/order-at-rest starts it: writes down each function of the program when it is called for the first time.
import gdb
import os
import subprocess

program = os.environ["OMBRU_PROGRAM"]
for setting in ("confirm off", "debuginfod enabled off", "breakpoint always-inserted on"):
    gdb.execute("set " + setting)
for signal in ("SIGCHLD", "SIGPIPE"):
    gdb.execute(f"handle {signal} nostop noprint pass", to_string=True)
gdb.execute("starti", to_string=True)

with open(f"/proc/{gdb.selected_inferior().pid}/maps") as maps:
    begin = min(int(line.split("-")[0], 16) for line in maps if line.rstrip().endswith(program))
names = {}
symbols = subprocess.run(["nm", "--defined-only", program], capture_output=True, text=True, check=True).stdout
for line in symbols.splitlines():
    address, kind, name = line.split(None, 2)
    if kind in "tTwW":
        names.setdefault(begin + int(address, 16), []).append(name)
for address in names:
    gdb.Breakpoint(f"*{address:#x}", internal=True)

called = open(os.environ["OMBRU_CALLED"], "w", buffering=1)


def stopped(event):
    for point in event.breakpoints:
        called.write("\n".join(names[int(point.location[1:], 16)]) + "\n")
        point.delete()


gdb.events.stop.connect(stopped)
while True:
    gdb.execute("continue", to_string=True)
