// SPDX-License-Identifier: GPL-2.0-or-later
#include "editor/CMain.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "doc/CDoc.h"
#include "doc/PictureLookup.h"
#include "editor/CStage.h"
#include "editor/CTime.h"
#include "editor/CView.h"
#include "editor/EditorState.h"
#include "image/HostImage.h"
#include "motion/Timecode.h"
#include "platform/Env.h"
#include "platform/Platform.h"
#include "platform/Settings.h"

#ifndef GS_VERSION
#define GS_VERSION "1.1.0"
#endif

namespace {

constexpr long kBlack = 0x000000;
constexpr long kStatusGrey = 0xC0C0C0;
constexpr int kLogoResource = 113;
constexpr int kHintRow = 29;  // the hint's top above the status area's bottom
constexpr int kShowBufferSize = 8192;
// Show files are far smaller; anything larger is not one.
constexpr long kLargestShowFile = 1 << 20;

constexpr int kItemChecked = 1;
constexpr int kItemDisabled = 2;
constexpr int kItemOption = 8;  // carries a check mark; actions carry none

const char* const kShowFilter = "Glimmerstroll Files (*.gsx)|*.gsx|All Files (*.*)|*.*|";

int FramesPerSecond() { return (gFrameRate + 50) / 100; }

// ---- Menus ----------------------------------------------------------------

// How an item's check mark (or enabled state) starts.
enum class Start {
    Plain,     // enabled, unchecked
    Disabled,  // enabled later by SetEditMenuOptions
    Flag,      // checked when the setting is non-zero
    EaseLow,   // checked when the low four bits of "EaseType" equal `match`
    Straight,  // checked when any of bits 4 to 7 of "EaseType" is set
    Equals,    // checked when the setting equals `match`
};

// When an item is in the menu at all.
enum class When { Always, PictureFromFile, CanMultiProcess };

struct MenuRow {
    const char* title;  // a new top-level menu starts where the title changes
    int command;        // -1: separator
    const char* label;
    Start start = Start::Plain;
    const char* key = nullptr;
    long def = 0;
    long match = 0;
    When when = When::Always;
};

const MenuRow kMenus[] = {
    {"File", kCmdLoadPicture, "Load Picture/E", Start::Plain, nullptr, 0, 0, When::PictureFromFile},
    {"File", -1, "", Start::Plain, nullptr, 0, 0, When::PictureFromFile},
    {"File", kCmdNewShow, "New Show/N"},
    {"File", kCmdLoadShow, "Load Show/O"},
    {"File", kCmdSaveShow, "Save Show/S"},
    {"File", -1, ""},
    {"File", kCmdApply, "Apply Moves and Close/Q"},
    {"File", kCmdDrop, "Quit - DON'T Apply changes"},

    {"Edit", kCmdUndo, "Undo/Z", Start::Disabled},
    {"Edit", kCmdRedo, "Redo/Y", Start::Disabled},
    {"Edit", -1, ""},
    {"Edit", kCmdCut, "Cut/X", Start::Disabled},
    {"Edit", kCmdCopy, "Copy/C", Start::Disabled},
    {"Edit", kCmdPaste, "Paste/V", Start::Disabled},
    {"Edit", kCmdDelete, "Delete", Start::Disabled},
    {"Edit", -1, ""},
    {"Edit", kCmdDeleteAllKeys, "Delete All Keys"},
    {"Edit", kCmdUniformSpeed, "Uniform Speed"},
    {"Edit", kCmdPrepPicture, "Prep Picture"},

    {"Options", kCmdAutoAddKeys, "Auto-Add Keys", Start::Flag, "AutoAddKey", 1},
    {"Options", kCmdShowCameraPath, "Show Camera Path", Start::Flag, "ShowCameraPath", 0},
    {"Options", kCmdAutoRescale, "Auto-Rescale Show", Start::Flag, "RescaleShow", 1},
    {"Options", -1, ""},
    {"Options", kCmdEaseInOut, "Slow-in & Slow Out", Start::EaseLow, "EaseType", 0, 0},
    {"Options", kCmdEaseIn, "Slow-in", Start::EaseLow, "EaseType", 0, 1},
    {"Options", kCmdEaseOut, "Slow-out", Start::EaseLow, "EaseType", 0, 2},
    {"Options", kCmdNoSlows, "No Slows", Start::EaseLow, "EaseType", 0, 3},
    {"Options", -1, ""},
    {"Options", kCmdNoCurves, "No Curves", Start::Straight, "EaseType", 0},

    {"Render", kCmdAspect43, "4:3 Aspect Ratio", Start::Equals, "AspectMode", 7500, 7500},
    {"Render", kCmdAspect169, "16:9 Aspect Ratio", Start::Equals, "AspectMode", 7500, 5625},
    {"Render", kCmdLetterBox, "LetterBox 16:9", Start::Equals, "AspectMode", 7500, 5626},
    {"Render", -1, ""},
    {"Render", kCmdDraft, "Draft quality", Start::Flag, "DraftRender", 0},
    {"Render", kCmdExactQuality, "Exact quality", Start::Flag, "ExactRender", 0},
    {"Render", kCmdMotionBlur, "Add Motion Blur", Start::Flag, "BlurFrames", 0},
    {"Render", kCmdMultiProcess, "Multiple Processors", Start::Flag, "MultiProcess", 0, 0,
     When::CanMultiProcess},
    {"Render", -1, ""},
    {"Render", kCmdAdvanced, "Advanced Options"},

    {"View", kCmdCenterPic, "Center Pic on Stage", Start::Flag, "CenterPic", 0},
    {"View", kCmdTVSafe, "Show TV Safe Area", Start::Flag, "ShowTVSafe", 0},
    {"View", -1, ""},
    {"View", kCmdZoomIn, "Stage Zoom In"},
    {"View", kCmdZoomOut, "Stage Zoom Out"},
    {"View", -1, ""},
    {"View", kCmdEnlargeTimeline, "Enlarge Timeline/>"},
    {"View", kCmdContractTimeline, "Contract Timeline/<"},

    {"Help", kCmdContents, "Contents"},
    {"Help", kCmdAbout, "About"},
};

bool RowPresent(const MenuRow& row) {
    switch (row.when) {
    case When::PictureFromFile: return !gGetImageFromTimeline;
    case When::CanMultiProcess: return gCanMultiProcess != 0;
    case When::Always: break;
    }
    return true;
}

int RowFlags(const MenuRow& row) {
    const long value = row.key ? GetIniItem(row.key, row.def) : 0;
    bool checked = false;
    switch (row.start) {
    case Start::Plain: return 0;
    case Start::Disabled: return kItemDisabled;
    case Start::Flag: checked = value != 0; break;
    case Start::EaseLow: checked = (value & 15) == row.match; break;
    case Start::Straight: checked = (value & 0xF0) != 0; break;
    case Start::Equals: checked = value == row.match; break;
    }
    return kItemOption | (checked ? kItemChecked : 0);
}

// ---- Option toggles ---------------------------------------------------------

// What must be drawn again after a toggle.
enum class After { Nothing, Stage, Frame, Viewer };

struct ToggleRow {
    int command;
    const char* key;
    int32_t* (*flag)();  // the flag it turns; null while its window is missing
    After after;
};

int32_t* StagePathFlag() { return pStage ? &pStage->showPath : nullptr; }
int32_t* StageCentreFlag() { return pStage ? &pStage->centerPic : nullptr; }
int32_t* ViewerSafeFlag() { return pViewer ? &pViewer->tvSafe : nullptr; }

const ToggleRow kToggles[] = {
    {kCmdAutoAddKeys, "AutoAddKey", [] { return &pDoc->autoAddKey; }, After::Nothing},
    {kCmdAutoRescale, "RescaleShow", [] { return &pDoc->rescaleShow; }, After::Nothing},
    {kCmdShowCameraPath, "ShowCameraPath", StagePathFlag, After::Stage},
    {kCmdDraft, "DraftRender", [] { return &pDoc->draftRender; }, After::Frame},
    {kCmdExactQuality, "ExactRender", [] { return &pDoc->exactRender; }, After::Frame},
    {kCmdMotionBlur, "BlurFrames", [] { return &pDoc->blurFrames; }, After::Frame},
    {kCmdMultiProcess, "MultiProcess", [] { return reinterpret_cast<int32_t*>(&gMultiProcess); },
     After::Nothing},
    {kCmdTVSafe, "ShowTVSafe", ViewerSafeFlag, After::Viewer},
    {kCmdCenterPic, "CenterPic", StageCentreFlag, After::Stage},
};
static_assert(sizeof(int) == sizeof(int32_t), "gMultiProcess is a 32-bit flag");

struct AspectRow {
    int command;
    float aspect;
    int32_t mode;
};
const AspectRow kAspects[] = {
    {kCmdAspect43, 0.75f, 7500},
    {kCmdAspect169, 0.5625f, 5625},
    {kCmdLetterBox, 0.5625f, 5626},
};

// ---- Keys -------------------------------------------------------------------

enum class KeyDo {
    Nothing, Play, Reverse, Stop, PlayFromStart, StepForward, StepBack, First, Last,
    AddKey, NextKey, Command, QuickSave, Close,
};

struct KeyRow {
    std::string_view keys;
    KeyDo plain;
    KeyDo chord;
    int command = 0;  // for KeyDo::Command
};

const KeyRow kKeys[] = {
    {" PpLl", KeyDo::Play, KeyDo::Nothing},
    {"RrJj", KeyDo::Reverse, KeyDo::Nothing},
    {"Kk", KeyDo::Stop, KeyDo::Nothing},
    {"0", KeyDo::PlayFromStart, KeyDo::Nothing},
    {"+", KeyDo::StepForward, KeyDo::Nothing},
    {"-", KeyDo::StepBack, KeyDo::Nothing},
    {"\x01", KeyDo::First, KeyDo::Nothing},
    {"\x04", KeyDo::Last, KeyDo::Nothing},
    {"\r", KeyDo::AddKey, KeyDo::Nothing},
    {"\t", KeyDo::NextKey, KeyDo::Nothing},
    {"\x7f\b", KeyDo::Command, KeyDo::Nothing, kCmdDelete},
    {"<", KeyDo::Nothing, KeyDo::Command, kCmdContractTimeline},
    {">", KeyDo::Nothing, KeyDo::Command, kCmdEnlargeTimeline},
    {"c", KeyDo::Nothing, KeyDo::Command, kCmdCopy},
    {"x", KeyDo::Nothing, KeyDo::Command, kCmdCut},
    {"v", KeyDo::Nothing, KeyDo::Command, kCmdPaste},
    {"z", KeyDo::Nothing, KeyDo::Command, kCmdUndo},
    {"y", KeyDo::Nothing, KeyDo::Command, kCmdRedo},
    {"e", KeyDo::Nothing, KeyDo::Command, kCmdLoadPicture},
    {"n", KeyDo::Nothing, KeyDo::Command, kCmdNewShow},
    {"o", KeyDo::Nothing, KeyDo::Command, kCmdLoadShow},
    {"s", KeyDo::Nothing, KeyDo::QuickSave},
    {"t", KeyDo::Nothing, KeyDo::Command, kCmdMakeStill},
    {"q", KeyDo::Nothing, KeyDo::Close},
};

const KeyRow* FindKeyRow(int character) {
    if (character <= 0 || character > 255) return nullptr;
    for (const KeyRow& row : kKeys)
        if (row.keys.find(static_cast<char>(character)) != std::string_view::npos) return &row;
    return nullptr;
}

// ---- Small helpers -------------------------------------------------------------

// The show length that a show block keeps in its first key (key 0 of the first
// picture record, word 11), in either byte order; 0 when it has none.
long SavedShowLength(const std::string& block) {
    constexpr size_t kCount = 8 + 262;
    constexpr size_t kLengthWord = kCount + 4 + 11 * 4;
    if (block.size() < kLengthWord + 4) return 0;
    uint16_t magic;
    std::memcpy(&magic, block.data(), 2);
    if (magic != 0x1234 && magic != 0x3412) return 0;
    const bool swap = magic == 0x3412;
    uint32_t count, word;
    std::memcpy(&count, block.data() + kCount, 4);
    std::memcpy(&word, block.data() + kLengthWord, 4);
    if (swap) {
        count = __builtin_bswap32(count);
        word = __builtin_bswap32(word);
    }
    float length;
    std::memcpy(&length, &word, 4);
    if (static_cast<int32_t>(count) <= 0 || !(length >= 1.0f && length < 1.0e7f)) return 0;
    return static_cast<long>(length);
}

// The frames a show without a saved length lasts, as the command-line tool
// counts them: up to its last key (the keys of the first picture record, in
// either byte order); 0 when it has no key after the first frame.
long LengthToLastKey(const std::string& block) {
    constexpr size_t kCount = 8 + 262;
    constexpr size_t kFirstKey = kCount + 4;
    constexpr size_t kKeySize = 56;
    constexpr size_t kTimeWord = 12 * 4;
    if (block.size() < kFirstKey) return 0;
    uint16_t magic;
    std::memcpy(&magic, block.data(), 2);
    if (magic != 0x1234 && magic != 0x3412) return 0;
    const bool swap = magic == 0x3412;
    uint32_t count;
    std::memcpy(&count, block.data() + kCount, 4);
    if (swap) count = __builtin_bswap32(count);
    long last = 0;
    for (uint32_t k = 0; k < count && kFirstKey + kKeySize * (k + 1) <= block.size(); ++k) {
        uint32_t time;
        std::memcpy(&time, block.data() + kFirstKey + kKeySize * k + kTimeWord, 4);
        if (swap) time = __builtin_bswap32(time);
        last = std::max(last, static_cast<long>(static_cast<int32_t>(time)));
    }
    return last >= 1 ? last + 1 : 0;
}

bool Neutral(char c) { return c == '1' || c == '2' || c == '3'; }

// The file name of `fileSpec` without its folder and extension.
void BareName(const FSpec& fileSpec, char* out, size_t size) {
    char name[sizeof fileSpec.name];
    std::memcpy(name, fileSpec.name, sizeof name);
    name[sizeof name - 1] = '\0';
    StripFilePath(name);
    StripFileExt(name);
    std::snprintf(out, size, "%s", name);
}

void Append(char* out, size_t size, const char* text) {
    const size_t used = std::strlen(out);
    if (used + 1 < size) std::snprintf(out + used, size - used, "%s", text);
}

// The contrast code's two bytes as one value: contrast low, brightness high.
long ContrastValue() {
    return static_cast<unsigned char>(pDoc->contrastCode[0]) |
           (static_cast<long>(static_cast<unsigned char>(pDoc->contrastCode[1])) << 8);
}
void SetContrastValue(long value) {
    pDoc->contrastCode[0] = static_cast<char>(value & 0xFF);
    pDoc->contrastCode[1] = static_cast<char>((value >> 8) & 0xFF);
}

void CopySlot(char* slot, const char* text) {
    const size_t n = strnlen(text, kDialogSlot - 1);
    std::memcpy(slot, text, n);
    slot[n] = '\0';
}
void CopySlot(char* slot, long value) { std::snprintf(slot, kDialogSlot, "%ld", value); }
bool SlotOn(const char* slot) { return slot[0] != '\0'; }
long SlotNumber(const char* slot) { return std::strtol(slot, nullptr, 10); }

// A whole number in `text`, within low..high.
bool ParseWhole(const char* text, long low, long high, long& out) {
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text, &end, 10);
    if (end == text || errno != 0) return false;
    while (*end == ' ') ++end;
    if (*end != '\0' || value < low || value > high) return false;
    out = value;
    return true;
}

// The stored start of the file dialogs: the remembered folder.
void RememberedFolder(FSpec& start) {
    std::memset(&start, 0, sizeof start);
    GetIniString("InitialFolder", "", start.name, 255);
    start.volume = static_cast<int16_t>(GetIniItem("InitialVrefnum", 0));
    start.parent = static_cast<int32_t>(GetIniItem("InitialParID", 0));
}

void RememberFolder(const FSpec& chosen) {
    char folder[sizeof chosen.name];
    std::memcpy(folder, chosen.name, sizeof folder);
    folder[sizeof folder - 1] = '\0';
    StripFileName(folder);
    SetIniItem("InitialFolder", folder);
    SetIniItem("InitialVrefnum", static_cast<long>(chosen.volume));
    SetIniItem("InitialParID", static_cast<long>(chosen.parent));
}

// The logo of the status area: a camera frame over a landscape, 40 by 40.
void MakeLogo() {
    constexpr int kSize = 40;
    uint32_t pixels[kSize * kSize];
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            uint32_t c = y < 24 ? 0x6FA8DC : 0x5E8C3A;               // sky, hill
            if (y >= 18 && y < 24 && (x + y) % 9 < 5) c = 0x4A7030;  // far trees
            const int dx = x - 28, dy = y - 9;
            if (dx * dx + dy * dy < 17) c = 0xF6D14B;                 // sun
            const bool frameX = (x == 6 || x == 33) && y >= 8 && y <= 31;
            const bool frameY = (y == 8 || y == 31) && x >= 6 && x <= 33;
            if (frameX || frameY) c = 0xFFFFFF;
            if (x == 0 || y == 0 || x == kSize - 1 || y == kSize - 1) c = 0x202020;
            pixels[y * kSize + x] = c;
        }
    }
    AddBitmapResource(kLogoResource, kSize, kSize, pixels);
}

// Opens a file with the desktop's viewer (xdg-open) without waiting for it.
// 1 when the viewer program was started.
int SpawnViewer(const char* path) {
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) return 0;
    const pid_t child = fork();
    if (child < 0) {
        close(report[0]);
        close(report[1]);
        return 0;
    }
    if (child == 0) {
        // The viewer is started from a grandchild so that nothing is left to reap.
        setsid();
        if (fork() == 0) {
            execlp("xdg-open", "xdg-open", path, static_cast<char*>(nullptr));
            const int error = errno;
            (void)!write(report[1], &error, sizeof error);
        }
        _exit(0);
    }
    close(report[1]);
    int error = 0;
    const ssize_t got = read(report[0], &error, sizeof error);
    close(report[0]);
    waitpid(child, nullptr, 0);
    return got == 0 ? 1 : 0;
}

bool Readable(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

// Where the manual can be: beside an installed program, then in the source tree.
std::string FindManual() {
    char self[1024];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
        self[n] = '\0';
        std::string dir(self);
        dir = dir.substr(0, dir.rfind('/'));
        const std::string candidates[] = {
            dir + "/../share/doc/glimmerstroll/README.md",
            dir + "/../README.md",
            dir + "/../../README.md",
        };
        for (const std::string& c : candidates) {
            if (!Readable(c)) continue;
            // Named without "..": the path a user can read and type.
            char* resolved = realpath(c.c_str(), nullptr);
            const std::string path = resolved ? resolved : c;
            std::free(resolved);
            return path;
        }
    }
#ifdef GS_SOURCE_DIR
    if (Readable(GS_SOURCE_DIR "/README.md")) return GS_SOURCE_DIR "/README.md";
#endif
    return {};
}

}  // namespace

DocumentOpener gOpenDocument = SpawnViewer;

void OpenHelpFile() {
    const std::string manual = FindManual();
    if (manual.empty()) {
        ErrorBox("The manual was not found. It is README.md in Glimmerstroll's source folder, "
                 "and share/doc/glimmerstroll/README.md where the program is installed.",
                 -9999);
        return;
    }
    if (gOpenDocument(manual.c_str())) return;
    const std::string text = "The manual is " + manual + " (no viewer could be started for it).";
    ErrorBox(text.c_str(), -9999);
}

void MakeStatusTexts(const KeyStruct& key, StatusTexts& out) {
    std::snprintf(out.position, sizeof out.position, "Pos   %d,%d",
                  static_cast<int>(key.horizontalPos), static_cast<int>(key.verticalPos));
    std::snprintf(out.width, sizeof out.width, "Wid  %d", static_cast<int>(key.width));
    std::snprintf(out.rotation, sizeof out.rotation, "Rot   %d,%d,%d",
                  static_cast<int>(key.rotation1), static_cast<int>(key.rotation2),
                  static_cast<int>(key.rotation3));

    char* line = out.line;
    const size_t size = sizeof out.line;
    std::snprintf(line, size, "%.2f fps", gFrameRate / 100.0);
    if (pDoc->draftRender) Append(line, size, " / Draft Mode");
    if (pDoc->fieldSwap) Append(line, size, " / Field order swapped");
    if (pDoc->blurFrames) Append(line, size, " / Motion Blur");
    if (pDoc->preBlur) Append(line, size, " / Pre-Blur");
    if (!(Neutral(pDoc->contrastCode[0]) && Neutral(pDoc->contrastCode[1])))
        Append(line, size, " / Con");
    if (pDoc->videoColors) Append(line, size, " / VS");
    if (pDoc->GetBitCount() > 24) Append(line, size, " / Alpha");
    const int picture = std::clamp(pDoc->FindCurPic(gCurFrame), 0, kPictureSlots - 1);
    char name[256];
    BareName(pDoc->pictureFile[picture], name, sizeof name);
    if (name[0]) {  // no picture: no empty item at the end
        Append(line, size, " / ");
        Append(line, size, name);
    }
}

// ---- Construction -----------------------------------------------------------------

CMain::CMain(void* hostInfo) : host(static_cast<EditorHost*>(hostInfo)) {
    Create(nullptr, kStyleBehind, nullptr);
    SetWinRect(0, 0, 640, 480, false);
    BuildMenus();

    MakeLogo();
    closeButton.Create(0, 0, 18, 18, kButtonClose);
    Show(2);
    gMainWindowPtr = this;
    previousLink = SetEditorLink(this);

    stage = new CStage(this);
    timeline = new CTime(this);
    viewer = new CView(this);

    tagRECT r;
    GetClientRect(r);
    tagRECT button{r.left + 57, r.bottom - 70, r.left + 57 + 18, r.bottom - 70 + 18};
    closeButton.SetPos(button);
    SetEditMenuOptions();
}

CMain::~CMain() {
    delete viewer;
    delete timeline;
    delete stage;
    pViewer = nullptr;
    pTime = nullptr;
    pStage = nullptr;
    menu.RestoreOriginalMenu();
    SetEditorLink(previousLink == this ? nullptr : previousLink);
    if (gMainWindowPtr == this) gMainWindowPtr = nullptr;
    // The settings go to their file when the editor closes.
    SaveIniFile();
}

void CMain::BuildMenus() {
    menu.Create(this);
    const char* title = nullptr;
    for (const MenuRow& row : kMenus) {
        if (!title || std::strcmp(title, row.title) != 0) {
            title = row.title;
            menu.AddTopLevel(title, 0);
        }
        if (!RowPresent(row)) continue;
        menu.AddItem(row.command, row.label, row.command < 0 ? 0 : RowFlags(row));
    }
}

// ---- Messages --------------------------------------------------------------------

long CMain::HandleEvent(unsigned int msg, long wParam, long lParam) {
    switch (msg) {
    case kMsgResized:
    case kMsgMoved:
        if (pStage) PostAMessage(pStage, msg, wParam, lParam);
        if (pTime) PostAMessage(pTime, msg, wParam, lParam);
        break;
    case kMsgPaint: OnDraw(); break;
    case kMsgClose: Close(); break;
    case kMsgMouseDown: closeButton.Check(PointX(lParam), PointY(lParam), 1); break;
    case kMsgMouseUp: ReleaseAt(PointX(lParam), PointY(lParam)); break;
    case kMsgMouseMoved:
        ChangeCursor(0);
        SetHint(nullptr);
        break;
    case kMsgMenu:
        Command(static_cast<int>(wParam));
        SetEditMenuOptions();
        break;
    case kMsgKeyDown:
    case kMsgCommandKey: {
        long character = wParam;
        long param = lParam;
        const bool chord = msg == kMsgCommandKey || ConvertControlKey(character, param);
        Key(static_cast<int>(character), chord);
        KeyBoardFlush();
        SetEditMenuOptions();
        break;
    }
    default: break;
    }
    return 1;
}

void CMain::ReleaseAt(int x, int y) {
    if (pTime) PostAMessage(pTime, kMsgEndDrag, 0, 0);
    if (pStage) PostAMessage(pStage, kMsgEndDrag, 0, 0);
    if (closeButton.Check(x, y, 0)) {
        Close();
        return;
    }
    tagRECT r;
    GetClientRect(r);
    const int bottom = r.bottom;
    if (!pStage || x >= 40 || y <= bottom - 82 || y >= bottom - 42) return;
    float scale = -1.0f;
    if (y < bottom - 72)
        scale = 1.0f;
    else if (y > bottom - 72 && y < bottom - 62)
        scale = 0.5f;
    else if (y > bottom - 62 && y < bottom - 52)
        scale = 0.25f;
    else if (y > bottom - 52)
        scale = 0.1f;
    if (scale > 0.0f) SetStageScale(scale);
}

void CMain::Close() {
    if (closing) return;
    if (host && host->standalone && !SaveForClose()) return;
    EndEditor(0);
}

void CMain::EndEditor(int result) {
    closing = true;
    PostAMessage(this, kMsgEndLoop, result, 0);
    PostAMessage(this, kMsgFinished, result, 0);
}

void CMain::Command(int command) {
    using Run = void (*)(CMain&, int);
    struct Row {
        int command;
        Run run;
    };
    static const Row kCommands[] = {
        {kCmdLoadPicture, [](CMain& m, int) { m.LoadPicture(); }},
        {kCmdNewShow, [](CMain& m, int) { m.NewShow(); }},
        {kCmdLoadShow, [](CMain& m, int) { m.LoadShow(); }},
        {kCmdSaveShow, [](CMain& m, int) { m.SaveShow(); }},
        {kCmdApply, [](CMain& m, int) { m.Close(); }},
        {kCmdDrop, [](CMain& m, int) { m.Drop(); }},
        {kCmdUndo, [](CMain& m, int) { m.UndoRedo(false); }},
        {kCmdRedo, [](CMain& m, int) { m.UndoRedo(true); }},
        {kCmdCopy, [](CMain& m, int) { m.CopyKey(); }},
        {kCmdCut, [](CMain& m, int) { m.CutOrDelete(true); }},
        {kCmdDelete, [](CMain& m, int) { m.CutOrDelete(false); }},
        {kCmdPaste, [](CMain& m, int) { m.PasteKey(); }},
        {kCmdDeleteAllKeys, [](CMain& m, int) { m.DeleteAllKeys(); }},
        {kCmdUniformSpeed, [](CMain& m, int) { m.UniformSpeed(); }},
        {kCmdPrepPicture, [](CMain& m, int) { m.ImagePrep(); }},
        {kCmdEaseInOut, [](CMain& m, int c) { m.Ease(c); }},
        {kCmdEaseIn, [](CMain& m, int c) { m.Ease(c); }},
        {kCmdEaseOut, [](CMain& m, int c) { m.Ease(c); }},
        {kCmdNoSlows, [](CMain& m, int c) { m.Ease(c); }},
        {kCmdNoCurves, [](CMain& m, int) { m.NoCurves(); }},
        {kCmdAspect43, [](CMain& m, int c) { m.Aspect(c); }},
        {kCmdAspect169, [](CMain& m, int c) { m.Aspect(c); }},
        {kCmdLetterBox, [](CMain& m, int c) { m.Aspect(c); }},
        {kCmdAdvanced, [](CMain& m, int) { m.SpecialOptions(); }},
        {kCmdZoomIn, [](CMain& m, int) { m.ZoomStage(true); }},
        {kCmdZoomOut, [](CMain& m, int) { m.ZoomStage(false); }},
        {kCmdEnlargeTimeline, [](CMain& m, int) { m.ScaleTimeline(true); }},
        {kCmdContractTimeline, [](CMain& m, int) { m.ScaleTimeline(false); }},
        {kCmdMakeStill, [](CMain& m, int) { m.MakeStill(); }},
        {kCmdContents, [](CMain&, int) { OpenHelpFile(); }},
        {kCmdAbout, [](CMain& m, int) { m.About(); }},
    };
    for (const Row& row : kCommands) {
        if (row.command == command) {
            row.run(*this, command);
            return;
        }
    }
    for (const ToggleRow& row : kToggles) {
        if (row.command == command) {
            Toggle(command);
            return;
        }
    }
}

void CMain::Key(int character, bool chord) {
    const KeyRow* row = FindKeyRow(character);
    if (!row) return;
    switch (chord ? row->chord : row->plain) {
    case KeyDo::Nothing: break;
    case KeyDo::Play:
        if (pViewer) pViewer->SetSpeed(1);
        break;
    case KeyDo::Reverse:
        if (pViewer) pViewer->SetSpeed(-1);
        break;
    case KeyDo::Stop:
        if (pViewer) pViewer->SetSpeed(0);
        break;
    case KeyDo::PlayFromStart:
        gCurFrame = 0;
        if (pViewer) pViewer->SetSpeed(1);
        break;
    case KeyDo::StepForward:
    case KeyDo::StepBack:
        pDoc->GotoFrame(gCurFrame + (row->plain == KeyDo::StepForward ? 1 : -1), false);
        ShowEffectFrame(gCurFrame);
        if (pTime) pTime->Refresh();
        if (pViewer) pViewer->ShowCode(gCurFrame);
        break;
    case KeyDo::First: pDoc->GotoFrame(0, true); break;
    case KeyDo::Last: pDoc->GotoFrame(pDoc->showLength - 1, true); break;
    case KeyDo::AddKey: pDoc->AddKey(); break;
    case KeyDo::NextKey: {
        const int pictures = std::clamp(pDoc->pictureCount, 1, kPictureSlots);
        for (int p = 0; p < pictures; ++p) {
            const long start = pDoc->GetPicStart(p);
            const int count = std::clamp(pDoc->keyCount[p], 0, kMaxKeys);
            for (int k = 0; k < count; ++k) {
                const long frame = start + pDoc->keys[p][k].time;
                if (frame > gCurFrame) {
                    pDoc->GotoFrame(frame, true);
                    return;
                }
            }
        }
        pDoc->GotoFrame(0, true);
        break;
    }
    case KeyDo::Command: Command(row->command); break;
    case KeyDo::QuickSave: QuickSave(); break;
    case KeyDo::Close: Close(); break;
    }
}

// ---- File commands -------------------------------------------------------------------

int CMain::ChooseFile(bool save, FSpec* result, const char* filter, const char* extension,
                      FSpec* propose) {
    FSpec start;
    if (propose && !IsEmptySpec(*propose))
        start = *propose;
    else
        RememberedFolder(start);
    FSpec chosen;
    std::memset(&chosen, 0, sizeof chosen);
    if (pViewer) pViewer->Show(0);
    const int ok = save ? SaveFileDialog(this, &chosen, filter, extension, &start)
                        : OpenFileDialog(this, &chosen, filter, extension, &start, false);
    if (pViewer) pViewer->Show(1);
    if (!ok) return 0;
    *result = chosen;
    RememberFolder(chosen);
    return 1;
}

void CMain::LoadPicture() {
    const bool jpeg = pDoc->jpegAvailable != 0;
    std::string filter = "All Graphics Files|*.bmp;*.tga;*.tif;*.psd";
    if (jpeg) filter += ";*.jpg";
    filter += "|BMP Files (*.bmp)|*.bmp|Targa Files (*.tga)|*.tga|TIFF Files (*.tif)|*.tif";
    filter += "|Photoshop Files (*.psd)|*.psd";
    if (jpeg) filter += "|Jpeg Files (*.jpg)|*.jpg";
    filter += "|All Files (*.*)|*.*|";
    FSpec file;
    if (!ChooseFile(false, &file, filter.c_str(), ".bmp", nullptr)) return;

    const long oldWidth = pDoc->GetWid();
    const long oldHeight = pDoc->GetHgt();
    // The picture under the start of the show, or a new one after the last.
    const long fps = FramesPerSecond();
    long zoom = fps;
    if (!GetTimelineZoom(zoom)) zoom = GetIniItem("TimeScale", fps);
    const int pictures = std::clamp(pDoc->pictureCount, 0, kPictureSlots);
    int slot = pictures;
    for (int p = 0; p < pictures; ++p) {
        const long start = pDoc->GetPicStart(p);
        if (start <= 0 && fps > 0 && start + zoom * 6 / fps >= 1) {
            slot = p;
            break;
        }
    }
    pDoc->LoadPicture(&file, slot, 0);
    // The document keeps every picture in its first slot.
    slot = std::min(slot, 0);

    const long newWidth = pDoc->GetWid();
    const long newHeight = pDoc->GetHgt();
    if (pDoc->keyCount[slot] > 1 &&
        (newWidth != oldWidth || (newHeight != oldHeight && oldWidth > 16))) {
        if (YesNoBox("Match moves to new Picture size?", "Match Moves"))
            pDoc->RescaleMoves(slot, oldWidth, oldHeight, newWidth, newHeight);
    }
    tagRECT r;
    GetClientRect(r);
    Redraw(r, false);
    pDoc->GotoFrame(0, true);
}

void CMain::NewShow() {
    if (pDoc->modified && !YesNoBox("Are you sure?", "New Show")) return;
    SetShowTitle(nullptr);
    std::memset(&showFile, 0, sizeof showFile);
    pDoc->ClearShow();
    gShowRotation = 0;
    if (pTime) pTime->SetMaxTime(pDoc->showLength);
    pDoc->GotoFrame(0, true);
}

void CMain::LoadShow() {
    if (pDoc->modified) {
        const int answer = YesNoCancelBox("Do you want to save current show?", "New Show");
        if (answer < 0) return;
        if (answer == 1) SaveShow();
    }
    FSpec file;
    if (!ChooseFile(false, &file, kShowFilter, ".gsx", nullptr)) return;
    OpenDocumentFile(&file, true);
    tagRECT r;
    GetClientRect(r);
    Redraw(r, false);
}

int CMain::OpenDocumentFile(FSpec* file, bool refresh) {
    char name[256];
    BareName(*file, name, sizeof name);
    CPFile in;
    if (!in.Open(file, kFileRead)) {
        const std::string text = std::string("The show \"") + name + "\" could not be opened.";
        ErrorBox(text.c_str(), -9999);
        return 0;
    }
    const long length = in.GetFileLength();
    std::string data;
    if (length >= 8 && length < kLargestShowFile) {
        data.resize(static_cast<size_t>(length));
        if (!in.Read(data.data(), length)) data.clear();
    }
    // Pictures missing at their stored paths are looked for beside the show.
    const std::string previousFolder = pDoc->showFolder;
    std::snprintf(pDoc->showFolder, sizeof pDoc->showFolder, "%s", ShowFolderOf(in.GetFSpec()->name).c_str());
    in.Close();
    // On its own the editor has no host to say how long the show is: the
    // show's own length holds (loading cuts the show at the document's).
    long saved = data.empty() ? 0 : SavedShowLength(data);
    if (saved <= 0 && !data.empty()) saved = LengthToLastKey(data);
    const int32_t previousLength = pDoc->showLength;
    if (host && host->standalone && saved > 0) pDoc->showLength = static_cast<int32_t>(saved);
    if (data.empty() || !pDoc->LoadShow(file, data.data(), refresh, length)) {
        pDoc->showLength = previousLength;
        std::snprintf(pDoc->showFolder, sizeof pDoc->showFolder, "%s", previousFolder.c_str());
        const std::string text =
            std::string("\"") + name + "\" is not a Glimmerstroll show, or it is damaged.";
        ErrorBox(text.c_str(), -9999);
        return 0;
    }
    showFile = *file;
    SetShowTitle(showFile.name);
    gShowRotation = pDoc->HasRotationInShow(0);
    // The timeline's scale and scroll range follow the length just loaded.
    if (pTime) {
        pTime->SetMaxTime(pDoc->showLength);
        pTime->Refresh();
    }
    return 1;
}

int CMain::WriteShow(FSpec* file) {
    std::string block(kShowBufferSize, '\0');
    const auto modified = pDoc->modified;
    const long length = pDoc->SaveShow(file, block.data(), kShowBufferSize);
    // Through a temporary file beside the show: a full disk or any other
    // failure leaves the old show as it was.
    const int result = length > 0 ? SaveFileSafely(file, block.data(), length) : kSaveFailed;
    // A show that did not reach its file still has changes to save.
    if (result != kSaveDone) pDoc->modified = modified;
    return result;
}

void CMain::ReportUnwritten(const FSpec& file, bool closing) {
    std::string text = std::string("The show could not be written to ") + file.name + ".";
    if (closing)
        text += " Save it elsewhere with Save Show, or leave with \"Quit - DON'T Apply changes\".";
    ErrorBox(text.c_str(), -9999);
}

void CMain::SaveShow() {
    FSpec file;
    if (!ChooseFile(true, &file, kShowFilter, ".gsx", &showFile)) return;
    // A file that cannot be created is passed over in silence; one that was
    // begun and could not be finished is reported. Either way the show takes
    // the new name.
    if (WriteShow(&file) == kSaveFailed) ReportUnwritten(file, false);
    showFile = file;
    SetShowTitle(showFile.name);
}

void CMain::QuickSave() {
    if (IsEmptySpec(showFile)) {
        SaveShow();
        return;
    }
    const long current = gCurFrame;
    pDoc->GotoFrame(0, true);
    if (WriteShow(&showFile) == kSaveFailed) ReportUnwritten(showFile, false);
    pDoc->GotoFrame(current, true);
}

int CMain::SaveForClose() {
    FSpec target = showFile;
    if (IsEmptySpec(target) && !ChooseFile(true, &target, kShowFilter, ".gsx", nullptr)) return 0;
    if (WriteShow(&target) != kSaveDone) {
        ReportUnwritten(target, true);
        return 0;
    }
    showFile = target;
    SetShowTitle(showFile.name);
    return 1;
}

void CMain::Drop() {
    if (closing) return;
    if (host && host->standalone && pDoc->modified &&
        !YesNoBox("The show has changes that are not saved. Quit without saving them?",
                  "Quit - DON'T Apply changes"))
        return;
    EndEditor(1);
}

void CMain::MakeStill() {
    FSpec file;
    if (!ChooseFile(true, &file, "Targa Image (*.tga)|*.tga|", ".tga", nullptr)) return;
    const int height = gFrameRate == 2500 ? 576 : 486;
    CDIB image(720, height, 32);
    pDoc->RenderFrame(gCurFrame, 0, true, 720, height, &image, false);
    if (image.Save(&file, 1)) Sound(2);
}

void CMain::About() {
    ErrorBox("Glimmerstroll " GS_VERSION "\nPans and Zooms on Stills", -9999);
}

// ---- Key commands ----------------------------------------------------------------------

int CMain::CurrentPicture() {
    return std::clamp(pDoc->FindCurPic(gCurFrame), 0, kPictureSlots - 1);
}

void CMain::GotoCurrent() { pDoc->GotoFrame(gCurFrame, true); }

void CMain::UndoRedo(bool redo) {
    if (redo)
        pDoc->ReDo();
    else
        pDoc->UnDo();
    GotoCurrent();
}

void CMain::CopyKey() {
    if (gSelectedKey < 0) return;
    pDoc->GetKey(gSelectedKey, gClipKey, CurrentPicture());
}

void CMain::CutOrDelete(bool cut) {
    const int picture = CurrentPicture();
    const int selected = gSelectedKey;
    // The first key of a picture is never removed.
    if (selected < 1 || selected >= pDoc->keyCount[picture]) return;
    if (cut) CopyKey();
    pDoc->DeleteKey(selected, picture);
    gSelectedKey = -1;
    GotoCurrent();
    Sound(0);
}

void CMain::PasteKey() {
    // Nothing has been copied yet: there is no camera to give.
    if (gClipKey.width <= 0.0f) {
        Sound(0);
        return;
    }
    const int picture = CurrentPicture();
    int selected = gSelectedKey;
    if (selected < 0) {
        const long frame = std::min<long>(gCurFrame, pDoc->showLength - 1);
        pDoc->AddKey();
        // The key that AddKey made (or replaced) is the one nearest the frame.
        const long start = pDoc->GetPicStart(picture);
        const int count = std::clamp(pDoc->keyCount[picture], 0, kMaxKeys);
        long best = -1;
        for (int k = 0; k < count; ++k) {
            const long distance = std::labs(start + pDoc->keys[picture][k].time - frame);
            if (best < 0 || distance < best) {
                best = distance;
                selected = k;
            }
        }
        if (selected < 0) return;
        gSelectedKey = selected;
    } else {
        Sound(0);
    }
    KeyStruct key;
    pDoc->GetKey(selected, key, picture);
    for (int word = 0; word < 9; ++word) KeyWord(key, word) = KeyWord(gClipKey, word);
    pDoc->SetKey(selected, key, picture);
    GotoCurrent();
}

void CMain::DeleteAllKeys() {
    if (YesNoBox("Are you sure?", "Delete All Keys")) {
        const int picture = CurrentPicture();
        for (int k = std::clamp(pDoc->keyCount[picture], 0, kMaxKeys) - 1; k >= 1; --k)
            pDoc->DeleteKey(k, picture);
        FSpec fileSpec = pDoc->pictureFile[picture];
        if (picture < pDoc->pictureCount) pDoc->LoadPicture(&fileSpec, picture, pDoc->GetPicStart(picture));
        gSelectedKey = -1;
    }
    GotoCurrent();
}

void CMain::UniformSpeed() {
    if (YesNoBox("Space keys at a uniform speed?", "Uniform Speed"))
        pDoc->ConstantMotion(CurrentPicture());
    pDoc->GotoFrame(0, true);
}

// ---- Options ----------------------------------------------------------------------------

namespace {

void RedrawWindow(CPWnd* window) {
    if (!window) return;
    tagRECT r;
    window->GetClientRect(r);
    window->Redraw(r, true);
}

bool MenuChecked(CPMenu& menu, int command) {
    for (int m = 0; m < kMenuCount; ++m)
        for (int i = 0; i < kMenuItems; ++i)
            if (menu.commands[m][i] == command) return menu.menus[m].items[i].checked;
    return false;
}

}  // namespace

void CMain::Ease(int command) {
    pDoc->easeType = (command - kCmdEaseInOut) | (pDoc->easeType & 16);
    pDoc->DefaultEase();
    for (int c = kCmdEaseInOut; c <= kCmdNoSlows; ++c) menu.SetCheck(c, c == command);
    SetIniItem("EaseType", static_cast<long>(pDoc->easeType));
    pDoc->modified = 1;
}

void CMain::NoCurves() {
    pDoc->easeType ^= 16;
    menu.SetCheck(kCmdNoCurves, (pDoc->easeType & 16) != 0);
    pDoc->DefaultEase();
    SetIniItem("EaseType", static_cast<long>(pDoc->easeType));
    RedrawWindow(pStage);
    pDoc->modified = 1;
}

void CMain::Aspect(int command) {
    for (const AspectRow& row : kAspects) {
        if (row.command != command) continue;
        pDoc->aspect = row.aspect;
        pDoc->aspectMode = row.mode;
        for (const AspectRow& other : kAspects) menu.SetCheck(other.command, other.command == command);
        SetIniItem("AspectMode", static_cast<long>(row.mode));
        if (pViewer) PostAMessage(pViewer, kMsgMoved, 0, 0);
        RedrawWindow(pStage);
    }
}

void CMain::Toggle(int command) {
    for (const ToggleRow& row : kToggles) {
        if (row.command != command) continue;
        int32_t* flag = row.flag();
        const int32_t on = (flag ? *flag != 0 : MenuChecked(menu, command)) ? 0 : 1;
        if (flag) *flag = on;
        menu.SetCheck(command, on != 0);
        SetIniItem(row.key, static_cast<long>(on));
        switch (row.after) {
        case After::Nothing: break;
        case After::Stage: RedrawWindow(pStage); break;
        case After::Frame: RedrawWindow(this); break;
        case After::Viewer:
            if (pViewer) pViewer->Refresh(true);
            break;
        }
    }
}

void CMain::SetStageScale(float scale) {
    if (!pStage) return;
    pStage->scale = scale;
    SetIniItem("StageScale", static_cast<long>(scale * 100.0f));
    RedrawWindow(pStage);
}

void CMain::ZoomStage(bool in) {
    if (!pStage) return;
    float scale = pStage->scale;
    if (in) {
        if (scale == 0.1f) scale = 0.125f;
        scale = std::min(scale * 2.0f, 1.0f);
    } else {
        scale = scale / 2.0f;
        if (scale < 0.25f) scale = 0.1f;
    }
    SetStageScale(scale);
}

void CMain::ScaleTimeline(bool enlarge) {
    if (!pTime) return;
    const long fps = FramesPerSecond();
    long scale = pTime->timeScale;
    if (enlarge) {
        scale = std::min(scale * 2, 64 * fps);
        if (scale > fps && fps > 0) scale = scale / fps * fps;
    } else {
        scale = std::max(scale / 2, static_cast<long>(gFrameRate + 50) / 400);
        scale = scale / 5 * 5;
    }
    pTime->timeScale = static_cast<int32_t>(scale);
    pTime->Refresh();
}

// ---- Dialogs ---------------------------------------------------------------------------

void CMain::ImagePrep() {
    enum { kVideo, kPreBlur, kBorder, kColour, kContrast, kBrightness, kNormal, kTint, kAlpha, kCount };
    static const char* const kItems[kCount] = {
        "@CVideo Safe Color", "@CPre-Blur", "@SBorder Size %", "@LBorder/Tint Color", "@SContrast",
        "@SBrightness", "@RColor Mode|Normal / Border", "@RImage Tint", "@CIgnore Alpha Channel",
    };
    char items[kCount][kDialogSlot];
    char values[kCount][kDialogSlot];
    for (int i = 0; i < kCount; ++i) CopySlot(items[i], kItems[i]);

    const int32_t oldVideo = pDoc->videoColors;
    const int32_t oldPreBlur = pDoc->preBlur;
    const int32_t oldBorder = pDoc->matteBorder;
    const int32_t oldColour = pDoc->matteColor;
    const long oldContrast = ContrastValue();
    const int32_t oldAlpha = pDoc->ignoreAlpha;
    // Reloading the pictures marks the show changed; a cancelled dialog
    // leaves it as it was.
    const int32_t oldModified = pDoc->modified;
    bool cancelled = false;

    CopySlot(values[kVideo], pDoc->videoColors ? "1" : "");
    CopySlot(values[kPreBlur], pDoc->preBlur ? "1" : "");
    CopySlot(values[kBorder], static_cast<long>(pDoc->matteBorder));
    CopySlot(values[kColour], static_cast<long>(pDoc->matteColor));
    CopySlot(values[kContrast], ContrastValue() & 0xFF);
    CopySlot(values[kBrightness], (ContrastValue() >> 8) & 0xFF);
    CopySlot(values[kNormal], pDoc->matteBorder >= 0 ? "1" : "");
    CopySlot(values[kTint], pDoc->matteBorder >= 0 ? "" : "1");
    CopySlot(values[kAlpha], pDoc->ignoreAlpha ? "1" : "");

    CPWnd* over = pStage ? static_cast<CPWnd*>(pStage) : this;
    for (;;) {
        const int result = CPDialog(over, 50, 50, -kCount, items[0], values[0], "Prep Pictures");
        if (result == kDialogCancel) {
            pDoc->videoColors = oldVideo;
            pDoc->preBlur = oldPreBlur;
            pDoc->matteBorder = oldBorder;
            pDoc->matteColor = oldColour;
            SetContrastValue(oldContrast);
            pDoc->ignoreAlpha = oldAlpha;
            ReloadPictures();
            cancelled = true;
            break;
        }
        pDoc->videoColors = SlotOn(values[kVideo]) ? 1 : 0;
        pDoc->preBlur = SlotOn(values[kPreBlur]) ? 1 : 0;
        long border = SlotNumber(values[kBorder]);
        if (SlotOn(values[kTint]))
            border = -1;
        else if (border < 0)
            border = 0;
        pDoc->matteBorder = static_cast<int32_t>(std::min(border, 100L));
        pDoc->matteColor = static_cast<int32_t>(SlotNumber(values[kColour]) & 0xFFFFFF);
        const long contrast = std::clamp(SlotNumber(values[kContrast]), 0L, 255L);
        const long brightness = std::clamp(SlotNumber(values[kBrightness]), 0L, 255L);
        SetContrastValue(contrast | (brightness << 8));
        pDoc->ignoreAlpha = SlotOn(values[kAlpha]) ? 1 : 0;
        ReloadPictures();
        RedrawWindow(pStage);
        if (result == kDialogOK) break;
    }
    RedrawWindow(this);
    pDoc->GotoFrame(0, true);
    if (cancelled) pDoc->modified = oldModified;
    SetIniItem("VideoColors", static_cast<long>(pDoc->videoColors));
    SetIniItem("PreBlur", static_cast<long>(pDoc->preBlur));
    SetIniItem("MatteColor", static_cast<long>(pDoc->matteColor));
    SetIniItem("IgnoreAlpha", static_cast<long>(pDoc->ignoreAlpha));
}

void CMain::ReloadPictures() {
    const int pictures = std::clamp(pDoc->pictureCount, 0, kPictureSlots);
    for (int p = 0; p < pictures; ++p) {
        FSpec fileSpec = pDoc->pictureFile[p];
        pDoc->LoadPicture(&fileSpec, p, pDoc->GetPicStart(p));
    }
}

void CMain::SpecialOptions() {
    enum { kFlop, kOffset, kFolder, kErrors, kSwap, kDual, kCount };
    static const char* const kItems[kCount] = {
        "@CFlop Top Field", "Multiprocessor Row Offset", "@FAlternate Picture Folder",
        "@CReport Missing Pictures", "@CSwap Field Order", "@CViewer on Second Screen",
    };
    constexpr long kOffsetLimit = 16;
    char items[kCount][kDialogSlot];
    char values[kCount][kDialogSlot];
    for (int i = 0; i < kCount; ++i) CopySlot(items[i], kItems[i]);
    CopySlot(values[kFlop], pDoc->flopTopField ? "1" : "");
    CopySlot(values[kOffset], static_cast<long>(gMultiProcOffset));
    CopySlot(values[kFolder], pDoc->altImageFolder);
    CopySlot(values[kErrors], pDoc->showPicError ? "1" : "");
    CopySlot(values[kSwap], pDoc->fieldSwap ? "1" : "");
    CopySlot(values[kDual], GetIniItem("DualScreenViewer", 0) ? "1" : "");
    // A folder longer than a dialog slot comes back cut short; unchanged, it is kept whole.
    char shownFolder[kDialogSlot];
    CopySlot(shownFolder, values[kFolder]);

    CPWnd* over = pStage ? static_cast<CPWnd*>(pStage) : this;
    long offset = 0;
    for (;;) {
        if (CPDialog(over, 50, 50, kCount, items[0], values[0], "Advanced Options") != kDialogOK) {
            GotoCurrent();
            return;
        }
        if (ParseWhole(values[kOffset], -kOffsetLimit, kOffsetLimit, offset)) break;
        ErrorBox("Multiprocessor Row Offset must be a whole number from -16 to 16.", -9999);
    }
    pDoc->flopTopField = SlotOn(values[kFlop]) ? 1 : 0;
    gMultiProcOffset = static_cast<int>(offset);
    if (std::strcmp(values[kFolder], shownFolder) != 0)
        std::snprintf(pDoc->altImageFolder, sizeof pDoc->altImageFolder, "%s", values[kFolder]);
    pDoc->showPicError = SlotOn(values[kErrors]) ? 1 : 0;
    pDoc->fieldSwap = SlotOn(values[kSwap]) ? 1 : 0;
    const long dual = SlotOn(values[kDual]) ? 1 : 0;
    if (pViewer) pViewer->dualScreen = static_cast<int32_t>(dual);

    SetIniItem("FlopTopField", static_cast<long>(pDoc->flopTopField));
    SetIniItem("MultiProcOffset", offset);
    SetIniItem("AltImageFolder", pDoc->altImageFolder);
    SetIniItem("ShowPicError", static_cast<long>(pDoc->showPicError));
    SetIniItem("FieldSwap", static_cast<long>(pDoc->fieldSwap));
    SetIniItem("DualScreenViewer", dual);
    GotoCurrent();
}

// ---- Drawing ----------------------------------------------------------------------------

void CMain::OnDraw() {
    PortSaver port(this);
    tagRECT r;
    GetClientRect(r);
    DrawBar(kStatusGrey, r);
    KeyStruct key;
    if (!GetStageKey(key)) pDoc->QueueKey(&key, CurrentPicture(), gCurFrame, 0);
    ShowStats(key);
    SetEditMenuOptions();
}

void CMain::ShowStats(KeyStruct& key) {
    PortSaver port(this);
    void* previousFont = GetSelectedFont();
    SelectFont(Sans10);

    tagRECT r;
    GetClientRect(r);
    const int left = r.left;
    const int bottom = r.bottom;
    const tagRECT area{r.left, bottom - 128, r.right, bottom};
    DrawBar(kStatusGrey, area);
    const tagRECT logo{left, bottom - 128, left + 40, bottom - 88};
    DrawBitmap(logo, kLogoResource, -1);

    const float scale = pStage ? pStage->scale : GetIniItem("StageScale", 50) / 100.0f;
    const struct {
        const char* label;
        bool set;
    } radios[] = {
        {"100%", scale >= 1.0f},
        {"50%", scale == 0.5f},
        {"25%", scale == 0.25f},
        {"10%", scale <= 0.1f},
    };
    const int x = left + 10;
    for (int i = 0; i < 4; ++i) {
        const tagRECT button{x, bottom - 82 + 10 * i, x + 9, bottom - 73 + 10 * i};
        DrawRadio(kBlack, button, radios[i].set);
        DrawText(kBlack, radios[i].label, x + 13, button.top - 2, kAlignLeft);
    }

    StatusTexts texts;
    MakeStatusTexts(key, texts);
    DrawText(kBlack, texts.position, x, bottom - 39, kAlignLeft);
    DrawText(kBlack, texts.width, x, bottom - 29, kAlignLeft);
    if (gShowRotation) DrawText(kBlack, texts.rotation, x, bottom - 19, kAlignLeft);
    DrawText(kBlack, texts.line, (r.right - r.left) / 2, bottom - 13, kAlignCentre);
    if (hint) DrawText(kBlack, hint, (r.right - r.left) / 2, bottom - kHintRow, kAlignCentre);

    tagRECT close{left + 57, bottom - 70, left + 57 + 18, bottom - 70 + 18};
    closeButton.SetPos(close);
    closeButton.Draw();
    SelectFont(previousFont);
}

const char* const kStageHint =
    "Stage: drag the frame to move it, a corner to size it; Ctrl-drag the top-left corner to tilt; "
    "right-click (or Alt-click) for the key dialog";

void CMain::SetHint(const char* text) {
    if (text == hint) return;
    hint = text;
    // Only the hint's row is drawn again.
    PortSaver port(this);
    tagRECT r;
    GetClientRect(r);
    const tagRECT row{r.left + 100, r.bottom - kHintRow - 2, r.right, r.bottom - kHintRow + 13};
    DrawBar(kStatusGrey, row);
    if (!hint) return;
    void* previousFont = GetSelectedFont();
    SelectFont(Sans10);
    DrawText(kBlack, hint, (r.right - r.left) / 2, r.bottom - kHintRow, kAlignCentre);
    SelectFont(previousFont);
}

void CMain::SetShowTitle(char* name) {
    char text[300];
    if (!name || !name[0]) {
        std::snprintf(text, sizeof text, "Untitled Show - Glimmerstroll");
    } else {
        char bare[256];
        std::snprintf(bare, sizeof bare, "%s", name);
        StripFilePath(bare);
        std::snprintf(text, sizeof text, "%s - Glimmerstroll", bare);
    }
    SetTitle(text);
}

void CMain::SetEditMenuOptions() {
    const int selected = gSelectedKey;
    menu.SetState(kCmdUndo, pDoc->undoCount > 0);
    menu.SetState(kCmdRedo, pDoc->redoCount > 0);
    menu.SetState(kCmdCopy, selected >= 0);
    menu.SetState(kCmdCut, selected >= 1);
    menu.SetState(kCmdDelete, selected >= 1);
    menu.SetState(kCmdPaste, gClipKey.width > 0.0f);
}

void CMain::ShowEffectFrame(long frame) {
    (void)frame;  // GotoFrame has given the stage the camera of this frame
    if (pStage)
        RedrawWindow(pStage);
    else if (pViewer)
        pViewer->Refresh(true);
}

// ---- The document's view of the editor ------------------------------------------------

bool CMain::GetTimelineZoom(long& zoom) {
    if (!pTime) return false;
    zoom = pTime->timeScale;
    return true;
}

bool CMain::GetStageKey(KeyStruct& key) {
    if (!pStage) return false;
    key = pStage->workingKey;
    return true;
}

void CMain::SetStageKey(const KeyStruct& key) {
    if (pStage) pStage->workingKey = key;
}

void CMain::Refresh(long frame) {
    ShowEffectFrame(frame);
    if (pTime) pTime->Refresh();
    if (pViewer) pViewer->ShowCode(frame);
    SetEditMenuOptions();
}
