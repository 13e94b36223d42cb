#!/usr/bin/python3
# SPDX-License-Identifier: GPL-2.0-or-later
"""Writes the test pictures with ImageMagick, Pillow and ffmpeg, each beside the
pixels that the generating tool decodes from it.

    make_pictures.py OUTDIR

For every picture NAME it writes NAME.rgb (or NAME.rgba for pictures whose
alpha is checked): the tool's own decoding, top-down, 8 bits a sample. Pictures
that must be refused get no reference.
"""
import io
import os
import subprocess
import sys

from PIL import Image, ImageOps

CONVERT = "/usr/bin/convert"  # ImageMagick itself, not a stand-in on the PATH
W, H = 37, 23                 # odd width: BMP and buffer rows are padded


def run(*args):
    subprocess.run(args, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def pattern(w=W, h=H):
    im = Image.new("RGB", (w, h))
    im.putdata([((x * 7) & 255, (y * 11) & 255, (x * y * 3 + 5) & 255) for y in range(h) for x in range(w)])
    return im


def with_alpha(im):
    w, h = im.size
    a = Image.new("L", (w, h))
    a.putdata([32 + (x * 5 + y * 3) % 224 for y in range(h) for x in range(w)])
    out = im.copy()
    out.putalpha(a)
    return out


def smooth(w, h):
    """Gentle gradients: lossy codecs keep them within a level or two."""
    im = Image.new("RGB", (w, h))
    im.putdata([(40 + x * 160 // w, 30 + y * 180 // h, 200 - (x + y) * 120 // (w + h))
                for y in range(h) for x in range(w)])
    return im


def im_reference(out, name, channels="rgb"):
    """ImageMagick's decoding of a picture."""
    path = os.path.join(out, name)
    run(CONVERT, path, "-depth", "8", f"{channels}:{path}.{channels}")


def im_reference_from(out, name, source, channels="rgb"):
    """ImageMagick's decoding of the picture a file was written from, for files
    that it does not read back faithfully (its indexed Photoshop files)."""
    dest = f"{channels}:{os.path.join(out, name)}.{channels}"
    run(CONVERT, os.path.join(out, source), "-depth", "8", dest)


def pil_reference(out, name, mode="RGB"):
    """Pillow's decoding of a picture."""
    path = os.path.join(out, name)
    with Image.open(path) as im:
        data = im.convert(mode).tobytes()
    with open(path + "." + mode.lower(), "wb") as f:
        f.write(data)


def main(out):
    os.makedirs(out, exist_ok=True)
    p = lambda name: os.path.join(out, name)

    src = pattern()
    src.save(p("pattern.png"))
    src_alpha = with_alpha(src)
    src_alpha.save(p("pattern_alpha.png"))
    indexed = src.quantize(64)
    indexed.save(p("indexed.png"))
    pattern(61, 41).save(p("pattern_large.png"))

    # BMP: 24 and 32 bits from both tools, 8 bits with a palette, and the
    # 4-bit and run-length ones that are refused.
    run(CONVERT, p("pattern.png"), "BMP3:" + p("bmp24_im.bmp"))
    im_reference(out, "bmp24_im.bmp")
    src.save(p("bmp24_pil.bmp"))
    pil_reference(out, "bmp24_pil.bmp")
    run(CONVERT, p("pattern_alpha.png"), "-define", "bmp3:alpha=true", "BMP3:" + p("bmp32_im.bmp"))
    im_reference(out, "bmp32_im.bmp", "rgba")
    src_alpha.save(p("bmp32_pil.bmp"))
    pil_reference(out, "bmp32_pil.bmp")  # Pillow reads its colours, not its alpha
    run(CONVERT, p("indexed.png"), "-type", "Palette", "-compress", "None", "BMP3:" + p("bmp8_im.bmp"))
    im_reference(out, "bmp8_im.bmp")
    indexed.save(p("bmp8_pil.bmp"))
    pil_reference(out, "bmp8_pil.bmp")
    run(CONVERT, p("pattern.png"), "-colors", "16", "BMP3:" + p("bmp4_im.bmp"))
    run(CONVERT, p("indexed.png"), "-type", "Palette", "-compress", "RLE", "BMP3:" + p("bmp8rle_im.bmp"))
    run(CONVERT, "-size", "9000x2", "xc:gray", "BMP3:" + p("wide.bmp"))

    # 16-bit 5-5-5 BMP and Targa, little-endian words, from ffmpeg.
    for name, extra in (("bmp16_ff.bmp", []), ("tga16_ff.tga", ["-rle", "0"])):
        run("ffmpeg", "-nostdin", "-loglevel", "error", "-y", "-i", p("pattern.png"), "-pix_fmt", "rgb555le",
            *extra, p(name))
        im_reference(out, name)

    # Targa from Pillow, both origins and run-length. (ImageMagick 6 writes its
    # rows top-down under a bottom-left descriptor, so its files are no witness.)
    src.save(p("tga_bottomleft_pil.tga"))
    pil_reference(out, "tga_bottomleft_pil.tga")
    src.save(p("tga_topleft_pil.tga"), orientation=1)
    pil_reference(out, "tga_topleft_pil.tga")
    src_alpha.save(p("tga32_topleft_pil.tga"), orientation=1)
    pil_reference(out, "tga32_topleft_pil.tga", "RGBA")
    src.save(p("tga_rle_pil.tga"), compression="tga_rle")
    pil_reference(out, "tga_rle_pil.tga")

    # TIFF: both byte orders, one strip and many; a larger one whose directory
    # lies beyond the first 4 KB; LZW for its message.
    tif = lambda endian, rows, name, srcname="pattern.png": run(
        CONVERT, p(srcname), "-define", f"tiff:endian={endian}", "-compress", "None",
        "-define", f"tiff:rows-per-strip={rows}", p(name))
    tif("lsb", H, "tif_le_onestrip_im.tif")
    tif("msb", H, "tif_be_onestrip_im.tif")
    tif("lsb", 4, "tif_le_strips_im.tif")
    tif("msb", 4, "tif_be_strips_im.tif")
    tif("msb", 7, "tif_be_large_im.tif", "pattern_large.png")
    for name in ("tif_le_onestrip_im.tif", "tif_be_onestrip_im.tif", "tif_le_strips_im.tif",
                 "tif_be_strips_im.tif", "tif_be_large_im.tif"):
        im_reference(out, name)
    src.save(p("tif_pil.tif"))
    pil_reference(out, "tif_pil.tif")
    run(CONVERT, p("pattern.png"), "-compress", "LZW", p("tif_lzw_im.tif"))
    run(CONVERT, "-size", "9000x2", "xc:gray", "-compress", "None", p("wide.tif"))

    # Photoshop: RGB raw and PackBits, RGBA, 16 bits, greyscale, indexed; CMYK
    # for its message.
    run(CONVERT, p("pattern.png"), "-compress", "None", p("psd_rgb_raw_im.psd"))
    im_reference(out, "psd_rgb_raw_im.psd")
    run(CONVERT, p("pattern.png"), "-compress", "RLE", p("psd_rgb_rle_im.psd"))
    im_reference(out, "psd_rgb_rle_im.psd")
    run(CONVERT, p("pattern_alpha.png"), "-compress", "RLE", p("psd_rgba_rle_im.psd"))
    # ImageMagick blends the composite of this one when reading it back; the
    # picture it was written from is its word on the pixels.
    im_reference_from(out, "psd_rgba_rle_im.psd", "pattern_alpha.png", "rgba")
    run(CONVERT, p("pattern.png"), "-depth", "16", "-compress", "None", p("psd_rgb16_raw_im.psd"))
    im_reference(out, "psd_rgb16_raw_im.psd")
    run(CONVERT, p("pattern.png"), "-colorspace", "Gray", "-compress", "RLE", p("psd_grey_rle_im.psd"))
    im_reference(out, "psd_grey_rle_im.psd")
    run(CONVERT, p("pattern.png"), "-colorspace", "Gray", "-compress", "None", p("psd_grey_raw_im.psd"))
    im_reference(out, "psd_grey_raw_im.psd")
    run(CONVERT, p("indexed.png"), "-type", "Palette", "-compress", "None", p("psd_indexed_raw_im.psd"))
    im_reference_from(out, "psd_indexed_raw_im.psd", "indexed.png")
    run(CONVERT, p("indexed.png"), "-type", "Palette", "-compress", "RLE", p("psd_indexed_rle_im.psd"))
    im_reference_from(out, "psd_indexed_rle_im.psd", "indexed.png")
    run(CONVERT, p("pattern.png"), "-colorspace", "CMYK", p("psd_cmyk_im.psd"))
    run(CONVERT, "-size", "9000x2", "xc:gray", p("wide.psd"))

    # Through the importer: JPEG from ffmpeg and ImageMagick, PNG from Pillow,
    # and JPEGs with every EXIF orientation (6 is a portrait shot from a camera).
    smooth(W, H).save(p("smooth.png"))
    run("ffmpeg", "-nostdin", "-loglevel", "error", "-y", "-i", p("smooth.png"), "-q:v", "2", p("jpeg_ff.jpg"))
    im_reference(out, "jpeg_ff.jpg")
    run(CONVERT, p("smooth.png"), "-quality", "95", p("jpeg_im.jpg"))
    im_reference(out, "jpeg_im.jpg")
    src.save(p("png_pil.png"))
    pil_reference(out, "png_pil.png")
    src_alpha.save(p("png_alpha_pil.png"))
    pil_reference(out, "png_alpha_pil.png")
    # Every EXIF orientation in JPEG, PNG and WebP, each beside Pillow's upright
    # view of it.
    for orientation in range(1, 9):
        exif = Image.Exif()
        exif[0x0112] = orientation
        for ext, options in (("jpg", {"quality": 95}), ("png", {}), ("webp", {"lossless": True})):
            name = f"exif{orientation}_pil.{ext}"
            smooth(W, H).save(p(name), exif=exif.tobytes(), **options)
            with Image.open(p(name)) as im:
                upright = ImageOps.exif_transpose(im).convert("RGB")
            with open(p(name) + ".rgb", "wb") as f:
                f.write(upright.tobytes())

    # JPEG in the forms cameras and programs write, for the JPEG reader, which
    # must give the codec module's bytes: chroma subsampling 4:2:0, 4:2:2 and
    # 4:4:4, progressive, grey, restart markers (ffmpeg's slices), CMYK (left to
    # the codec module), and a truncated file.
    big = smooth(203, 131)
    for name, options in (("jpegv_420_pil.jpg", {"subsampling": 2}), ("jpegv_422_pil.jpg", {"subsampling": 1}),
                          ("jpegv_444_pil.jpg", {"subsampling": 0}),
                          ("jpegv_progressive_pil.jpg", {"progressive": True, "quality": 80})):
        big.save(p(name), **options)
    big.convert("L").save(p("jpegv_grey_pil.jpg"))
    big.save(p("smooth_big.png"))
    run(CONVERT, p("smooth_big.png"), "-interlace", "Plane", "-sampling-factor", "4:2:2", p("jpegv_422_progressive_im.jpg"))
    run(CONVERT, p("smooth_big.png"), "-colorspace", "Gray", p("jpegv_grey_im.jpg"))
    run(CONVERT, p("smooth_big.png"), "-colorspace", "CMYK", p("jpegv_cmyk_im.jpg"))
    for pix in ("yuvj420p", "yuvj422p", "yuvj444p"):
        run("ffmpeg", "-nostdin", "-loglevel", "error", "-y", "-i", p("smooth_big.png"), "-pix_fmt", pix,
            "-threads", "4", "-slices", "4", "-c:v", "mjpeg", p(f"jpegv_{pix}_restart_ff.jpg"))
    with open(p("jpegv_420_pil.jpg"), "rb") as f:
        whole = f.read()
    with open(p("jpegv_truncated_pil.jpg"), "wb") as f:
        f.write(whole[: len(whole) * 2 // 3])

    with open(p("not_a_picture.txt"), "w") as f:
        f.write("hello, this is not a picture at all\n")


if __name__ == "__main__":
    main(sys.argv[1])
