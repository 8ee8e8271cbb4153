"""Renders clips of many kinds to many kinds of files, and lets ffprobe and ffmpeg tell what became
of each: scripts/test-media tells how it is called."""

import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys
import tempfile

from . import sources
from .checks import changes
from .probe import Probe, run

ROOT = pathlib.Path(__file__).resolve().parents[2]
BEGIN, END = "<!-- scripts/test-media --write: begin -->", "<!-- scripts/test-media --write: end -->"

# One trial for each way in which something can get lost.
QUICK = {
    "h264": ("mkv", "webm"), "h264-422-10": ("mov",), "hevc-hvc1": ("mov",), "vp9": ("mp4",),
    "prores-4444": ("mov", "mxf"), "dnxhr-hqx": ("mkv",), "ffv1-yuv422p10le": ("mp4",),
    "dv": ("mkv",), "sound-flac": ("mp4",), "sound-opus": ("mov",), "sound-aac-adts": ("mxf",),
    "sounds-three": ("mp4",), "sound-late": ("mp4",), "picture-late": ("mkv",),
    "subtitle-ass": ("mp4",), "subtitle-mov-text": ("mkv",), "chapters-mkv": ("mp4",),
    "attachment": ("mp4",), "timecode-mov": ("mxf",), "quicktime-keys": ("mov",),
    "fields-mpeg2-tff": ("mov",), "rate-uneven": ("mp4",), "odd-size": ("mp4",), "hdr10": ("mkv",),
    "image-exr": ("exr",),
}

Trial = collections.namedtuple("Trial", "source output")
Outcome = collections.namedtuple("Outcome", "verdict details")


def messages_of(answer):
    """All that a run told people and programs, warnings and notes alike."""
    try:
        told = json.loads(answer.stdout)
    except ValueError:
        told = {}
    words = [told.get(key, []) for key in ("warnings", "notes", "streams")]
    return answer.stderr + "\n" + json.dumps(words, ensure_ascii=False)


def try_one(trial, source_path, folder):
    output = folder / f"{trial.source.name}-to.{trial.output}"
    answer = run([os.environ.get("TINTWELL", ROOT / "build/tintwell"), "render", source_path, output,
                  "--json", "--overwrite", "--progress", "none", "--blend-with-original", "100",
                  *trial.source.render])
    if answer.returncode != 0:
        words = answer.stderr.strip().splitlines()
        clean = answer.returncode in (1, 2) and words and not output.exists()
        return Outcome("refused" if clean else "LOST", [words[-1] if words else "no word"])
    found = changes(Probe(source_path), Probe(output))
    messages = messages_of(answer)
    unnamed = [change.what for change in found if not change.is_named(messages)]
    output.unlink()
    if unnamed:
        return Outcome("LOST", unnamed)
    return Outcome("told" if found else "kept", [change.what for change in found])


def trials_of(pattern, quick):
    for source in sources.all_sources():
        if pattern not in source.name:
            continue
        for output in dict.fromkeys(source.outputs):
            if not quick or output in QUICK.get(source.name, ()):
                yield Trial(source, output)


def run_all(trials, folder):
    """Outcomes by trial, in order; tells of each that is not all kept as it comes."""
    made = {}
    for trial in trials:
        if trial.source.name not in made:
            made[trial.source.name] = sources.make(trial.source, folder)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as workers:
        pending = [workers.submit(try_one, trial, made[trial.source.name], folder)
                   for trial in trials]
        for trial, result in zip(trials, pending):
            try:
                outcome = result.result()
            except subprocess.TimeoutExpired as hanging:
                outcome = Outcome("LOST", [f"{hanging.cmd[0]} does not end"])
            if outcome.verdict != "kept":
                print(f"{trial.source.name} to {trial.output}: {outcome.verdict}: "
                      + "; ".join(outcome.details), flush=True)
            yield trial, outcome


def table(outcomes):
    columns = list(dict.fromkeys(trial.output for trial, _ in outcomes))
    rows = collections.defaultdict(dict)
    for trial, outcome in outcomes:
        rows[f"{trial.source.name}, {trial.source.extension}"][trial.output] = outcome
    yield "| Clip | " + " | ".join(columns) + " |"
    yield "|---" * (len(columns) + 1) + "|"
    for name, row in rows.items():
        cells = [row[column].verdict if column in row else "" for column in columns]
        yield f"| {name} | " + " | ".join(cells) + " |"


def write_table(path, outcomes, summary):
    text = path.read_text()
    before, rest = text.split(BEGIN)
    after = rest.split(END)[1]
    lines = [BEGIN, "", summary, "", *table(outcomes), "", END]
    path.write_text(before + "\n".join(lines) + after)


def main():
    parser = argparse.ArgumentParser(prog="scripts/test-media")
    parser.add_argument("pattern", nargs="?", default="", help="only clips whose name has this")
    parser.add_argument("--quick", action="store_true", help="one trial for each kind of loss")
    parser.add_argument("--write", action="store_true", help="put the table into docs/media.md")
    parser.add_argument("--keep", help="a folder for the clips, which stay there")
    options = parser.parse_args()
    trials = list(trials_of(options.pattern, options.quick))
    with tempfile.TemporaryDirectory() as temporary:
        folder = pathlib.Path(options.keep or temporary)
        folder.mkdir(parents=True, exist_ok=True)
        outcomes = list(run_all(trials, folder))
    count = collections.Counter(outcome.verdict for _, outcome in outcomes)
    summary = (f"{len(outcomes)} renders: {count['kept']} kept all, {count['told']} named what they "
               f"could not keep, {count['refused']} were refused with the reason, {count['LOST']} "
               "lost something without a word.")
    print(summary)
    if options.write:
        write_table(ROOT / "docs/media.md", outcomes, summary)
    return 1 if count["LOST"] else 0


sys.exit(main())
