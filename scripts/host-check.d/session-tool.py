#!/usr/bin/env python3
"""Helpers of scripts/host-check that work on files rather than inside Ardour (stdlib only).

    session-tool.py song IN.mid OUT.mid          one-track copy of a song; prints its tempo in BPM
    session-tool.py fxb-chunk IN.fxb OUT.b64      the state chunk of a VST bank file, as base64
    session-tool.py patch SESSION.ardour SONG.mid SAMPLES [CHUNK.b64]
    session-tool.py chunk SESSION.ardour OUT.b64  the chunk Ardour saved for the instrument
    session-tool.py wav FILE.wav                  frames, rate, and the frame after the last one
                                                  above the silence level of `morvek render`
    session-tool.py scan CACHE.v2i                what Ardour's VST scanner recorded; fails unless
                                                  it is one plug-in, an instrument
"""
import array
import base64
import os
import struct
import sys
import xml.etree.ElementTree as ET

# Ardour 7 keeps positions in "superclock" units, this many per second.
SUPERCLOCK_RATE = 282240000


def fail(msg):
    sys.exit(f"session-tool: {msg}")


def var_len(n):
    out = [n & 0x7F]
    n >>= 7
    while n:
        out.insert(0, (n & 0x7F) | 0x80)
        n >>= 7
    return bytes(out)


def read_var_len(data, pos):
    value = 0
    while True:
        byte = data[pos]
        pos += 1
        value = (value << 7) | (byte & 0x7F)
        if not byte & 0x80:
            return value, pos


def song(src, dst):
    """Ardour reads only the first track of a MIDI file placed in a session, so every track is
    merged into one (format 0), with the same division. The tempo goes to the session's tempo map
    instead (printed), so only songs with one tempo are accepted."""
    data = open(src, "rb").read()
    if data[:4] != b"MThd":
        fail(f"{src} is not a MIDI file")
    _, ntracks, division = struct.unpack(">HHH", data[8:14])
    if division & 0x8000:
        fail(f"{src}: SMPTE time division is not supported")
    pos = 8 + struct.unpack(">I", data[4:8])[0]
    events = []  # (tick, order, bytes)
    tempos = set()
    order = 0
    for _ in range(ntracks):
        if data[pos:pos + 4] != b"MTrk":
            fail(f"{src}: missing track chunk")
        end = pos + 8 + struct.unpack(">I", data[pos + 4:pos + 8])[0]
        pos += 8
        tick, status = 0, 0
        while pos < end:
            delta, pos = read_var_len(data, pos)
            tick += delta
            if data[pos] & 0x80:
                status = data[pos]
                pos += 1
            if status == 0xFF:
                kind = data[pos]
                size, body = read_var_len(data, pos + 1)
                payload = data[body:body + size]
                pos = body + size
                if kind == 0x51:
                    tempos.add(int.from_bytes(payload, "big"))
                if kind != 0x2F:
                    events.append((tick, order, bytes([0xFF, kind]) + var_len(size) + payload))
            elif status in (0xF0, 0xF7):
                size, body = read_var_len(data, pos)
                events.append((tick, order, bytes([status]) + data[pos:body + size]))
                pos = body + size
            else:
                size = 1 if status & 0xF0 in (0xC0, 0xD0) else 2
                events.append((tick, order, bytes([status]) + data[pos:pos + size]))
                pos += size
            order += 1
        pos = end
    if len(tempos) > 1:
        fail(f"{src}: more than one tempo ({sorted(tempos)})")
    tempo = tempos.pop() if tempos else 500000
    events.sort(key=lambda e: (e[0], e[1]))
    body, now = b"", 0
    for tick, _, msg in events:
        body += var_len(tick - now) + msg
        now = tick
    body += var_len(0) + b"\xFF\x2F\x00"
    with open(dst, "wb") as f:
        f.write(b"MThd" + struct.pack(">IHHH", 6, 0, 1, division))
        f.write(b"MTrk" + struct.pack(">I", len(body)) + body)
    print(f"{60e6 / tempo:.6f}")


def fxb_chunk(src, dst):
    """A bank file of an opaque-chunk plug-in: big-endian "CcnK", size, "FBCh", version 1,
    plug-in id, plug-in version, program count, 128 reserved bytes, chunk size, chunk."""
    data = open(src, "rb").read()
    if len(data) < 160 or data[:4] != b"CcnK" or data[8:12] != b"FBCh":
        fail(f"{src} is not an opaque-chunk VST bank file")
    size = struct.unpack(">I", data[156:160])[0]
    if 160 + size > len(data) or size == 0:
        fail(f"{src}: chunk size {size} does not fit the file ({len(data)} bytes)")
    with open(dst, "w") as f:
        f.write(base64.b64encode(data[160:160 + size]).decode("ascii"))
    print(f"plug-in id {data[16:20].decode('latin-1')!r}, chunk {size} bytes")


def plugin_nodes(root):
    """The state nodes of the VST plug-ins of the session (named after the plug-in type)."""
    for proc in root.iter("Processor"):
        if proc.get("type") == "lxvst":
            for child in proc:
                if child.tag == "lxvst":
                    yield child


def patch(session, song_file, samples, chunk_file=None):
    """Puts the song into the empty MIDI region that the build step made (its file, as long as
    the export range), and the instrument's state chunk where Ardour keeps it: base64 text of a
    <chunk> element inside the plug-in's own node (<lxvst>) of its Processor."""
    tree = ET.parse(session)
    root = tree.getroot()
    rate = int(root.get("sample-rate"))
    length = f"a{int(samples) * SUPERCLOCK_RATE // rate}"
    sources = [s for s in root.find("Sources") if s.get("type") == "midi"]
    if len(sources) != 1:
        fail(f"{session}: expected one MIDI source, found {len(sources)}")
    source = sources[0]
    # The interchange folder is named after the session's folder.
    interchange = os.path.join(os.path.dirname(os.path.abspath(session)), "interchange")
    paths = [os.path.join(interchange, d, "midifiles", source.get("name")) for d in os.listdir(interchange)]
    paths = [p for p in paths if os.path.exists(p)]
    if len(paths) != 1:
        fail(f"{session}: cannot find the file of MIDI source {source.get('name')}")
    with open(song_file, "rb") as f, open(paths[0], "wb") as g:
        g.write(f.read())
    flags = [x for x in source.get("flags", "").split(",") if x and x != "Empty"]
    source.set("flags", ",".join(flags))
    regions = [r for r in root.iter("Region") if r.get("source-0") == source.get("id")]
    for region in regions:
        region.set("length", length + "@a0")
    if chunk_file:
        nodes = list(plugin_nodes(root))
        if len(nodes) != 1:
            fail(f"{session}: expected one VST plug-in, found {len(nodes)}")
        # Ardour writes <chunk program="N">: keep its attributes, replace the text.
        node = nodes[0].find("chunk")
        if node is None:
            node = ET.SubElement(nodes[0], "chunk")
        node.text = open(chunk_file).read().strip()
    tree.write(session, encoding="UTF-8", xml_declaration=True)
    print(f"song in {len(regions)} region(s), {samples} samples at {rate} Hz"
          + (", chunk set" if chunk_file else ""))


def chunk(session, dst):
    nodes = list(plugin_nodes(ET.parse(session).getroot()))
    texts = [c.text for n in nodes for c in n.findall("chunk") if c.text]
    if len(texts) != 1:
        fail(f"{session}: expected one saved VST chunk, found {len(texts)}")
    raw = base64.b64decode(texts[0])
    with open(dst, "w") as f:
        f.write(texts[0].strip())
    print(f"chunk {len(raw)} bytes")


# `morvek render` cuts its tail after the last frame whose peak reaches this level.
SILENCE_LEVEL = 1.6e-5


def wav(path):
    """Both files of a comparison are 32-bit float WAV: Ardour's export with the host-check
    preset, and `morvek render -f float`."""
    data = open(path, "rb").read()
    if data[:4] != b"RIFF" or data[8:12] != b"WAVE":
        fail(f"{path} is not a WAV file")
    pos, fmt, body = 12, None, None
    while pos + 8 <= len(data):
        tag, size = data[pos:pos + 4], struct.unpack_from("<I", data, pos + 4)[0]
        if tag == b"fmt ":
            fmt = struct.unpack_from("<HHIIHH", data, pos + 8)
            if fmt[0] == 0xFFFE:
                fmt = (struct.unpack_from("<H", data, pos + 32)[0],) + fmt[1:]
        elif tag == b"data":
            body = data[pos + 8:pos + 8 + size]
        pos += 8 + size + (size & 1)
    if not fmt or body is None or fmt[0] != 3 or fmt[5] != 32:
        fail(f"{path}: not a 32-bit float WAV file")
    channels, rate = fmt[1], fmt[2]
    values = array.array("f", body[: len(body) // 4 * 4])
    if sys.byteorder != "little":
        values.byteswap()
    frames = len(values) // channels
    last = 0
    for i in range(len(values) - 1, -1, -1):
        if abs(values[i]) >= SILENCE_LEVEL:
            last = i // channels + 1
            break
    peak = max((abs(v) for v in values), default=0.0)
    print(f"frames={frames} rate={rate} channels={channels} sounding={last} peak={peak:.4f}")


def scan(path):
    """Ardour's scanner writes what it learnt of a VST 2 module as XML in its cache."""
    root = ET.parse(path).getroot()
    infos = list(root.iter("VST2Info"))
    if len(infos) != 1:
        fail(f"{path}: expected one plug-in, found {len(infos)}")
    info = infos[0].attrib
    print(" ".join(f"{k}={v!r}" for k, v in sorted(info.items())))
    if info.get("is_instrument") != "1" or info.get("category") != "Instrument":
        fail("the scanner did not take the plug-in as an instrument")


def main():
    commands = {"song": song, "fxb-chunk": fxb_chunk, "patch": patch, "chunk": chunk, "scan": scan, "wav": wav}
    if len(sys.argv) < 2 or sys.argv[1] not in commands:
        fail(__doc__)
    commands[sys.argv[1]](*sys.argv[2:])


if __name__ == "__main__":
    main()
