// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace foundation {

/// A directory of a check's own, below TMPDIR, mode 0700, gone with it. Its path is longer than a socket's
/// address can be.
class TemporaryDirectory {
  public:
    TemporaryDirectory() : root_((std::filesystem::temp_directory_path() / "orbroute.XXXXXX").string()) {
        if (mkdtemp(root_.data()) == nullptr) {
            throw std::runtime_error("no temporary directory " + root_);
        }
        path_ = std::filesystem::path(root_) / std::string(120, 'd');
        std::filesystem::create_directory(path_);
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() { std::filesystem::remove_all(root_); }

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  private:
    std::string root_;
    std::filesystem::path path_;
};

inline void writeFile(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace foundation
