#!/usr/bin/env python3
"""Writes demo.mid, the song that `morvek render` plays with the built-in instrument, and
gm-demo.mid, the same song for General MIDI instruments (SoundFonts).

Eight bars at 112 beats per minute: chords and a melody on channel 1, a bass line on channel 2
(the demo performance plays it through the keys an octave down), drums on channel 10. The General
MIDI version asks for a piano on channel 1, a fingered bass on channel 2 and strings on channel 3,
which takes the melody.
Run it again after changing it: python3 res/demo/make-demo-song.py
"""
import os
import struct

TPQ = 480  # ticks per quarter note
BAR = 4 * TPQ


def var_len(n):
    out = [n & 0x7F]
    n >>= 7
    while n:
        out.insert(0, (n & 0x7F) | 0x80)
        n >>= 7
    return bytes(out)


def track(events):
    """events: (tick, bytes); returns an MTrk chunk with an end-of-track at the last tick."""
    events = sorted(events, key=lambda e: e[0])
    data = b""
    now = 0
    for tick, msg in events:
        data += var_len(tick - now) + msg
        now = tick
    data += var_len(0) + b"\xFF\x2F\x00"
    return b"MTrk" + struct.pack(">I", len(data)) + data


def note(events, ch, key, start, length, vel):
    events.append((start, bytes([0x90 | ch, key, vel])))
    events.append((start + length, bytes([0x80 | ch, key, 64])))


def meta_track():
    name = b"Morvek Demo"
    tempo = 60_000_000 // 112
    return track([
        (0, b"\xFF\x03" + var_len(len(name)) + name),
        (0, b"\xFF\x58\x04\x04\x02\x18\x08"),
        (0, b"\xFF\x51\x03" + struct.pack(">I", tempo)[1:]),
        (8 * BAR, b"\xFF\x01\x03end"),
    ])


CHORDS = [(57, 60, 64), (53, 57, 60), (48, 52, 55), (55, 59, 62)]  # Am F C G
BASS = [45, 41, 48, 43]


def keys_track(melody_channel=0, programs=()):
    ev = [(0, bytes([0xC0 | ch, program])) for ch, program in programs]
    for bar in range(8):
        chord = CHORDS[bar % 4]
        for beat in (0, 2):
            for k in chord:
                note(ev, 0, k, bar * BAR + beat * TPQ, 2 * TPQ - 40, 70)
    melody = [(76, 0, 1), (74, 1, 1), (72, 2, 2), (69, 4, 2), (72, 6, 1), (74, 7, 1), (76, 8, 4),
              (77, 12, 2), (76, 14, 1), (74, 15, 1), (72, 16, 3), (71, 19, 1), (72, 20, 4),
              (74, 24, 2), (71, 26, 2), (67, 28, 4)]
    # The mod wheel brings in the vibrato over the melody's long notes, and goes back at the end.
    for step in range(0, 17):
        ev.append((4 * BAR + step * BAR // 8, bytes([0xB0 | melody_channel, 1, min(127, step * 8)])))
    ev.append((8 * BAR - TPQ, bytes([0xB0 | melody_channel, 1, 0])))
    for key, start, length in melody:
        note(ev, melody_channel, key, 4 * BAR + start * TPQ // 2, length * TPQ // 2 - 30, 96)
    return track(ev)


def bass_track(program=None):
    ev = [] if program is None else [(0, bytes([0xC1, program]))]
    for bar in range(8):
        root = BASS[bar % 4]
        for eighth, step in enumerate((0, 0, 12, 0, 0, 7, 12, 0)):
            note(ev, 1, root + step, bar * BAR + eighth * TPQ // 2, TPQ // 2 - 30, 90 if eighth % 2 == 0 else 70)
    return track(ev)


def drum_track():
    ev = []
    for bar in range(8):
        base = bar * BAR
        for eighth in range(8):
            note(ev, 9, 42, base + eighth * TPQ // 2, 60, 80 if eighth % 2 == 0 else 55)
        for beat in (0, 2):
            note(ev, 9, 36, base + beat * TPQ, 120, 110)
        note(ev, 9, 36, base + 3 * TPQ + TPQ // 2, 120, 80)
        for beat in (1, 3):
            note(ev, 9, 38, base + beat * TPQ, 120, 100)
    return track(ev)


def write(name, tracks):
    header = b"MThd" + struct.pack(">IHHH", 6, 1, len(tracks), TPQ)
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), name)
    with open(path, "wb") as f:
        f.write(header + b"".join(tracks))


def main():
    write("demo.mid", [meta_track(), keys_track(), bass_track(), drum_track()])
    # Acoustic grand piano, fingered bass, string ensemble.
    write("gm-demo.mid", [meta_track(), keys_track(2, ((0, 0), (2, 48))), bass_track(33), drum_track()])


if __name__ == "__main__":
    main()
