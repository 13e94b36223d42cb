// SPDX-License-Identifier: GPL-2.0-or-later
// CMain: the editor's main frame. It holds the menu bar, builds the stage, the
// timeline and the viewer, draws the status area along the bottom of the
// screen, turns menu commands and keys into operations on the show document,
// and ends the modal message loop with the editor's result: 0 applies the
// moves, 1 drops them.
//
// The frame is also the document's view of the editor (CEditorLink): while it
// exists the document reaches the stage's camera, the timeline's zoom and the
// windows' refresh through it.
#pragma once

#include <cstddef>

#include "doc/EditorLink.h"
#include "motion/Types.h"
#include "platform/Files.h"
#include "platform/window/CPWnd.h"

class CStage;
class CTime;
class CView;

// How the frame was opened. The effect's options command passes no host (null):
// the show lives in the effect's handle and the effect decides what to do with
// the result. The stand-alone editor passes an EditorHost: the show lives in a
// file, which "Apply Moves and Close" writes before the loop ends.
struct EditorHost {
    bool standalone = true;
};

// Menu commands.
enum : int {
    kCmdShowCameraPath = 1000,
    kCmdAutoAddKeys = 1001,
    kCmdAutoRescale = 1002,
    kCmdEaseInOut = 1003,
    kCmdEaseIn = 1004,
    kCmdEaseOut = 1005,
    kCmdNoSlows = 1006,
    kCmdNoCurves = 1007,
    kCmdLoadPicture = 1010,
    kCmdContents = 1020,
    kCmdUniformSpeed = 1022,
    kCmdDeleteAllKeys = 1024,
    kCmdPrepPicture = 1025,
    kCmdAbout = 1026,
    kCmdAspect43 = 1030,
    kCmdAspect169 = 1031,
    kCmdLetterBox = 1032,
    kCmdDraft = 1033,
    kCmdMultiProcess = 1034,
    kCmdMotionBlur = 1035,
    kCmdAdvanced = 1036,
    kCmdMakeStill = 1037,
    kCmdTVSafe = 1040,
    kCmdCenterPic = 1041,
    kCmdZoomIn = 1042,
    kCmdZoomOut = 1043,
    kCmdEnlargeTimeline = 1044,
    kCmdContractTimeline = 1045,
    kCmdExactQuality = 1050,
    kCmdApply = 2001,
    kCmdDrop = 2002,
    kCmdSaveShow = 2003,
    kCmdLoadShow = 2004,
    kCmdNewShow = 2005,
    kCmdCopy = 9000,
    kCmdCut = 9001,
    kCmdPaste = 9002,
    kCmdDelete = 9003,
    kCmdUndo = 9004,
    kCmdRedo = 9005,
};

// The texts of the status area for a camera key and the current state.
struct StatusTexts {
    char position[64];
    char width[64];
    char rotation[64];
    char line[512];
};
void MakeStatusTexts(const KeyStruct& key, StatusTexts& out);

// The help viewer: opens `path` with the desktop's viewer; 1 when it started.
// Replaceable so that tests can see what would be opened.
using DocumentOpener = int (*)(const char* path);
extern DocumentOpener gOpenDocument;
// Finds the manual (README.md) and opens it, or says where it is.
void OpenHelpFile();

class CMain : public CPWnd, public CEditorLink {
public:
    explicit CMain(void* host);
    ~CMain() override;

    long HandleEvent(unsigned int msg, long wParam, long lParam) override;
    void OnDraw() override;

    void ShowStats(KeyStruct& key);
    void SetShowTitle(char* name);
    void SetEditMenuOptions();
    void ShowEffectFrame(long frame);
    void SpecialOptions();
    void ImagePrep();
    // Reads a show file into pDoc; 1 when it was read. With `refresh` the
    // editor goes to frame 0. The file becomes the show file.
    int OpenDocumentFile(FSpec* file, bool refresh);

    // A one-line help text in the status area (null: none), shown while the
    // pointer is over a window whose gestures it explains.
    void SetHint(const char* text);
    const char* Hint() const { return hint; }

    // The show file; empty when the show has none yet.
    FSpec showFile{};
    CPMenu* GetMenu() { return &menu; }
    CPButton closeButton;

    // CEditorLink.
    bool GetTimelineZoom(long& zoom) override;
    bool GetStageKey(KeyStruct& key) override;
    void SetStageKey(const KeyStruct& key) override;
    void Refresh(long frame) override;

private:
    void BuildMenus();
    void Command(int command);
    void Key(int character, bool chord);
    void ReleaseAt(int x, int y);
    // Ends the loop with `result` (0 apply, 1 drop).
    void EndEditor(int result);
    void Close();

    // Command handlers.
    void LoadPicture();
    void NewShow();
    void LoadShow();
    void SaveShow();
    void QuickSave();
    void Drop();
    void UndoRedo(bool redo);
    void CopyKey();
    void CutOrDelete(bool cut);
    void PasteKey();
    void DeleteAllKeys();
    void UniformSpeed();
    void Ease(int command);
    void NoCurves();
    void Aspect(int command);
    void Toggle(int command);
    void ZoomStage(bool in);
    void ScaleTimeline(bool enlarge);
    void MakeStill();
    void About();

    // File dialogs starting in the remembered folder; 1 when a file was chosen.
    int ChooseFile(bool save, FSpec* result, const char* filter, const char* extension,
                   FSpec* propose);
    // Writes the show into `file` safely: kSaveDone, kSaveFailed (the old
    // file is intact) or kSaveNoFile (nothing could be created there).
    int WriteShow(FSpec* file);
    // The "could not be written" message; on closing it says how to go on.
    void ReportUnwritten(const FSpec& file, bool closing);
    // Saves to the show file, asking for a name when it has none; 1 when saved.
    int SaveForClose();
    void SetStageScale(float scale);
    void ReloadPictures();
    void GotoCurrent();
    int CurrentPicture();

    EditorHost* host = nullptr;
    CPMenu menu;
    CStage* stage = nullptr;
    CTime* timeline = nullptr;
    CView* viewer = nullptr;
    CEditorLink* previousLink = nullptr;
    bool closing = false;
    const char* hint = nullptr;
};

// What the stage's mouse gestures do, for the status area.
extern const char* const kStageHint;
