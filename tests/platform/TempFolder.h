// A fresh folder under /tmp for one test, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

struct TempFolder {
    std::string path;
    TempFolder() {
        char pattern[] = "/tmp/gs_platform_XXXXXX";
        if (mkdtemp(pattern)) path = pattern;
    }
    ~TempFolder() {
        std::error_code ec;
        if (!path.empty()) std::filesystem::remove_all(path, ec);
    }
    std::string operator/(const std::string& name) const { return path + "/" + name; }
};
