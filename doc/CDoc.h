// SPDX-License-Identifier: GPL-2.0-or-later
// CDoc: the one show document. A show is a still picture seen through a moving
// camera; the camera is given at keys (KeyStruct) that fix its position, width
// and rotation at a frame of the show. The document owns the key lists of the
// picture slots, the show's length and default ease, the options read from the
// settings file, and the undo ring.
//
// The document is itself a CDIB: its base holds the pixels of the picture that
// is currently loaded. The implementation is spread over doc/:
//   CDoc.cpp         construction, clearing, key access and key editing
//   Undo.cpp         the undo ring: Do, UnDo, ReDo, UnDoAction
//   PictureList.cpp  picture slots and the picture buffer
#pragma once

#include <atomic>
#include <cstdint>

#include "image/CDIB.h"
#include "motion/Types.h"
#include "platform/Files.h"

constexpr int kPictureSlots = 2;   // key lists held by the document
constexpr int kMaxKeys = 64;       // key slots per picture
constexpr int kAddKeyLimit = 63;   // AddKey never makes more keys than this
constexpr int kUndoRecords = 32;   // records in the undo ring
constexpr int32_t kDefaultShowLength = 1800;

// Undo action codes above the key indices 0..63.
constexpr int ACTION_KEY_ADDED = 96;
constexpr int ACTION_KEY_DELETED = 97;
constexpr int ACTION_PICTURE = 98;

// CDIB's destructor is not virtual, so nothing may derive from the document.
struct FramePlan;
struct FrameDraw;

class CDoc final : public CDIB {
public:
    CDoc();
    ~CDoc();
    CDoc(const CDoc&) = delete;
    CDoc& operator=(const CDoc&) = delete;

    // ---- Key access -------------------------------------------------------
    void GetKey(int index, KeyStruct& out, int picture);
    void SetKey(int index, KeyStruct& key, int picture);
    void SortKeys(int picture);
    int FindKey(long frame);
    void QueueKey(KeyStruct* out, int picture, long frame, int halfFrame);

    // ---- Key editing ------------------------------------------------------
    int AddKey();
    void DeleteKey(int index, int picture);
    int ShiftKeys(long frame, long delta);
    int ChangePicTiming(long frame, int picture);
    int RescaleShow(long oldLength, long newLength);
    void RescaleMoves(int picture, int oldWidth, int oldHeight, int newWidth, int newHeight);
    int ChopShow(long frame);
    void ConstantMotion(int picture);
    void DefaultEase();
    void ClearShow();
    int HasRotationInShow(int picture);

    // ---- Picture timing ---------------------------------------------------
    long GetPicStart(int picture);
    void SetPicStart(long frame, int picture);
    int FindCurPic(long frame);

    // ---- Undo and redo (Undo.cpp) -----------------------------------------
    void Do(KeyStruct& key, int action, int picture);
    void UnDo();
    void ReDo();
    void UnDoAction();
    // The record at ring position `position`, -1..32 (see Undo.cpp).
    KeyStruct& UndoRecord(int position);

    // ---- Editor frame -----------------------------------------------------
    // Moves the current frame, loads the picture shown there, hands the camera
    // at that frame to the stage and, with `redraw`, refreshes the editor.
    void GotoFrame(long frame, bool redraw);

    // ---- Picture list (PictureList.cpp) -----------------------------------
    // Makes sure the picture buffer holds `picture`; nonzero on success.
    int LoadPictureBuffer(int picture, bool noPrefetch);
    void CopyPic(int to, int from);
    void FlopPic(int a, int b);
    int DeletePic(int picture);

    // ---- Show blocks (host/ShowFile.cpp, beside the picture loading) --------
    // Writes the show into `block` in this machine's byte order and returns its
    // size; with a null block only the size is computed (single-key pictures
    // still get their second key and key 0 its version stamp). With `capacity`
    // zero or more, a show larger than that is not written and 0 comes back.
    long SaveShow(FSpec* file, char* block, long capacity = -1);
    // Reads a show block of either byte order. 1 when it was read; 0 for a null
    // block, an unknown magic or a damaged block (the document is then left as
    // it was). Nothing is read past the block's stated size nor, with
    // `available` zero or more, past that many bytes.
    int LoadShow(FSpec* file, char* block, bool refresh, long available = -1);

    // ---- Frame renderer (host/Render.cpp) ----------------------------------
    // Draws frame `frame` of the show into `dest`, a 32-bit image of
    // width x height. fieldMode 0 whole frame, 1 upper field, 2 lower field
    // (half a frame later), 3 both fields interleaved. True when drawn.
    bool RenderFrame(long frame, int fieldMode, bool upperFirst, int width, int height,
                     CDIB* dest, bool handOver);
    // The same frame as a plan (host/FramePlan.h) for DrawFramePlan, which
    // gives the same bytes as RenderFrame. Loads the frame's picture, calling
    // `beforeLoad` first when it replaces the one in the buffer. False when
    // RenderFrame would draw nothing.
    bool PlanFrame(long frame, int fieldMode, int width, int height, bool handOver, FramePlan& plan,
                   void (*beforeLoad)(void*) = nullptr, void* context = nullptr);

    // ---- Fields -----------------------------------------------------------
    // The picture buffer is the CDIB base. The fields below keep this order.
    CDIB nextPicture;                     // the next picture, loaded ahead
    int32_t modified = 0;                 // set by every edit, cleared by save and clear
    float aspect = 0.75f;                 // camera height / width
    int32_t aspectMode = 7500;            // raw "AspectMode" setting (5626: letterbox)
    int32_t easeType = 0;                 // show default ease mode
    int32_t showLength = kDefaultShowLength;  // frames
    char rootVolume[256] = {};            // resolves picture references
    int32_t pictureCount = 0;
    KeyStruct keys[kPictureSlots][kMaxKeys] = {};
    FSpec pictureFile[kPictureSlots] = {};
    int32_t keyCount[kPictureSlots] = {};
    uint16_t showSerial = 0;              // drawn afresh at each save

    // Render and display options, from the settings file.
    int32_t fieldSwap = 0;
    int32_t draftRender = 0;
    int32_t rescaleShow = 0;
    int32_t videoColors = 1;
    int32_t flopTopField = 0;
    int32_t alwaysUseRotation = 0;
    int32_t jpegAvailable = 0;
    int32_t blurFrames = 0;
    int32_t preBlur = 0;
    int32_t matteColor = 0;               // 0x00BBGGRR
    int32_t matteBorder = 0;              // -1..100: per side level/200 of the width; -1 tints
    char contrastCode[2] = {'2', '2'};    // neutral when both are '1'..'3'
    int32_t depthLimit = 32;              // colour depth of prepared pictures
    int32_t showPicError = 1;
    char altImageFolder[256] = {};
    char showFolder[1024] = {};           // folder of the show file, where known: pictures are looked for there
    int32_t autoAddKey = 1;
    int32_t ignoreAlpha = 1;

    // Undo ring: the newest record is at undoHead (-1 when empty).
    KeyStruct undoRing[kUndoRecords] = {};
    int32_t undoHead = -1;
    int32_t undoCount = 0;
    int32_t redoCount = 0;
    // Records for the head positions -1 and 32 that UnDo and ReDo can reach.
    KeyStruct undoSpare[2] = {};

    FSpec extraFile = {};                 // saved with the show when named
    int32_t tessmarine = 0;               // sister-product mode

    // Picture loading state.
    int32_t loadedPicture = 0;            // slot in the picture buffer, -1 none
    int32_t prefetchedPicture = -1;       // slot in nextPicture, -1 none
    int32_t picLoadStatus = 1;            // result of the last picture load

    long totalFrames;                     // upper bound of GotoFrame (the host's duration)

    // ---- Pictures (doc/PictureList.cpp, host/PictureList.cpp) ---------------
    // Loads a picture file into slot 0 and the picture buffer, prepared with the
    // matte border, pre-blur, tint, contrast and video-safe colours; a picture
    // with fewer than two keys gets key 0 framing the whole picture. `slot` is
    // clamped to 0; a `start` of 0 or more resets the picture's start to 0.
    void LoadPicture(FSpec* file, int slot, long start);
    std::atomic<int32_t> pictureBusy{0};  // set while a job fills nextPicture
    int32_t prefetchStatus = 0;           // load result of the picture in nextPicture

    // Draw with the exact area filter instead of the kept one (a render
    // choice of the tool, the plug-ins and the editor; off by default).
    int32_t exactRender = 0;

private:
    bool PlanPicture(long frame, int fieldMode, int width, int height, bool handOver, FrameDraw& draw,
                     void (*beforeLoad)(void*), void* context);
};

// The one document of the process, and the frame under the editor's cursor.
extern CDoc* pDoc;
extern long gCurFrame;
