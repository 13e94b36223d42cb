// SPDX-License-Identifier: GPL-2.0-or-later
// The installed editor link, or the one that answers as if no editor were open.
#include "doc/EditorLink.h"

namespace {

CEditorLink gNoEditor;
CEditorLink* gLink = &gNoEditor;

}  // namespace

CEditorLink* GetEditorLink() { return gLink; }

CEditorLink* SetEditorLink(CEditorLink* link) {
    CEditorLink* previous = gLink;
    gLink = link ? link : &gNoEditor;
    return previous;
}
