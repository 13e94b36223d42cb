#!/usr/bin/env python3
"""Writes seed blocks for the show_fuzz target into the folder given: shows of
one picture in both byte orders, an empty show, an extra file reference alone
and a block with an older version stamp."""
import os
import struct
import sys


def block(order, keys, stamp=110.0, extra=False, pictures=1):
    def key(x, y, w, t, version=0.0, ease=0.0):
        return struct.pack(order + '12fiHH', x, version, y, w, 0, 0, 0, 5.0, ease, 0, 0, 1800.0, t, 0, 0)

    picture_ref = struct.pack(order + 'hi', 9991, 9991) + b'/nonexistent/picture.tga'.ljust(256, b'\0')
    body = b''
    for _ in range(pictures):
        body += picture_ref + struct.pack(order + 'i', len(keys))
        body += b''.join(key(x, y, w, t, stamp if i == 0 else 0.0, 1000.0 * (i + 1))
                         for i, (x, y, w, t) in enumerate(keys))
    if extra:
        body += picture_ref + struct.pack(order + 'i', 0)
    trailer = struct.pack(order + 'iiih', 0x102030, 10, 2, 1) + b'13' + b'\0' * 4
    size = 8 + len(body) + 20
    return struct.pack(order + 'HHI', 0x1234, 4242, size) + body + trailer


def main():
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    keys = [(60, 45, 60, 0), (80, 50, 40, 20), (40, 40, 80, 40)]
    seeds = {
        'little': block('<', keys),
        'big': block('>', keys),
        'empty': block('<', [], pictures=0),
        'extra': block('<', [], pictures=0, extra=True),
        'old': block('<', keys, stamp=100.0),
    }
    for name, data in seeds.items():
        with open(os.path.join(folder, name), 'wb') as f:
            f.write(data)


if __name__ == '__main__':
    main()
