#!/usr/bin/env python3
"""Saves the end of a generated video with B-frames and sound through the real module, in file mode and in memory mode,
and compares what can be seen and heard in the clip with the same stretch of the video."""

import json
import subprocess
import sys
import tempfile
from pathlib import Path

DURATION = 6  # seconds to keep
SECONDS = 20  # length of the video
FRAME_RATE = 25


def run(*command):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, text=True)


def check(condition, message):
    if not condition:
        sys.exit(f"FAILED: {message}")


def make_video(path):
    run("ffmpeg", "-v", "error", "-y",
        "-f", "lavfi", "-i", f"testsrc2=size=320x240:rate={FRAME_RATE}:duration={SECONDS}",
        "-f", "lavfi", "-i", f"anoisesrc=color=pink:seed=7:sample_rate=48000:duration={SECONDS}",
        "-c:v", "libx264", "-preset", "veryfast", "-bf", "3", "-g", "50", "-sc_threshold", "0", "-c:a", "aac", "-b:a", "128k", path)


def probe(path, *arguments):
    return json.loads(run("ffprobe", "-v", "error", "-of", "json", *arguments, path).stdout)


def packets(path, stream):
    """(time stamp in seconds, hash of the bytes) of each packet."""
    found = probe(path, "-select_streams", stream, "-show_packets", "-show_data_hash", "md5")["packets"]
    return [(float(packet["pts_time"]), packet["data_hash"]) for packet in found]


def frames(path):
    """Hash of each decoded picture in the order shown; decoding must be silent."""
    decoded = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:v", "-fps_mode", "passthrough", "-f", "framemd5", "-")
    check(decoded.stderr == "", f"{path} decodes with errors:\n{decoded.stderr}")
    return [line.split(",")[-1].strip() for line in decoded.stdout.splitlines() if not line.startswith("#")]


def start_times(path):
    """When each stream starts, in seconds: picture, sound."""
    return [float(stream["start_time"]) for stream in probe(path, "-show_streams")["streams"]]


def check_pictures(video, clip):
    """Returns what moves a time in the clip to its place in the video, in seconds."""
    shown, kept = frames(video), frames(clip)
    check(len(set(shown)) == len(shown), "the video's pictures differ from one another")
    check(len(kept) == DURATION * FRAME_RATE, f"{len(kept)} pictures kept instead of {DURATION * FRAME_RATE}")
    begin = shown.index(kept[0])
    check(shown[begin:begin + len(kept)] == kept, "the pictures are not those of the video")
    print(f"{clip.name}: {len(kept)} pictures from number {begin} on")
    return begin / FRAME_RATE + start_times(video)[0] - start_times(clip)[0]


def check_sound(video, clip, shift):
    """Every packet of sound has kept its bytes and its place beside the pictures."""
    times = {data: pts for pts, data in packets(video, "a")}
    kept = packets(clip, "a")
    check(kept, "the clip is silent")
    for pts, data in kept:
        check(data in times, "a packet of sound is not the video's")
        error = times[data] - pts - shift
        check(abs(error) < 0.0015, f"sound at {pts} s is {error * 1000:.1f} ms off")
    check(kept[-1][0] > DURATION - 0.05, f"sound ends at {kept[-1][0]} s")


def check_start(clip):
    starts = start_times(clip)
    check(len(starts) == 2, "a stream is missing")
    check(max(abs(start) for start in starts) < 0.022, f"the streams start at {starts}")  # one packet of sound


def main():
    replay = sys.argv[1:]
    with tempfile.TemporaryDirectory(prefix="pyx-e2e-") as folder:
        video = Path(folder) / "video.mkv"
        make_video(video)
        for name, options in {"file": [], "memory": ["--ram"]}.items():
            for ending in ("mp4", "mkv"):
                clip = Path(folder) / f"{name}.{ending}"
                report = run(*replay, video, "-o", clip, "--duration", DURATION, "--temp", folder, "--json", *options)
                check_sound(video, clip, check_pictures(video, clip))
                check_start(clip)
                check(json.loads(report.stdout), "the report is empty")


main()
