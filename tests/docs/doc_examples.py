#!/usr/bin/env python3
"""Runs the examples of the user documents against the built program, so that none goes stale.

Usage: doc_examples.py <folder of transmill> <document or folder>...
Every fenced block marked `sh` or `tvcmd8` runs in a scratch folder of its document; the
conventions are in tests/README.md. Prints each failure and exits 1 if there was any.
"""
import math
import os
import re
import shlex
import struct
import subprocess
import sys
import tempfile
import wave

# The encoder that makes a source of each extension from the generated tone.
ENCODERS = {".wav": "wav", ".aiff": "aiff", ".w64": "w64", ".flac": "flac", ".mp3": "mp3",
            ".ogg": "vorbis", ".opus": "opus", ".wv": "wavpack"}
INFILE = re.compile(r'-infile[= ](?:"([^"]*)"|(\S+))', re.IGNORECASE)
EXIT = re.compile(r"#\s*exit\s+(\d+)\b")
OPTIONAL = re.compile(r"\s*\[[^\]]*\]")


def blocks(path):
    """The fenced blocks of a document: (line number, info words, lines)."""
    found, info, lines, start = [], None, [], 0
    with open(path, encoding="utf-8") as doc:
        for number, line in enumerate(doc, 1):
            if line.startswith("```"):
                if info is None:
                    info, lines, start = line[3:].split(), [], number + 1
                else:
                    found.append((start, info, lines))
                    info = None
            elif info is not None:
                lines.append(line.rstrip("\n"))
    return found


def commands(lines, start):
    """The command lines of a shell block, a line that ends in a backslash or a pipe joined to the
    next: (line number, text)."""
    result, pending, first = [], "", start
    for offset, line in enumerate(lines):
        if not pending:
            first = start + offset
        if line.endswith(("\\", "|")):
            pending += line.rstrip("\\") + " "
            continue
        text = (pending + line).strip()
        pending = ""
        if text and not text.startswith("#"):
            result.append((first, text))
    return result


def write_tone(path):
    """Two seconds of a stereo 440 Hz tone, 16 bits at 44.1 kHz."""
    with wave.open(path, "wb") as out:
        out.setnchannels(2)
        out.setsampwidth(2)
        out.setframerate(44100)
        frames = (int(8000 * math.sin(2 * math.pi * 440 * i / 44100)) for i in range(88200))
        out.writeframes(b"".join(struct.pack("<hh", s, s) for s in frames))


def text_of(output):
    """The program's channels are UTF-16LE when they are not a terminal; the shell's are UTF-8."""
    if b"\0" in output:
        return output.decode("utf-16-le", "replace")
    return output.decode("utf-8", "replace")


class Folder:
    """A scratch folder with a home of its own, where a document's examples run."""

    def __init__(self, bindir):
        self.root = tempfile.mkdtemp(prefix="tvdocs-")
        self.env = dict(os.environ, PATH=bindir + os.pathsep + os.environ.get("PATH", ""))
        for name, sub in (("HOME", "home"), ("XDG_CONFIG_HOME", "config"),
                          ("XDG_DATA_HOME", "data"), ("TMPDIR", "tmp")):
            self.env[name] = os.path.join(self.root, sub)
            os.makedirs(self.env[name], exist_ok=True)
        self.tone = os.path.join(self.root, "tmp", "tone.wav")
        write_tone(self.tone)

    def placed(self, text):
        """The text with the placeholder folder /music/ put in the scratch folder."""
        return text.replace("/music/", self.root + "/music/")

    def run(self, command):
        done = subprocess.run(["sh", "-c", command], cwd=self.root, env=self.env,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=120)
        return done.returncode, text_of(done.stderr) + text_of(done.stdout)

    def make_sources(self, text):
        """Makes every source that the text reads and the folder lacks, in its extension's format."""
        for match in INFILE.finditer(text):
            name = match.group(1) or match.group(2)
            path = os.path.join(self.root, self.placed(name))
            if name == "-" or os.path.exists(path):
                continue
            os.makedirs(os.path.dirname(path), exist_ok=True)
            encoder = ENCODERS[os.path.splitext(name)[1].lower()]
            code, text = self.run("transmill -infile=%s -outfile=%s -convert_to=%s" % (
                shlex.quote(self.tone), shlex.quote(path), encoder))
            if code != 0:
                raise RuntimeError("cannot make the source %s: %s" % (name, text))


def check_document(path, bindir):
    """Runs the document's examples; gives the failures as text."""
    folder, runs, failures = Folder(bindir), [], []
    for start, info, lines in blocks(path):
        if info[:1] == ["tvcmd8"]:
            name = info[1] if len(info) > 1 else "block%d.tvcmd8" % start
            with open(os.path.join(folder.root, name), "w", encoding="utf-8") as out:
                out.write(folder.placed("\n".join(lines) + "\n"))
            runs.append((start, "transmill -tvcmd8=" + shlex.quote(name), "\n".join(lines)))
        elif info == ["sh"]:
            runs.extend((line, text, text) for line, text in commands(lines, start))
    for line, command, text in runs:
        expected = int(EXIT.search(command).group(1)) if EXIT.search(command) else 0
        command = folder.placed(OPTIONAL.sub("", command))
        try:
            folder.make_sources(text)
            code, output = folder.run(command)
        except (RuntimeError, subprocess.TimeoutExpired) as error:
            code, output = None, str(error)
        if code != expected:
            failures.append("%s:%d: %s\n  exit %s, expected %d\n  %s" % (
                path, line, command, code, expected, output.strip().replace("\n", "\n  ")))
    subprocess.run(["rm", "-rf", folder.root], check=False)
    return failures


def main(args):
    bindir, documents = os.path.abspath(args[0]), []
    for arg in args[1:]:
        if os.path.isdir(arg):
            documents += sorted(os.path.join(arg, f) for f in os.listdir(arg) if f.endswith(".md"))
        else:
            documents.append(arg)
    failures = [f for document in documents for f in check_document(document, bindir)]
    print("\n".join(failures) if failures else "every example ran as documented")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
