// SPDX-License-Identifier: MIT
#pragma once

#include "platform/foundation/coding/Data.h"

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace appkit {

/// Width and height, in points.
struct ImageSize {
    double width = 0;
    double height = 0;

    bool operator==(const ImageSize&) const = default;
};

/// A picture, as the bytes of its file. Shared by whoever shows it; one thread at a time.
class NSImage {
  public:
    /// nullptr unless the bytes begin as those of a PNG or JPEG file do.
    static std::shared_ptr<NSImage> fromData(foundation::Data data) {
        const std::string_view bytes = data.bytes;
        const char* type = bytes.starts_with("\x89PNG\r\n\x1A\n") ? "image/png"
                           : bytes.starts_with("\xFF\xD8\xFF")    ? "image/jpeg"
                                                                  : nullptr;
        return type != nullptr ? std::shared_ptr<NSImage>(new NSImage(std::move(data), type)) : nullptr;
    }

    const foundation::Data& data() const { return data_; }
    std::string_view mimeType() const { return mimeType_; }

    /// At which it is to be shown; the bytes stay as they are.
    const ImageSize& size() const { return size_; }
    void setSize(const ImageSize& size) { size_ = size; }

  private:
    NSImage(foundation::Data data, std::string_view mimeType) : data_(std::move(data)), mimeType_(mimeType) {}

    const foundation::Data data_;
    const std::string_view mimeType_;
    ImageSize size_;
};

} // namespace appkit
