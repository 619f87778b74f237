#!/usr/bin/env python3
"""Draws the pictures of road.md from the JSON of `fmcw analyze`.

usage: pictures.py ANALYSIS.json FOLDER
"""
import json
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

BLUE, RED = "#1f5fa8", "#b03a2e"


def trace(result, name):
    """A trace of the result; null (infinity, NaN) becomes NaN."""
    return np.array(result[name], dtype=float)


def figure(ylabel):
    fig, axes = plt.subplots(figsize=(9, 3.2), constrained_layout=True)
    axes.set_xlabel("time [µs]")
    axes.set_ylabel(ylabel)
    axes.margins(x=0)
    return fig, axes


def spectrogram(result):
    fig, axes = figure("frequency [MHz]")
    levels = trace(result, "spectrogram_wincfg")[::8]
    time = trace(result, "spectrogram_time_axis_wincfg")[::8] * 1e6
    freq = trace(result, "spectrogram_freq_axis_wincfg") / 1e6
    top = levels.max()
    image = axes.pcolormesh(time, freq, levels.T, vmin=top - 60, vmax=top, cmap="magma",
                            shading="nearest", rasterized=True)
    fig.colorbar(image, label="level [dB]")
    return fig


def frequency(result):
    fig, axes = figure("frequency [MHz]")
    time = trace(result, "time_axis") * 1e6
    axes.plot(time, trace(result, "instantaneous_freq") / 1e6, color=BLUE, linewidth=0.8)
    for first, last in result["chirp_intervals"]:
        axes.axvspan(time[first], time[last], color=BLUE, alpha=0.12, linewidth=0)
    axes.set_ylim(-25, 25)
    return fig


def deviation(result, values, axis, scale, label, rms):
    fig, axes = figure(label)
    axes.plot(trace(result, axis) * 1e6, trace(result, values) * scale, color=BLUE, linewidth=0.6)
    axes.axhline(0, color="0.4", linewidth=0.6)
    for level in (-rms, rms):
        axes.axhline(level * scale, color=RED, linewidth=1.4, linestyle="--")
    axes.set_title("dashed: RMS", fontsize=9, loc="right")
    return fig


def power(result, chirp):
    fig, axes = figure("power [dBm]")
    axes.plot(trace(result, "chirp_time_axis") * 1e6, trace(result, "chirp_power"), color=BLUE,
              linewidth=0.6)
    axes.axhline(chirp["power_avg"], color=RED, linewidth=1.4, linestyle="--")
    axes.set_title("dashed: mean", fontsize=9, loc="right")
    return fig


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        result = json.load(file)["result"]
    shown = result["chirp_results"][0]
    pictures = {
        "spectrogram": spectrogram(result),
        "frequency": frequency(result),
        "frequency_deviation": deviation(result, "chirp_freq_dev", "chirp_freq_dev_time_axis", 1e-3,
                                         "deviation [kHz]", shown["freq_dev_rms"]),
        "phase_deviation": deviation(result, "chirp_phi_dev", "chirp_phi_dev_time_axis", 1.0,
                                     "deviation [rad]", shown["phase_dev_rms"]),
        "power": power(result, shown),
    }
    for name, fig in pictures.items():
        fig.savefig(f"{sys.argv[2]}/{name}.png", dpi=110)


main()
