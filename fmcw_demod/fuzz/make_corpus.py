#!/usr/bin/env python3
"""Writes the inputs that the fuzzers start from, as include/fuzz reads them.

usage: make_corpus.py FOLDER
"""
import pathlib
import random
import struct
import sys


def u8(*values):
    return bytes(values)


def u16(*values):
    return struct.pack(f"<{len(values)}H", *values)


def sawtooth(count, ramp, flyback, noise=0):
    """A capture: its length, kind 0, its shape, no spikes."""
    return u16(count) + u8(0) + u16(ramp - 20, flyback - 1) + u8(noise, 0)


def times(*samples):
    return b"".join(u8(0) + u16(count) for count in samples)


def settings(gate, least, most, window=64, overlap=60, modes=0b11101, shares=bytes(13)):
    """Durations in samples; modes as bits, from chirp_detect up to devlength_ref."""
    durations = times(gate, 2047, least, most)
    return durations + u8(0) + u16(window, overlap) + shares + bytes(3) + u8(modes)


def analyses():
    radar = settings(0, 100, 2000) + sawtooth(2000, 400, 60) + u8(0)
    frames = settings(500, 50, 2000, modes=0b11111) + sawtooth(2047, 150, 150, 1) + u8(0)
    trimmed = settings(0, 50, 2000, 257, 129, modes=0b00001) + sawtooth(1500, 300, 20) + u8(0)
    yield "radar", u16(0) + radar
    yield "frames", u16(0) + frames
    yield "trimmed", u16(0) + trimmed
    yield "anew", u16(2) + radar + trimmed + frames
    yield "again", u16(1) + frames + frames
    yield "long_window", u16(0) + settings(0, 0, 2000, 509, 490) + sawtooth(2047, 400, 60) + u8(0)
    yield "empty", u16(0) + settings(0, 0, 0) + bytes(8)


def primitives():
    trace = sawtooth(700, 200, 40)
    names = ["windows", "convolution", "integrals", "lines", "unwrapping", "spectra", "boundaries",
             "merging"]
    for index, name in enumerate(names):
        yield name, u8(index) + trace + sawtooth(65, 30, 5)
    yield "chirps", u8(8) + sawtooth(1500, 300, 60) + settings(0, 50, 2000) + u16(100, 380) + u8(0, 1)


def transforms():
    for length in (1, 2, 60, 97, 128, 1000, 1021, 2048, 3001):
        yield f"length_{length}", u8(1) + u16(length - 1, 3) + u8(0) + u16(1, 77)
    yield "any_bits", u8(2) + u16(96, 2) + u8(1) + bytes(range(1, 200))


def anything(seed, count, size):
    numbers = random.Random(seed)
    for i in range(count):
        yield f"bytes_{i}", numbers.randbytes(size)


def main():
    folder = pathlib.Path(sys.argv[1])
    corpora = {
        "fuzz_analysis": [*analyses(), *anything(1, 4, 120)],
        "fuzz_manager": anything(2, 8, 200),
        "fuzz_primitives": [*primitives(), *anything(3, 4, 60)],
        "fuzz_text": anything(4, 6, 300),
        "fuzz_transform": transforms(),
    }
    for fuzzer, inputs in corpora.items():
        (folder / fuzzer).mkdir(parents=True, exist_ok=True)
        for name, content in inputs:
            (folder / fuzzer / name).write_bytes(content)


if __name__ == "__main__":
    main()
