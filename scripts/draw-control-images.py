#!/usr/bin/env python3
# Draws the colour well's wheel and the selector's arrow, the framework's own images:
#   scripts/draw-control-images.py PLVCommon/resources
import colorsys, math, struct, sys, zlib

def write_png(path, w, h, px):
    raw = b''.join(b'\x00' + bytes(px[y*w*4:(y+1)*w*4]) for y in range(h))
    def chunk(t, d):
        c = struct.pack('>I', len(d)) + t + d
        return c + struct.pack('>I', zlib.crc32(t + d) & 0xffffffff)
    png = b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', w, h, 8, 6, 0, 0, 0))
    png += chunk(b'IDAT', zlib.compress(raw, 9)) + chunk(b'IEND', b'')
    open(path, 'wb').write(png)

SS = 8  # samples per pixel side

def render(w, h, shade):
    px = []
    for y in range(h):
        for x in range(w):
            acc = [0.0, 0.0, 0.0, 0.0]
            for sy in range(SS):
                for sx in range(SS):
                    c = shade((x + (sx + 0.5) / SS) / w, (y + (sy + 0.5) / SS) / h)
                    if c:
                        r, g, b, a = c
                        acc[0] += r * a; acc[1] += g * a; acc[2] += b * a; acc[3] += a
            n = SS * SS
            a = acc[3] / n
            if a > 0:
                px += [round(acc[0] / acc[3] * 255), round(acc[1] / acc[3] * 255), round(acc[2] / acc[3] * 255), round(a * 255)]
            else:
                px += [0, 0, 0, 0]
    return px

def wheel(u, v):
    # u, v in 0..1 over the image, top-left origin; the wheel fills the image less a hair.
    dx, dy = u - 0.5, 0.5 - v
    d = math.hypot(dx, dy) / 0.47
    if d > 1.0:
        return None
    if d > 0.9:  # a thin rim keeps the wheel apart from light and dark buttons
        return (0.25, 0.25, 0.25, 0.55)
    hue = (math.degrees(math.atan2(dy, dx)) % 360) / 360.0
    r, g, b = colorsys.hsv_to_rgb(hue, min(1.0, d / 0.9), 1.0)
    return (r, g, b, 1.0)

def arrow(u, v):
    # A downward triangle over the width, in the middle of the height.
    top, bottom = 0.1, 0.9
    if v < top or v > bottom:
        return None
    half = 0.5 * (bottom - v) / (bottom - top)
    return (0, 0, 0, 1.0) if abs(u - 0.5) <= half else None

out = sys.argv[1]
for scale, suffix in ((1, ''), (2, '@2x')):
    write_png(f'{out}/HVColorWheel{suffix}.png', 16 * scale, 16 * scale, render(16 * scale, 16 * scale, wheel))
    write_png(f'{out}/picot_popup{suffix}.png', 8 * scale, 6 * scale, render(8 * scale, 6 * scale, arrow))
