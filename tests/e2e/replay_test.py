#!/usr/bin/env python3
"""Saves the end of generated videos with B-frames and audio through the real module, in file mode and in memory mode,
and compares what can be seen and heard in the clip with the same stretch of the video."""

import json
import subprocess
import sys
import tempfile
from pathlib import Path

DURATION = 6  # seconds to keep
SECONDS = 20  # length of the video
FRAME_RATE = 25


# Pictures from one key picture to the next, and seconds of audio. An exact cut spares the last pictures only where the
# former divide the duration.
VIDEOS = {"steady": (75, SECONDS), "one-key": (9999, SECONDS), "audio-ends": (70, 15)}


def run(*command, expected=0):
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True)
    check(result.returncode == expected, f"{command} ended with {result.returncode}:\n{result.stderr}")
    return result


def check(condition, message):
    if not condition:
        sys.exit(f"FAILED: {message}")


def make_video(path, key_distance, audio_seconds):
    run("ffmpeg", "-v", "error", "-y",
        "-f", "lavfi", "-i", f"testsrc2=size=320x240:rate={FRAME_RATE}:duration={SECONDS}",
        "-f", "lavfi", "-i", f"anoisesrc=color=pink:seed=7:sample_rate=48000:duration={audio_seconds}",
        "-c:v", "libx264", "-preset", "veryfast", "-bf", "3", "-g", key_distance, "-sc_threshold", "0",
        "-c:a", "aac", "-b:a", "128k", path)


def probe(path, *arguments):
    return json.loads(run("ffprobe", "-v", "error", "-of", "json", *arguments, path).stdout)


def packets(path, stream):
    """(time stamp in seconds, hash of the bytes) of each packet."""
    found = probe(path, "-select_streams", stream, "-show_packets", "-show_data_hash", "md5")["packets"]
    return [(float(packet["pts_time"]), packet["data_hash"]) for packet in found if "pts_time" in packet]


def frames(path):
    """Hash of each decoded picture in the order shown; decoding must be silent."""
    decoded = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:v", "-fps_mode", "passthrough", "-f", "framemd5", "-")
    check(decoded.stderr == "", f"{path} decodes with errors:\n{decoded.stderr}")
    return [line.split(",")[-1].strip() for line in decoded.stdout.splitlines() if not line.startswith("#")]


def start_times(path):
    """When each stream starts, in seconds: pictures, audio."""
    return [float(stream["start_time"]) for stream in probe(path, "-show_streams")["streams"]]


def check_pictures(video, clip, report):
    """Returns what moves a time in the clip to its place in the video, in seconds."""
    shown, kept = frames(video), frames(clip)
    check(len(set(shown)) == len(shown), "the video's pictures differ from one another")
    begin = shown.index(kept[0])
    check(shown[begin:begin + len(kept)] == kept, "the pictures are not those of the video")
    if report["mode"] == "exact":
        check(len(kept) == DURATION * FRAME_RATE, f"{len(kept)} pictures kept instead of {DURATION * FRAME_RATE}")
    else:
        check(kept[-1] == shown[-1], f"the clip lacks the newest {len(shown) - begin - len(kept)} pictures")
        check(len(kept) >= DURATION * FRAME_RATE, f"the clip is only {len(kept)} pictures long")
    covered = (begin, begin + len(kept), len(shown) - begin - len(kept))
    told = tuple(round(report[name] * FRAME_RATE) for name in ("coveredFrom", "coveredTo", "missingNewest"))
    check(told == covered, f"the report names the pictures {told} instead of {covered}")
    print(f"{clip.name}: {len(kept)} pictures from number {begin} on")
    return begin / FRAME_RATE + start_times(video)[0] - start_times(clip)[0]


def check_audio(video, clip, shift):
    """Every packet of audio has kept its bytes and its place beside the pictures, and none is missing."""
    begin, end = shift, shift + float(probe(clip, "-show_format")["format"]["duration"])
    stretch = {data: pts for pts, data in packets(video, "a") if begin + 0.03 < pts < end - 0.05}
    kept = {data: pts for pts, data in packets(clip, "a")}
    check(stretch and stretch.keys() <= kept.keys(), f"{len(stretch.keys() - kept.keys())} packets of audio are missing")
    for data, pts in stretch.items():
        error = pts - kept[data] - shift
        check(abs(error) < 0.0015, f"audio at {pts} s is {error * 1000:.1f} ms off")


def check_start(clip):
    starts = start_times(clip)
    check(len(starts) == 2, "a stream is missing")
    check(max(abs(start) for start in starts) < 0.022, f"the streams start at {starts}")  # one packet of audio


def check_clip(replay, folder, name, ending, *options):
    video = folder / f"{name}.mkv"
    clip = folder / f"clip-{name}{''.join(options)}.{ending}"
    report = json.loads(run(*replay, video, "-o", clip, "--duration", DURATION, "--temp", folder, "--json", *options).stdout)
    check_audio(video, clip, check_pictures(video, clip, report))
    check_start(clip)


def check_hand_over(replay, folder):
    """Clips saved from a pipe while it is read follow each other without a missing or doubled picture. The audio that
    ends in between must not end the pictures."""
    video, clip = folder / "audio-ends.mkv", folder / "live.mp4"
    with video.open("rb") as pipe:
        cat = subprocess.Popen(["cat"], stdin=pipe, stdout=subprocess.PIPE)
        command = [*replay, "-", "-o", clip, "--duration", 60, "--save-at", "3,11", "--temp", folder, "--json"]
        ended = subprocess.run([str(part) for part in command], stdin=cat.stdout, capture_output=True, text=True)
    check(ended.returncode == 0, f"recording a pipe ended with {ended.returncode}:\n{ended.stderr}")
    clips = [folder / f"live{number}.mp4" for number in ("-1", "-2", "")]
    check(sum((frames(part) for part in clips), []) == frames(video), "the clips do not meet")


def steps(source, clip, stream):
    """How far the packets that both have are moved in time, in hundredths of a second; of steady ones one value."""
    kept = {data: pts for pts, data in packets(clip, stream)}
    return {round((pts - kept[data]) * 100) for pts, data in packets(source, stream) if data in kept}


def check_odd_inputs(replay, folder):
    """Inputs whose times are odd: nothing of them is lost, and picture and sound stay together."""
    video, clip = folder / "steady.mkv", folder / "odd.mkv"
    pictures = SECONDS * FRAME_RATE

    def replayed(name, *conversion, before=(), output=clip, options=()):
        if conversion:
            run("ffmpeg", "-v", "error", "-y", *before, "-i", video, "-c", "copy", *conversion, folder / name)
        command = [*replay, folder / name, "-o", output, "--duration", 600, "--temp", folder, "--json", *options]
        return json.loads(run(*command).stdout)

    # Audio whose times repeat: only what begins before the first picture may go.
    replayed("fragments.mp4", "-movflags", "+frag_every_frame+empty_moov")
    check(len(packets(clip, "a")) >= len(packets(folder / "fragments.mp4", "a")) - 1, "repeated times cost audio")
    # A loss-free cut between key pictures: those before it are decoded and not shown.
    run("ffmpeg", "-v", "error", "-y", "-ss", 4.5, "-i", video, "-c", "copy", folder / "cut.mp4")
    report = replayed("cut.mp4", output=folder / "cut-clip.mp4")
    shown = frames(folder / "cut.mp4")
    check(frames(folder / "cut-clip.mp4") == shown, "a cut brings pictures back")
    covered = (report["coveredFrom"], round(report["coveredTo"] * FRAME_RATE))
    check(covered == (0, len(shown)), f"a cut covers {covered}")
    # Below zero Matroska has no times.
    replayed("negative.mkv", "-avoid_negative_ts", "disabled", before=("-ss", 4.5))
    moved = steps(folder / "negative.mkv", clip, "v")
    check(len(moved) == 1 and moved <= steps(folder / "negative.mkv", clip, "a"), f"the pictures are moved by {moved}")
    # Joined recordings, whose times jump far back and far ahead.
    for name, offset in (("early.ts", 0), ("late.ts", 5000)):
        run("ffmpeg", "-v", "error", "-y", "-i", video, "-c", "copy", "-output_ts_offset", offset, folder / name)
    early, late = ((folder / name).read_bytes() for name in ("early.ts", "late.ts"))
    (folder / "joined.ts").write_bytes(late + early + late)
    covered = replayed("joined.ts")["coveredTo"]
    check(len(frames(clip)) == 3 * pictures and abs(covered - 3 * SECONDS) < 1, f"joined parts make {covered} s")
    # Pictures of another size cannot be in one clip with those before them: each size has its own, with all of the
    # audio, which overlaps where they meet. A save that waits then gets the first.
    run("ffmpeg", "-v", "error", "-y", "-i", video, "-s", "160x120", "-c:v", "libx264", "-c:a", "copy",
        "-output_ts_offset", SECONDS, folder / "small.ts")
    (folder / "sizes.ts").write_bytes(early + (folder / "small.ts").read_bytes())
    for options in ((), ("--save-at", SECONDS - 1)):
        replayed("sizes.ts", options=options, output=folder / "size.mp4")
        parts = [folder / "size-1.mp4", folder / "size.mp4"]
        widths = [(probe(part, "-show_streams")["streams"][0]["width"], len(frames(part))) for part in parts]
        check(widths == [(320, pictures), (160, pictures)], f"the sizes' clips are {widths}")
        sound = [len(packets(part, "a")) for part in (folder / "sizes.ts", *parts)]
        check(sum(sound[1:]) >= sound[0] - 1, f"packets of audio: {sound}") # one begins before the first picture
        parts[0].unlink()
    # The length that a pipe begins with is no promise.
    with video.open("rb") as whole:
        part = whole.read(video.stat().st_size // 2)
    command = [str(argument) for argument in (*replay, "-", "-o", clip, "--temp", folder, "--quiet")]
    ended = subprocess.run(command, input=part, stdout=subprocess.DEVNULL)
    check(ended.returncode == 0, f"a pipe that ends early ends with {ended.returncode}")


def check_failures(replay, folder):
    """command_test.py has the others."""
    with open("/dev/full", "w", encoding="utf-8") as full:
        arguments = [*replay, folder / "steady.mkv", "-o", folder / "failed.mp4", "--temp", folder]
        ended = subprocess.run([str(part) for part in arguments], stdout=full, stderr=subprocess.DEVNULL)
    check(ended.returncode == 5, f"a report that cannot be written ends with {ended.returncode}")


def main():
    replay = sys.argv[1:]
    with tempfile.TemporaryDirectory(prefix="pyx-e2e-") as name:
        folder = Path(name)
        for video, (key_distance, audio_seconds) in VIDEOS.items():
            make_video(folder / f"{video}.mkv", key_distance, audio_seconds)
        check_clip(replay, folder, "steady", "mp4")
        check_clip(replay, folder, "steady", "mkv", "--ram")
        check_clip(replay, folder, "steady", "mp4", "--exact")
        check_clip(replay, folder, "one-key", "mp4")
        check_clip(replay, folder, "audio-ends", "mkv")
        check_hand_over(replay, folder)
        check_odd_inputs(replay, folder)
        check_failures(replay, folder)


main()
