// SPDX-License-Identifier: GPL-2.0-or-later
#include <algorithm>
#include <cstring>

#include "WindowTestUtil.h"
#include "platform/Env.h"

namespace {

class DialogTest : public HeadlessTest {
protected:
    static constexpr int x = 40;
    static constexpr int y = 30;

    void SetUp() override {
        HeadlessTest::SetUp();
        parent.Create(nullptr, 0, nullptr);
        parent.SetWinRect(0, 0, 800, 600, true);
        other.Create(nullptr, 0, nullptr);
        other.SetWinRect(0, 600, 200, 700, true);
        backend->ClearEvents();
    }

    // Items and their values; L is measured as the dialog does.
    void Fill(std::vector<std::pair<const char*, const char*>> rows) {
        std::memset(items, 0, sizeof items);
        std::memset(values, 0, sizeof values);
        count = static_cast<int>(rows.size());
        void* saved = GetSelectedFont();
        SelectFont(Sans10);
        L = 0;
        for (int i = 0; i < count; i++) {
            std::strcpy(items[i], rows[i].first);
            std::strcpy(values[i], rows[i].second);
            L = std::max(L, static_cast<int>(GetTextWidth(items[i])));
        }
        SelectFont(saved);
    }
    int RowY(int row) const { return y + 36 + 20 * row + 8; }
    int ValueX() const { return x + L + 16 + 10; }
    void ClickAt(int cx, int cy) { backend->Click(&parent, cx, cy); }
    int Run(bool preview = false) { return CPDialog(&parent, x, y, preview ? -count : count, items[0], values[0], "Options"); }

    std::vector<Delivered> log;
    RecordingWindow parent{"parent", &log};
    RecordingWindow other{"other", &log};
    char items[8][64];
    char values[8][64];
    int count = 0;
    int L = 0;
};

TEST_F(DialogTest, EscapeReturnOutsideClicksAndTheButtonRows) {
    Fill({{"@CVideo Safe Color", ""}, {"@CPre-Blur", ""}, {"Width", "10"}});
    backend->Key(&parent, kKeyReturn);
    EXPECT_EQ(Run(), kDialogOK);

    ClickAt(ValueX(), RowY(0));  // ticks the box; Escape keeps the edit
    backend->Key(&parent, kKeyEscape);
    EXPECT_EQ(Run(), kDialogCancel);
    EXPECT_STREQ(values[0], "1");

    ClickAt(x + L + 12, RowY(1));  // on the label: nothing
    ClickAt(x + 100, y - 100);     // above the dialog: a negative row is ignored
    ClickAt(x + 2 * L - 20, RowY(3));
    EXPECT_EQ(Run(), kDialogOK);
    EXPECT_STREQ(values[1], "");

    ClickAt(x + 2 * L - 20, RowY(4));
    EXPECT_EQ(Run(), kDialogCancel);
    ClickAt(x + 2 * L + 40, RowY(1));  // right of the dialog
    EXPECT_EQ(Run(), kDialogCancel);
    backend->Click(&other, 5, 5);
    EXPECT_EQ(Run(), kDialogCancel);
    EXPECT_EQ(backend->Pending(), 1u);  // the release in the other window was not taken

    backend->ClearEvents();
    ClickAt(x + 20, RowY(4));
    EXPECT_EQ(Run(true), kDialogPreview);
    ClickAt(x + 20, RowY(3));
    EXPECT_EQ(Run(true), kDialogPreview);
    ClickAt(x + 100, RowY(4));
    EXPECT_EQ(Run(true), kDialogCancel);
}

TEST_F(DialogTest, LayoutAndDrawing) {
    Fill({{"@CVideo Safe Color", "1"}, {"Horizontal Position", "320"}});
    backend->Key(&parent, kKeyEscape);
    Run();
    const int right = x + 2 * L + 16;
    const int bottom = y + 20 * count + 78;
    EXPECT_EQ(GetWindowPixel(&parent, x, y), 0xFFFFFF);                   // bevel, light side
    EXPECT_EQ(GetWindowPixel(&parent, right - 1, bottom - 1), 0x404040);  // bevel, dark side
    EXPECT_EQ(GetWindowPixel(&parent, x + 4, y + 40), 0xC0C0C0);
    EXPECT_EQ(GetWindowPixel(&parent, x + 12, y + 20), 0x000000);         // title bar
    EXPECT_EQ(GetWindowPixel(&parent, right, y + 40), 0xFFFFFF);          // outside: untouched
    EXPECT_EQ(GetWindowPixel(&parent, x + 4, bottom), 0xFFFFFF);
    // The text field's box: white, framed in black, from the value column to its edge.
    EXPECT_EQ(GetWindowPixel(&parent, x + L + 16, y + 56), 0x000000);
    EXPECT_EQ(GetWindowPixel(&parent, x + 2 * L + 7, y + 60), 0x000000);
    EXPECT_EQ(GetWindowPixel(&parent, x + 2 * L + 8, y + 60), 0xC0C0C0);
}

TEST_F(DialogTest, ARadioClickClearsEveryRadioOfTheDialog) {
    Fill({{"@REases|Use Default", "1"}, {"@RIn & Out", ""}, {"@CNo Curves", "1"}, {"@RMode|Other", ""}});
    ClickAt(ValueX(), RowY(3));
    backend->Key(&parent, kKeyReturn);
    Run();
    EXPECT_STREQ(values[0], "");
    EXPECT_STREQ(values[1], "");
    EXPECT_STREQ(values[2], "1");
    EXPECT_STREQ(values[3], "1");

    ClickAt(ValueX(), RowY(1));
    ClickAt(ValueX(), RowY(1));  // a second click leaves it chosen
    backend->Key(&parent, kKeyReturn);
    Run();
    EXPECT_STREQ(values[1], "1");
    EXPECT_STREQ(values[3], "");
}

TEST_F(DialogTest, SliderFollowsTheDragAndStopsAtTheEnds) {
    Fill({{"@SBorder Size %", "25"}, {"@SContrast", "50"}});
    const int start = x + L + 16;
    backend->MouseDown(&parent, start + 3, RowY(0));
    backend->MouseMove(&parent, start + 5000, RowY(0));
    backend->Key(&parent, kKeyReturn);
    Run();
    EXPECT_STREQ(values[0], "100");

    backend->MouseDown(&parent, start + 10, RowY(1));
    backend->MouseMove(&parent, start - 300, RowY(1));
    backend->Key(&parent, kKeyReturn);
    Run();
    EXPECT_STREQ(values[1], "0");

    const int mid = start + (L - 34) / 3;
    backend->MouseDown(&parent, mid, RowY(0));
    backend->MouseUp(&parent, mid, RowY(0));
    backend->MouseMove(&parent, start + 5000, RowY(0));  // the drag has ended
    backend->Key(&parent, kKeyReturn);
    Run();
    const int expected = static_cast<int>(100 * (double(mid - start) / (L - 34)));
    EXPECT_EQ(std::string(values[0]), std::to_string(expected));
}

TEST_F(DialogTest, TextFieldsAreEditedInPlaceOrAskedFor) {
    Fill({{"Width", "10"}, {"@CNo Curves", ""}});
    ClickAt(ValueX(), RowY(0));
    backend->Type(&parent, "5x");
    backend->Key(&parent, kKeyBackspace);
    ClickAt(x + 5, RowY(1));  // anywhere in the dialog closes the field
    backend->Key(&parent, kKeyEscape);
    EXPECT_EQ(Run(), kDialogCancel);
    EXPECT_STREQ(values[0], "105");
    EXPECT_EQ(backend->OpenEditField(), nullptr);

    ClickAt(ValueX(), RowY(0));
    backend->Type(&parent, "7");
    backend->Key(&parent, kKeyReturn);  // Return ends the dialog, the text is kept
    EXPECT_EQ(Run(), kDialogOK);
    EXPECT_STREQ(values[0], "1057");
    EXPECT_EQ(gMacEditBox, nullptr);

    backend->offerEditField = false;
    backend->AnswerString("33");
    ClickAt(ValueX(), RowY(0));
    backend->Key(&parent, kKeyReturn);
    Run();
    EXPECT_STREQ(values[0], "33");
    ASSERT_FALSE(backend->asked.empty());
    EXPECT_EQ(backend->asked.back().title, "Type New Value for Width");
    EXPECT_EQ(backend->asked.back().hint, " ( was: 1057 )");
}

TEST_F(DialogTest, ColourAndFolderItemsUseThePickers) {
    Fill({{"@LBorder/Tint Color", "255"}, {"@FAlt Folder", "/old/"}});
    backend->AnswerColour(0x00FF00);
    backend->CancelColour();
    backend->AnswerOpenFile("/tmp/pics/a.bmp");
    ClickAt(ValueX(), RowY(0));
    ClickAt(ValueX(), RowY(0));
    ClickAt(ValueX(), RowY(1));
    backend->Key(&parent, kKeyReturn);
    Run();
    EXPECT_STREQ(values[0], "65280");
    EXPECT_STREQ(values[1], "/tmp/pics/");
    ASSERT_EQ(backend->asked.size(), 3u);
    EXPECT_EQ(backend->asked[0].title, "Choose Color");
    EXPECT_EQ(backend->asked[2].kind, "open");
    EXPECT_EQ(backend->asked[2].filter, "All Files (*.*)|*.*|");
    EXPECT_EQ(backend->asked[2].extension, ".bmp");
    EXPECT_EQ(backend->asked[2].folder, "/old/");
}

TEST_F(DialogTest, ListPickAndProgressBar) {
    char list[3][64] = {"First", "Second", "Third"};
    backend->Key(&parent, kKeyDown);
    backend->Key(&parent, kKeyDown);
    backend->Key(&parent, kKeyReturn);
    EXPECT_EQ(CPListPick(&parent, 20, 20, 3, list[0], "Pick", 0), 2);
    backend->Click(&parent, 30, 20 + 32 + 16 + 4);
    EXPECT_EQ(CPListPick(&parent, 20, 20, 3, list[0], "Pick", -1), 1);
    backend->Click(&other, 5, 5);
    EXPECT_EQ(CPListPick(&parent, 20, 20, 3, list[0], "Pick", 0), -1);

    PortSaver port(&parent);
    DrawProgressBar(tagRECT{100, 400, 300, 420}, 1, 4, GetMilliTime());
    EXPECT_EQ(GetWindowPixel(&parent, 101, 401), 0xFFC080);  // the quarter done
    EXPECT_EQ(GetWindowPixel(&parent, 298, 401), 0xFFFFFF);
}

}  // namespace
