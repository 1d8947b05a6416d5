#!/usr/bin/python3
# The parts of scripts/matrix.sh that a shell is too slow for.
#
#   frames WIDTH HEIGHT COUNT [90]  numbered pictures, raw RGB24; 90: turned to the left, shown right
#                                   by a player that turns them to the right
#   chart WIDTH HEIGHT COUNT        patches of many colours, raw RGB24
#   apart FILE                      an MP4 file with each track's bytes behind the other's
#   amr COUNT                       AMR noise of so many frames of 20 ms
#   junk SIZE                       bytes without a meaning
#   holes FILE                      the file with ten blocks of zeros in its middle
#   describe DIRECTORY              what ffprobe says of its files, see scripts/matrix.sh
import json
import os
import random
import struct
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

CELLS = 24
COUNTED = ("mpeg4-b.avi", "raw.m2v")
TIME = "best_effort_timestamp_time"
BARS = [0xFFFFFF, 0xFFFF00, 0x00FFFF, 0x00FF00, 0xFF00FF, 0xFF0000, 0x0000FF, 0x000000]


def rgb(color):
    return color.to_bytes(3, "big")


def cell(index, frame):
    if not 2 <= index <= 22:
        return index != 1
    return bin(frame).count("1") % 2 == 0 if index == 22 else frame >> (21 - index) & 1


def frames(width, height, count, turned):
    bars = b"".join(rgb(BARS[x * 8 // width]) for x in range(width))
    below = bars * (height - height // 4 - height // 8) + rgb(0x404040) * width * (height // 4)
    for frame in range(count):
        row = b"".join((b"\xff" if cell(x * CELLS // width, frame) else b"\0") * 3 for x in range(width))
        picture = row * (height // 8) + below
        if turned:
            # Shown: column x is row x from the right.
            picture = b"".join(b"".join(picture[(y * width + x) * 3:][:3] for y in range(height))
                               for x in reversed(range(width)))
        sys.stdout.buffer.write(picture)


def chart(width, height, count):
    dice = random.Random(1)
    patches = [[rgb(dice.randrange(1 << 24)) for _ in range(width // 32)] for _ in range(height // 32 + 1)]
    for i, color in enumerate(BARS):
        patches[0][i] = rgb(color)
    rows = [b"".join(color * 32 for color in row) for row in patches]
    picture = b"".join(rows[y // 32] for y in range(height))
    sys.stdout.buffer.write(picture * count)


def boxes(data, begin, end):
    while begin + 8 <= end:
        size, kind = struct.unpack_from(">I4s", data, begin)
        yield kind, begin, begin + 8, begin + size
        begin += size


def child(data, where, *path):
    for kind in path:
        where = next((begin, end) for found, _, begin, end in boxes(data, *where) if found == kind)
    return where


def apart(path):
    data = bytearray(open(path, "rb").read())
    top = {kind: (begin, end) for kind, _, begin, end in boxes(data, 0, len(data))}
    tables = []
    moved = bytearray()
    for kind, _, begin, end in boxes(data, *top[b"moov"]):
        if kind != b"trak":
            continue
        table = child(data, (begin, end), b"mdia", b"minf", b"stbl")
        chunks = child(data, table, b"stco")[0]
        sizes = child(data, table, b"stsz")[0]
        runs = child(data, table, b"stsc")[0]
        fixed, samples = struct.unpack_from(">II", data, sizes + 4)
        length = [fixed or struct.unpack_from(">I", data, sizes + 12 + 4 * i)[0] for i in range(samples)]
        count = struct.unpack_from(">I", data, chunks + 4)[0]
        steps = [struct.unpack_from(">II", data, runs + 8 + 12 * i)
                 for i in range(struct.unpack_from(">I", data, runs + 4)[0])]
        sample = 0
        for chunk in range(count):
            many = [per for first, per in steps if first <= chunk + 1][-1]
            offset = struct.unpack_from(">I", data, chunks + 8 + 4 * chunk)[0]
            size = sum(length[sample:sample + many])
            sample += many
            tables.append((chunks + 8 + 4 * chunk, len(moved)))
            moved += data[offset:offset + size]
    begin = top[b"mdat"][0]
    assert top[b"mdat"][1] - begin == len(moved)
    data[begin:begin + len(moved)] = moved
    for where, offset in tables:
        struct.pack_into(">I", data, where, begin + offset)
    sys.stdout.buffer.write(data)


def amr(count):
    dice = random.Random(1)
    sys.stdout.buffer.write(b"#!AMR\n" + b"".join(b"\x3c" + dice.randbytes(31) for _ in range(count)))


def junk(size):
    sys.stdout.buffer.write(random.Random(1).randbytes(size))


def holes(path):
    data = bytearray(open(path, "rb").read())
    hole = len(data) // 100
    for begin in range(len(data) * 3 // 10, len(data) * 8 // 10, len(data) // 20):
        data[begin:begin + hole] = bytes(hole)
    sys.stdout.buffer.write(data)


def probe(*arguments):
    done = subprocess.run(["ffprobe", "-v", "quiet", "-of", "json", *arguments], capture_output=True)
    return json.loads(done.stdout or "{}")


def describe_one(name):
    facts = probe("-show_streams", "-show_format", name)
    streams = facts.get("streams", [])
    videos = [s for s in streams if s["codec_type"] == "video" and not s["disposition"]["attached_pic"]]
    audios = [s for s in streams if s["codec_type"] == "audio"]
    form = facts.get("format", {})
    start = float(form.get("start_time", 0))
    if videos:
        shown = probe("-select_streams", f"{videos[0]['index']}", "-show_entries",
                      f"frame={TIME}", name)["frames"]
        # Where there are decoding times alone, ffprobe is late by the reordering.
        known = [] if name in COUNTED else [(i, float(frame[TIME]) - start)
                                            for i, frame in enumerate(shown) if TIME in frame]
        # A picture without a time has its place beside one that has one.
        for i in range(len(shown)):
            near, time = min(known or [(0, 0.0)], key=lambda entry: abs(entry[0] - i))
            shown[i] = time + (i - near) / 25
        times = sorted(shown)
        with open(name + ".times", "w", encoding="ascii") as out:
            out.writelines(f"{round(time * 1e7)}\n" for time in times if not name.startswith("chart-"))
    ends = [float(packet["pts_time"]) + float(packet.get("duration_time", 0)) - start
            for packet in probe("-show_entries", "packet=pts_time,duration_time", name).get("packets", [])
            if "pts_time" in packet]
    ends += [times[-1] + 1 / 25] if videos and not ends else []
    first = videos[0] if videos else {}
    return [name, len(videos), len(audios), first.get("width", 0), first.get("height", 0),
            f"{float(form.get('duration', 0)):.3f}", f"{max(ends, default=0):.3f}"]


def describe(directory):
    os.chdir(directory)
    beside = (".times", ".tsv", ".bgra", ".srt")
    names = sorted(name for name in os.listdir(".")
                   if os.path.isfile(name) and not name.startswith((".", "part-")) and not name.endswith(beside))
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for facts in pool.map(describe_one, names):
            print(*facts, sep="\t")


def main():
    command, *rest = sys.argv[1:]
    if command == "frames":
        frames(*map(int, rest[:3]), rest[3:] == ["90"])
    elif command == "chart":
        chart(*map(int, rest))
    elif command in ("amr", "junk"):
        {"amr": amr, "junk": junk}[command](int(rest[0]))
    else:
        {"apart": apart, "describe": describe, "holes": holes}[command](rest[0])


main()
