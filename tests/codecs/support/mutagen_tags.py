# The tags of an audio file as mutagen reads them, for the tag bridge tests. Prints one line
# per text value, "T <key> <value>", and per picture "P <type> <description> <mime>", with key,
# value and description as UTF-8 in hex ("-" when empty); picture n's bytes go to <out>n.
import base64
import sys

from mutagen.apev2 import APEv2
from mutagen.flac import FLAC, Picture
from mutagen.id3 import ID3
from mutagen.aiff import AIFF
from mutagen.wave import WAVE
import mutagen

APE_COVERS = ["other", "png icon", "icon", "front", "back", "leaflet", "media"]


def hexed(text):
    return text.encode("utf-8").hex() or "-"


def text(key, value):
    print("T", hexed(key), hexed(str(value)))


def picture(out, number, kind, desc, mime, data):
    with open(out + str(number), "wb") as f:
        f.write(data)
    print("P", int(kind), hexed(desc), mime or "-")


def xiph(tags, pictures):
    for key, value in tags or []:
        if key.upper() == "METADATA_BLOCK_PICTURE":
            pictures.append(Picture(base64.b64decode(value)))
        else:
            text(key.upper(), value)


def id3(tags, pictures):
    print("V", tags.version[1])
    for frame in tags.values():
        if frame.FrameID == "APIC":
            pictures.append(frame)
        elif frame.FrameID in ("COMM", "USLT", "TXXX"):
            values = [frame.text] if frame.FrameID == "USLT" else frame.text
            for value in values:
                text(frame.FrameID + ":" + frame.desc, value)
        elif hasattr(frame, "text"):
            for value in frame.text:
                text(frame.FrameID, value)


def ape(tags, out):
    covers = []
    for key, value in tags.items():
        if value.kind == mutagen.apev2.BINARY:
            name, _, data = bytes(value).partition(b"\0")
            inner = key[key.find("(") + 1:-1].lower()
            kind = APE_COVERS.index(inner) if inner in APE_COVERS else -1
            covers.append((kind, name.decode("utf-8"), data))
        else:
            for item in value:
                text(key.upper(), item)
    # items stand in no fixed order: covers go by type
    for number, (kind, name, data) in enumerate(sorted(covers), 1):
        picture(out, number, kind, name, None, data)


def main():
    path, kind, out = sys.argv[1:4]
    pictures = []
    if kind == "flac":
        f = FLAC(path)
        xiph(f.tags, pictures)
        pictures += f.pictures
    elif kind in ("ogg", "opus", "oga"):
        xiph(mutagen.File(path).tags, pictures)
    elif kind == "mp3":
        id3(ID3(path), pictures)
    elif kind == "wav":
        id3(WAVE(path).tags, pictures)
    elif kind == "aiff":
        id3(AIFF(path).tags, pictures)
    elif kind == "wv":
        ape(APEv2(path), out)
    for number, p in enumerate(pictures, 1):
        data = p.data
        picture(out, number, p.type, p.desc, p.mime, data)


main()
