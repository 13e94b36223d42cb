// SPDX-License-Identifier: GPL-2.0-or-later
// Feeds arbitrary bytes to the settings parser as the text of a settings file:
// reading values of every kind, then replacing and adding some. Any crash or
// overread is a finding.
#include <cstdint>
#include <cstring>

#include "platform/Env.h"
#include "platform/Settings.h"

namespace {

// Keys as the program asks for them, with an empty and an odd one.
constexpr const char* kKeys[] = {"ShowPicError", "TimeScale", "InitialFolder", "MatteColor", "", "a=b\r\n"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::memset(gIniString, 0, sizeof gIniString);
    std::memcpy(gIniString, data, size < sizeof gIniString ? size : sizeof gIniString - 1);
    char text[256];
    for (const char* key : kKeys) {
        GetIniString(key, "default", text, 255);
        GetIniItem(key, 7);
    }
    SetIniItem("TimeScale", 12345L);
    SetIniItem("InitialFolder", "/a/folder/");
    SetIniItem("NewKey", "value");
    GetIniString("NewKey", "", text, 255);
    return 0;
}
