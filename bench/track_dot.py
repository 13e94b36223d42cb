#!/usr/bin/python3
# SPDX-License-Identifier: GPL-2.0-or-later
# Tracks a bright Gaussian dot through raw frames on standard input and prints
# the mean length of the frame-to-frame change of its velocity (output pixels a
# frame squared): the smoothness measure of the resampling benchmark.
#   track_dot.py WIDTH HEIGHT CHANNELS SIGMA_ON_OUTPUT < frames
import sys
import numpy as np

w, h, channels, sigma = int(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3]), float(sys.argv[4])
size = w * h * channels
r = 24
xs, ys = [], []
x = y = None
while True:
    data = sys.stdin.buffer.read(size)
    if len(data) < size:
        break
    frame = np.frombuffer(data, np.uint8).reshape(h, w, channels)[:, :, 0].astype(np.float64)
    if x is None:
        y, x = np.unravel_index(np.argmax(frame), frame.shape)
        x, y = float(x), float(y)
    x0, x1 = max(0, int(x) - r), min(w - 1, int(x) + r)
    y0, y1 = max(0, int(y) - r), min(h - 1, int(y) + r)
    win = frame[y0:y1 + 1, x0:x1 + 1]
    gy, gx = np.mgrid[y0:y1 + 1, x0:x1 + 1]
    ring = win[np.hypot(gx - x, gy - y) > r - 3]
    background = np.median(ring)
    for _ in range(30):
        weight = (win - background) * np.exp(-((gx - x) ** 2 + (gy - y) ** 2) / (2 * sigma * sigma))
        total = weight.sum()
        if total <= 0:
            break
        nx, ny = (weight * gx).sum() / total, (weight * gy).sum() / total
        settled = np.hypot(nx - x, ny - y) < 1e-7
        x, y = nx, ny
        if settled:
            break
    xs.append(x)
    ys.append(y)
xs, ys = np.array(xs), np.array(ys)
if len(xs) < 3:
    print("nan")
else:
    print("%.4f %d" % (np.mean(np.hypot(np.diff(xs, 2), np.diff(ys, 2))), len(xs)))
