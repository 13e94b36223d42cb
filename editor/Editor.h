// Running the editor: inside the effect (its options command) and on its own
// (the glimmerstroll-edit program behind `glimmerstroll edit`).
#pragma once

// Runs the modal editor on pDoc and returns its result: 0 applies the moves,
// 1 drops them. A window backend must be installed.
int RunEditor();

// Makes RunEditor the effect's options command.
void InstallEditor();

// Exit statuses of the stand-alone editor.
enum : int {
    kEditApplied = 0,   // "Apply Moves and Close": the show was saved to its file
    kEditDropped = 1,   // "Quit - DON'T Apply changes": nothing was written
    kEditFailed = 2,    // the editor could not start (no display, unreadable show)
};

// The stand-alone editor on the show file `path` (null or empty: an untitled
// show; a file that does not exist yet is created by the first save). Starts
// the environment and the window backend, runs the editor, and closes the
// environment again. Returns one of the statuses above.
int EditShowFile(const char* path);
