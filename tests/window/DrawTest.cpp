// SPDX-License-Identifier: GPL-2.0-or-later
#include <cairo.h>

#include <cstring>
#include <filesystem>

#include "WindowTestUtil.h"
#include "image/CDIB.h"
#include "platform/Env.h"

namespace {

constexpr long kWhite = 0xFFFFFF;
constexpr long kBlack = 0x000000;
constexpr long kRed = 0x0000FF;
constexpr long kBlue = 0xFF0000;

class Drawing : public HeadlessTest {
protected:
    void SetUp() override {
        HeadlessTest::SetUp();
        window.Create(nullptr, 0, nullptr);
        window.SetWinRect(0, 0, 200, 150, true);
        saved = SetDrawPort(&window);
    }
    void TearDown() override {
        SetDrawPort(saved);
        HeadlessTest::TearDown();
    }
    long Pixel(int px, int py) { return GetWindowPixel(&window, px, py); }
    std::vector<long> Snapshot() {
        std::vector<long> pixels;
        for (int py = 0; py < 150; py++)
            for (int px = 0; px < 200; px++) pixels.push_back(Pixel(px, py));
        return pixels;
    }

    std::vector<Delivered> log;
    RecordingWindow window{"window", &log};
    CPWnd* saved = nullptr;
};

TEST_F(Drawing, FramesIncludeTheRightAndBottomEdgeFillsExcludeThem) {
    DrawBox(kBlack, tagRECT{10, 10, 20, 20}, 1, kDrawCopy);
    EXPECT_EQ(Pixel(20, 20), kBlack);
    EXPECT_EQ(Pixel(10, 15), kBlack);
    EXPECT_EQ(Pixel(15, 15), kWhite);
    EXPECT_EQ(Pixel(21, 21), kWhite);

    DrawBar(kRed, tagRECT{30, 10, 40, 20});
    EXPECT_EQ(Pixel(30, 10), kRed);
    EXPECT_EQ(Pixel(39, 19), kRed);
    EXPECT_EQ(Pixel(40, 19), kWhite);
    EXPECT_EQ(Pixel(39, 20), kWhite);

    DrawBox(kBlue, tagRECT{50, 10, 60, 20}, 3, kDrawCopy);  // a wider pen stays inside the frame
    EXPECT_EQ(Pixel(52, 12), kBlue);
    EXPECT_EQ(Pixel(53, 13), kWhite);
    EXPECT_EQ(Pixel(58, 18), kBlue);
    EXPECT_EQ(Pixel(61, 15), kWhite);

    DrawLine(kBlack, 80, 10, 80, 30, 2, kDrawCopy);  // the pen hangs right and below
    EXPECT_EQ(Pixel(81, 20), kBlack);
    EXPECT_EQ(Pixel(82, 20), kWhite);
    EXPECT_EQ(Pixel(80, 31), kBlack);
    EXPECT_EQ(Pixel(80, 32), kWhite);

    DrawCirBar(kRed, tagRECT{100, 10, 120, 30});
    EXPECT_EQ(Pixel(110, 20), kRed);
    EXPECT_EQ(Pixel(100, 10), kWhite);

    window.SetWindowOrigin(100, 0);  // drawing follows the origin
    DrawBar(kBlue, tagRECT{100, 100, 102, 102});
    EXPECT_EQ(Pixel(0, 100), kBlue);
    EXPECT_EQ(Pixel(100, 100), kWhite);
}

TEST_F(Drawing, InvertingTwiceRestoresEveryPixel) {
    for (int i = 0; i < 10; i++) DrawBar(0x102030 * i + 0x0F0F0F, tagRECT{i * 20, 0, i * 20 + 20, 150});
    DrawText(kBlack, "Glimmerstroll", 10, 60, kAlignLeft);
    DrawRoundBar(0x00FFFF, tagRECT{120, 90, 190, 140}, 8);
    const std::vector<long> before = Snapshot();

    const tagPOINT path[] = {{20, 20}, {150, 30}, {120, 120}, {30, 100}, {90, 10}};
    const auto shapes = [&] {
        RubberBox(tagRECT{15, 15, 160, 110}, kBlack, 2);
        RubberCir(tagRECT{40, 30, 170, 140}, 0x00FFFF, 1);
        RubberLine(tagRECT{0, 149, 199, 0}, kBlack, 3);
        RubberPolygon(path, 5, kBlack, 2);
        DrawPolyLine(kRed, 1, 5, path, kDrawInvert);
        DrawRoundBox(kBlack, tagRECT{60, 60, 140, 100}, 10, 2, kDrawInvert);
    };
    shapes();
    EXPECT_NE(Snapshot(), before);
    EXPECT_EQ(Pixel(15, 50), 0xFFFFFF ^ 0x0F0F0F);  // the box's left edge, inverted
    shapes();
    EXPECT_EQ(Snapshot(), before);
}

TEST_F(Drawing, TextAlignsAndFontsMadeBeforeTheLayerKeepTheirSizes) {
    DrawText(kBlack, "Right", 150, 20, kAlignRight);
    DrawText(kBlack, "Centre", 100, 60, kAlignCentre);
    int inkLeft = 200, inkRight = -1, centreLeft = 200, centreRight = -1;
    for (int py = 0; py < 100; py++)
        for (int px = 0; px < 200; px++) {
            if (Pixel(px, py) == kWhite) continue;
            int& left = py < 40 ? inkLeft : centreLeft;
            int& right = py < 40 ? inkRight : centreRight;
            left = std::min(left, px);
            right = std::max(right, px);
        }
    EXPECT_LE(inkRight, 150);
    EXPECT_GT(inkLeft, 100);
    EXPECT_NEAR((centreLeft + centreRight) / 2.0, 100, 2);

    // Fonts made by the console backend (before the layer started) are taken
    // by their slot, so the sizes still differ.
    void* before10 = Sans10;
    void* before20 = Sans20;
    Sans10 = GetConsoleBackend()->MakeFont("Sans", 10, false);
    Sans20 = GetConsoleBackend()->MakeFont("Sans", 20, false);
    SelectFont(Sans10);
    const long narrow = GetTextWidth("Glimmerstroll");
    SelectFont(Sans20);
    const long wide = GetTextWidth("Glimmerstroll");
    SelectFont(nullptr);
    EXPECT_GT(wide, narrow * 3 / 2);
    GetConsoleBackend()->RemoveFont(Sans10);
    GetConsoleBackend()->RemoveFont(Sans20);
    Sans10 = before10;
    Sans20 = before20;
}

TEST_F(Drawing, ImagesAreDrawnTopRowFirstAndScaled) {
    CDIB dib(3, 2, 24);
    std::memset(dib.bits, 0, static_cast<size_t>(dib.GetRowBytes() * 2));
    uint8_t* bottom = dib.GetBitsAdd(0);  // stored bottom-up: row 0 is the lower one
    uint8_t* top = dib.GetBitsAdd(1);
    for (int i = 0; i < 3; i++) {
        bottom[i * 3 + 2] = 0xFF;  // red
        top[i * 3 + 0] = 0xFF;     // blue
    }
    top[2 * 3 + 1] = 0xFF;  // the top right pixel: blue and green
    tagRECT source{0, 0, 3, 2};
    tagRECT same{10, 10, 13, 12};
    DIBDraw(same, source, &dib, &window);
    EXPECT_EQ(Pixel(10, 10), kBlue);
    EXPECT_EQ(Pixel(12, 10), 0xFFFF00);
    EXPECT_EQ(Pixel(10, 11), kRed);
    EXPECT_EQ(Pixel(13, 10), kWhite);

    tagRECT doubled{20, 20, 26, 24};
    DIBDraw(doubled, source, &dib, nullptr);  // no port given: the current one
    EXPECT_EQ(Pixel(21, 21), kBlue);
    EXPECT_EQ(Pixel(25, 20), 0xFFFF00);
    EXPECT_EQ(Pixel(21, 22), kRed);
    EXPECT_EQ(Pixel(26, 22), kWhite);

    CDIB alpha(2, 1, 32);
    std::memset(alpha.bits, 0, static_cast<size_t>(alpha.GetRowBytes()));
    alpha.GetBitsAdd(0)[1] = 0x80;  // green, alpha left at 0: drawn opaque
    tagRECT one{0, 0, 2, 1};
    tagRECT at{40, 40, 42, 41};
    DIBDraw(at, one, &alpha, &window);
    EXPECT_EQ(Pixel(40, 40), 0x008000);

    const std::string png = std::string(GS_BINARY_DIR) + "/testhome/window_draw.png";
    ASSERT_EQ(backend->WriteWindowPNG(&window, png.c_str()), 1);
    cairo_surface_t* read = cairo_image_surface_create_from_png(png.c_str());
    ASSERT_EQ(cairo_surface_status(read), CAIRO_STATUS_SUCCESS);
    EXPECT_EQ(cairo_image_surface_get_width(read), 200);
    const auto* row = reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(read) +
                                                        10 * cairo_image_surface_get_stride(read));
    EXPECT_EQ(row[10] & 0xFFFFFF, 0x0000FFu);  // cairo's 0x00RRGGBB: blue
    cairo_surface_destroy(read);
    std::filesystem::remove(png);
}

}  // namespace

namespace {

TEST_F(Drawing, SlantedLinesAndCurvesAreSmoothLevelOnesAndOutlinesExact) {
    auto greys = [&](int x0, int y0, int x1, int y1) {
        int count = 0;
        for (int y = y0; y <= y1; y++)
            for (int x = x0; x <= x1; x++) count += Pixel(x, y) != kWhite && Pixel(x, y) != kBlack;
        return count;
    };
    DrawLine(kBlack, 10, 10, 90, 50, 1, kDrawCopy);
    EXPECT_GT(greys(10, 10, 90, 50), 20);
    DrawCir(kBlack, tagRECT{100, 10, 160, 70}, 1, kDrawCopy);
    EXPECT_GT(greys(100, 10, 160, 70), 20);
    DrawLine(kBlack, 10, 100, 90, 100, 1, kDrawCopy);
    DrawBox(kBlack, tagRECT{10, 110, 60, 140}, 1, kDrawCopy);
    EXPECT_EQ(0, greys(5, 95, 95, 145));
    DrawLine(kBlack, 100, 100, 190, 140, 2, kDrawInvert);  // inverting: black or white only
    EXPECT_EQ(0, greys(100, 100, 190, 145));
}

// A headless backend whose surfaces are at twice the layer's pixels, as on a
// desktop scaled by 2.
class ScaledBackend : public HeadlessBackend {
public:
    int SurfaceScale() override { return 2; }
};

TEST(DrawingAtScaleTwo, SurfacesHoldFourPixelsForEachAndDrawAsAtOne) {
    ScaledBackend backend;
    InstallWindowBackend(&backend);
    {
        CPWnd window;
        window.Create(nullptr, 0, nullptr);
        window.SetWinRect(0, 0, 200, 150, true);
        CPWnd* saved = SetDrawPort(&window);
        cairo_surface_t* surface = static_cast<cairo_surface_t*>(window.surface);
        ASSERT_NE(surface, nullptr);
        EXPECT_EQ(400, cairo_image_surface_get_width(surface));
        EXPECT_EQ(300, cairo_image_surface_get_height(surface));

        DrawBar(kWhite, tagRECT{0, 0, 200, 150});
        DrawBox(kBlack, tagRECT{10, 10, 20, 20}, 1, kDrawCopy);
        EXPECT_EQ(GetWindowPixel(&window, 20, 20), kBlack);
        EXPECT_EQ(GetWindowPixel(&window, 15, 15), kWhite);
        DrawBar(kRed, tagRECT{30, 10, 40, 20});
        EXPECT_EQ(GetWindowPixel(&window, 39, 19), kRed);
        EXPECT_EQ(GetWindowPixel(&window, 40, 19), kWhite);

        std::vector<long> before;
        for (int y = 0; y < 150; y++)
            for (int x = 0; x < 200; x++) before.push_back(GetWindowPixel(&window, x, y));
        RubberBox(tagRECT{15, 15, 160, 110}, kBlack, 2);
        EXPECT_EQ(GetWindowPixel(&window, 15, 50), kBlack);  // white inverted
        RubberBox(tagRECT{15, 15, 160, 110}, kBlack, 2);
        std::vector<long> after;
        for (int y = 0; y < 150; y++)
            for (int x = 0; x < 200; x++) after.push_back(GetWindowPixel(&window, x, y));
        EXPECT_EQ(before, after);
        SetDrawPort(saved);
    }
    InstallWindowBackend(nullptr);
}

}  // namespace
