// SPDX-License-Identifier: MIT
#include "platform/foundation/JsonFile.h"

#include "platform/foundation/ExactJsonHandler.h"

#include <fmt/format.h>
#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/serialize.hpp>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <iterator>
#include <system_error>
#include <utility>
#include <vector>

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

/// The whole file; of one that is larger than `limit` as much as shows that it is.
std::string readUpTo(std::size_t limit, int descriptor, const path& file) {
    std::string text;
    std::array<char, 16384> chunk{};
    while (text.size() <= limit) {
        const ssize_t size = read(descriptor, chunk.data(), chunk.size());
        if (size < 0 && errno == EINTR) {
            continue;
        }
        if (size < 0) {
            failWith(Kind::unreadable, file, errno);
        }
        if (size == 0) {
            break;
        }
        text.append(chunk.data(), static_cast<std::size_t>(size));
    }
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

std::string keyText(std::string_view key) { return boost::json::serialize(boost::json::string(key)) + ": "; }

/// Real numbers as people write them: 0.5, not 5E-1. What is a real number reads back as one, also when it is
/// beyond the range of double.
std::string realText(double number) {
    if (std::isinf(number)) {
        return number > 0 ? "1e999" : "-1e999";
    }
    const std::string text = fmt::format("{}", number);
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

/// On one line. The library's own would write an infinity as a word that no reader knows.
std::string memberText(const boost::json::value& value) {
    std::vector<std::string> parts;
    if (const auto* number = value.if_double()) {
        return realText(*number);
    }
    if (const auto* elements = value.if_array()) {
        std::ranges::transform(*elements, std::back_inserter(parts), memberText);
        return fmt::format("[{}]", fmt::join(parts, ","));
    }
    if (const auto* members = value.if_object()) {
        for (const auto& [key, member] : *members) {
            parts.push_back(keyText(key) + memberText(member));
        }
        return fmt::format("{{{}}}", fmt::join(parts, ","));
    }
    return boost::json::serialize(value);
}

boost::json::value understand(std::string_view text, const path& file, JsonFileLimits limits) {
    if (text.size() > limits.size) {
        throw JsonFileError(Kind::malformed, file, fmt::format("is larger than {} bytes", limits.size));
    }
    return parseJsonText(text, file, limits);
}

/// One value that cannot be read back would cost the file all others.
void requireLegible(std::string_view text, const path& file, JsonFileLimits limits) {
    try {
        understand(text, file, limits);
    } catch (const JsonFileError& error) {
        throw JsonFileError(Kind::unwritable, file, fmt::format("could not be read again: {}", error.what()));
    }
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
    boost::json::basic_parser<ExactJsonHandler> parser(options);
    boost::json::error_code error;
    const std::size_t taken = parser.write_some(false, text.data(), text.size(), error);
    if (!error && taken < text.size()) {
        throw malformedAt(text, taken, file, "text after the end of the value");
    }
    if (error) {
        throw malformedAt(text, taken, file, error.message());
    }
    return parser.handler().release();
}

std::string jsonFileText(const boost::json::value& value) {
    const auto* members = value.if_object();
    if (members == nullptr || members->empty()) {
        return memberText(value) + "\n";
    }
    std::string text;
    for (const auto& [key, member] : *members) {
        text += (text.empty() ? "{\n  " : ",\n  ") + keyText(key) + memberText(member);
    }
    return text + "\n}\n";
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
    return understand(readUpTo(limits_.size, descriptor.get(), path_), path_, limits_);
}

void JsonFile::replace(const boost::json::value& value) const {
    requireReplaceable(path_);
    const std::string text = jsonFileText(value);
    requireLegible(text, path_, limits_);
    Replacement replacement(path_);
    replacement.write(text);
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
