#!/usr/bin/env python3
"""Saves the end of generated videos with B-frames and audio through the real module, in file mode and in memory mode,
and compares what can be seen and heard in the clip with the same stretch of the video. Then shows the report page of
such runs in a browser."""

import html
import json
import os
import re
import subprocess
import sys
import tempfile
import urllib.parse
from pathlib import Path

DURATION = 6  # seconds to keep
SECONDS = 20  # length of the video
FRAME_RATE = 25


# Pictures from one key picture to the next, and seconds of audio. An exact cut spares the last pictures only where the
# former divide the duration.
VIDEOS = {"steady": (75, SECONDS), "one-key": (9999, SECONDS), "audio-ends": (40, 15)}

BROWSER = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking",
           "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage", "--virtual-time-budget=5000",
           "--dump-dom", "--user-data-dir=browser"]


def check(condition, message):
    if not condition:
        sys.exit(f"FAILED: {message}")


def expect(what, found, expected):
    check(found == expected, f"{what}: {found!r} instead of {expected!r}")


def run(*command, **options):
    result = subprocess.run([str(part) for part in command], capture_output=True, **options)
    check(result.returncode == 0, f"{command} ended with {result.returncode}:\n{result.stderr.decode()}")
    return result


def replay(video, clip, *options, duration=600, **pipe):
    """The report of a run."""
    return json.loads(run(*sys.argv[1:], video, "-o", clip, "--duration", duration, "--temp", ".", "--json", *options,
                          **pipe).stdout)


def convert(video, *options):
    run("ffmpeg", "-v", "error", "-y", *options, video)


def make_video(name, key_distance, audio_seconds):
    convert(f"{name}.mkv", "-f", "lavfi", "-i", f"testsrc2=size=320x240:rate={FRAME_RATE}:duration={SECONDS}",
            "-f", "lavfi", "-i", f"anoisesrc=color=pink:seed=7:sample_rate=48000:duration={audio_seconds}",
            "-c:v", "libx264", "-preset", "veryfast", "-bf", "3", "-g", key_distance, "-sc_threshold", "0",
            "-c:a", "aac", "-b:a", "128k")


def probe(path, *arguments):
    return json.loads(run("ffprobe", "-v", "error", "-of", "json", *arguments, path).stdout)


def packets(path, stream):
    """(time stamp in seconds, hash of the bytes) of each packet."""
    found = probe(path, "-select_streams", stream, "-show_packets", "-show_data_hash", "md5")["packets"]
    return [(float(packet["pts_time"]), packet["data_hash"]) for packet in found if "pts_time" in packet]


def frames(path):
    """Hash of each decoded picture in the order shown; decoding must be silent."""
    decoded = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:v", "-fps_mode", "passthrough", "-f", "framemd5", "-")
    expect(f"complaints about {path}", decoded.stderr, b"")
    return [line.split(b",")[-1].strip() for line in decoded.stdout.splitlines() if not line.startswith(b"#")]


def start_times(path):
    """When each stream starts, in seconds: pictures, audio."""
    return [float(stream["start_time"]) for stream in probe(path, "-show_streams")["streams"]]


def check_pictures(video, clip, report):
    """Returns what moves a time in the clip to its place in the video, in seconds."""
    shown, kept = frames(video), frames(clip)
    expect("different pictures of the video", len(set(shown)), len(shown))
    begin = shown.index(kept[0])
    check(shown[begin:begin + len(kept)] == kept, "the pictures are not those of the video")
    if report["mode"] == "exact":
        expect("pictures kept", len(kept), DURATION * FRAME_RATE)
    else:
        check(kept[-1] == shown[-1], f"the clip lacks the newest {len(shown) - begin - len(kept)} pictures")
        check(len(kept) >= DURATION * FRAME_RATE, f"the clip is only {len(kept)} pictures long")
    expect("pictures that the report names",
           [round(report[name] * FRAME_RATE) for name in ("coveredFrom", "coveredTo", "missingNewest")],
           [begin, begin + len(kept), len(shown) - begin - len(kept)])
    print(f"{clip}: {len(kept)} pictures from number {begin} on")
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


def check_clip(name, ending, *options):
    video, clip = f"{name}.mkv", f"clip-{name}{''.join(options)}.{ending}"
    report = replay(video, clip, *options, duration=DURATION)
    check_audio(video, clip, check_pictures(video, clip, report))
    starts = start_times(clip)
    check(len(starts) == 2 and max(map(abs, starts)) < 0.022, f"the streams start at {starts}")  # one packet of audio
    if ending == "mp4":
        written = Path(clip).read_bytes()
        expect("whether the index is in front", written.find(b"moov") < written.find(b"mdat"), "--faststart" in options)


def check_pipes():
    """Clips saved from a pipe while it is read follow each other without a missing or doubled picture. The audio that
    ends in between must not end the pictures, and the length that the pipe begins with is no promise."""
    video = Path("audio-ends.mkv").read_bytes()
    replay("-", "live.mp4", "--save-at", "3,11", input=video)
    clips = [frames(f"live{number}.mp4") for number in ("-1", "-2", "")]
    check(sum(clips, []) == frames("audio-ends.mkv"), "the clips do not meet")
    replay("-", "live.mp4", input=video[:len(video) // 2])


def steps(source, clip, stream):
    """How far the packets that both have are moved in time, in hundredths of a second; of steady ones one value."""
    kept = {data: pts for pts, data in packets(clip, stream)}
    return {round((pts - kept[data]) * 100) for pts, data in packets(source, stream) if data in kept}


def check_odd_inputs():
    """Inputs whose times are odd: nothing of them is lost, and picture and sound stay together."""
    pictures = SECONDS * FRAME_RATE
    copied = ("-i", "steady.mkv", "-c", "copy")
    # Audio whose times repeat: only what begins before the first picture may go.
    convert("fragments.mp4", *copied, "-movflags", "+frag_every_frame+empty_moov")
    replay("fragments.mp4", "odd.mkv")
    check(len(packets("odd.mkv", "a")) >= len(packets("fragments.mp4", "a")) - 1, "repeated times cost audio")
    # A loss-free cut just before a key picture: more than the decode times look ahead for are decoded and not shown.
    convert("cut.mp4", "-ss", 5.9, *copied)
    report = replay("cut.mp4", "cut-clip.mp4")
    shown = frames("cut.mp4")
    check(frames("cut-clip.mp4") == shown, "a cut brings pictures back")
    expect("stretch of a cut", [report["coveredFrom"], round(report["coveredTo"] * FRAME_RATE)], [0, len(shown)])
    # Below zero Matroska has no times.
    convert("negative.mkv", "-ss", 4.5, *copied, "-avoid_negative_ts", "disabled")
    replay("negative.mkv", "odd.mkv")
    moved = steps("negative.mkv", "odd.mkv", "v")
    check(len(moved) == 1 and moved <= steps("negative.mkv", "odd.mkv", "a"), f"the pictures are moved by {moved}")
    # Joined recordings, whose times jump far back and far ahead.
    for name, offset in (("early.ts", 0), ("late.ts", 5000)):
        convert(name, *copied, "-output_ts_offset", offset)
    early, late = (Path(name).read_bytes() for name in ("early.ts", "late.ts"))
    Path("joined.ts").write_bytes(late + early + late)
    covered = replay("joined.ts", "odd.mkv")["coveredTo"]
    check(len(frames("odd.mkv")) == 3 * pictures and abs(covered - 3 * SECONDS) < 1, f"joined parts make {covered} s")
    # Pictures of another size cannot be in one clip with those before them: each size has its own, with all of the
    # audio, which overlaps where they meet. A save that waits then gets the first.
    convert("small.ts", "-i", "steady.mkv", "-s", "160x120", "-c:v", "libx264", "-g", 10, "-c:a", "copy",
            "-output_ts_offset", SECONDS)
    Path("sizes.ts").write_bytes(early + Path("small.ts").read_bytes())
    for options in ((), ("--save-at", SECONDS - 1)):
        replay("sizes.ts", "size.mp4", *options)
        parts = ["size-1.mp4", "size.mp4"]
        widths = [(probe(part, "-show_streams")["streams"][0]["width"], len(frames(part))) for part in parts]
        expect("widths and lengths of the clips", widths, [(320, pictures), (160, pictures)])
        sound = [len(packets(part, "a")) for part in ("sizes.ts", *parts)]
        check(sum(sound[1:]) >= sound[0] - 1, f"packets of audio: {sound}") # one begins before the first picture
        os.unlink(parts[0])
    # The clip of the first size is complete only after the save that follows.
    begins = [clip["coveredFrom"] for clip in replay("sizes.ts", "order.mp4", "--save-at", f"2,{SECONDS + .1}")["clips"]]
    check(len(begins) == 4 and begins == sorted(begins), f"the clips begin at {begins}")
    # Audio that lags in a pipe: its set-up comes late, and time goes back whenever some of it is read.
    lagging = [early[at:at + 188] for at in range(0, len(early), 188)]
    places = sorted(range(len(lagging)), key=lambda i: i + (len(lagging) // 6 if lagging[i][2] == 1 else 0)) # PID 0x101
    report = replay("-", "lag.mp4", "--save-at", "3,8", input=b"".join(lagging[i] for i in places))
    expect("clips with sound", [clip["audioPacketsWritten"] > 0 for clip in report["clips"]], [True] * 3)


def show(path):
    """The page as it is after its script had run."""
    return run(*BROWSER, path.absolute().as_uri(), timeout=60, env={**os.environ, "HOME": os.getcwd()}).stdout.decode()


def check_page(page, report, fates):
    """It draws, and its tables add up to the report. Returns the clips that it shows."""
    table = re.search(r'<table id="groups">.*?</table>', page, re.DOTALL)[0]
    groups = [re.findall(r"<td>([^<]*)", row) for row in table.split("<tr>")[2:]]
    expect("what became of the groups", "".join(group[0][0] for group in groups), fates)
    expect("pictures", sum(int(group[4]) for group in groups), report["videoPacketsIn"])
    expect("cached before and after a save", [group[7] for group in groups[6:8]], ["8.0 s", "1.6 s"])
    expect("groups drawn", len(re.findall(r'<rect [^>]*class="group ', page)), len(groups))
    figures = re.search(r'<p id="calls">([\d,]+) calls: p50 ([\d.]+) µs, p99', page)
    expect("calls", figures[1].replace(",", ""), str(report["packetsIn"]))
    expect("whether half of the calls are faster than 100 µs", 0 < float(figures[2]) < 100, True)
    clips = re.search(r'<div id="clips">.*?</section>', page, re.DOTALL)[0]
    expect("groups of each clip", [int(kept) for kept in re.findall(r"(\d+) groups?,", clips)],
           [clip["gopsKept"] for clip in report["clips"]])
    expect("a clip that cannot be shown", "cannot show" in clips, False)
    return [Path(urllib.parse.unquote(html.unescape(url))) for url in re.findall(r'<video [^>]*src="([^"]*)', clips)]


def check_pages():
    """The page finds the clips beside it whatever their names are."""
    video, page = "in & out é.mkv", Path("page two.html")
    os.link("audio-ends.mkv", video)
    os.mkdir("clips")
    # Of groups of 1.6 s: dropped, written, cut.
    for option, fates in (("--faststart", "ddwwwwwdwwwww"), ("--exact", "ddwwwccdwwwcc")):
        clip = Path("clips") / f"100% #1 é{option}.mp4"
        report = replay(video, clip, "--report", page, "--save-at", "10", option, duration=5)
        expect("clips", check_page(show(page), report, fates), [clip.with_stem(clip.stem + "-1"), clip])


def main():
    with tempfile.TemporaryDirectory(prefix="pyx-e2e-") as folder:
        os.chdir(folder)
        for video, (key_distance, audio_seconds) in VIDEOS.items():
            make_video(video, key_distance, audio_seconds)
        check_clip("steady", "mp4")
        check_clip("steady", "mkv", "--ram")
        check_clip("steady", "mp4", "--exact", "--faststart")
        check_clip("one-key", "mp4")
        check_clip("audio-ends", "mkv")
        check_pipes()
        check_odd_inputs()
        check_pages()


main()
