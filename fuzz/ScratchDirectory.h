// SPDX-License-Identifier: MIT
#pragma once

#include "platform/dispatch/Check.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace fuzz {

/// Where a fuzz program keeps the one file at a time that its parser must meet on a disk: below TMPDIR, mode
/// 0700, gone when the program ends.
class ScratchDirectory {
  public:
    ScratchDirectory() : path_((std::filesystem::temp_directory_path() / "fuzz.XXXXXX").string()) {
        ORB_CHECK(mkdtemp(path_.data()) != nullptr, "no directory {}", path_);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() { std::filesystem::remove_all(path_); }

    std::filesystem::path path() const { return path_; }

    std::filesystem::path write(const std::string& name, std::string_view content) const {
        const auto file = path() / name;
        std::ofstream(file, std::ios::binary) << content;
        return file;
    }

    static std::string read(const std::filesystem::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

  private:
    std::string path_;
};

} // namespace fuzz
