"""What an engineer would write with NumPy and SciPy instead of calling the library: the same analysis
with its default settings, on one thread.

usage: numpy_peer.py CAPTURE.cf32 FS

Answers each line on standard input with the processor time [s] that its job took, on one line:
  analysis strided|chunked|scipy   a whole analysis; the word says how its spectrogram is made
  analysis figures                 the same without a spectrogram
  stft LENGTH                      scipy.signal.stft at half overlap, and levels
  transform LENGTH                 scipy.signal.stft alone
  power COUNT                      scipy.fft.fft of the first COUNT samples, and channel powers
  check                            instead of a time: chirps, slope of the first one [kHz/us]
"""
import sys
import time

import numpy as np
import scipy.fft
import scipy.signal

WINDOW, OVERLAP = 64, 60
OHMS = np.float32(100.0)  # twice the reference: samples are peak voltages
FRAME_DURATION = 0.9e-3
SHORTEST, LONGEST = 3e-6, 1e-3
HALF_BAND = 1.6e12  # Hz/s
DEVIATION_SHARE = 0.75
TINY = np.float32(1e-12)


def triangle(taps, dtype):
    window = scipy.signal.windows.triang(taps)
    return (window / window.sum()).astype(dtype)


def levels(bins):
    return np.float32(20) * np.log10(np.abs(bins) + TINY)


def scipy_bins(samples, fs, length, overlap):
    window = scipy.signal.windows.hamming(length).astype(np.float32)
    _, _, bins = scipy.signal.stft(samples, fs, window, length, overlap, boundary=None,
                                   padded=False, return_onesided=False, scaling="spectrum")
    return bins, window.sum()


def spectrogram(samples, fs, method):
    hop = WINDOW - OVERLAP
    count = (len(samples) - WINDOW) // hop
    times = ((np.arange(count) * hop + (WINDOW - 1) / 2) / fs).astype(np.float32)
    freqs = ((np.arange(WINDOW) - WINDOW / 2) * fs / WINDOW).astype(np.float32)
    if method == "scipy":
        bins, gain = scipy_bins(samples, fs, WINDOW, OVERLAP)
        return times, freqs, levels(scipy.fft.fftshift(bins, axes=0)[:, :count] * gain)
    window = scipy.signal.windows.hamming(WINDOW).astype(np.float32)
    segments = np.lib.stride_tricks.sliding_window_view(samples, WINDOW)[::hop][:count]
    if method == "strided":
        bins = scipy.fft.fft(segments * window, axis=1)
        return times, freqs, levels(scipy.fft.fftshift(bins, axes=1))
    rows = np.empty((count, WINDOW), np.float32)  # block by block, which stays in the cache
    half = WINDOW // 2
    for first in range(0, count, 2048):
        bins = scipy.fft.fft(segments[first:first + 2048] * window, axis=1, overwrite_x=True)
        level = np.abs(bins)
        level += TINY
        np.log10(level, out=level)
        level *= np.float32(20)
        block = rows[first:first + 2048]
        block[:, :half], block[:, half:] = level[:, half:], level[:, :half]
    return times, freqs, rows


def merged(points):
    """Neighbours closer than an eighth of the mean gap become their mid-point, until none are."""
    while len(points) > 1:
        closest = (points[-1] - points[0]) // (len(points) - 1) // 8
        result, i = [], 0
        while i < len(points):
            if i + 1 < len(points) and points[i + 1] - points[i] < closest:
                result.append((points[i] + points[i + 1] + 1) // 2)
                i += 2
            else:
                result.append(points[i])
                i += 1
        if len(result) == len(points):
            break
        points = result
    return points


def measure(start, stop, freq, slope, smooth, time_axis, samples, fs):
    segment = smooth[start:stop + 1]
    edges = np.diff((np.abs(segment - np.median(segment)) <= HALF_BAND).astype(np.int8))
    rises, falls = np.flatnonzero(edges == 1), np.flatnonzero(edges == -1)
    first, last = start, stop
    if len(rises) and len(falls) and rises[0] + 1 < falls[-1]:
        first, last = start + rises[0] + 1, start + falls[-1]
    margin = int((1 - DEVIATION_SHARE) / 2 * (stop - start + 1))
    window = slice(first + margin + 1, last - margin)

    t, f = time_axis[window] - time_axis[window][0], freq[window]
    intercept, gradient = np.polynomial.polynomial.polyfit(t, f, 1)
    residual = f - (gradient * t + intercept)
    phase = np.concatenate(([0.0], np.cumsum((residual[1:] + residual[:-1]) * (np.pi / fs))))
    deviation = (slope[first:last + 1].astype(np.float64) - gradient) * 1e-9
    squares = np.abs(samples[window]) ** 2
    power = 10 * np.log10(squares / OHMS * 1000)

    def figures(x):
        return x.mean(), np.sqrt(np.mean(x ** 2)), np.abs(x).max()

    row = (gradient * 1e-9, f.mean(), *figures(residual), np.ptp(freq[first:last + 1]),
           *figures(phase), *figures(deviation),
           10 * np.log10(squares.mean(dtype=np.float64) / OHMS * 1000), power.max(), power.min(),
           time_axis[first], time_axis[last])
    return row, (first, last)


def analyse(samples, fs, method):
    count = len(samples)
    picture = None if method == "figures" else spectrogram(samples, fs, method)
    time_axis = (np.arange(count) / fs).astype(np.float32)
    power = 10 * np.log10(np.abs(samples) ** 2 / OHMS * np.float32(1000) + TINY)
    phase = np.unwrap(np.angle(samples).astype(np.float64))
    freq = np.gradient(phase) * (fs / (2 * np.pi))
    shown = np.convolve(freq, triangle(37, np.float64), "same")

    rows, intervals = [], []
    length, frames = int(fs * FRAME_DURATION) - 1, int(count / fs / FRAME_DURATION)
    if frames == 0:
        length, frames = count, 1
    smoother = triangle(256, np.float32)
    for k in range(frames):
        begin, end = k * length, min((k + 1) * length, count)
        f, t, x = freq[begin:end], time_axis[begin:end], samples[begin:end]
        slope = (np.diff(f) * fs).astype(np.float32)
        smooth = scipy.signal.oaconvolve(slope, smoother, "same")
        clear = np.abs(smooth) > 100
        change = (smooth[1:] * smooth[:-1] < 0) & clear[1:] & clear[:-1]
        points = merged((np.flatnonzero(change) + 1).tolist()) + [len(f) - 1]
        for start, stop in zip(points[:-1], points[1:]):
            stop -= 2
            if SHORTEST < t[stop] - t[start] < LONGEST:
                row, (first, last) = measure(start, stop, f, slope, smooth, t, x, fs)
                rows.append(row)
                intervals.append((begin + first, begin + last))

    integrated = np.zeros(count, np.float32)
    for first, last in intervals:
        f, t = shown[first:last + 1], time_axis[first:last + 1]
        integrated[first + 1:last + 1] = np.cumsum((f[1:] + f[:-1]) * np.pi * np.diff(t))
    mean_power = 10 * np.log10(np.mean(np.abs(samples) ** 2, dtype=np.float64) / OHMS * 1000)
    return picture, time_axis, power, integrated, shown.astype(np.float32), rows, mean_power


def channel_power(samples, fs):
    count = len(samples)
    bins = scipy.fft.fftshift(scipy.fft.fft(samples))
    powers = (np.abs(bins) / np.float32(count)) ** 2 / OHMS
    freqs = ((np.arange(count) - count / 2) * (fs / count)).astype(np.float32)
    total = 10 * np.log10(powers.sum(dtype=np.float64) * 1000)
    return total, freqs, np.float32(10) * np.log10(powers * np.float32(1000))


def main():
    samples, fs = np.fromfile(sys.argv[1], np.complex64), float(sys.argv[2])
    for line in sys.stdin:
        job, *arguments = line.split()
        if job == "check":
            rows = analyse(samples, fs, "chunked")[5]
            print(len(rows), rows[0][0] if rows else "nan", flush=True)
            continue
        jobs = {
            "analysis": lambda: analyse(samples, fs, arguments[0]),
            "stft": lambda: levels(scipy.fft.fftshift(
                np.multiply(*scipy_bins(samples, fs, int(arguments[0]), int(arguments[0]) // 2)),
                axes=0)),
            "transform": lambda: scipy_bins(samples, fs, int(arguments[0]), int(arguments[0]) // 2),
            "power": lambda: channel_power(np.resize(samples, int(arguments[0])), fs),
        }
        begin = time.thread_time()
        result = jobs[job]()
        duration = time.thread_time() - begin
        del result
        print(duration, flush=True)


main()
