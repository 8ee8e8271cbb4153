"""What of a clip is in another one, and whether what is not was named."""

import dataclasses
import re

from .probe import likeness

LOSSLESS = {"ffv1", "huffyuv", "ffvhuff", "utvideo", "magicyuv", "rawvideo", "v210", "qtrle",
            "png", "tiff", "bmp", "ppm", "dpx", "exr", "gif", "webp", "wrapped_avframe", "targa"}
# Languages with two codes; QuickTime knows one of them.
OTHER_CODE = {"ger": "deu", "fre": "fra", "dut": "nld"}
LEAST_LIKENESS = 30.0  # of a lossy encoding, in dB


@dataclasses.dataclass(frozen=True)
class Change:
    """Something that is not as it was; named where a message has one of the words."""

    what: str
    words: tuple

    def is_named(self, messages):
        return any(re.search(word, messages, re.IGNORECASE) for word in self.words)


def shape_of(pixel_format):
    """(bits, chroma samples per luma sample or so, alpha) of FFmpeg's name of a pixel format."""
    name = pixel_format or ""
    bits = re.search(r"(?<=p|y|e|a)(9|10|12|14|16)(?=le|be|$)|(48|64)(?=le|be)|f32|f16", name)
    depth = {"48": 16, "64": 16, "f32": 32, "f16": 16}.get(bits[0], None) if bits else 8
    depth = depth or int(bits[0])
    chroma = 0 if name.startswith(("gray", "mono", "ya")) else (
        1 if "420" in name or name == "nv12" else 2 if "422" in name or "uyvy" in name else 3)
    alpha = name.startswith(("yuva", "gbrap", "rgba", "bgra", "argb", "abgr", "ya", "pal8"))
    return depth, chroma, alpha


def picture_changes(before, after):
    one, other = before.video, after.video
    if not other:
        yield Change("no picture", ())
        return
    if one["codec_name"] in LOSSLESS and other["codec_name"] not in LOSSLESS:
        yield Change("lossless to lossy", ("lossless",))
    names = ("bits per channel", "chroma samples", "alpha")
    words = ((r"\bbits?\b",), ("chroma", r"4:[24][024]"), ("alpha", "transparen"))
    for name, told, had, has in zip(names, words, shape_of(one.get("pix_fmt")),
                                    shape_of(other.get("pix_fmt"))):
        if had > has:
            yield Change(f"{name}: {had} to {has}", told)
    for key, told in (("width", ("size", "crop", "pixels")), ("height", ("size", "crop")),
                      ("profile", ("profile", "prores", "dnx"))):
        relevant = key != "profile" or (one["codec_name"] == other["codec_name"]
                                        and one["codec_name"] in ("prores", "dnxhd"))
        if relevant and one.get(key) != other.get(key):
            yield Change(f"{key}: {one.get(key)} to {other.get(key)}", told)
    if other.get("codec_tag_string") == "hev1" and one.get("codec_tag_string") == "hvc1":
        yield Change("hvc1 to hev1", ())
    ratio = one.get("sample_aspect_ratio", "1:1")
    if ratio not in ("0:1", other.get("sample_aspect_ratio", "1:1")):
        yield Change(f"pixel shape {ratio}", ("aspect", "shape"))
    if before.rotation != after.rotation:
        yield Change(f"turned by {before.rotation}", ("rotat", "turn", "orient"))


def colour_changes(before, after):
    one, other = before.video, after.video
    same_model = ("gbr" in one.get("pix_fmt", "") or "rgb" in one.get("pix_fmt", "")) == (
        "gbr" in other.get("pix_fmt", "") or "rgb" in other.get("pix_fmt", ""))
    for key in ("color_range", "color_space", "color_transfer", "color_primaries"):
        had, has = one.get(key), other.get(key)
        if key == "color_range" and {had, has} <= {"tv", None, "unknown"}:
            continue  # what says nothing is taken for limited everywhere
        if had and had not in ("unknown", has) and (same_model or key[6:] in ("transfer",
                                                                            "primaries")):
            yield Change(f"{key}: {had} to {has}", ("colou?r", "matrix", "primaries", "tag"))
    for name in set(before.side_data) - set(after.side_data):
        if name not in ("CPB properties", "Skip Samples"):
            yield Change(name, (name.split()[0],))
    if before.frames and after.frames and before.frames[0].fields != after.frames[0].fields:
        yield Change(f"fields: {before.frames[0].fields} to {after.frames[0].fields}",
                     ("field", "interlac"))


def time_changes(before, after):
    first, last = before.frames, after.frames
    if len(first) != len(last):
        yield Change(f"{len(first)} frames, now {len(last)}", (r"standing for \d+ frame",))
        return
    if not first or first[0].time is None or last[0].time is None:
        return
    tick = max(0.0011, *(eval_ratio(probe.video.get("time_base", "0/1"))
                         for probe in (before, after)))
    worst = max(abs((a.time - first[0].time) - (b.time - last[0].time))
                for a, b in zip(first, last) if a.time is not None and b.time is not None)
    if worst > tick:
        yield Change(f"a frame is off by {worst:.4f} s", (r"frame rate", r"\btimes?\b"))
    for index in range(min(len(before.streams("audio")), len(after.streams("audio")))):
        had, has = before.first_time("a", index), after.first_time("a", index)
        if had is None or has is None:
            continue
        shift = (has - last[0].time) - (had - first[0].time)
        # Sound that is encoded anew begins with what its codec needs to start, and some decoders
        # start late without a word.
        primed = before.streams("audio")[index]["codec_name"] != after.streams(
            "audio")[index]["codec_name"]
        if abs(shift) > tick + (0.07 if primed else 0.0):
            yield Change(f"sound {index} is {shift:+.4f} s from where it was", (r"\boffset",))


def eval_ratio(text):
    above, below = text.split("/")
    return int(above) / max(int(below), 1)


def sound_changes(before, after):
    had, has = before.streams("audio"), after.streams("audio")
    if len(has) < len(had):
        yield Change(f"{len(had)} sounds, now {len(has)}", ("sound", "audio"))
    for index, (one, other) in enumerate(zip(had, has)):
        # Layers 2 and 3 are one codec to MP4 and MOV; decoders tell them by their headers.
        codecs = {one["codec_name"], other["codec_name"]}
        if len(codecs) > 1 and codecs != {"mp2", "mp3"}:
            yield Change(f"sound {index}: {one['codec_name']} to {other['codec_name']}",
                         (r"(sound|audio).*(convert|encod)", r"(convert|encod).*(sound|audio)"))
        for key in ("channels", "sample_rate"):
            if str(one.get(key)) != str(other.get(key)):
                yield Change(f"sound {index} {key}: {one.get(key)} to {other.get(key)}",
                             ("channel", "sample"))
        yield from tag_changes(f"sound {index}", one, other)


def subtitle_changes(before, after):
    had, has = before.streams("subtitle"), after.streams("subtitle")
    if len(has) < len(had):
        yield Change(f"{len(had)} subtitles, now {len(has)}", ("subtitle",))
    for index, (one, other) in enumerate(zip(had, has)):
        if one["codec_name"] != other["codec_name"]:
            yield Change(f"subtitle {index}: {one['codec_name']} to {other['codec_name']}",
                         ("subtitle",))
        if len(before.events(index)) != len(after.events(index)):
            yield Change(f"events of subtitle {index}", ())
        yield from tag_changes(f"subtitle {index}", one, other)


def tag_changes(name, one, other):
    for key in ("language", "title"):
        had, has = one.get("tags", {}).get(key), other.get("tags", {}).get(key)
        has = OTHER_CODE.get(has, has)
        if key == "title" and had in other.get("tags", {}).values():
            continue  # MP4 has it as the name of the handler
        if had and had != "und" and OTHER_CODE.get(had, had) != has:
            yield Change(f"{key} of {name}", (key, "metadata"))


def description_changes(before, after):
    if len(before.chapters) != len(after.chapters):
        yield Change(f"{len(before.chapters)} chapters, now {len(after.chapters)}", ("chapter",))
    elif any(a[0] != b[0] or abs(a[1] - b[1]) > 0.002
             for a, b in zip(before.chapters, after.chapters)):
        yield Change("chapters moved or renamed", ("chapter",))
    has = {value for value in after.tags.values()}
    for key, value in before.tags.items():
        if value not in has and not any(value[:4] == other[:4] and "date" in key
                                        for other in has):
            yield Change(f"tag {key}", (re.escape(key.split(".")[-1]), ))
    if before.timecode and before.timecode != after.timecode:
        yield Change(f"timecode {before.timecode} to {after.timecode}", ("timecode",))
    if len(before.streams("attachment")) > len(after.streams("attachment")):
        yield Change("attachment", ("attach", "note.txt"))


def changes(before, after):
    """All that is not as it was, in a clip that was rendered so that its pictures stay."""
    found = []
    for check in (picture_changes, colour_changes, time_changes, sound_changes, subtitle_changes,
                  description_changes):
        found += check(before, after)
    if after.complaints:
        found.append(Change("does not decode: " + "; ".join(after.complaints), ()))
    alike = likeness(before.path, after.path)
    lossless = after.video.get("codec_name") in LOSSLESS
    if alike < (60.0 if lossless and not found else LEAST_LIKENESS):
        found.append(Change(f"pictures differ: {alike:.1f} dB", (r"\bbits?\b", "lossless", "chroma",
                                                               "crop")))
    return found
