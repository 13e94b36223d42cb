// SPDX-License-Identifier: GPL-2.0-or-later
// Where a show's picture is looked for: the stored path (a relative one from
// the show's folder first), the same name beside the show, then the
// alternative picture folder.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "doc/PictureLookup.h"
#include "tests/common/TestKit.h"

TEST(PictureLookup, StoredPathThenBesideTheShowThenTheAlternativeFolder) {
    ScratchFolder dir;
    for (const char* folder : {"show", "show/pics", "alt", "old"}) std::filesystem::create_directories(dir / folder);
    for (const char* file : {"show/beside.tga", "show/pics/rel.tga", "alt/far.tga", "old/kept.tga", "show/kept.tga"})
        std::ofstream(dir / file) << "picture";
    const std::string show = dir / "show", alt = dir / "alt";

    struct Case {
        std::string stored, altFolder;
        bool found;
        std::string path;
    } cases[] = {
        {dir / "old/kept.tga", alt, true, dir / "old/kept.tga"},         // where it was stored: not the copy beside
        {dir / "gone/beside.tga", alt, true, dir / "show/beside.tga"},   // the show moved with its picture
        {dir / "gone/far.tga", alt + "/", true, dir / "alt/far.tga"},    // only in the alternative folder
        {dir / "gone/far.tga", alt, true, dir / "alt/far.tga"},          // typed without its closing "/"
        {"pics/rel.tga", "", true, dir / "show/pics/rel.tga"},           // relative: from the show's folder
        {dir / "gone/none.tga", alt, false, dir / "gone/none.tga"},      // nowhere: the stored reference
    };
    for (const Case& c : cases) {
        const PictureLocation where = LocatePicture(c.stored, show, c.altFolder);
        EXPECT_EQ(where.found, c.found) << c.stored;
        EXPECT_EQ(where.path, c.path) << c.stored;
    }

    // A loader gets the stored reference back where it is good or nothing is
    // found, and a full path where the lookup found the picture.
    FSpec kept, moved, lost;
    MakePathSpec(kept, (dir / "old/kept.tga").c_str());
    MakePathSpec(moved, (dir / "gone/beside.tga").c_str());
    MakePathSpec(lost, (dir / "gone/none.tga").c_str());
    EXPECT_EQ(std::string(LocatedSpec(kept, show.c_str(), "").name), kept.name);
    EXPECT_EQ(std::string(LocatedSpec(moved, show.c_str(), "").name), dir / "show/beside.tga");
    EXPECT_EQ(std::string(LocatedSpec(lost, show.c_str(), alt.c_str()).name), lost.name);
    EXPECT_EQ(ShowFolderOf(dir / "show/trip.gsx"), show);
}
