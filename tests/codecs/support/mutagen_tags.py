# The tags of an audio file as mutagen reads them, for the tag bridge tests: "T <key> <value>"
# per text value, "P <type> <description> <mime>" per picture, texts as UTF-8 in hex ("-" when
# empty), and "V <minor version>" for ID3v2. Picture n's bytes go to the file <out>n.
import base64
import sys

import mutagen
from mutagen.aiff import AIFF
from mutagen.apev2 import APEv2, BINARY
from mutagen.flac import FLAC, Picture
from mutagen.id3 import ID3
from mutagen.wave import WAVE

APE_COVERS = ["other", "png icon", "icon", "front", "back", "leaflet", "media"]


def hexed(text):
    return text.encode("utf-8").hex() or "-"


def xiph(tags, pictures):
    for key, value in tags or []:
        if key.upper() == "METADATA_BLOCK_PICTURE":
            pictures.append(Picture(base64.b64decode(value)))
        else:
            print("T", hexed(key.upper()), hexed(value))


def id3(tags, pictures):
    print("V", tags.version[1])
    for frame in tags.values():
        if frame.FrameID == "APIC":
            pictures.append(frame)
            continue
        key = frame.FrameID + (":" + frame.desc if frame.FrameID in ("COMM", "TXXX") else "")
        for value in frame.text:
            print("T", hexed(key), hexed(str(value)))


def ape(tags, pictures):
    for key, value in tags.items():
        if value.kind != BINARY:
            for item in value:
                print("T", hexed(key.upper()), hexed(item))
            continue
        name, _, data = bytes(value).partition(b"\0")
        inner = key[key.find("(") + 1:-1].lower()
        picture = Picture()
        picture.type, picture.desc, picture.data = APE_COVERS.index(inner), name.decode(), data
        pictures.append(picture)
    pictures.sort(key=lambda p: p.type)  # items stand in no fixed order


path, kind, out = sys.argv[1:4]
pictures = []
if kind == "flac":
    xiph(FLAC(path).tags, pictures)
    pictures += FLAC(path).pictures
elif kind in ("ogg", "opus", "oga"):
    xiph(mutagen.File(path).tags, pictures)
elif kind == "wv":
    ape(APEv2(path), pictures)
else:
    id3({"mp3": ID3, "wav": lambda p: WAVE(p).tags, "aiff": lambda p: AIFF(p).tags}[kind](path), pictures)
for number, p in enumerate(pictures, 1):
    with open(out + str(number), "wb") as f:
        f.write(p.data)
    print("P", int(p.type), hexed(p.desc), p.mime or "-")
