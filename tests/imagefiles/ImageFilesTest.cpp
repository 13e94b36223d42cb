// SPDX-License-Identifier: GPL-2.0-or-later
// Picture files written by other programs load with the pixels those programs
// decode from them; refused files give their messages; the writers produce
// files that other programs read.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "image/CDIB.h"
#include "image/CodecModule.h"
#include "image/HostImage.h"
#include "image/ImageFiles.h"
#include "platform/Endian.h"
#include "tests/imagefiles/TestPictures.h"

namespace {

constexpr long kW = 37, kH = 23;  // the generated pattern

struct Expect {
    const char* name;
    int bits;       // depth of the loaded buffer
    int channels;   // of the reference: 3, or 4 when alpha is compared
    int tolerance;  // 0 for lossless formats
    long width = kW, height = kH;
};

void CheckLoads(const Expect& e) {
    SCOPED_TRACE(e.name);
    CDIB dib(8, 8, 24);
    ASSERT_EQ(LoadCode(PicturePath(e.name), dib), 0);
    EXPECT_EQ(dib.GetWid(), e.width);
    EXPECT_EQ(dib.GetHgt(), e.height);
    EXPECT_EQ(dib.GetBitCount(), e.bits);
    const auto ref = ReadBytes(PicturePath(e.name) + (e.channels == 4 ? ".rgba" : ".rgb"));
    EXPECT_LE(MaxDifference(dib, ref, e.channels), e.tolerance);
}

TEST(PictureReaders, BmpFromImageMagickAndPillow) {
    for (const Expect& e : {Expect{"bmp24_im.bmp", 24, 3, 0}, Expect{"bmp24_pil.bmp", 24, 3, 0},
                            Expect{"bmp32_im.bmp", 32, 4, 0}, Expect{"bmp32_pil.bmp", 32, 3, 0},
                            Expect{"bmp8_im.bmp", 8, 3, 0}, Expect{"bmp8_pil.bmp", 8, 3, 0}})
        CheckLoads(e);
}

TEST(PictureReaders, TargaBothOrigins) {
    for (const Expect& e : {Expect{"tga_bottomleft_pil.tga", 24, 3, 0}, Expect{"tga_topleft_pil.tga", 24, 3, 0},
                            Expect{"tga32_topleft_pil.tga", 32, 4, 0}})
        CheckLoads(e);
}

TEST(PictureReaders, TiffByteOrdersAndStrips) {
    for (const Expect& e : {Expect{"tif_le_onestrip_im.tif", 24, 3, 0}, Expect{"tif_be_onestrip_im.tif", 24, 3, 0},
                            Expect{"tif_le_strips_im.tif", 24, 3, 0}, Expect{"tif_be_strips_im.tif", 24, 3, 0},
                            Expect{"tif_pil.tif", 24, 3, 0},
                            // its directory lies past the first 4 KB of the file
                            Expect{"tif_be_large_im.tif", 24, 3, 0, 61, 41}})
        CheckLoads(e);
}

TEST(PictureReaders, PhotoshopModesRawAndPackBits) {
    for (const Expect& e : {Expect{"psd_rgb_raw_im.psd", 24, 3, 0}, Expect{"psd_rgb_rle_im.psd", 24, 3, 0},
                            Expect{"psd_rgba_rle_im.psd", 32, 4, 0}, Expect{"psd_rgb16_raw_im.psd", 24, 3, 0},
                            Expect{"psd_grey_raw_im.psd", 24, 3, 0}, Expect{"psd_grey_rle_im.psd", 24, 3, 0},
                            Expect{"psd_indexed_raw_im.psd", 24, 3, 0}, Expect{"psd_indexed_rle_im.psd", 24, 3, 0}})
        CheckLoads(e);
}

TEST(PictureImporter, JpegPngAndRunLengthTarga) {
    // Everything the built-in readers refuse arrives as 24 bits; alpha is dropped
    // and the colours stay as stored.
    for (const Expect& e : {Expect{"jpeg_ff.jpg", 24, 3, 2}, Expect{"jpeg_im.jpg", 24, 3, 2},
                            Expect{"png_pil.png", 24, 3, 0}, Expect{"png_alpha_pil.png", 24, 3, 0},
                            Expect{"tga_rle_pil.tga", 24, 3, 0}})
        CheckLoads(e);
}

TEST(PictureImporter, ExifOrientationStandsThePhotoUpright) {
    // Stored 37 x 23; shown as Pillow shows it upright. From 5 on the picture is
    // turned a quarter: orientation 6 is a camera's portrait shot.
    for (const char* ext : {"jpg", "png", "webp"})
        for (int o = 1; o <= 8; ++o) {
            const std::string name = "exif" + std::to_string(o) + "_pil." + ext;
            CheckLoads(Expect{name.c_str(), 24, 3, ext[0] == 'j' ? 2 : 0, o >= 5 ? kH : kW, o >= 5 ? kW : kH});
        }
}

// Shape, depth and every row of a loaded buffer.
std::vector<uint8_t> Snapshot(CDIB& dib) {
    std::vector<uint8_t> bytes;
    for (const long v : {dib.GetWid(), dib.GetHgt(), static_cast<long>(dib.GetBitCount())})
        bytes.insert(bytes.end(), reinterpret_cast<const uint8_t*>(&v), reinterpret_cast<const uint8_t*>(&v + 1));
    if (dib.HasImage()) bytes.insert(bytes.end(), dib.GetBitsAdd(0), dib.GetBitsAdd(static_cast<int>(dib.GetHgt())));
    return bytes;
}

TEST(PictureImporter, JpegReaderGivesTheCodecModulesBytes) {
    // `taken`: the JPEG reader decodes the file itself, byte for byte as the
    // codec module does; otherwise it leaves the file to the module.
    struct Case {
        std::string path;
        bool taken;
    };
    std::vector<Case> cases;
    for (const char* name : {"jpeg_ff.jpg", "jpeg_im.jpg", "jpegv_420_pil.jpg", "jpegv_422_pil.jpg",
                             "jpegv_444_pil.jpg", "jpegv_progressive_pil.jpg", "jpegv_422_progressive_im.jpg",
                             "jpegv_grey_pil.jpg", "jpegv_grey_im.jpg", "jpegv_yuvj420p_restart_ff.jpg",
                             "jpegv_yuvj422p_restart_ff.jpg", "jpegv_yuvj444p_restart_ff.jpg"})
        cases.push_back({PicturePath(name), true});
    for (int o = 1; o <= 8; ++o) cases.push_back({PicturePath("exif" + std::to_string(o) + "_pil.jpg"), true});
    for (const char* name : {"jpegv_cmyk_im.jpg", "jpegv_truncated_pil.jpg", "png_pil.png", "not_a_picture.txt"})
        cases.push_back({PicturePath(name), false});
    // A large camera photograph, where the system has it.
    const std::string photo = "/usr/share/backgrounds/Kleiber_by_Lukas_Baubkus.jpg";
    if (std::ifstream(photo).good()) cases.push_back({photo, true});

    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        CDIB direct(1, 1, 24), codecs(1, 1, 24), imported(1, 1, 24);
        const int viaModule = ImportWithCodecs(&codecs, c.path.c_str());
        const int viaReader = ImportJpeg(&direct, c.path.c_str());
        EXPECT_EQ(viaReader == kPicTryCodecs, !c.taken) << viaReader;
        if (c.taken) {
            ASSERT_EQ(viaModule, kPicLoaded);
            EXPECT_TRUE(Snapshot(direct) == Snapshot(codecs));
        }
        // The header's size, as the module reads it, for every JPEG.
        int w = 0, h = 0, moduleW = 0, moduleH = 0;
        const bool jpeg = c.path.ends_with(".jpg");
        ASSERT_EQ(ProbeJpeg(c.path.c_str(), &w, &h), jpeg);
        if (jpeg) {
            ASSERT_EQ(CodecModule()->probePicture(c.path.c_str(), &moduleW, &moduleH, nullptr, 0), 1);
            EXPECT_EQ(w, moduleW);
            EXPECT_EQ(h, moduleH);
        }
        // The importer as a whole answers as the module does.
        FSpec spec = SpecFor(c.path);
        EXPECT_EQ(MacLoadPict(&imported, &spec), viaModule);
        if (viaModule == kPicLoaded) EXPECT_TRUE(Snapshot(imported) == Snapshot(codecs));
    }
}

TEST(PictureReaders, SixteenBitBmpAndTargaKeepTheirColours) {
    // 5-5-5 words, little-endian in the file; the picture list widens them to 24
    // bits. Five bits a colour, and the unmasked low bits of red and green, keep
    // each byte within 7 of ImageMagick's decoding.
    for (const char* name : {"bmp16_ff.bmp", "tga16_ff.tga"}) {
        SCOPED_TRACE(name);
        CDIB words(8, 8, 24), wide(1, 1, 24);
        ASSERT_EQ(LoadCode(PicturePath(name), words), 0);
        ASSERT_EQ(words.GetBitCount(), 16);
        ASSERT_TRUE(wide.Create(kW, kH, 24));
        ASSERT_EQ(words.CopyScale(&wide, 0, 0), 1);
        EXPECT_LE(MaxDifference(wide, ReadBytes(PicturePath(name) + ".rgb"), 3), 7);
    }
}

// Loads through the picture list's entry point with messages on.
int LoadReported(const std::string& path, CDIB& dib, std::vector<std::string>& messages) {
    MessageRecorder recorder;
    FSpec fileSpec = SpecFor(path);
    const int result = dib.Load(&fileSpec, nullptr, true);
    messages = recorder.messages;
    return result;
}

TEST(PictureLoadEntry, RefusedFilesShowTheirMessages) {
    const struct {
        const char* name;
        const char* message;
    } cases[] = {
        {"bmp4_im.bmp", "Images must have 256 colors or more"},
        {"bmp8rle_im.bmp", "Can't read compressed images"},
        {"tif_lzw_im.tif", "Can't read compressed images"},
        {"wide.bmp", "Images must be smaller than 8192 pixels"},
        {"wide.tif", "Images must be smaller than 8192 pixels"},
        {"wide.psd", "Images must be smaller than 8192 pixels"},
        {"psd_cmyk_im.psd", "Can't read image file  [ 3 ]"},
        {"not_a_picture.txt", "Can't read image file  [ 4 ]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CDIB dib(8, 8, 24);
        std::vector<std::string> messages;
        EXPECT_EQ(LoadReported(PicturePath(c.name), dib, messages), 0);
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_EQ(messages[0], c.message);

        // Without reporting, the placeholder picture takes its place.
        MessageRecorder quiet;
        FSpec fileSpec = SpecFor(PicturePath(c.name));
        CDIB silent(8, 8, 24);
        EXPECT_EQ(silent.Load(&fileSpec, nullptr, false), 2);
        EXPECT_TRUE(quiet.messages.empty());
        EXPECT_EQ(silent.GetBitCount(), 24);
        EXPECT_GT(silent.GetWid(), 8);
    }
}

int gFetched = 0;
int FetchFromHost(CDIB* dib) {
    ++gFetched;
    return dib->Create(5, 4, 32);
}

TEST(PictureLoadEntry, MissingFilesFolderSearchAndHostPictures) {
    const std::string missing = "/nonexistent_gs_folder/bmp24_im.bmp";
    FSpec fileSpec = SpecFor(missing);
    {
        CDIB dib(8, 8, 24);
        std::vector<std::string> messages;
        EXPECT_EQ(LoadReported(missing, dib, messages), 0);
        EXPECT_EQ(messages, std::vector<std::string>{"Can't open graphics file"});
        EXPECT_EQ(dib.GetWid(), 8);  // untouched
    }
    {
        MessageRecorder quiet;
        CDIB dib(8, 8, 24);
        EXPECT_EQ(dib.Load(&fileSpec, nullptr, false), 2);
        CDIB placeholder(1, 1, 24);
        ASSERT_EQ(BitmapToDIB(&placeholder, kMissingPicture), 1);
        ASSERT_EQ(dib.GetWid(), placeholder.GetWid());
        ASSERT_EQ(dib.GetHgt(), placeholder.GetHgt());
        EXPECT_EQ(std::memcmp(dib.bits, placeholder.bits, dib.GetRowBytes() * dib.GetHgt()), 0);
        EXPECT_EQ(BitmapToDIB(&placeholder, 999), 0);
    }
    {
        // The folder moved with the show: the name is looked for in the folder.
        FSpec folder = SpecFor(GeneratedPictures().path + "/");
        CDIB dib(8, 8, 24);
        EXPECT_EQ(dib.Load(&fileSpec, &folder, true), 1);
        EXPECT_EQ(dib.GetWid(), kW);
    }
    {
        CDIB empty(0, 0, 24);  // no header: the caller must make the buffer first
        FSpec present = SpecFor(PicturePath("bmp24_im.bmp"));
        EXPECT_EQ(empty.Load(&present, nullptr, true), 0);
        EXPECT_FALSE(empty.HasImage());
        CPFile file;
        ASSERT_EQ(file.Open(&present, kFileRead), 1);
        EXPECT_EQ(empty.LoadBmp(&file), 4);
        EXPECT_EQ(empty.LoadTga(&file), 4);
        EXPECT_EQ(empty.LoadTif(&file), 4);
        EXPECT_EQ(empty.LoadPsd(&file), 4);
    }
    {
        // The host provides the picture: no file is touched.
        gGetImageFromTimeline = true;
        SetSourceImageFetch(FetchFromHost);
        CDIB dib(8, 8, 24);
        EXPECT_EQ(dib.Load(&fileSpec, nullptr, true), 1);
        EXPECT_EQ(gFetched, 1);
        EXPECT_EQ(dib.GetBitCount(), 32);
        SetSourceImageFetch(nullptr);
        EXPECT_EQ(dib.Load(&fileSpec, nullptr, true), 0);
        gGetImageFromTimeline = false;
    }
    EXPECT_EQ(JP_DllInstalled(), 0);
}

// Decodes a file with ImageMagick into top-down bytes.
std::vector<uint8_t> MagickDecode(const std::string& path, const char* channels) {
    const std::string out = path + "." + channels;
    const std::string cmd = "/usr/bin/convert '" + path + "' -depth 8 " + channels + ":'" + out + "'";
    if (std::system(cmd.c_str()) != 0) return {};
    return ReadBytes(out);
}

// Decodes a file with Pillow (which honours the Targa origin) into top-down bytes.
std::vector<uint8_t> PillowDecode(const std::string& path, const char* mode) {
    const std::string out = path + ".pil";
    const std::string cmd = "/usr/bin/python3 -c \"import sys; from PIL import Image; "
                            "open(sys.argv[2], 'wb').write(Image.open(sys.argv[1]).convert('" +
                            std::string(mode) + "').tobytes())\" '" + path + "' '" + out + "'";
    if (std::system(cmd.c_str()) != 0) return {};
    return ReadBytes(out);
}

TEST(PictureWriters, OtherProgramsReadWhatIsSaved) {
    TestFolder out("gs_saved");
    CDIB rgb(8, 8, 24), rgba(8, 8, 24);
    ASSERT_EQ(LoadCode(PicturePath("bmp24_pil.bmp"), rgb), 0);
    ASSERT_EQ(LoadCode(PicturePath("bmp32_im.bmp"), rgba), 0);

    // BMP at 24 bits; a ".tga" name writes Targa whatever was asked.
    FSpec bmp = SpecFor(out / "saved.bmp"), tga = SpecFor(out / "saved.tga"), tga32 = SpecFor(out / "saved32.tga");
    ASSERT_EQ(rgb.Save(&bmp, 0), 1);
    ASSERT_EQ(rgb.Save(&tga, 0), 1);
    ASSERT_EQ(rgba.Save(&tga32, 1), 1);
    EXPECT_EQ(MagickDecode(out / "saved.bmp", "rgb"), ReadBytes(PicturePath("bmp24_pil.bmp.rgb")));
    EXPECT_EQ(PillowDecode(out / "saved.tga", "RGB"), ReadBytes(PicturePath("bmp24_pil.bmp.rgb")));
    EXPECT_EQ(PillowDecode(out / "saved32.tga", "RGBA"), ReadBytes(PicturePath("bmp32_im.bmp.rgba")));

    const auto t24 = ReadBytes(out / "saved.tga"), t32 = ReadBytes(out / "saved32.tga");
    ASSERT_GE(t32.size(), 18u);
    EXPECT_EQ(t24[2], 2);
    EXPECT_EQ(t24[16], 24);
    EXPECT_EQ(t24[17], 0);   // bottom-left, no alpha bits
    EXPECT_EQ(t32[17], 8);   // eight alpha bits
    EXPECT_EQ(t24.size(), 18u + kW * kH * 3);  // rows unpadded

    // Our own readers take both back unchanged.
    for (const char* name : {"saved.bmp", "saved.tga"}) {
        CDIB back(8, 8, 24);
        ASSERT_EQ(LoadCode(out / name, back), 0);
        EXPECT_EQ(std::memcmp(back.bits, rgb.bits, rgb.GetRowBytes() * kH), 0) << name;
    }

    // An 8-bit BMP keeps the data offset that counts three bytes a palette entry.
    CDIB indexed(8, 8, 24);
    ASSERT_EQ(LoadCode(PicturePath("bmp8_im.bmp"), indexed), 0);
    FSpec bmp8 = SpecFor(out / "saved8.bmp");
    ASSERT_EQ(indexed.Save(&bmp8, 0), 1);
    const auto b8 = ReadBytes(out / "saved8.bmp");
    ASSERT_GE(b8.size(), 54u);
    EXPECT_EQ(b8[0], 'B');
    EXPECT_EQ(Endian(reinterpret_cast<const char*>(&b8[10]), 4, false), 54 + 3 * 256);
    EXPECT_EQ(Endian(reinterpret_cast<const char*>(&b8[2]), 4, false), static_cast<long>(b8.size()));

    // Format 2 is not written here: success, nothing written.
    FSpec other = SpecFor(out / "other.pic");
    EXPECT_EQ(rgb.Save(&other, 2), 1);
    EXPECT_TRUE(ReadBytes(out / "other.pic").empty());

    MessageRecorder recorder;
    FSpec nowhere = SpecFor("/nonexistent_gs_folder/x.bmp");
    EXPECT_EQ(rgb.Save(&nowhere, 0), 0);
    // A disk that fills up part way is a failed save too.
    SetWriteFaultAfter(30);
    EXPECT_EQ(rgb.Save(&bmp, 0), 0);
    SetWriteFaultAfter(-1);
    EXPECT_EQ(recorder.messages, (std::vector<std::string>{"Error opening graphics file", "Error loading graphics file"}));
}

TEST(PackBits, UnpacksRunsAndLiteralsWithinBothBuffers) {
    // The classic example: runs, literals and the -128 no-op.
    const unsigned char packed[] = {0xFE, 0xAA, 0x02, 0x80, 0x00, 0x2A, 0xFD, 0xAA, 0x80,
                                    0x03, 0x80, 0x00, 0x2A, 0x22, 0xF7, 0xAA};
    const unsigned char plain[] = {0xAA, 0xAA, 0xAA, 0x80, 0x00, 0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x80, 0x00,
                                   0x2A, 0x22, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
    unsigned char out[40] = {};
    ASSERT_EQ(RLCUnPack(packed, sizeof packed, out, sizeof out), static_cast<long>(sizeof plain));
    EXPECT_EQ(std::memcmp(out, plain, sizeof plain), 0);

    // Neither buffer is passed: a run cut by the destination, a literal cut by
    // the source.
    unsigned char small[5] = {};
    EXPECT_EQ(RLCUnPack(packed, sizeof packed, small, sizeof small), 5);
    const unsigned char cut[] = {0x05, 0x01, 0x02};
    EXPECT_EQ(RLCUnPack(cut, sizeof cut, out, sizeof out), 2);
    const unsigned char runWithoutByte[] = {0xFD};
    EXPECT_EQ(RLCUnPack(runWithoutByte, 1, out, sizeof out), 0);
}

// Every generated picture, cut short or with header bytes changed, gives a
// result code and never touches memory beyond its buffers (the sanitizer build
// runs this too).
TEST(HostilePictures, DamagedFilesGiveResultCodes) {
    TestFolder work("gs_hostile");
    const std::string damaged = work / "damaged";
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(GeneratedPictures().path)) {
        const std::string ext = entry.path().extension().string();
        if (ext == ".bmp" || ext == ".tga" || ext == ".tif" || ext == ".psd")
            names.push_back(entry.path().filename().string());
    }
    ASSERT_GE(names.size(), 20u);
    auto tryLoad = [&](const std::vector<uint8_t>& bytes) {
        WriteBytes(damaged, bytes);
        CDIB dib(8, 8, 24);
        const int code = LoadCode(damaged, dib);
        EXPECT_GE(code, 0);
        EXPECT_LE(code, 6);
    };
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const auto bytes = ReadBytes(PicturePath(name));
        for (size_t cut : {size_t(1), size_t(14), size_t(20), size_t(40), size_t(60), bytes.size() / 2,
                           bytes.size() - 1}) {
            if (cut >= bytes.size()) continue;
            tryLoad(std::vector<uint8_t>(bytes.begin(), bytes.begin() + static_cast<long>(cut)));
        }
        for (size_t at = 2; at < 48 && at < bytes.size(); at += 3) {
            for (uint8_t value : {uint8_t(0x00), uint8_t(0xFF), uint8_t(0x7F)}) {
                auto changed = bytes;
                changed[at] = value;
                tryLoad(changed);
            }
        }
    }

    // Fields that claim more than the buffer or the file holds.
    auto bmp = ReadBytes(PicturePath("bmp24_im.bmp"));
    MemEndian(reinterpret_cast<char*>(&bmp[2]), 0x7FFFFFFF, 4, false);  // file size
    MemEndian(reinterpret_cast<char*>(&bmp[10]), 0, 4, false);          // data offset
    WriteBytes(damaged, bmp);
    CDIB dib(8, 8, 24);
    EXPECT_EQ(LoadCode(damaged, dib), 0);

    auto psd = ReadBytes(PicturePath("psd_rgb_rle_im.psd"));
    auto tif = ReadBytes(PicturePath("tif_le_strips_im.tif"));
    for (size_t i = 30; i < psd.size(); ++i) psd[i] = 0xFF;  // every length and count at its largest
    tryLoad(psd);
    for (size_t i = 8; i < 300 && i < tif.size(); ++i) tif[i] = static_cast<uint8_t>(i * 37);
    tryLoad(tif);
}

}  // namespace
