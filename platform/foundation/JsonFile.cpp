// SPDX-License-Identifier: MIT
#include "platform/foundation/JsonFile.h"

#include <fmt/format.h>
#include <boost/json/serialize.hpp>
#include <boost/json/stream_parser.hpp>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <system_error>
#include <utility>

namespace foundation {
namespace {

using Kind = JsonFileError::Kind;
using std::filesystem::path;

std::string describe(const path& file, const std::string& reason, std::size_t line, std::size_t column) {
    if (line == 0) {
        return fmt::format("{}: {}", file.string(), reason);
    }
    return fmt::format("{}:{}:{}: {}", file.string(), line, column, reason);
}

[[noreturn]] void failWith(Kind kind, const path& file, int error) {
    throw JsonFileError(kind, file, std::generic_category().message(error));
}

/// At most one byte more than `limit`.
std::string readUpTo(std::size_t limit, int descriptor, const path& file) {
    std::string text(limit + 1, '\0');
    std::size_t filled = 0;
    while (filled < text.size()) {
        const ssize_t size = read(descriptor, text.data() + filled, text.size() - filled);
        if (size < 0 && errno == EINTR) {
            continue;
        }
        if (size < 0) {
            failWith(Kind::unreadable, file, errno);
        }
        if (size == 0) {
            break;
        }
        filled += static_cast<std::size_t>(size);
    }
    text.resize(filled);
    return text;
}

/// The modes are judged here as well, since they do not bind root: who took the right from everybody means
/// it.
void requireReadable(int descriptor, const path& file) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        failWith(Kind::unreadable, file, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw JsonFileError(Kind::unreadable, file, "is not a regular file");
    }
    if ((status.st_mode & (S_IRUSR | S_IRGRP | S_IROTH)) == 0) {
        failWith(Kind::unreadable, file, EACCES);
    }
}

void requireReplaceable(const path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        return;
    }
    if (!S_ISREG(status.st_mode)) {
        throw JsonFileError(Kind::unwritable, file, "is not a regular file");
    }
    if ((status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0 ||
        faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) != 0) {
        failWith(Kind::unwritable, file, EACCES);
    }
}

/// Real numbers as people write them: 0.5, not 5E-1. What is a real number reads back as one.
std::string memberText(const boost::json::value& value) {
    const auto* number = value.if_double();
    if (number == nullptr || !std::isfinite(*number)) {
        return boost::json::serialize(value);
    }
    const std::string text = fmt::format("{}", *number);
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

/// One member a line, for people who look in.
std::string textOf(const boost::json::value& value) {
    const auto* members = value.if_object();
    if (members == nullptr || members->empty()) {
        return boost::json::serialize(value) + "\n";
    }
    std::string text;
    for (const auto& [key, member] : *members) {
        text += fmt::format("{}\n  {}: {}", text.empty() ? "{" : ",",
                            boost::json::serialize(boost::json::string(key)), memberText(member));
    }
    return text + "\n}\n";
}

/// A file beside `target` that disappears unless it takes its place.
class Replacement {
  public:
    explicit Replacement(const path& target) : target_(target), name_(target.string() + ".XXXXXX") {
        descriptor_ = FileDescriptor(mkostemp(name_.data(), O_CLOEXEC));
        if (!descriptor_) {
            failWith(Kind::unwritable, target_, errno);
        }
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() {
        if (!committed_) {
            unlink(name_.c_str());
        }
    }

    void write(std::string_view text) {
        while (!text.empty()) {
            const ssize_t size = ::write(descriptor_.get(), text.data(), text.size());
            if (size < 0 && errno != EINTR) {
                failWith(Kind::unwritable, target_, errno);
            }
            text.remove_prefix(size > 0 ? static_cast<std::size_t>(size) : 0);
        }
    }

    void commit() {
        if (fsync(descriptor_.get()) != 0 || rename(name_.c_str(), target_.c_str()) != 0) {
            failWith(Kind::unwritable, target_, errno);
        }
        committed_ = true;
        const path directory = target_.has_parent_path() ? target_.parent_path() : path(".");
        const FileDescriptor entry(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!entry || fsync(entry.get()) != 0) {
            failWith(Kind::unwritable, target_, errno);
        }
    }

  private:
    const path target_;
    std::string name_;
    FileDescriptor descriptor_;
    bool committed_ = false;
};

JsonFileError malformedAt(std::string_view text, std::size_t offset, const path& file,
                          const std::string& reason) {
    const std::string_view before = text.substr(0, offset);
    const std::size_t lineStart = before.rfind('\n') + 1; // 0 when there is none
    const auto beginsCharacter = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; };
    const auto column = std::ranges::count_if(before.substr(lineStart), beginsCharacter);
    return {Kind::malformed, file, reason, static_cast<std::size_t>(std::ranges::count(before, '\n')) + 1,
            static_cast<std::size_t>(column) + 1};
}

} // namespace

JsonFileError::JsonFileError(Kind kind, std::filesystem::path file, const std::string& reason,
                             std::size_t line, std::size_t column)
    : std::runtime_error(describe(file, reason, line, column)),
      kind_(kind),
      path_(std::move(file)),
      line_(line),
      column_(column) {}

boost::json::value parseJsonText(std::string_view text, const path& file, JsonFileLimits limits) {
    boost::json::parse_options options;
    options.max_depth = limits.depth;
    boost::json::stream_parser parser({}, options);
    boost::json::error_code error;
    const std::size_t taken = parser.write_some(text.data(), text.size(), error);
    if (!error && taken < text.size()) {
        throw malformedAt(text, taken, file, "text after the end of the value");
    }
    if (!error) {
        parser.finish(error);
    }
    if (error) {
        throw malformedAt(text, taken, file, error.message());
    }
    return parser.release();
}

JsonFile::JsonFile(std::filesystem::path path, JsonFileLimits limits)
    : path_(std::move(path)), limits_(limits) {}

std::filesystem::path JsonFile::lockPath() const { return path_.string() + ".lock"; }

std::optional<boost::json::value> JsonFile::read() const {
    // Without O_NONBLOCK, opening a pipe would wait for a writer.
    const FileDescriptor descriptor(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor && errno == ENOENT) {
        return std::nullopt;
    }
    if (!descriptor) {
        failWith(Kind::unreadable, path_, errno);
    }
    requireReadable(descriptor.get(), path_);
    const std::string text = readUpTo(limits_.size, descriptor.get(), path_);
    if (text.size() > limits_.size) {
        throw JsonFileError(Kind::malformed, path_, fmt::format("is larger than {} bytes", limits_.size));
    }
    return parseJsonText(text, path_, limits_);
}

void JsonFile::replace(const boost::json::value& value) const {
    requireReplaceable(path_);
    Replacement replacement(path_);
    replacement.write(textOf(value));
    replacement.commit();
}

void JsonFile::update(Change change) const {
    const FileLock lock = this->lock();
    if (const auto changed = change(read())) {
        replace(*changed);
    }
}

FileLock JsonFile::lock() const {
    try {
        return FileLock(lockPath());
    } catch (const std::system_error& error) {
        throw JsonFileError(Kind::unwritable, lockPath(), error.code().message());
    }
}

} // namespace foundation
