#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "tests/common/TestKit.h"
#include "platform/Endian.h"
#include "platform/Env.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/Settings.h"

namespace {

std::string Hex(const char* bytes, int n) {
    std::string out;
    char two[4];
    for (int i = 0; i < n; i++) {
        std::snprintf(two, sizeof two, "%02X", static_cast<unsigned char>(bytes[i]));
        out += two;
    }
    return out;
}

void WriteWhole(const std::string& path, const std::string& text) {
    FSpec fileSpec;
    MakePathSpec(fileSpec, path.c_str());
    CPFile file(&fileSpec, kFileWrite);
    file.Write(const_cast<char*>(text.data()), static_cast<long>(text.size()));
}

}  // namespace

TEST(ByteOrder, EndianMemEndianAndFlopEndian) {
    const char ab[] = {0x01, 0x02};
    EXPECT_EQ(Endian(ab, 2, true), 0x0102);
    EXPECT_EQ(Endian(ab, 2, false), 0x0201);
    const char ones[] = {'\xFF', '\xFF', '\xFF', '\xFF'};
    EXPECT_EQ(Endian(ones, 2, true), 65535);
    EXPECT_EQ(Endian(ones, 2, false), 65535);
    EXPECT_EQ(Endian(ones, 4, false), 0xFFFFFFFFL);
    EXPECT_EQ(Endian(ones, 0, true), 0);

    char out[4];
    MemEndian(out, 0x01020304, 4, false);
    EXPECT_EQ(Hex(out, 4), "04030201");
    MemEndian(out, 0x01020304, 4, true);
    EXPECT_EQ(Hex(out, 4), "01020304");
    // Division by 256, not shifting: the low byte, then the bytes of -1 / 256.
    MemEndian(out, -1, 4, false);
    EXPECT_EQ(Hex(out, 4), "FF000000");

    char three[] = {1, 2, 3};
    FlopEndian(three, 3);
    EXPECT_EQ(Hex(three, 3), "030201");
    FlopEndian(three, 1);
    EXPECT_EQ(Hex(three, 3), "030201");
}

TEST(CPFileTest, ModesCreateReadAndNeverTruncate) {
    ScratchFolder dir;
    FSpec fileSpec;
    MakePathSpec(fileSpec, (dir / "show.gsx").c_str());
    CPFile missing;
    EXPECT_EQ(missing.Open(&fileSpec, kFileRead), 0);

    CPFile file;
    ASSERT_EQ(file.Open(&fileSpec, kFileWrite), 1);
    int32_t parent = file.GetFSpec()->parent;  // packed field: read by value
    EXPECT_EQ(file.GetFSpec()->volume, kPathFormId);
    EXPECT_EQ(parent, kPathFormId);
    EXPECT_STREQ(file.GetFSpec()->name, (dir / "show.gsx").c_str());
    char digits[] = "0123456789";
    EXPECT_EQ(file.Write(digits, 10), 10);
    file.Close();

    // Writing a shorter file over a longer one leaves the old tail.
    WriteWhole(dir / "show.gsx", "ab");
    CPFile back(&fileSpec, kFileReadWrite);
    EXPECT_EQ(back.GetFileLength(), 10);
    char text[11] = {};
    EXPECT_EQ(back.Read(text, 10), 10);
    EXPECT_STREQ(text, "ab23456789");
}

TEST(CPFileTest, SeekOriginsAndShortReads) {
    ScratchFolder dir;
    WriteWhole(dir / "d.bin", "0123456789");
    FSpec fileSpec;
    MakePathSpec(fileSpec, (dir / "d.bin").c_str());
    CPFile file(&fileSpec, kFileRead);
    char buf[32] = {};

    EXPECT_EQ(file.Seek(0, 1), 1);  // 1 is the end
    EXPECT_EQ(file.Read(buf, 1), 0);
    file.Seek(-4, 2);  // 2 is the current position
    EXPECT_EQ(file.Read(buf, 4), 4);
    EXPECT_EQ(std::string(buf, 4), "6789");
    file.Seek(2, 0);
    EXPECT_EQ(file.Read(buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "234");
    file.Seek(1, 7);  // any other origin counts from the start
    EXPECT_EQ(file.Read(buf, 2), 2);
    EXPECT_EQ(std::string(buf, 2), "12");

    // Reaching the end early reports 0 but still delivers the bytes.
    file.Seek(6, 0);
    std::memset(buf, 0, sizeof buf);
    EXPECT_EQ(file.Read(buf, 20), 0);
    EXPECT_STREQ(buf, "6789");
}

TEST(CPFileTest, ReadCountIsSixteenBitsWide) {
    ScratchFolder dir;
    WriteWhole(dir / "big.bin", std::string(65541, 'x'));
    FSpec fileSpec;
    MakePathSpec(fileSpec, (dir / "big.bin").c_str());
    CPFile file(&fileSpec, kFileRead);
    std::vector<char> buf(65541);
    EXPECT_EQ(file.Read(buf.data(), 65541), 5);
}

TEST(FSpecConversion, FormsAndEmptySpec) {
    ScratchFolder dir;
    FSpec empty = {};
    PlatformPath target;
    EXPECT_EQ(CopyToMacFSSpec(&target, &empty), 0);
    CPFile none;
    EXPECT_EQ(none.Open(&empty, kFileWrite), 0);

    // A path-form FSpec converts only when the path exists.
    FSpec pathForm;
    MakePathSpec(pathForm, (dir / "new.tga").c_str());
    EXPECT_EQ(CopyToMacFSSpec(&target, &pathForm), 0);
    WriteWhole(dir / "new.tga", "x");
    EXPECT_EQ(CopyToMacFSSpec(&target, &pathForm), 1);
    EXPECT_STREQ(target.path, pathForm.name);

    // The platform form names a file in the current directory, existing or not.
    char cwd[1024];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(dir.path.c_str()), 0);
    FSpec platformForm = {};
    platformForm.volume = -1;
    platformForm.parent = 2;
    std::strcpy(platformForm.name, "later.bmp");
    EXPECT_EQ(CopyToMacFSSpec(&target, &platformForm), 1);
    CPFile created(&platformForm, kFileWrite);
    EXPECT_STREQ(created.GetFSpec()->name, (dir / "later.bmp").c_str());
    ASSERT_EQ(chdir(cwd), 0);

    // Back to a path-form FSpec: folders end with a separator; a missing folder fails.
    std::snprintf(target.path, sizeof target.path, "%s", dir.path.c_str());
    FSpec back;
    EXPECT_EQ(CopyFromMacFSSpec(&back, &target), 1);
    EXPECT_EQ(back.volume, kPathFormId);
    EXPECT_EQ(std::string(back.name), dir.path + "/");
    std::snprintf(target.path, sizeof target.path, "%s/no/such.gsx", dir.path.c_str());
    EXPECT_EQ(CopyFromMacFSSpec(&back, &target), 0);
}

TEST(FileNames, SeparatorsOfEveryConvention) {
    struct Case {
        const char* in;
        const char* ext;
        const char* path;
        const char* folder;
    };
    const Case cases[] = {
        {"pic.final.bmp", "pic", "pic.final.bmp", ""},
        {"HD:Pics:a.jpg", "HD:Pics:a", "a.jpg", "HD:Pics:"},
        {"C:\\Shows\\b.gsx", "C:\\Shows\\b", "b.gsx", "C:\\Shows\\"},
        {"/home/me/c.tga", "/home/me/c", "c.tga", "/home/me/"},
        {"/top.bmp", "/top", "/top.bmp", ""},  // a separator at position 0 does not count
        {"", "", "", ""},
    };
    for (const Case& c : cases) {
        char buf[64];
        std::strcpy(buf, c.in);
        StripFileExt(buf);
        EXPECT_STREQ(buf, c.ext) << c.in;
        std::strcpy(buf, c.in);
        StripFilePath(buf);
        EXPECT_STREQ(buf, c.path) << c.in;
        std::strcpy(buf, c.in);
        StripFileName(buf);
        EXPECT_STREQ(buf, c.folder) << c.in;
    }
}

TEST(FileNames, PascalStrings) {
    unsigned char pascal[257];
    char back[256];
    EXPECT_EQ(CopyToPascal(pascal, "Pics"), 4);
    CopyFromPascal(back, pascal);
    EXPECT_STREQ(back, "Pics");
    std::string longName(300, 'n');
    EXPECT_EQ(CopyToPascal(pascal, longName.c_str()), 255);
    CopyFromPascal(back, pascal);
    EXPECT_EQ(std::string(back), std::string(255, 'n'));
}

namespace {
struct ScriptedDialogs : PlatformBackend {
    std::string error, question, title;
    int answer = 0;
    int choose = 0;
    FSpec offered = {};
    FSpec start = {};
    std::string filter;
    void ShowError(const char* text) override { error = text; }
    int AskYesNo(const char* text, const char* t) override {
        question = text;
        title = t;
        return answer;
    }
    int ChooseOpenFile(CPWnd*, FSpec* result, const char* f, const char*, FSpec* s, bool) override {
        filter = f;
        start = *s;
        if (choose) *result = offered;
        return choose;
    }
};
}  // namespace

TEST(LookForFileTest, AsksThenRemembersTheChosenFolder) {
    ScriptedDialogs dialogs;
    PlatformBackend* old = SetPlatformBackend(&dialogs);
    std::snprintf(gIniString, sizeof gIniString, "[Glimmerstroll]\r\n");
    FSpec result = {};
    int anyWindow = 0;
    CPWnd* parent = reinterpret_cast<CPWnd*>(&anyWindow);

    EXPECT_EQ(LookForFile(nullptr, &result), 0);
    EXPECT_EQ(dialogs.error, "Can't open file!");
    EXPECT_EQ(dialogs.question, "");

    EXPECT_EQ(LookForFile(parent, &result), 0);  // "no"
    EXPECT_EQ(dialogs.question, "Do you want to look for it?");
    EXPECT_EQ(dialogs.title, "Can't Open File!");
    EXPECT_EQ(dialogs.filter, "");

    dialogs.answer = 1;
    EXPECT_EQ(LookForFile(parent, &result), 0);  // cancelled
    EXPECT_EQ(dialogs.filter, "All Files (*.*)|*.*|");
    EXPECT_TRUE(IsEmptySpec(dialogs.start));

    dialogs.choose = 1;
    MakePathSpec(dialogs.offered, "/pics/trip/beach.jpg");
    EXPECT_EQ(LookForFile(parent, &result), 1);
    EXPECT_EQ(std::memcmp(&result, &dialogs.offered, sizeof result), 0);
    char folder[256];
    GetIniString("InitialFolder", "", folder, 255);
    EXPECT_STREQ(folder, "/pics/trip/");
    EXPECT_EQ(GetIniItem("InitialVrefnum", 0), kPathFormId);
    EXPECT_EQ(GetIniItem("InitialParID", 0), kPathFormId);

    // The next search starts in the remembered folder.
    EXPECT_EQ(LookForFile(parent, &result), 1);
    EXPECT_STREQ(dialogs.start.name, "/pics/trip/");
    EXPECT_EQ(dialogs.start.volume, kPathFormId);
    SetPlatformBackend(old);
}
