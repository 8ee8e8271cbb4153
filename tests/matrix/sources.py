"""The clips the matrix begins with: small files of many kinds, made with the ffmpeg program."""

import dataclasses
import pathlib
import subprocess

SECONDS = 1.2


@dataclasses.dataclass(frozen=True)
class Source:
    """A clip, by the arguments of ffmpeg that make it and the outputs it is rendered to."""

    name: str
    extension: str
    arguments: tuple
    outputs: tuple
    files: tuple = ()  # (name, text) of files that the arguments read
    render: tuple = ()  # options that people would give for such a clip


def picture(size="160x96", rate="25", seconds=SECONDS, more=""):
    chain = f"testsrc2=size={size}:rate={rate}:duration={seconds}{more}"
    return ("-f", "lavfi", "-i", chain)


def sound(layout="stereo", rate=48000, seconds=SECONDS):
    return ("-f", "lavfi", "-i",
            f"aevalsrc=sin(440*2*PI*t)*0.3|sin(550*2*PI*t)*0.3:s={rate}:d={seconds}"
            if layout == "stereo" else f"sine=f=440:r={rate}:d={seconds},pan={layout}|c0=c0")


SUBTITLES = """1
00:00:00,100 --> 00:00:00,500
First line

2
00:00:00,600 --> 00:00:01,000
Second <i>line</i>
"""

CHAPTERS = """;FFMETADATA1
title=A holiday
artist=Somebody
date=1987-06-05
comment=Tape 12
[CHAPTER]
TIMEBASE=1/1000
START=0
END=480
title=One
[CHAPTER]
TIMEBASE=1/1000
START=480
END=1200
title=Two
"""

DELIVERY = ("mp4", "mov", "mkv", "webm", "avi", "mxf", "ts", "nut")
MASTERS = ("mov", "mkv", "mxf", "avi", "mp4", "nut")

X264 = ("-c:v", "libx264", "-preset", "ultrafast")
X265 = ("-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none")


def video(name, extension, codec, outputs, *, source=None, audio=("-c:a", "aac"), render=()):
    """A clip with one stereo sound; none where `audio` is empty."""
    arguments = source or picture()
    if audio:
        arguments += sound() + ("-shortest",)
    return Source(name, extension, arguments + tuple(codec) + tuple(audio), tuple(outputs),
                  render=tuple(render))


def codecs():
    """Every usual pair of a codec and a container."""
    pcm = ("-c:a", "pcm_s16le")
    hd = picture("1280x720", seconds=0.4)
    yield video("h264", "mp4", X264 + ("-pix_fmt", "yuv420p"), DELIVERY)
    yield video("h264-10", "mp4", X264 + ("-pix_fmt", "yuv420p10le"), DELIVERY)
    yield video("h264-422-10", "mov", X264 + ("-pix_fmt", "yuv422p10le"), MASTERS, audio=pcm)
    yield video("h264-444", "mkv", X264 + ("-pix_fmt", "yuv444p"), ("mkv", "mp4", "mov", "avi"))
    yield video("h264-full-range", "mp4", X264 + ("-pix_fmt", "yuvj420p"), ("mp4", "mov", "mkv"))
    yield video("hevc-hvc1", "mp4", X265 + ("-tag:v", "hvc1", "-pix_fmt", "yuv420p"), DELIVERY)
    yield video("hevc-10", "mkv", X265 + ("-pix_fmt", "yuv420p10le"), DELIVERY)
    yield video("vp9", "webm", ("-c:v", "libvpx-vp9", "-cpu-used", "8", "-deadline", "realtime"),
                DELIVERY, audio=("-c:a", "libopus"))
    yield video("vp8", "webm", ("-c:v", "libvpx", "-cpu-used", "8", "-deadline", "realtime"),
                ("webm", "mkv", "mp4"), audio=("-c:a", "libvorbis"))
    yield video("av1", "mkv", ("-c:v", "libsvtav1", "-preset", "12"), ("mkv", "mp4", "webm"),
                audio=("-c:a", "libopus"))
    yield video("mpeg2", "mpg", ("-c:v", "mpeg2video", "-q:v", "3"),
                ("mpg", "ts", "mkv", "mp4", "mov", "mxf", "avi"), audio=("-c:a", "mp2"))
    yield video("mpeg2-422", "mxf", ("-c:v", "mpeg2video", "-q:v", "2", "-pix_fmt", "yuv422p"),
                MASTERS, audio=pcm)
    yield video("mpeg2-ts", "ts", ("-c:v", "mpeg2video", "-q:v", "3"), DELIVERY,
                audio=("-c:a", "ac3"))
    yield video("mpeg4", "avi", ("-c:v", "mpeg4", "-q:v", "3"), ("avi", "mp4", "mkv", "mov"),
                audio=("-c:a", "libmp3lame"))
    yield video("mjpeg", "avi", ("-c:v", "mjpeg", "-q:v", "2", "-pix_fmt", "yuvj422p"), MASTERS,
                audio=pcm)
    yield video("mjpeg-mov", "mov", ("-c:v", "mjpeg", "-q:v", "2", "-pix_fmt", "yuvj420p"),
                MASTERS, audio=pcm)
    for profile, pixels in (("proxy", "yuv422p10le"), ("hq", "yuv422p10le"),
                            ("4444", "yuva444p10le")):
        yield video(f"prores-{profile}", "mov",
                    ("-c:v", "prores_ks", "-profile:v", profile, "-pix_fmt", pixels,
                     "-vendor", "apl0"), MASTERS, audio=("-c:a", "pcm_s24le"))
    yield video("dnxhr-hqx", "mov",
                ("-c:v", "dnxhd", "-profile:v", "dnxhr_hqx", "-pix_fmt", "yuv422p10le"), MASTERS,
                source=hd, audio=("-c:a", "pcm_s24le"))
    yield video("dnxhr-sq", "mxf", ("-c:v", "dnxhd", "-profile:v", "dnxhr_sq",
                                    "-pix_fmt", "yuv422p"), MASTERS, source=hd, audio=pcm)
    for pixels in ("yuv420p", "yuv422p10le", "yuv444p16le", "gbrp10le", "bgra", "gray"):
        yield video(f"ffv1-{pixels}", "mkv", ("-c:v", "ffv1", "-level", "3", "-pix_fmt", pixels),
                    ("mkv", "avi", "mov", "nut", "mp4"), audio=("-c:a", "flac"))
    for codec, pixels in (("huffyuv", "yuv422p"), ("utvideo", "yuv420p"), ("v210", "yuv422p10le"),
                          ("magicyuv", "yuv422p"), ("qtrle", "rgb24")):
        extension = "mov" if codec in ("v210", "qtrle") else "avi"
        yield video(codec, extension, ("-c:v", codec, "-pix_fmt", pixels),
                    ("avi", "mov", "mkv", "nut"), audio=pcm)
    yield video("theora", "ogv", ("-c:v", "libtheora", "-q:v", "8"), ("ogv", "mkv", "mp4"),
                audio=("-c:a", "libvorbis"))
    yield video("wmv", "wmv", ("-c:v", "wmv2", "-q:v", "3"), ("wmv", "mkv", "mp4", "avi"),
                audio=("-c:a", "wmav2"))
    yield video("flv", "flv", ("-c:v", "flv", "-q:v", "3"), ("flv", "mkv", "mp4"),
                audio=("-c:a", "libmp3lame", "-ar", "44100"))
    yield video("dv", "avi", ("-c:v", "dvvideo", "-pix_fmt", "yuv420p"),
                ("avi", "mov", "mkv", "dv", "mxf"), source=picture("720x576", seconds=0.4, more=",setsar=16/15"), audio=pcm)
    yield video("gif", "gif", ("-lavfi", "split[a][b];[a]palettegen[p];[b][p]paletteuse",
                               "-loop", "3"), ("gif", "mp4", "mkv"), audio=())
    yield video("y4m", "y4m", ("-pix_fmt", "yuv420p"), ("y4m", "mkv", "mp4"), audio=())


def sounds():
    """Sounds that not every container takes, and how many of them."""
    video_part = X264 + ("-pix_fmt", "yuv420p")
    for name, extension, codec in (("aac-adts", "ts", "aac"), ("flac", "mkv", "flac"),
                                   ("opus", "mkv", "libopus"), ("vorbis", "mkv", "libvorbis"),
                                   ("ac3", "mkv", "ac3"), ("eac3", "mp4", "eac3"),
                                   ("mp3", "mp4", "libmp3lame"), ("alac", "mov", "alac"),
                                   ("pcm-24", "mov", "pcm_s24le"), ("pcm-be", "mov", "pcm_s16be"),
                                   ("pcm-float", "mkv", "pcm_f32le"), ("mp2", "ts", "mp2"),
                                   ("dts", "mkv", "dca"), ("wavpack", "mkv", "wavpack")):
        more = ("-strict", "-2") if codec == "dca" else ()
        yield video(f"sound-{name}", extension, video_part, ("mp4", "mov", "mkv", "webm", "avi",
                                                             "mxf", "ts"),
                    audio=("-c:a", codec) + more)
    yield Source("sounds-three", "mkv",
                 picture() + sound() + sound("mono") + sound("5.1", 44100)
                 + ("-map", "0", "-map", "1", "-map", "2", "-map", "3") + video_part
                 + ("-c:a:0", "aac", "-c:a:1", "flac", "-c:a:2", "ac3",
                    "-metadata:s:a:0", "language=eng", "-metadata:s:a:1", "language=deu",
                    "-metadata:s:a:1", "title=Kommentar", "-disposition:a:1", "comment"),
                 ("mkv", "mp4", "mov", "ts", "avi", "mxf"))
    yield Source("sound-late", "mkv",
                 picture() + ("-itsoffset", "0.48") + sound(seconds=0.6)
                 + ("-map", "0", "-map", "1") + video_part + ("-c:a", "aac"),
                 ("mkv", "mp4", "mov", "ts"))
    yield Source("picture-late", "mkv",
                 ("-itsoffset", "0.36") + picture(seconds=0.8) + sound()
                 + ("-map", "0", "-map", "1") + video_part + ("-c:a", "aac"),
                 ("mkv", "mp4", "mov", "ts"))


def subtitles():
    video_part = X264 + ("-pix_fmt", "yuv420p")
    for name, extension, codec in (("srt", "mkv", "srt"), ("ass", "mkv", "ass"),
                                   ("webvtt", "webm", "webvtt"), ("mov-text", "mp4", "mov_text")):
        picture_codec = (("-c:v", "libvpx-vp9", "-cpu-used", "8", "-deadline", "realtime")
                         if extension == "webm" else video_part)
        sound_codec = "libopus" if extension == "webm" else "aac"
        yield Source(f"subtitle-{name}", extension,
                     picture() + sound() + ("-i", "text.srt", "-map", "0", "-map", "1", "-map", "2")
                     + picture_codec + ("-c:a", sound_codec, "-c:s", codec,
                                        "-metadata:s:s:0", "language=fra"),
                     ("mkv", "mp4", "mov", "webm", "ts", "avi", "mxf"),
                     files=(("text.srt", SUBTITLES),))


def descriptions():
    """Chapters, tags, attachments, timecodes, colour, shape, turning."""
    video_part = X264 + ("-pix_fmt", "yuv420p")
    both = ("-map", "0", "-map", "1")
    for extension in ("mkv", "mp4", "mov"):
        yield Source(f"chapters-{extension}", extension,
                     picture() + sound() + ("-i", "chapters.txt", "-map_metadata", "2") + both
                     + video_part + ("-c:a", "aac"), ("mkv", "mp4", "mov", "webm", "nut", "avi"),
                     files=(("chapters.txt", CHAPTERS),))
    yield Source("attachment", "mkv",
                 picture() + sound() + both + video_part
                 + ("-c:a", "aac", "-attach", "note.txt", "-metadata:s:t", "mimetype=text/plain"),
                 ("mkv", "mp4", "webm"), files=(("note.txt", "a note"),))
    for extension, outputs in (("mov", MASTERS), ("mxf", MASTERS), ("mp4", MASTERS)):
        codec = ("-c:v", "mpeg2video", "-q:v", "2") if extension == "mxf" else video_part
        yield Source(f"timecode-{extension}", extension,
                     picture() + sound() + both + codec
                     + ("-c:a", "aac" if extension == "mp4" else "pcm_s16le",
                        "-timecode", "10:00:00:05"), outputs)
    yield Source("quicktime-keys", "mov",
                 picture() + sound() + both + video_part
                 + ("-c:a", "aac", "-movflags", "use_metadata_tags",
                    "-metadata", "com.apple.quicktime.make=Maker",
                    "-metadata", "com.apple.quicktime.model=Model",
                    "-metadata", "com.apple.quicktime.creationdate=2020-02-03T04:05:06+0100",
                    "-metadata", "com.apple.quicktime.location.ISO6709=+48.1+011.5/"),
                 ("mov", "mp4", "mkv"))
    yield video("anamorphic", "mkv", X264 + ("-pix_fmt", "yuv420p", "-vf", "setsar=64/45"),
                ("mkv", "mp4", "mov", "ts", "avi", "mxf"))
    for matrix, primaries, transfer in (("bt709", "bt709", "bt709"),
                                        ("smpte170m", "smpte170m", "smpte170m"),
                                        ("bt470bg", "bt470bg", "gamma28")):
        yield video(f"colour-{matrix}", "mkv",
                    X264 + ("-pix_fmt", "yuv420p", "-colorspace", matrix, "-color_primaries",
                            primaries, "-color_trc", transfer, "-color_range", "tv"),
                    ("mkv", "mp4", "mov", "ts", "mxf", "webm"))
    for order in ("tff", "bff"):
        first = "1" if order == "tff" else "0"
        interlaced = ("-vf", f"tinterlace=interleave_{'top' if order == 'tff' else 'bottom'},"
                             f"fieldorder={order}")
        yield video(f"fields-h264-{order}", "mkv",
                    interlaced + X264 + ("-pix_fmt", "yuv420p", "-flags", "+ilme+ildct",
                                         "-top", first, "-x264-params", f"{order}=1"),
                    ("mkv", "mp4", "mov", "ts"), source=picture("160x96", "50"))
        yield video(f"fields-mpeg2-{order}", "mpg",
                    interlaced + ("-c:v", "mpeg2video", "-q:v", "3", "-flags", "+ilme+ildct",
                                  "-top", first), ("mpg", "ts", "mkv", "mxf", "mov"),
                    source=picture("160x96", "50"), audio=("-c:a", "mp2"))
    yield video("fields-prores", "mov",
                ("-vf", "tinterlace=interleave_top,fieldorder=tff", "-c:v", "prores_ks",
                 "-profile:v", "hq", "-pix_fmt", "yuv422p10le", "-flags", "+ilme+ildct",
                 "-top", "1"), ("mov", "mkv", "mxf"), source=picture("160x96", "50"),
                audio=("-c:a", "pcm_s16le"))
    yield Source("turned", "mp4",
                 picture() + sound() + both + video_part
                 + ("-c:a", "aac", "-metadata:s:v", "rotate=90"), ("mp4", "mov", "mkv"))


def times():
    video_part = X264 + ("-pix_fmt", "yuv420p")
    uneven = ("-vf", "setpts='if(gt(N,10),N*1.5-5,N)/25/TB'", "-fps_mode", "vfr")
    yield video("rate-uneven", "mkv", uneven + video_part, ("mkv", "mp4", "mov", "webm"))
    yield video("rate-ntsc", "mp4", video_part, ("mp4", "mov", "mkv", "avi", "mxf", "ts"),
                source=picture(rate="30000/1001"))
    yield video("rate-film", "mov", video_part, ("mp4", "mov", "mkv", "avi", "mxf", "ts"),
                source=picture(rate="24000/1001"), audio=("-c:a", "pcm_s16le"))
    yield video("rate-50", "ts", video_part, ("ts", "mp4", "mkv"), source=picture(rate="50"))
    yield video("two-pictures-b", "mp4", ("-c:v", "libx264", "-bf", "3", "-pix_fmt", "yuv420p"),
                ("mp4", "mov", "mkv", "ts", "avi"))
    yield video("odd-size", "mkv", ("-c:v", "ffv1", "-pix_fmt", "yuv420p"),
                ("mkv", "mp4", "mov", "avi"), source=picture("161x97"))
    yield video("odd-size-vp9", "webm", ("-c:v", "libvpx-vp9", "-cpu-used", "8", "-deadline",
                                         "realtime", "-pix_fmt", "yuv420p"),
                ("webm", "mkv", "mp4"), source=picture("161x97"), audio=("-c:a", "libopus"))


def high_dynamic_range():
    pq = ("colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc:hdr10=1:log-level=none:"
          "master-display=G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)"
          "L(10000000,50):max-cll=1000,400")
    yield video("hdr10", "mp4",
                ("-c:v", "libx265", "-preset", "ultrafast", "-x265-params", pq, "-tag:v", "hvc1",
                 "-pix_fmt", "yuv420p10le", "-colorspace", "bt2020nc", "-color_primaries",
                 "bt2020", "-color_trc", "smpte2084"), ("mp4", "mov", "mkv"),
                render=("--hdr", "treat-as-sdr"))


def images():
    one = picture(seconds=0.04)
    for name, extension, codec in (("png", "png", ()), ("png-16", "png", ("-pix_fmt", "rgb48be")),
                                   ("jpeg", "jpg", ("-q:v", "2")), ("tiff", "tif", ()),
                                   ("bmp", "bmp", ()), ("dpx", "dpx", ()),
                                   ("exr", "exr", ("-pix_fmt", "gbrpf32le")),
                                   ("webp", "webp", ("-lossless", "1")), ("ppm", "ppm", ())):
        yield video(f"image-{name}", extension, ("-frames:v", "1", "-update", "1") + codec,
                    (extension, "png", "jpg", "tif"), source=one, audio=())


def all_sources():
    for group in (codecs, sounds, subtitles, descriptions, times, high_dynamic_range, images):
        yield from group()


def make(source, folder):
    """The file of a source, made in the folder. Fails where ffmpeg does."""
    for name, text in source.files:
        (folder / name).write_text(text)
    path = folder / f"{source.name}.{source.extension}"
    command = ["ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-y",
               *source.arguments, path.name]
    subprocess.run(command, cwd=folder, check=True, timeout=120)
    return pathlib.Path(path)
