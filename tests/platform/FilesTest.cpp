// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <string>
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

TEST(CPFileTest, OnlyRegularFilesOpenAndAtOnce) {
    ScratchFolder dir;
    const std::string fifo = dir / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& path : {std::string("/dev/zero"), std::string("/dev/urandom"), fifo, dir.path}) {
        FSpec fileSpec;
        MakePathSpec(fileSpec, path.c_str());
        for (int mode : {kFileRead, kFileWrite, kFileReadWrite}) {
            CPFile file;
            EXPECT_EQ(file.Open(&fileSpec, mode), 0) << path << " mode " << mode;
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

// A show saved over an older one: written whole, or on any failure not at all.
class SafeSave : public ::testing::Test {
protected:
    void TearDown() override { SetWriteFaultAfter(-1); }
    int Save(const std::string& path, const std::string& bytes) {
        FSpec fileSpec;
        MakePathSpec(fileSpec, path.c_str());
        return SaveFileSafely(&fileSpec, bytes.data(), static_cast<long>(bytes.size()));
    }
    ScratchFolder dir;
};

TEST_F(SafeSave, ReplacesTheWholeFileKeepingItsPermissions) {
    const std::string path = dir / "show.gsx";
    std::ofstream(path) << std::string(9000, 'o');
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    ASSERT_EQ(Save(path, "new show"), kSaveDone);
    EXPECT_EQ(ReadFile(path), "new show");
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    EXPECT_EQ(dir.List(), std::vector<std::string>{"show.gsx"});
    EXPECT_EQ(Save(dir / "no-folder/show.gsx", "x"), kSaveNoFile);
}

TEST_F(SafeSave, AFailedWriteLeavesTheOldFileAndNoTemporary) {
    const std::string path = dir / "show.gsx";
    std::ofstream(path) << "old show";
    for (long after : {0L, 3L}) {
        SetWriteFaultAfter(after);
        EXPECT_EQ(Save(path, std::string(5000, 'n')), kSaveFailed) << after;
        EXPECT_EQ(ReadFile(path), "old show");
        EXPECT_EQ(dir.List(), std::vector<std::string>{"show.gsx"});
    }
    // A new file that could not be written is not there at all.
    SetWriteFaultAfter(0);
    EXPECT_EQ(Save(dir / "new.gsx", "n"), kSaveFailed);
    EXPECT_EQ(dir.List(), std::vector<std::string>{"show.gsx"});
}

TEST_F(SafeSave, OnAFullFilesystem) {
    // A real full disk where this process may mount a small one.
    const std::string disk = dir / "disk";
    ASSERT_EQ(mkdir(disk.c_str(), 0700), 0);
    if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=64k") != 0)
        GTEST_SKIP() << "no tmpfs can be mounted here; the injected write failure above stands in";
    const std::string path = disk + "/show.gsx";
    const bool old = Save(path, "old show") == kSaveDone;
    {
        std::ofstream fill(disk + "/fill", std::ios::binary);
        const std::string block(4096, 'f');
        for (int i = 0; i < 64 && fill; i++) fill.write(block.data(), block.size());
    }
    const int saved = Save(path, std::string(20000, 'n'));
    const std::string left = ReadFile(path);
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(disk)) names.push_back(e.path().filename().string());
    umount2(disk.c_str(), MNT_DETACH);
    ASSERT_TRUE(old);
    EXPECT_EQ(saved, kSaveFailed);
    EXPECT_EQ(left, "old show");
    EXPECT_EQ(names.size(), 2u);  // the show and the filler, no temporary
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
