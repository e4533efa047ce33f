#!/usr/bin/env python3
"""What only script/replay can break: names, other people's files, rights, and what is left when a run is stopped in a
rude way. Each case has a directory of its own."""

import json
import os
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

REPLAY, PROGRAM = sys.argv[1:3]
ENVIRONMENT = dict(os.environ, PYX_REPLAY_PROGRAM=PROGRAM)


def check(condition, message):
    if not condition:
        raise AssertionError(message)


def expect(wanted, found, what):
    check(wanted == found, f"{what}: {found!r} instead of {wanted!r}")


def start(folder, *arguments, **options):
    pipes = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
    return subprocess.Popen([REPLAY, *map(os.fsencode, arguments)], cwd=folder, env=ENVIRONMENT, **{**pipes, **options})


def run(folder, code, *arguments, **options):
    process = start(folder, *arguments, **options)
    out, error = process.communicate(timeout=60)
    expect(code, process.returncode, f"exit code with {arguments}, {error.decode()!r}")
    return (out or b"").decode(), error.decode()


def tree(folder):
    return sorted(os.path.relpath(os.path.join(root, name), os.fsencode(folder))
                  for root, folders, files in os.walk(os.fsencode(folder)) for name in folders + files)


def capitals_tell_names_apart(folder, video):
    (folder / "clip.mp4").write_text("another")
    (folder / "Out").mkdir()
    run(folder, 0, video, "-o", "CLIP.mp4")
    run(folder, 5, video, "-o", "out/clip.mp4")
    expect("another", (folder / "clip.mp4").read_text(), "clip.mp4 beside CLIP.mp4")
    expect([b"CLIP.mp4", b"Out", b"clip.mp4"], tree(folder), "files")


def any_name_can_be_read_written_and_shown(folder, video):
    for name in ("back\\slash.mp4", os.fsdecode(b"not utf-8 \xff.mp4")):
        run(folder, 2, video, "-o", name)
    for name in ('12:30 "x" a?*|<>', "dots. .."):
        parent = folder / name
        parent.mkdir()
        source, clip = parent / (parent.name + ".mkv"), parent / (parent.name + ".mp4")
        os.link(video, source)
        out, _ = run(folder, 0, source, "-o", clip, "--temp", parent)
        expect(sorted([os.fsencode(clip.name), os.fsencode(source.name)]), tree(parent), "files")
        check(str(clip) in out, f"the table has another name: {out}")


def a_clip_follows_the_umask_and_spares_others_files(folder, video):
    theirs = [folder / "clip.mp4.part", folder / "pyx-replay-77" / "Temp3.RBA"]
    theirs[1].parent.mkdir()
    for file in theirs:
        file.write_text("theirs")
    for umask, rights in {0o077: 0o600, 0o027: 0o640, 0o002: 0o664}.items():
        run(folder, 0, video, "-o", "clip.mp4", "--temp", folder, umask=umask)
        expect(rights, (folder / "clip.mp4").stat().st_mode & 0o777, "rights")
    expect(["theirs"] * 2, [file.read_text() for file in theirs], "files of others")
    expect([b"clip.mp4", b"clip.mp4.part", b"pyx-replay-77", b"pyx-replay-77/Temp3.RBA"], tree(folder), "files")


def a_stopped_run_saves_and_leaves_nothing(folder, video):
    for number, code in {signal.SIGTERM: 0, signal.SIGHUP: 0, signal.SIGINT: 0, signal.SIGKILL: -9}.items():
        temp, clip = folder / "temp", folder / f"{number.name}.mp4"
        temp.mkdir(exist_ok=True)
        process = start(folder, video, "-o", clip, "--temp", temp, "--duration", "2", "--realtime")
        wait_for(lambda: has_three_groups(temp), "three groups", process)
        expect([0o700], [path.stat().st_mode & 0o777 for path in temp.iterdir() if path.is_dir()], "rights")
        process.send_signal(number)
        _, error = process.communicate(timeout=60)
        expect(code, process.returncode, f"exit code after {number.name}, {error.decode()!r}")
        wait_for(lambda: not list(temp.iterdir()), f"an empty temporary directory after {number.name}")
        check(clip.exists(), f"no clip after {number.name}")


def a_stop_is_noticed_while_the_input_stalls(folder, video):
    process = start(folder, "-", "-o", "clip.mp4", "--temp", folder, stdin=subprocess.PIPE)
    process.stdin.write(video.read_bytes()[:video.stat().st_size // 2])
    process.stdin.flush()
    wait_for(lambda: has_three_groups(folder), "three groups", process)
    process.terminate()
    expect(0, process.wait(timeout=10), "exit code")
    check((folder / "clip.mp4").exists(), "no clip")


def a_lost_program_ends_the_run_and_leaves_nothing(folder, video):
    process = start(folder, video, "-o", "clip.mp4", "--temp", folder, "--realtime", "--json")
    wait_for(lambda: list(folder.glob("*/Temp1.RBV")), "a group", process)
    for program in Path("/proc").glob("[0-9]*"): # not Wine's services: other tests use those
        try:
            arguments = (program / "cmdline").read_bytes()
        except OSError: # has ended
            continue
        if b"replay.exe" in arguments and folder.name.encode() in arguments:
            os.kill(int(program.name), signal.SIGKILL)
    out, _ = process.communicate(timeout=60)
    expect(1, process.returncode, "exit code")
    expect(1, json.loads(out)["error"]["code"], "code in the report")
    run(folder, 0, video, "-o", "clip.mp4", "--temp", folder)
    expect([b"clip.mp4"], tree(folder), "files after the next run")


def a_save_is_made_by_a_signal_to_either_process(folder, video):
    process = start(folder, video, "-o", "clip.mp4", "--temp", folder, "--realtime", "--duration", "2")
    keepers = Path(f"/proc/{process.pid}/task/{process.pid}/children")
    for number, pid in ((1, lambda: process.pid), (2, lambda: int(keepers.read_text().split()[0]))):
        wait_for(lambda: has_three_groups(folder), "three groups", process)
        os.kill(pid(), signal.SIGUSR1)
        wait_for(lambda: (folder / f"clip-{number}.mp4").exists(), f"clip {number}", process)
    process.terminate()
    process.communicate(timeout=60)
    expect([b"clip-1.mp4", b"clip-2.mp4", b"clip.mp4"], tree(folder), "files")


def failures_are_one_line_and_one_object(folder, video):
    shapes = set()
    for code, arguments in ((2, ["--nonsense"]), (2, [video, "--duration", ""]), (2, [video, "-o", "a \"b\\.avi"]),
                            (5, [video, "--temp", "missing"]), (4, ["missing.mp4"])):
        out, error = run(folder, code, *arguments, "--json")
        expect(1, len(error.splitlines()), f"lines of {error!r}")
        expect({"code": code, "text": error.removeprefix("replay: ").strip()}, json.loads(out)["error"], "report")
        shapes.add(frozenset(json.loads(out)))
    expect(1, len(shapes), "shapes of the report")
    with open("/dev/full", "wb") as full:
        run(folder, 5, video, stdout=full)


def has_three_groups(temp):
    """The third or a later one: a program that a busy disk holds up catches up in a moment."""
    return any(int(file.stem.removeprefix("Temp")) >= 3 for file in temp.glob("*/Temp*.RBV"))


def wait_for(condition, what, process=None):
    """Until it is so; a process that ends before has failed."""
    end = time.monotonic() + 60
    while not condition():
        if process and process.poll() is not None:
            out, error = process.communicate()
            raise AssertionError(f"ended before there were {what}, code {process.returncode}: {out!r} {error!r}")
        check(time.monotonic() < end, f"not seen within a minute: {what}")
        time.sleep(0.05)


CASES = (capitals_tell_names_apart, any_name_can_be_read_written_and_shown,
         a_clip_follows_the_umask_and_spares_others_files, a_stopped_run_saves_and_leaves_nothing,
         a_stop_is_noticed_while_the_input_stalls, a_lost_program_ends_the_run_and_leaves_nothing,
         a_save_is_made_by_a_signal_to_either_process, failures_are_one_line_and_one_object)


def main():
    with tempfile.TemporaryDirectory(prefix="pyx-command-") as root:
        video = Path(root) / "video.mkv"
        subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=160x120:rate=10:duration=30", "-c:v",
                        "libx264", "-preset", "ultrafast", "-g", "10", video], check=True)
        failed = 0
        for function in CASES:
            folder = Path(root) / function.__name__
            folder.mkdir()
            try:
                function(folder, video)
                print(f"ok      {function.__name__}")
            except (AssertionError, subprocess.TimeoutExpired) as error:
                failed += 1
                print(f"FAILED  {function.__name__}: {error}")
        sys.exit(failed > 0)


main()
