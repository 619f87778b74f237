#!/usr/bin/env python3
"""Draws the pictures of road.md from a capture and what `fmcw analyze` says of it.

usage: pictures.py CAPTURE.sigmf-data ANALYSIS.json TRACES.npz FOLDER
"""
import json
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

BLUE, RED = "#1f5fa8", "#b03a2e"


def figure(ylabel):
    fig, axes = plt.subplots(figsize=(9, 3.2), constrained_layout=True)
    axes.set_xlabel("time [µs]")
    axes.set_ylabel(ylabel)
    axes.margins(x=0)
    return fig, axes


def spectrogram(traces):
    fig, axes = figure("frequency [MHz]")
    levels = traces["spectrogram_db"][::8]
    time = traces["spectrogram_time_s"][::8] * 1e6
    top = levels.max()
    image = axes.pcolormesh(time, traces["spectrogram_frequency_hz"] / 1e6, levels.T, vmin=top - 60,
                            vmax=top, cmap="magma", shading="nearest", rasterized=True)
    fig.colorbar(image, label="level [dB]")
    return fig


def frequency(traces, chirps):
    fig, axes = figure("frequency [MHz]")
    time = traces["time_s"] * 1e6
    axes.plot(time, traces["frequency_hz"] / 1e6, color=BLUE, linewidth=0.8)
    for chirp in chirps:
        axes.axvspan(time[chirp["first_sample"]], time[chirp["last_sample"]], color=BLUE, alpha=0.12,
                     linewidth=0)
    axes.set_ylim(-25, 25)
    return fig


def deviations(samples, rate, chirp):
    """Time [s], and frequency [Hz] and phase [rad] less the fitted line's, over the middle 75 %."""
    first, last = chirp["first_sample"], chirp["last_sample"]
    margin = (last - first) // 8
    time = np.arange(first + margin, last - margin) / rate
    freq = np.gradient(np.unwrap(np.angle(samples[first:last + 1].astype(complex)))) * rate / (2 * np.pi)
    freq = freq[margin:margin + time.size]
    residual = freq - np.polyval(np.polyfit(time - time[0], freq, 1), time - time[0])
    phase = np.concatenate(([0.0], np.cumsum(residual[1:] + residual[:-1]) * np.pi / rate))
    return time, residual, phase


def deviation(time, values, scale, label, rms):
    fig, axes = figure(label)
    axes.plot(time * 1e6, values * scale, color=BLUE, linewidth=0.6)
    axes.axhline(0, color="0.4", linewidth=0.6)
    for level in (-rms, rms):
        axes.axhline(level * scale, color=RED, linewidth=1.4, linestyle="--")
    axes.set_title("dashed: RMS", fontsize=9, loc="right")
    return fig


def power(traces, chirp):
    fig, axes = figure("power [dBm]")
    shown = slice(chirp["first_sample"], chirp["last_sample"] + 1)
    axes.plot(traces["time_s"][shown] * 1e6, traces["power_dbm"][shown], color=BLUE, linewidth=0.6)
    axes.axhline(chirp["power_avg_dbm"], color=RED, linewidth=1.4, linestyle="--")
    axes.set_title("dashed: mean", fontsize=9, loc="right")
    return fig


def main():
    capture, analysis, archive, folder = sys.argv[1:5]
    samples = np.fromfile(capture, np.complex64)
    with open(analysis, encoding="utf-8") as file:
        chirps = json.load(file)["chirps"]
    traces = np.load(archive)
    shown = chirps[0]
    rate = (samples.size - 1) / (float(traces["time_s"][-1]) - float(traces["time_s"][0]))
    time, residual, phase = deviations(samples, rate, shown)
    pictures = {
        "spectrogram": spectrogram(traces),
        "frequency": frequency(traces, chirps),
        "frequency_deviation": deviation(time, residual, 1e-3, "deviation [kHz]",
                                         shown["freq_dev_rms_hz"]),
        "phase_deviation": deviation(time, phase, 1.0, "deviation [rad]",
                                     shown["phase_dev_rms_rad"]),
        "power": power(traces, shown),
    }
    for name, fig in pictures.items():
        fig.savefig(f"{folder}/{name}.png", dpi=110)


main()
