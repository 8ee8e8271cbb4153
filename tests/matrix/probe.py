"""What ffprobe and ffmpeg, which know nothing of us, say about a file."""

import dataclasses
import functools
import json
import subprocess

# What a muxer writes by itself.
TECHNICAL_TAGS = {
    "encoder", "major_brand", "minor_version", "compatible_brands", "duration", "creation_time",
    "handler_name", "vendor_id", "software", "product_name", "product_version", "product_uid",
    "company_name", "generation_uid", "operational_pattern_ul", "modification_date", "uid",
    "application_platform", "toolkit_version", "toolkit_version_num", "material_package_umid", "file_package_umid",
    "file_package_name", "track_name", "data_type", "filename", "mimetype", "timecode",
    "metadata_count", "service_name", "service_provider", "material_package_name", "language",
    "wm/encodingtime", "_statistics_writing_app", "isvbrdefault", "reel_umid", "title", "rotate",
    "track_id",
}


def run(command, **options):
    return subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=120,
                          stdin=subprocess.DEVNULL, check=False, **options)


@dataclasses.dataclass(frozen=True)
class Frame:
    """A decoded picture: when it is shown, in seconds, and how its fields lie."""

    time: float | None
    fields: str


class Probe:
    """One file, asked about once for each thing."""

    def __init__(self, path):
        self.path = path
        answer = run(["ffprobe", "-loglevel", "quiet", "-of", "json", "-show_streams",
                      "-show_format", "-show_chapters", path])
        self.told = json.loads(answer.stdout or "{}")

    def streams(self, kind):
        return [stream for stream in self.told.get("streams", [])
                if stream.get("codec_type") == kind
                and not stream.get("disposition", {}).get("attached_pic")]

    @property
    def video(self):
        return next(iter(self.streams("video")), {})

    @property
    def chapters(self):
        return [(chapter.get("tags", {}).get("title", ""), float(chapter["start_time"]),
                 float(chapter["end_time"])) for chapter in self.told.get("chapters", [])]

    @property
    def tags(self):
        """Descriptive tags of file and picture, keys in lower case."""
        found = {**self.video.get("tags", {}), **self.told.get("format", {}).get("tags", {})}
        tags = {key.lower(): value for key, value in found.items()}
        title = {"title": tags["title"]} if "title" in tags else {}
        return title | {key: value for key, value in tags.items()
                        if key not in TECHNICAL_TAGS and "-eng" not in key}

    @property
    def timecode(self):
        places = [self.told.get("format", {})] + self.told.get("streams", [])
        tags = [(key.lower(), value) for place in places
                for key, value in place.get("tags", {}).items()]
        return dict(reversed(tags)).get("timecode")

    @property
    def side_data(self):
        return {data["side_data_type"]: data for data in self.video.get("side_data_list", [])}

    @property
    def rotation(self):
        return self.side_data.get("Display Matrix", {}).get("rotation", 0)

    @functools.cached_property
    def frames(self):
        answer = run(["ffprobe", "-loglevel", "quiet", "-of", "json", "-select_streams", "v:0",
                      "-show_entries",
                      "frame=best_effort_timestamp_time,interlaced_frame,top_field_first",
                      self.path])
        return [Frame(float(time) if (time := frame.get("best_effort_timestamp_time")) else None,
                      ("tff" if frame.get("top_field_first") else "bff")
                      if frame.get("interlaced_frame") else "progressive")
                for frame in json.loads(answer.stdout or "{}").get("frames", [])]

    @functools.cached_property
    def frame_side_data(self):
        answer = run(["ffprobe", "-loglevel", "quiet", "-of", "json", "-select_streams", "v:0",
                      "-read_intervals", "%+#1", "-show_entries",
                      "frame_side_data=side_data_type", "-show_frames", self.path])
        frames = json.loads(answer.stdout or "{}").get("frames", [{}])
        return {data["side_data_type"] for data in frames[0].get("side_data_list", [])
                } if frames else set()

    def first_time(self, kind, index):
        """When the first packet of a stream is presented, in seconds; None where none is."""
        answer = run(["ffprobe", "-loglevel", "quiet", "-of", "csv=p=0", "-select_streams",
                      f"{kind}:{index}", "-read_intervals", "%+#1", "-show_entries",
                      "packet=pts_time", self.path])
        word = answer.stdout.strip().split("\n")[0].strip(",")
        return float(word) if word not in ("", "N/A") else None

    def events(self, index):
        """Texts of a subtitle stream with their times, without formatting."""
        answer = run(["ffmpeg", "-nostdin", "-loglevel", "quiet", "-i", self.path, "-map",
                      f"0:s:{index}", "-f", "srt", "-"])
        return [line for line in answer.stdout.splitlines() if "-->" in line]

    @functools.cached_property
    def complaints(self):
        """What decoding everything brings to light; nothing where all is well."""
        answer = run(["ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-i", self.path,
                      "-map", "0:v", "-map", "0:a?", "-map", "0:s?", "-c:s", "text", "-f", "null",
                      "-"])
        harmless = ("non monotonically", "bitmap to bitmap")
        lines = [line for line in answer.stderr.splitlines()
                 if not any(word in line for word in harmless)]
        return lines[:3] if answer.returncode == 0 else lines[:3] or ["cannot be decoded"]


def likeness(one, other):
    """PSNR of two clips, picture by picture whatever their times, in dB; inf where equal."""
    chain = ("[0:v:0]settb=1/1000,setpts=N[a];[1:v:0]settb=1/1000,setpts=N[b];"
             "[a][b]psnr=shortest=1")
    answer = run(["ffmpeg", "-nostdin", "-hide_banner", "-noautorotate", "-i", one,
                  "-noautorotate", "-i", other, "-lavfi", chain, "-f", "null", "-"])
    words = [word for word in answer.stderr.split() if word.startswith("average:")]
    return float(words[-1].split(":")[1]) if words else 0.0
