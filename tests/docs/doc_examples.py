#!/usr/bin/env python3
"""Runs the examples of the user documents against the built program, so that none goes stale.

Usage: doc_examples.py <folder of transmill> <document or folder of documents>...
The blocks it runs and its placeholders are described in tests/README.md. Prints each failure
and exits 1 if there was any.
"""
import math, os, re, shlex, shutil, struct, subprocess, sys, tempfile, wave

# The encoder that makes a source of each extension from the generated tone.
ENCODERS = {".wav": "wav", ".aiff": "aiff", ".w64": "w64", ".flac": "flac", ".mp3": "mp3",
            ".ogg": "vorbis", ".opus": "opus", ".wv": "wavpack"}
INFILE = re.compile(r'-infile[= ](?:"([^"]*)"|(\S+))', re.IGNORECASE)
EXIT = re.compile(r"#\s*exit\s+(\d+)\b")
OPTIONAL = re.compile(r"\s*\[[^\]]*\]")


def examples(path):
    """The examples of a document, in order: (line number, command, text that names sources).
    Command files are written into the current folder as they are met."""
    found, info, lines = [], None, []
    with open(path, encoding="utf-8") as doc:
        for number, line in enumerate(doc, 1):
            if not line.startswith("```"):
                lines.append((number, line.rstrip("\n")))
            elif info is None:
                info, lines = line[3:].split(), []
            else:
                found += block(info, lines)
                info = None
    return found


def block(info, lines):
    if info[:1] == ["tvcmd8"]:
        name = info[1] if len(info) > 1 else "block%d.tvcmd8" % lines[0][0]
        text = "".join(line + "\n" for _, line in lines)
        with open(name, "w", encoding="utf-8") as out:
            out.write(placed(text))
        return [(lines[0][0], "transmill -tvcmd8=" + shlex.quote(name), text)]
    if info != ["sh"]:
        return []
    # A line that ends in a backslash or a pipe goes on to the next.
    found, pending = [], None
    for number, line in lines:
        first, text = pending or (number, "")
        text += line.rstrip("\\") + " "
        pending = (first, text) if line.endswith(("\\", "|")) else None
        if not pending and text.strip() and not text.lstrip().startswith("#"):
            found.append((first, text.strip(), text))
    return found


def placed(text):
    """The placeholder folder /music/ is the scratch folder's music/."""
    return text.replace("/music/", os.getcwd() + "/music/")


def run(command):
    done = subprocess.run(["sh", "-c", command], stdin=subprocess.DEVNULL, capture_output=True,
                          timeout=120)
    # The program's channels are UTF-16LE when they are not a terminal; the shell's are UTF-8.
    text = "".join(b.decode("utf-16-le" if b"\0" in b else "utf-8", "replace")
                   for b in (done.stderr, done.stdout))
    return done.returncode, text


def make_sources(text, tone):
    """Makes every source the text reads that is not there yet, in its extension's format."""
    for match in INFILE.finditer(text):
        name = placed(match.group(1) or match.group(2))
        if name == "-" or os.path.exists(name):
            continue
        os.makedirs(os.path.dirname(os.path.abspath(name)), exist_ok=True)
        code, output = run("transmill -infile=%s -outfile=%s -convert_to=%s" % (
            tone, shlex.quote(name), ENCODERS[os.path.splitext(name)[1].lower()]))
        if code != 0:
            raise RuntimeError("cannot make the source %s: %s" % (name, output))


def check_document(path):
    """Runs the document's examples in a scratch folder with a home inside; gives the failures."""
    root, failures = tempfile.mkdtemp(prefix="tvdocs-"), []
    os.chdir(root)
    for name, sub in (("HOME", "home"), ("XDG_CONFIG_HOME", "config"), ("XDG_DATA_HOME", "data"),
                      ("TMPDIR", "tmp")):
        os.environ[name] = os.path.join(root, sub)
        os.makedirs(os.environ[name])
    tone = os.path.join(root, "tmp", "tone.wav")
    with wave.open(tone, "wb") as out:  # two seconds of a stereo 440 Hz tone
        out.setparams((2, 2, 44100, 0, "NONE", ""))
        out.writeframes(b"".join(struct.pack("<hh", s, s) for s in (
            int(8000 * math.sin(2 * math.pi * 440 * i / 44100)) for i in range(88200))))
    for line, command, text in examples(path):
        expected = int(EXIT.search(command).group(1)) if EXIT.search(command) else 0
        command = placed(OPTIONAL.sub("", command))
        try:
            make_sources(text, tone)
            code, output = run(command)
        except (RuntimeError, subprocess.TimeoutExpired) as error:
            code, output = None, str(error)
        if code != expected:
            failures.append("%s:%d: %s\n  exit %s, expected %d\n  %s" % (
                path, line, command, code, expected, output.strip().replace("\n", "\n  ")))
    os.chdir("/")
    shutil.rmtree(root, ignore_errors=True)
    return failures


def main(args):
    os.environ["PATH"] = os.path.abspath(args[0]) + os.pathsep + os.environ.get("PATH", "")
    documents = []
    for arg in map(os.path.abspath, args[1:]):
        if os.path.isdir(arg):
            documents += sorted(os.path.join(arg, f) for f in os.listdir(arg) if f.endswith(".md"))
        else:
            documents.append(arg)
    failures = [f for document in documents for f in check_document(document)]
    print("\n".join(failures) if failures else "every example ran as documented")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
