// SPDX-License-Identifier: GPL-2.0-or-later
// Running the editor: inside the effect (its options command) and on its own
// (the glimmerstroll-edit program behind `glimmerstroll edit`).
#pragma once

#include <cstdint>
#include <string>

class CMain;
class HeadlessBackend;

// Runs the modal editor on pDoc and returns its result: 0 applies the moves,
// 1 drops them. A window backend must be installed.
int RunEditor();

// Makes RunEditor the effect's options command.
void InstallEditor();

// Exit statuses of the stand-alone editor.
enum : int {
    kEditApplied = 0,   // "Apply Moves and Close": the show was saved to its file
    kEditDropped = 1,   // "Quit - DON'T Apply changes": nothing was written
    kEditFailed = 2,    // the editor could not start (no display, unreadable show), or
                        // a scripted editor could not save its show on closing
};

// The frame rate the stand-alone editor counts a show's frames at unless the
// user chooses another (the "FrameRate" setting, or --fps): the rate of the
// command-line tool and the plug-ins, in hundredths of a frame a second.
constexpr int32_t kEditorFrameRate = 2500;

// The editor's frame rate choices by name ("25", "29.97", "30000/1001",
// "23.976", "24000/1001"): their rate in hundredths, or 0 for another text.
int32_t EditorFrameRate(const char* text);

// The stand-alone editor on the show file `path` (null or empty: an untitled
// show; a file that does not exist yet is created by the first save) at
// `frameRate` (hundredths; 0: the "FrameRate" setting, else kEditorFrameRate).
// Starts the environment and the window backend, runs the editor, and closes
// the environment again. Returns one of the statuses above.
int EditShowFile(const char* path, int32_t frameRate = 0);

// Editor scripts drive the editor where there is no display (the headless
// backend). GLIMMERSTROLL_EDITOR_SCRIPT holds one, read when the editor opens.
// Tokens, separated by blanks, act in order:
//   menu:N        choose the menu item of command N ("menu:2002")
//   key:C  cmd:C  press C, alone or with command; C is one character or #code
//   close         the close box
//   yes  no       answer the next yes-or-no question
//   open:PATH  save:PATH   answer the next file dialog (an empty PATH cancels)
// When the script has run out the headless backend leaves the editor as a
// user would: Escape, then the platform's quit request.
constexpr const char* kEditorScriptVariable = "GLIMMERSTROLL_EDITOR_SCRIPT";
// Queues the script's events and answers; false with a reason in `error` (and
// nothing queued) when a token is not understood.
bool QueueEditorScript(HeadlessBackend& backend, CMain& frame, const char* script,
                       std::string& error);
