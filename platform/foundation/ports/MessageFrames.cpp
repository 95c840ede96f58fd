// SPDX-License-Identifier: MIT
#include "platform/foundation/ports/MessageFrames.h"

#include <fmt/format.h>
#include <boost/endian/conversion.hpp>

#include <algorithm>
#include <utility>

namespace foundation {
namespace {

const unsigned char* raw(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

} // namespace

std::string messageHeader(std::int32_t messageID, std::size_t length) {
    std::string header(messageHeaderSize, '\0');
    auto* bytes = reinterpret_cast<unsigned char*>(header.data());
    boost::endian::store_little_u32(bytes, static_cast<std::uint32_t>(length));
    boost::endian::store_little_s32(bytes + 4, messageID);
    return header;
}

MessageFrames::MessageFrames(Handler handler) : handler_(std::move(handler)) {}

void MessageFrames::feed(std::span<const std::byte> bytes) {
    if (part_ == Part::refused) {
        throw FramingError(reason_);
    }
    std::string_view rest(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    while (!rest.empty()) {
        rest = collect(rest);
        if (part_ == Part::preface) {
            checkPreface();
        }
        if (part_ == Part::header && collected_.size() == sizeOfPart()) {
            readHeader();
        }
        if (part_ == Part::data && collected_.size() == sizeOfPart()) { // at once, when there is none
            handOver();
        }
    }
}

bool MessageFrames::isBetweenFrames() const {
    return collected_.empty() && (part_ == Part::preface || part_ == Part::header);
}

std::size_t MessageFrames::sizeOfPart() const {
    switch (part_) {
        case Part::preface:
            return messagePreface.size();
        case Part::header:
            return messageHeaderSize;
        default:
            return length_;
    }
}

std::string_view MessageFrames::collect(std::string_view bytes) {
    const std::size_t taken = std::min(bytes.size(), sizeOfPart() - collected_.size());
    collected_.append(bytes.substr(0, taken));
    return bytes.substr(taken);
}

void MessageFrames::checkPreface() {
    if (!messagePreface.starts_with(collected_)) {
        refuse("it does not begin as a sender of messages does");
    }
    if (collected_.size() == messagePreface.size()) {
        collected_.clear();
        part_ = Part::header;
    }
}

void MessageFrames::readHeader() {
    length_ = boost::endian::load_little_u32(raw(collected_));
    messageID_ = boost::endian::load_little_s32(raw(collected_) + 4);
    if (length_ > maximumMessage) {
        refuse(fmt::format("a message of {} bytes, more than {}", length_, maximumMessage));
    }
    collected_.clear();
    part_ = Part::data;
}

void MessageFrames::handOver() {
    part_ = Part::header;
    handler_(messageID_, std::exchange(collected_, {}));
}

void MessageFrames::refuse(std::string reason) {
    part_ = Part::refused;
    reason_ = std::move(reason);
    throw FramingError(reason_);
}

} // namespace foundation
